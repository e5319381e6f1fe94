#include <algorithm>
#include <string_view>

#include "base/ascii.h"
#include "device/comm_usb.h"
#include "platform/services.h"

namespace lumato::device {
namespace {

constexpr std::string_view kMarkerFile = "languageunicode.ini";

// The frame's volume is a FAT one, whose names have no fixed letter case.
bool IsMarkerName(std::string_view name) {
    return std::ranges::equal(name, kMarkerFile, {}, LowerAscii);
}

bool IsFrameVolume(const platform::Volume& volume) {
    std::error_code error;
    std::filesystem::directory_iterator entry(volume.root, error);
    while (!error && entry != std::filesystem::directory_iterator()) {
        std::error_code none;
        if (IsMarkerName(entry->path().filename().native()) && entry->is_regular_file(none))
            return true;
        entry.increment(error);
    }
    return false;
}

}  // namespace

void CCommUSB::EjectMyDPF() {
    platform::Volumes* volumes = platform::CurrentServices().volumes;
    if (volumes == nullptr)
        return;
    for (const Error& error : EjectFrameVolumes(*volumes)) {
        if (Link().frame != nullptr)
            Link().frame->ShowLinkError(error);
    }
}

std::vector<Error> EjectFrameVolumes(platform::Volumes& volumes) {
    std::vector<Error> errors;
    for (const platform::Volume& volume : volumes.List()) {
        if (!IsFrameVolume(volume))
            continue;
        const Result<void> ejected = volumes.Eject(volume);
        if (!ejected)
            errors.push_back(ejected.error());
    }
    return errors;
}

}  // namespace lumato::device
