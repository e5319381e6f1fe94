#include "platform/linux/udisks.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string_view>

#include <systemd/sd-bus.h>

#include "base/printable.h"
#include "base/system_library.h"

namespace lumato::platform {
namespace {

using std::chrono::microseconds;

constexpr std::string_view kDevices = "/dev/";

// One method call over the system's bus.
struct SystemdLibrary {
    SystemLibrary library{"libsystemd.so.0"};
    decltype(&sd_bus_open_system) openSystem = library["sd_bus_open_system"];
    decltype(&sd_bus_flush_close_unref) close = library["sd_bus_flush_close_unref"];
    decltype(&sd_bus_message_new_method_call) newCall = library["sd_bus_message_new_method_call"];
    decltype(&sd_bus_message_append) append = library["sd_bus_message_append"];
    decltype(&sd_bus_message_unref) releaseMessage = library["sd_bus_message_unref"];
    decltype(&sd_bus_call) call = library["sd_bus_call"];
    decltype(&sd_bus_error_free) freeError = library["sd_bus_error_free"];
};

const SystemdLibrary& Systemd() {
    static const SystemdLibrary systemd;
    return systemd;
}

struct BusCloser {
    void operator()(sd_bus* bus) const { Systemd().close(bus); }
};
struct MessageCloser {
    void operator()(sd_bus_message* message) const { Systemd().releaseMessage(message); }
};
struct ErrorHolder {
    sd_bus_error value = SD_BUS_ERROR_NULL;
    ErrorHolder() = default;
    ~ErrorHolder() { Systemd().freeError(&value); }
    ErrorHolder(const ErrorHolder&) = delete;
    ErrorHolder& operator=(const ErrorHolder&) = delete;
};

bool IsPlain(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

constexpr const char* kNoSystemBus = "no system bus";

// The service names its objects after device nodes, everything but letters and digits as _xx.
std::string ObjectOf(std::string_view device) {
    std::string object = "/org/freedesktop/UDisks2/block_devices/";
    for (const char c : device.substr(device.starts_with(kDevices) ? kDevices.size() : 0)) {
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "_%02x", unsigned{static_cast<unsigned char>(c)});
        object += IsPlain(c) ? std::string(1, c) : escaped;
    }
    return object;
}

Result<void> ResultOf(const sd_bus_error& error, int errorNumber) {
    const std::string_view name = error.name == nullptr ? "" : error.name;
    const std::string message =
        error.message == nullptr ? SystemMessage(errorNumber) : Printable(error.message);
    if (name == "org.freedesktop.UDisks2.Error.NotMounted")
        return {};
    if (name == "org.freedesktop.UDisks2.Error.DeviceBusy")
        return Fail(ErrorKind::Busy, message);
    if (errorNumber == ETIMEDOUT || name == "org.freedesktop.DBus.Error.NoReply")
        return Fail(ErrorKind::Refused,
                    Phrase("DISK_SERVICE_SILENT", "the disk service (udisks2) does not answer"));
    // The service is there and knows no such device.
    if (name == "org.freedesktop.DBus.Error.UnknownObject")
        return Fail(ErrorKind::Gone, Phrase("VOLUME_GONE", "the volume is no longer there"));
    if (name.starts_with("org.freedesktop.DBus.Error.ServiceUnknown") ||
        name.starts_with("org.freedesktop.DBus.Error.Spawn") ||
        name == "org.freedesktop.DBus.Error.UnknownMethod")
        return Fail(ErrorKind::NotFound, message);
    return Fail(ErrorKind::Refused, message);
}

}  // namespace

Result<void> UnmountByService(const std::string& device, std::chrono::milliseconds limit) {
    const SystemdLibrary& systemd = Systemd();
    if (const auto usable = systemd.library.Check(); !usable)
        return Fail(ErrorKind::NotFound, About(kNoSystemBus, usable.error().message));
    sd_bus* opened = nullptr;
    if (const int error = systemd.openSystem(&opened); error < 0)
        return Fail(ErrorKind::NotFound, About(kNoSystemBus, SystemMessage(-error)));
    const std::unique_ptr<sd_bus, BusCloser> bus(opened);

    sd_bus_message* raw = nullptr;
    if (systemd.newCall(bus.get(), &raw, "org.freedesktop.UDisks2", ObjectOf(device).c_str(),
                        "org.freedesktop.UDisks2.Filesystem", "Unmount") < 0)
        return Fail(ErrorKind::NotFound, About(device, "no name for the disk service"));
    const std::unique_ptr<sd_bus_message, MessageCloser> call(raw);
    if (systemd.append(call.get(), "a{sv}", 0) < 0)
        return Fail(ErrorKind::NotFound, About(device, "no call to the disk service"));

    ErrorHolder error;
    const int sent =
        systemd.call(bus.get(), call.get(), static_cast<std::uint64_t>(microseconds(limit).count()),
                     &error.value, nullptr);
    return sent < 0 ? ResultOf(error.value, -sent) : Result<void>();
}

}  // namespace lumato::platform
