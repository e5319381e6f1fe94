#include "vframe/usb_redirection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>

#include <sys/socket.h>
#include <unistd.h>

#include "base/diagnostics.h"
#include "vframe/usb_descriptors.h"
#include "vframe/usbredir_library.h"

namespace lumato::vframe {
namespace {

constexpr std::uint8_t kToHost = 0x80;
constexpr std::uint16_t kEndpointHalt = 0;
// What one call reads at most, and how many requests for data wait at most: a driver has one or two under
// way.
constexpr int kMostPerCall = 1 << 20;
constexpr std::size_t kMostWaiting = 1024;

// bmRequestType and bRequest in one.
constexpr std::uint16_t Request(std::uint8_t type, std::uint8_t request) {
    return static_cast<std::uint16_t>(type << 8 | request);
}
constexpr std::uint16_t kGetStatusDevice = Request(0x80, 0x00);
constexpr std::uint16_t kGetStatusInterface = Request(0x81, 0x00);
constexpr std::uint16_t kGetStatusEndpoint = Request(0x82, 0x00);
constexpr std::uint16_t kClearFeatureEndpoint = Request(0x02, 0x01);
constexpr std::uint16_t kGetDescriptor = Request(0x80, 0x06);
constexpr std::uint16_t kGetMaxLun = Request(0xA1, 0xFE);
constexpr std::uint16_t kBulkOnlyReset = Request(0x21, 0xFF);

constexpr std::size_t EndpointIndex(std::uint8_t endpoint) {
    return static_cast<std::size_t>((endpoint & kToHost) >> 3 | (endpoint & 0x0F));
}

std::size_t LengthOf(const usb_redir_bulk_packet_header& header) {
    return std::size_t{header.length} | std::size_t{header.length_high} << 16;
}

void SetLength(usb_redir_bulk_packet_header& header, std::size_t length) {
    header.length = static_cast<std::uint16_t>(length);
    header.length_high = static_cast<std::uint16_t>(length >> 16);
}

}  // namespace

// The parser's callbacks: each finds its object again and goes on there.
struct UsbRedirection::Handlers {
    static UsbRedirection& Self(void* object) { return *static_cast<UsbRedirection*>(object); }

    static void Log(void*, int level, const char* message) {
        if (level <= usbredirparser_warning)
            Diagnose(std::string("usbredir: ") + message);
    }
    // Nothing more than can be answered: whoever does not read his answers is not listened to.
    static int Read(void* object, std::uint8_t* data, int count) {
        int& allowance = Self(object).m_allowance;
        if (Self(object).HasToSend() || allowance == 0)
            return 0;
        const ssize_t got = ::recv(Self(object).m_socket, data,
                                   static_cast<std::size_t>(std::min(count, allowance)), MSG_DONTWAIT);
        if (got > 0) {
            allowance -= static_cast<int>(got);
            return static_cast<int>(got);
        }
        if (got < 0 && (errno == EAGAIN || errno == EINTR))
            return 0;
        Self(object).m_ended = true;
        return -1;
    }
    static int Write(void* object, std::uint8_t* data, int count) {
        const ssize_t sent =
            ::send(Self(object).m_socket, data, static_cast<std::size_t>(count), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent >= 0)
            return static_cast<int>(sent);
        return errno == EAGAIN || errno == EINTR ? 0 : -1;
    }
    static void Hello(void* object, usb_redir_hello_header*) {
        Self(object).m_greeted = true;
        if (Self(object).m_storage != nullptr)
            Self(object).Connect();
    }
    static void Reset(void* object) { Self(object).Reset(); }
    static void SetConfiguration(void* object, std::uint64_t id, usb_redir_set_configuration_header* header) {
        Self(object).m_configuration = header->configuration;
        GetConfiguration(object, id);
    }
    static void GetConfiguration(void* object, std::uint64_t id) {
        usb_redir_configuration_status_header status{.status = usb_redir_success,
                                                     .configuration = Self(object).m_configuration};
        UsbredirLibrary::Get().sendConfiguration(Self(object).m_parser.get(), id, &status);
    }
    static void SendAltSetting(void* object, std::uint64_t id, std::uint8_t interface,
                               std::uint8_t alternate) {
        const bool known = interface == 0 && alternate == 0;
        usb_redir_alt_setting_status_header status{
            .status = static_cast<std::uint8_t>(known ? usb_redir_success : usb_redir_stall),
            .interface = interface,
            .alt = 0};
        UsbredirLibrary::Get().sendAltSetting(Self(object).m_parser.get(), id, &status);
    }
    static void SetAltSetting(void* object, std::uint64_t id, usb_redir_set_alt_setting_header* header) {
        SendAltSetting(object, id, header->interface, header->alt);
    }
    static void GetAltSetting(void* object, std::uint64_t id, usb_redir_get_alt_setting_header* header) {
        SendAltSetting(object, id, header->interface, 0);
    }
    static void CancelPacket(void* object, std::uint64_t id) { Self(object).Cancel(id); }
    static void DisconnectAck(void*) {}
    // Of what the frame has not got: streams, interrupts, and endpoints for them.
    template <auto Send, class Status, class Header>
    static void Refuse(void* object, std::uint64_t id, Header* header) {
        Status status{};
        status.status = usb_redir_stall;
        if constexpr (requires { header->endpoint; })
            status.endpoint = header->endpoint;
        else
            status.endpoints = header->endpoints;
        if constexpr (requires { status.stream_id; })
            status.stream_id = header->stream_id;
        (UsbredirLibrary::Get().*Send)(Self(object).m_parser.get(), id, &status);
    }
    template <auto Send, class Header>
    static void RefuseData(void* object, std::uint64_t id, Header* header, std::uint8_t* data, int) {
        UsbredirLibrary::Get().freeData(Self(object).m_parser.get(), data);
        header->status = usb_redir_stall;
        header->length = 0;
        (UsbredirLibrary::Get().*Send)(Self(object).m_parser.get(), id, header, nullptr, 0);
    }
    static void Control(void* object, std::uint64_t id, usb_redir_control_packet_header* header,
                        std::uint8_t* data, int) {
        UsbredirLibrary::Get().freeData(Self(object).m_parser.get(), data);
        Self(object).HandleControl(id, *header);
    }
    static void Bulk(void* object, std::uint64_t id, usb_redir_bulk_packet_header* header, std::uint8_t* data,
                     int length) {
        Self(object).HandleBulk(id, *header, ByteSpan(data, static_cast<std::size_t>(length)));
        UsbredirLibrary::Get().freeData(Self(object).m_parser.get(), data);
    }
    static void Filter(void* object, usbredirfilter_rule* rules, int) {
        UsbredirLibrary::Get().freeData(Self(object).m_parser.get(), reinterpret_cast<std::uint8_t*>(rules));
    }
    static void FilterReject(void*) { Diagnose("usbredir: the other end does not want the frame"); }
};

void UsbRedirection::ParserReleaser::operator()(usbredirparser* parser) const {
    UsbredirLibrary::Get().destroy(parser);
}

UsbRedirection::UsbRedirection(int socket) : m_socket(socket), m_parser(UsbredirLibrary::Get().create()) {
    usbredirparser& parser = *m_parser;
    parser.priv = this;
    parser.log_func = Handlers::Log;
    parser.read_func = Handlers::Read;
    parser.write_func = Handlers::Write;
    parser.hello_func = Handlers::Hello;
    parser.reset_func = Handlers::Reset;
    parser.set_configuration_func = Handlers::SetConfiguration;
    parser.get_configuration_func = Handlers::GetConfiguration;
    parser.set_alt_setting_func = Handlers::SetAltSetting;
    parser.get_alt_setting_func = Handlers::GetAltSetting;
    parser.cancel_data_packet_func = Handlers::CancelPacket;
    parser.device_disconnect_ack_func = Handlers::DisconnectAck;
    parser.control_packet_func = Handlers::Control;
    parser.bulk_packet_func = Handlers::Bulk;
    parser.filter_filter_func = Handlers::Filter;
    parser.filter_reject_func = Handlers::FilterReject;
    RefuseWhatIsNotThere();

    std::array<std::uint32_t, USB_REDIR_CAPS_SIZE> capabilities{};
    for (const int capability :
         {usb_redir_cap_connect_device_version, usb_redir_cap_device_disconnect_ack,
          usb_redir_cap_ep_info_max_packet_size, usb_redir_cap_64bits_ids, usb_redir_cap_32bits_bulk_length})
        UsbredirLibrary::Get().setCapability(capabilities.data(), capability);
    UsbredirLibrary::Get().init(&parser, "Lumato virtual frame", capabilities.data(), USB_REDIR_CAPS_SIZE,
                                usbredirparser_fl_usb_host);
}

UsbRedirection::~UsbRedirection() = default;

// The parser calls without looking whether there is anybody. Packets that only a device sends it refuses
// itself.
void UsbRedirection::RefuseWhatIsNotThere() {
    using Library = UsbredirLibrary;
    usbredirparser& parser = *m_parser;
    using IsoStatus = usb_redir_iso_stream_status_header;
    parser.start_iso_stream_func = Handlers::Refuse<&Library::sendIsoStatus, IsoStatus>;
    parser.stop_iso_stream_func = Handlers::Refuse<&Library::sendIsoStatus, IsoStatus>;
    using InterruptStatus = usb_redir_interrupt_receiving_status_header;
    parser.start_interrupt_receiving_func = Handlers::Refuse<&Library::sendInterruptStatus, InterruptStatus>;
    parser.stop_interrupt_receiving_func = Handlers::Refuse<&Library::sendInterruptStatus, InterruptStatus>;
    using StreamsStatus = usb_redir_bulk_streams_status_header;
    parser.alloc_bulk_streams_func = Handlers::Refuse<&Library::sendStreamsStatus, StreamsStatus>;
    parser.free_bulk_streams_func = Handlers::Refuse<&Library::sendStreamsStatus, StreamsStatus>;
    using ReceivingStatus = usb_redir_bulk_receiving_status_header;
    parser.start_bulk_receiving_func = Handlers::Refuse<&Library::sendReceivingStatus, ReceivingStatus>;
    parser.stop_bulk_receiving_func = Handlers::Refuse<&Library::sendReceivingStatus, ReceivingStatus>;
    parser.iso_packet_func = Handlers::RefuseData<&Library::sendIso>;
    parser.interrupt_packet_func = Handlers::RefuseData<&Library::sendInterrupt>;
}

void UsbRedirection::Plug(BulkOnly& storage) {
    m_storage = &storage;
    if (m_greeted)
        Connect();
}

void UsbRedirection::Unplug() {
    if (m_storage == nullptr)
        return;
    m_storage = nullptr;
    m_waiting.clear();
    if (m_greeted)
        UsbredirLibrary::Get().sendDisconnect(m_parser.get());
}

void UsbRedirection::Connect() {
    usb_redir_ep_info_header endpoints{};
    std::ranges::fill(endpoints.type, static_cast<std::uint8_t>(usb_redir_type_invalid));
    for (const std::uint8_t control : {std::uint8_t{0}, kToHost})
        endpoints.type[EndpointIndex(control)] = usb_redir_type_control;
    for (const std::uint8_t bulk : {kEndpointOut, kEndpointIn}) {
        endpoints.type[EndpointIndex(bulk)] = usb_redir_type_bulk;
        endpoints.max_packet_size[EndpointIndex(bulk)] = kBulkPacket;
    }
    UsbredirLibrary::Get().sendEndpoints(m_parser.get(), &endpoints);

    usb_redir_interface_info_header interfaces{};
    interfaces.interface_count = 1;
    interfaces.interface_class[0] = kStorageClass;
    interfaces.interface_subclass[0] = kStorageSubclass;
    interfaces.interface_protocol[0] = kStorageProtocol;
    UsbredirLibrary::Get().sendInterfaces(m_parser.get(), &interfaces);

    usb_redir_device_connect_header device{};
    device.speed = usb_redir_speed_high;
    device.vendor_id = kVendorId;
    device.product_id = kProductId;
    device.device_version_bcd = kReleaseBcd;
    UsbredirLibrary::Get().sendConnect(m_parser.get(), &device);
}

bool UsbRedirection::Receive() {
    m_allowance = kMostPerCall;
    return UsbredirLibrary::Get().read(m_parser.get()) == 0 && !m_ended;
}

bool UsbRedirection::Send() {
    return UsbredirLibrary::Get().write(m_parser.get()) == 0;
}

bool UsbRedirection::HasToSend() const {
    return UsbredirLibrary::Get().toWrite(m_parser.get()) > 0;
}

void UsbRedirection::HandleControl(std::uint64_t id, usb_redir_control_packet_header header) {
    std::vector<std::uint8_t> answer;
    const bool known = m_storage != nullptr && AnswerControl(header, answer);
    header.status = static_cast<std::uint8_t>(known ? usb_redir_success : usb_redir_stall);
    if ((header.requesttype & kToHost) != 0) {
        answer.resize(std::min(answer.size(), std::size_t{header.length}));
        header.length = static_cast<std::uint16_t>(answer.size());
    }
    UsbredirLibrary::Get().sendControl(m_parser.get(), id, &header, answer.data(),
                                       static_cast<int>(answer.size()));
    ServeWaiting();
}

bool UsbRedirection::AnswerControl(const usb_redir_control_packet_header& header,
                                   std::vector<std::uint8_t>& answer) {
    switch (Request(header.requesttype, header.request)) {
        case kGetDescriptor: {
            std::optional<std::vector<std::uint8_t>> descriptor = Descriptor(header.value);
            if (descriptor)
                answer = std::move(*descriptor);
            return descriptor.has_value();
        }
        case kGetStatusDevice:
        case kGetStatusInterface:
        case kGetStatusEndpoint:
            answer.assign(2, 0);
            return true;
        case kGetMaxLun:
            answer.assign(1, 0);
            return true;
        case kClearFeatureEndpoint:
            m_storage->ClearHalt((header.index & kToHost) != 0);
            return header.value == kEndpointHalt;
        case kBulkOnlyReset:
            m_storage->Reset();
            return true;
        default:
            return false;
    }
}

void UsbRedirection::HandleBulk(std::uint64_t id, usb_redir_bulk_packet_header header, ByteSpan data) {
    const bool isForHost = (header.endpoint & kToHost) != 0;
    if (isForHost && m_waiting.size() < kMostWaiting) {
        m_waiting.push_back({.id = id, .header = header});
    } else {
        const bool taken = !isForHost && m_storage != nullptr && m_storage->Take(data);
        header.status = static_cast<std::uint8_t>(taken ? usb_redir_success : usb_redir_stall);
        if (isForHost)
            SetLength(header, 0);
        UsbredirLibrary::Get().sendBulk(m_parser.get(), id, &header, nullptr, 0);
    }
    ServeWaiting();
}

void UsbRedirection::ServeWaiting() {
    while (!m_waiting.empty() && m_storage != nullptr) {
        Waiting& first = m_waiting.front();
        std::optional<BulkOnly::Answer> answer = m_storage->Give(LengthOf(first.header));
        if (!answer)
            return;
        SetLength(first.header, answer->bytes.size());
        first.header.status = static_cast<std::uint8_t>(answer->halted ? usb_redir_stall : usb_redir_success);
        UsbredirLibrary::Get().sendBulk(m_parser.get(), first.id, &first.header, answer->bytes.data(),
                                        static_cast<int>(answer->bytes.size()));
        m_waiting.pop_front();
    }
}

void UsbRedirection::Cancel(std::uint64_t id) {
    const auto found = std::ranges::find(m_waiting, id, &Waiting::id);
    if (found == m_waiting.end())
        return;  // answered already
    found->header.status = usb_redir_cancelled;
    SetLength(found->header, 0);
    UsbredirLibrary::Get().sendBulk(m_parser.get(), id, &found->header, nullptr, 0);
    m_waiting.erase(found);
}

void UsbRedirection::Reset() {
    m_waiting.clear();
    if (m_storage != nullptr)
        m_storage->Reset();
}

}  // namespace lumato::vframe
