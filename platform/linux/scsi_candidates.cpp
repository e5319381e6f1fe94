#include "platform/linux/scsi_candidates.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace lumato::platform {
namespace {

constexpr std::string_view kStorageClass = "08";  // of USB interfaces

// Entries of a folder, by name; none when it cannot be read.
std::vector<Path> Entries(const Path& folder) {
    std::vector<Path> entries;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error);
         !error && entry != std::filesystem::directory_iterator(); entry.increment(error))
        entries.push_back(entry->path());
    std::sort(entries.begin(), entries.end());
    return entries;
}

std::optional<std::string> ReadAttribute(const Path& file) {
    const Result<std::vector<std::uint8_t>> bytes = ReadFile(file, 4096);
    if (!bytes)
        return std::nullopt;
    std::string text(bytes->begin(), bytes->end());
    text.erase(text.find_last_not_of(" \n\t\0") + 1);
    return text;
}

std::optional<int> ReadType(const Path& folder) {
    const std::optional<std::string> text = ReadAttribute(folder / "type");
    int type = 0;
    if (!text || std::from_chars(text->data(), text->data() + text->size(), type).ec != std::errc())
        return std::nullopt;
    return type;
}

bool IsOnUsb(Path folder) {
    for (; folder.has_relative_path(); folder = folder.parent_path()) {
        std::error_code error;
        if (std::filesystem::read_symlink(folder / "subsystem", error).filename() == "usb")
            return true;
    }
    return false;
}

// Of the USB device that the SCSI device belongs to: the nearest folder above that states its vendor.
std::string UsbSerial(Path folder) {
    for (; folder.has_relative_path(); folder = folder.parent_path()) {
        const std::optional<std::string> vendor = ReadAttribute(folder / "idVendor");
        if (!vendor)
            continue;
        const std::string serial = ReadAttribute(folder / "serial").value_or("");
        const std::string product = ReadAttribute(folder / "idProduct").value_or("");
        return serial.empty() ? serial : *vendor + ":" + product + " " + serial;
    }
    return {};
}

std::vector<Path> EntriesNamed(const Path& folder, std::string_view prefix) {
    std::vector<Path> entries = Entries(folder);
    std::erase_if(entries, [&](const Path& entry) { return !entry.filename().native().starts_with(prefix); });
    return entries;
}

// .../1-1:1.0 -> .../1-1:1.0/host6/target6:0:0/6:0:0:0
bool HasScsiDevice(const Path& interface) {
    for (const Path& host : EntriesNamed(interface, "host")) {
        for (const Path& target : EntriesNamed(host, "target")) {
            if (std::ranges::any_of(Entries(target),
                                    [](const Path& entry) { return ReadType(entry).has_value(); }))
                return true;
        }
    }
    return false;
}

}  // namespace

std::optional<ScsiCandidate> ReadCandidate(const Path& deviceFolder) {
    std::error_code error;
    const Path sysPath = std::filesystem::canonical(deviceFolder, error);
    if (error)
        return std::nullopt;
    const std::optional<int> type = ReadType(sysPath);
    if ((type != kScsiDisk && type != kScsiDiscWriter) || !IsOnUsb(sysPath))
        return std::nullopt;
    const std::vector<Path> generic = Entries(sysPath / "scsi_generic");
    return ScsiCandidate{.sysPath = sysPath,
                         .generic = generic.empty() ? std::string() : generic.front().filename().string(),
                         .type = *type,
                         .vendor = ReadAttribute(sysPath / "vendor").value_or(""),
                         .model = ReadAttribute(sysPath / "model").value_or(""),
                         .serial = UsbSerial(sysPath)};
}

std::vector<ScsiCandidate> FindCandidates(const Path& sysRoot) {
    std::vector<ScsiCandidate> found;
    for (const Path& device : Entries(sysRoot / "bus/scsi/devices")) {
        if (std::optional<ScsiCandidate> candidate = ReadCandidate(device))
            found.push_back(std::move(*candidate));
    }
    return found;
}

bool GenericDriverIsLoaded(const Path& sysRoot) {
    std::error_code error;
    return std::filesystem::exists(sysRoot / "class/scsi_generic", error);
}

bool StorageIsSettling(const Path& sysRoot) {
    for (const Path& interface : Entries(sysRoot / "bus/usb/devices")) {
        if (ReadAttribute(interface / "bInterfaceClass") == kStorageClass && !HasScsiDevice(interface))
            return true;
    }
    return false;
}

}  // namespace lumato::platform
