// The functions of libudev that tell which devices come and go.
#pragma once

#include <libudev.h>

#include "base/system_library.h"

namespace lumato::platform {

struct UdevLibrary {
    SystemLibrary library{"libudev.so.1"};
    decltype(&udev_new) create = library["udev_new"];
    decltype(&udev_unref) release = library["udev_unref"];
    decltype(&udev_monitor_new_from_netlink) newMonitor = library["udev_monitor_new_from_netlink"];
    decltype(&udev_monitor_filter_add_match_subsystem_devtype) filterSubsystem =
        library["udev_monitor_filter_add_match_subsystem_devtype"];
    decltype(&udev_monitor_enable_receiving) enableReceiving = library["udev_monitor_enable_receiving"];
    decltype(&udev_monitor_get_fd) monitorDescriptor = library["udev_monitor_get_fd"];
    decltype(&udev_monitor_receive_device) receiveDevice = library["udev_monitor_receive_device"];
    decltype(&udev_monitor_unref) releaseMonitor = library["udev_monitor_unref"];
    decltype(&udev_device_new_from_subsystem_sysname) newDevice =
        library["udev_device_new_from_subsystem_sysname"];
    decltype(&udev_device_get_is_initialized) isInitialized = library["udev_device_get_is_initialized"];
    decltype(&udev_device_get_action) actionOf = library["udev_device_get_action"];
    decltype(&udev_device_get_syspath) sysPathOf = library["udev_device_get_syspath"];
    decltype(&udev_device_unref) releaseDevice = library["udev_device_unref"];

    // Loaded by the first caller. Any thread.
    static const UdevLibrary& Get() {
        static const UdevLibrary udev;
        return udev;
    }
};

}  // namespace lumato::platform
