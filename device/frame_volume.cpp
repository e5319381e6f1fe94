#include <algorithm>
#include <string_view>

#include "device/ascii.h"
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
    if (platform::Volumes* volumes = platform::CurrentServices().volumes; volumes != nullptr)
        EjectFrameVolumes(*volumes);
}

void EjectFrameVolumes(platform::Volumes& volumes) {
    for (const platform::Volume& volume : volumes.List()) {
        if (!IsFrameVolume(volume))
            continue;
        const Result<void> ejected = volumes.Eject(volume);
        if (!ejected && Link().frame != nullptr)
            Link().frame->ShowLinkError(ejected.error());
    }
}

}  // namespace lumato::device
