// The functions of libusbredirparser, device side.
#pragma once

#include <usbredirparser.h>

#include "base/system_library.h"

namespace lumato::vframe {

struct UsbredirLibrary {
    SystemLibrary library{"libusbredirparser.so.1"};
    decltype(&usbredirparser_create) create = library["usbredirparser_create"];
    decltype(&usbredirparser_init) init = library["usbredirparser_init"];
    decltype(&usbredirparser_destroy) destroy = library["usbredirparser_destroy"];
    decltype(&usbredirparser_caps_set_cap) setCapability = library["usbredirparser_caps_set_cap"];
    decltype(&usbredirparser_do_read) read = library["usbredirparser_do_read"];
    decltype(&usbredirparser_do_write) write = library["usbredirparser_do_write"];
    decltype(&usbredirparser_has_data_to_write) toWrite = library["usbredirparser_has_data_to_write"];
    decltype(&usbredirparser_free_packet_data) freeData = library["usbredirparser_free_packet_data"];
    decltype(&usbredirparser_send_device_connect) sendConnect = library["usbredirparser_send_device_connect"];
    decltype(&usbredirparser_send_device_disconnect) sendDisconnect =
        library["usbredirparser_send_device_disconnect"];
    decltype(&usbredirparser_send_ep_info) sendEndpoints = library["usbredirparser_send_ep_info"];
    decltype(&usbredirparser_send_interface_info) sendInterfaces =
        library["usbredirparser_send_interface_info"];
    decltype(&usbredirparser_send_configuration_status) sendConfiguration =
        library["usbredirparser_send_configuration_status"];
    decltype(&usbredirparser_send_alt_setting_status) sendAltSetting =
        library["usbredirparser_send_alt_setting_status"];
    decltype(&usbredirparser_send_iso_stream_status) sendIsoStatus =
        library["usbredirparser_send_iso_stream_status"];
    decltype(&usbredirparser_send_interrupt_receiving_status) sendInterruptStatus =
        library["usbredirparser_send_interrupt_receiving_status"];
    decltype(&usbredirparser_send_bulk_streams_status) sendStreamsStatus =
        library["usbredirparser_send_bulk_streams_status"];
    decltype(&usbredirparser_send_bulk_receiving_status) sendReceivingStatus =
        library["usbredirparser_send_bulk_receiving_status"];
    decltype(&usbredirparser_send_iso_packet) sendIso = library["usbredirparser_send_iso_packet"];
    decltype(&usbredirparser_send_interrupt_packet) sendInterrupt =
        library["usbredirparser_send_interrupt_packet"];
    decltype(&usbredirparser_send_control_packet) sendControl = library["usbredirparser_send_control_packet"];
    decltype(&usbredirparser_send_bulk_packet) sendBulk = library["usbredirparser_send_bulk_packet"];

    // Loaded by the first caller. Any thread.
    static const UsbredirLibrary& Get() {
        static const UsbredirLibrary usbredir;
        return usbredir;
    }
};

}  // namespace lumato::vframe
