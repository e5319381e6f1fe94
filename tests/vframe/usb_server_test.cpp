#include "vframe/usb_server.h"

#include <cerrno>
#include <cstring>
#include <future>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/support/temporary_folder.h"
#include "tests/vframe/frame_driver.h"
#include "vframe/new_frame.h"

namespace lumato::vframe {
namespace {

constexpr int kSeconds = 20;
constexpr std::size_t kFlood = 2 << 20;

// Nothing waits for ever for what it sends or reads.
int ConnectTo(const Path& path) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval limit{.tv_sec = 5, .tv_usec = 0};
    for (const int way : {SO_RCVTIMEO, SO_SNDTIMEO})
        EXPECT_EQ(::setsockopt(fd, SOL_SOCKET, way, &limit, sizeof limit), 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.native().size());
    EXPECT_EQ(::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return fd;
}

// Reads until the other end closes, or says nothing for too long.
void AwaitEnd(int fd) {
    char answer[4096];
    ssize_t got = 0;
    do {
        got = ::recv(fd, answer, sizeof answer, 0);
    } while (got > 0);
    EXPECT_TRUE(got == 0 || errno != EAGAIN);
    ::close(fd);
}

// The virtual machine's end of the protocol, as a log of what came.
class Guest {
  public:
    explicit Guest(const Path& socket)
        : m_socket(ConnectTo(socket)), m_parser(usbredirparser_create(), usbredirparser_destroy) {
        m_parser->priv = this;
        m_parser->log_func = [](void*, int, const char*) {};
        m_parser->read_func = [](void* self, std::uint8_t* data, int count) {
            const ssize_t got =
                ::recv(Self(self).m_socket, data, static_cast<std::size_t>(count), MSG_DONTWAIT);
            return got < 0 ? 0 : got == 0 ? -1 : static_cast<int>(got);
        };
        m_parser->write_func = [](void* self, std::uint8_t* data, int count) {
            return static_cast<int>(
                ::send(Self(self).m_socket, data, static_cast<std::size_t>(count), MSG_NOSIGNAL));
        };
        m_parser->hello_func = [](void*, usb_redir_hello_header*) {};
        m_parser->ep_info_func = [](void* self, usb_redir_ep_info_header* header) {
            EXPECT_EQ(header->type[1], usb_redir_type_bulk);
            EXPECT_EQ(header->type[18], usb_redir_type_bulk);
            Self(self).m_events += "endpoints ";
        };
        m_parser->interface_info_func = [](void* self, usb_redir_interface_info_header* header) {
            EXPECT_EQ(header->interface_class[0], 8);
            Self(self).m_events += "interface ";
        };
        m_parser->device_connect_func = [](void* self, usb_redir_device_connect_header*) {
            Self(self).m_events += "connect ";
        };
        m_parser->device_disconnect_func = [](void* self) { Self(self).m_events += "disconnect "; };
        m_parser->control_packet_func =
            [](void* self, std::uint64_t id, usb_redir_control_packet_header* header, std::uint8_t* data,
               int length) { Self(self).Take("control", id, header->status, data, length); };
        m_parser->bulk_packet_func = [](void* self, std::uint64_t id, usb_redir_bulk_packet_header* header,
                                        std::uint8_t* data, int length) {
            Self(self).Take("bulk", id, header->status, data, length);
        };
        std::uint32_t capabilities[USB_REDIR_CAPS_SIZE] = {};
        for (const int capability :
             {usb_redir_cap_connect_device_version, usb_redir_cap_device_disconnect_ack,
              usb_redir_cap_ep_info_max_packet_size, usb_redir_cap_64bits_ids,
              usb_redir_cap_32bits_bulk_length})
            usbredirparser_caps_set_cap(capabilities, capability);
        usbredirparser_init(m_parser.get(), "guest", capabilities, USB_REDIR_CAPS_SIZE, 0);
        Pump();
    }
    ~Guest() { ::close(m_socket); }
    Guest(const Guest&) = delete;
    Guest& operator=(const Guest&) = delete;

    // Until the log ends with `event`; false when it does not come.
    bool Await(const std::string& event) {
        for (int i = 0; i < kSeconds * 100 && !m_events.ends_with(event + " "); ++i)
            Pump();
        return m_events.ends_with(event + " ");
    }
    void Control(std::uint64_t id, std::uint8_t type, std::uint8_t request, int value, int length) {
        usb_redir_control_packet_header header{};
        header.endpoint = type & 0x80;
        header.requesttype = type;
        header.request = request;
        header.value = static_cast<std::uint16_t>(value);
        header.length = static_cast<std::uint16_t>(length);
        usbredirparser_send_control_packet(m_parser.get(), id, &header, nullptr, 0);
    }
    void Out(std::uint64_t id, Bytes data) {
        usb_redir_bulk_packet_header header{};
        header.endpoint = 0x01;
        header.length = static_cast<std::uint16_t>(data.size());
        usbredirparser_send_bulk_packet(m_parser.get(), id, &header, data.data(),
                                        static_cast<int>(data.size()));
    }
    void In(std::uint64_t id, std::size_t length) {
        usb_redir_bulk_packet_header header{};
        header.endpoint = 0x82;
        header.length = static_cast<std::uint16_t>(length);
        header.length_high = static_cast<std::uint16_t>(length >> 16);
        usbredirparser_send_bulk_packet(m_parser.get(), id, &header, nullptr, 0);
    }
    void Cancel(std::uint64_t id) { usbredirparser_send_cancel_data_packet(m_parser.get(), id); }
    void Reset() { usbredirparser_send_reset(m_parser.get()); }

    std::string m_events;
    Bytes m_data;  // of the last answer

  private:
    static Guest& Self(void* object) { return *static_cast<Guest*>(object); }
    void Take(const char* kind, std::uint64_t id, int status, std::uint8_t* data, int length) {
        m_events += std::string(kind) + std::to_string(id) + ":" + std::to_string(status) + " ";
        m_data.assign(data, data + length);
        usbredirparser_free_packet_data(m_parser.get(), data);
    }
    void Pump() {
        usbredirparser_do_write(m_parser.get());
        pollfd wait{.fd = m_socket, .events = POLLIN, .revents = 0};
        if (::poll(&wait, 1, 10) > 0)
            usbredirparser_do_read(m_parser.get());
    }

    int m_socket;
    std::unique_ptr<usbredirparser, void (*)(usbredirparser*)> m_parser;
};

class UsbServerTest : public testing::Test {
  protected:
    explicit UsbServerTest(double pace = 0) {
        NewFrame frame;
        frame.lcdWidth = 32;
        frame.lcdHeight = 24;
        frame.flashSize = 262144;
        EXPECT_TRUE(CreateFrame(m_folder / "image", frame));
        auto server = UsbServer::Create({.image = m_folder / "image",
                                         .frame = {.pace = pace},
                                         .socket = m_folder / "bus",
                                         .control = m_folder / "control"});
        EXPECT_TRUE(server);
        m_server = std::move(*server);
        std::promise<void> ended;
        m_ended = ended.get_future();
        m_thread = std::thread([this, ended = std::move(ended)]() mutable {
            m_server->Run(m_stop);
            ended.set_value();
        });
    }
    ~UsbServerTest() override {
        EXPECT_EQ(::eventfd_write(m_stop, 1), 0);
        EXPECT_EQ(m_ended.wait_for(std::chrono::seconds(1)), std::future_status::ready);
        for (const int fd : m_flooders)
            ::close(fd);
        m_thread.join();
        ::close(m_stop);
    }
    std::string Order(const std::string& text) {
        const int fd = ConnectTo(m_folder / "control");
        EXPECT_EQ(::send(fd, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
        char answer[200] = {};
        const ssize_t got = ::recv(fd, answer, sizeof answer - 1, 0);
        ::close(fd);
        return {answer, static_cast<std::size_t>(std::max<ssize_t>(got, 0))};
    }

    // Sends `bytes` over and over and never reads.
    void Flood(const Path& socket, const std::string& first, const std::string& bytes) {
        const int fd = m_flooders.emplace_back(ConnectTo(socket));
        EXPECT_GE(::send(fd, first.data(), first.size(), MSG_NOSIGNAL), 0);
        std::size_t sent = 0;
        pollfd wait{.fd = fd, .events = POLLOUT, .revents = 0};
        while (sent<kFlood&& ::poll(&wait, 1, 300)> 0) {
            const ssize_t count = ::send(fd, bytes.data() + sent % bytes.size(),
                                         bytes.size() - sent % bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            if (count < 0)
                break;
            sent += static_cast<std::size_t>(count);
        }
    }

    test::TemporaryFolder m_folder;
    std::vector<int> m_flooders;
    int m_stop = ::eventfd(0, EFD_CLOEXEC);
    std::unique_ptr<UsbServer> m_server;
    std::thread m_thread;
    std::future<void> m_ended;
};

Bytes InquiryWrapper() {
    return CommandWrapper({0x12, 0, 0, 0, 36, 0}, 36, true);
}

TEST_F(UsbServerTest, AGuestEnumeratesAsksAndIsAnswered) {
    Guest guest(m_folder / "bus");
    ASSERT_TRUE(guest.Await("endpoints interface connect"));
    guest.Control(1, 0x80, 6, 0x0100, 8);  // the first 8 bytes of the device descriptor
    ASSERT_TRUE(guest.Await("control1:0"));
    EXPECT_THAT(guest.m_data, testing::ElementsAre(18, 1, 0, 2, 0, 0, 0, 64));
    guest.Control(2, 0x80, 6, 0x0600, 10);  // there is no device qualifier
    ASSERT_TRUE(guest.Await("control2:4"));
    guest.Control(3, 0xA1, 0xFE, 0, 1);
    ASSERT_TRUE(guest.Await("control3:0"));
    EXPECT_THAT(guest.m_data, testing::ElementsAre(0));

    guest.In(4, 36);  // asked before there is anything: kept
    guest.Out(5, InquiryWrapper());
    ASSERT_TRUE(guest.Await("bulk5:0 bulk4:0"));
    EXPECT_EQ(std::string(guest.m_data.begin() + 8, guest.m_data.begin() + 16), "QUORVANE");
    guest.In(6, 13);
    ASSERT_TRUE(guest.Await("bulk6:0"));
    EXPECT_EQ(guest.m_data.size(), 13U);

    guest.In(7, 512);
    guest.Cancel(7);
    ASSERT_TRUE(guest.Await("bulk7:1"));
    guest.Out(8, Bytes(31));  // no wrapper
    ASSERT_TRUE(guest.Await("bulk8:4"));
    guest.Reset();
    guest.Out(9, InquiryWrapper());
    ASSERT_TRUE(guest.Await("bulk9:0"));
}

TEST_F(UsbServerTest, TheFrameComesAndGoesOnOrder) {
    Guest guest(m_folder / "bus");
    ASSERT_TRUE(guest.Await("connect"));
    for (const char* wrong : {"plug\n", "dance\n", "fault short\n", "fault 1:loud\n", "fault 1:phase CG\n"})
        EXPECT_EQ(Order(wrong).substr(0, 6), "error:") << wrong;
    EXPECT_EQ(Order("fault 1:refuse\nunplug\n").substr(0, 3), "ok\n");
    ASSERT_TRUE(guest.Await("disconnect"));
    EXPECT_EQ(Order("plug\n"), "ok\n");
    ASSERT_TRUE(guest.Await("connect"));
}

// At this pace an INQUIRY takes 45 s.
class UsbServerOfASlowFrameTest : public UsbServerTest {
  protected:
    UsbServerOfASlowFrameTest() : UsbServerTest(1e-6) {}
};

TEST_F(UsbServerOfASlowFrameTest, ThePlugIsPulledAtOnceWhateverTheFrameIsDoing) {
    Guest guest(m_folder / "bus");
    ASSERT_TRUE(guest.Await("connect"));
    const int waiting = ConnectTo(m_folder / "control");
    ASSERT_EQ(::send(waiting, "wait\n", 5, MSG_NOSIGNAL), 5);
    guest.In(1, 36);
    guest.Out(2, InquiryWrapper());
    ASSERT_TRUE(guest.Await("bulk2:0"));
    char answer[8] = {};
    EXPECT_LT(::recv(waiting, answer, sizeof answer, MSG_DONTWAIT), 0);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Order("unplug\n"), "ok\n");
    ASSERT_TRUE(guest.Await("disconnect"));
    EXPECT_EQ(::recv(waiting, answer, sizeof answer, 0), 3);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_EQ(Order("wait\n"), "ok\n");
    ::close(waiting);
}

// One packet as it goes over the wire, its ids in 32 bits; zeros behind its header.
std::string Packet(std::uint32_t type, std::string body) {
    std::string packet(12, '\0');
    const MutableByteSpan header(reinterpret_cast<std::uint8_t*>(packet.data()), packet.size());
    PutLe32(header, type);
    PutLe32(header.subspan(4), static_cast<std::uint32_t>(body.size()));
    return packet + body;
}

std::string Hello() {
    return Packet(usb_redir_hello, std::string(64, 'x') + std::string(4, '\0'));
}

// Every packet type there is, may come to be or is not, of every length that one of them has and of odd ones,
// from one who has greeted and from one who has not.
TEST_F(UsbServerTest, AnswersAnyPacketInAnyOrder) {
    for (std::uint32_t type = 0; type <= 110; ++type) {
        for (const std::size_t length : {0U, 1U, 2U, 3U, 4U, 6U, 8U, 9U, 10U, 17U, 68U, 200U}) {
            for (const bool hasGreeted : {false, true}) {
                const std::string packet = Packet(type, std::string(length, '\0'));
                const std::string bytes = (hasGreeted ? Hello() : "") + packet + Hello() + packet + packet;
                const int fd = ConnectTo(m_folder / "bus");
                EXPECT_GT(::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), 0);
                ::shutdown(fd, SHUT_WR);
                AwaitEnd(fd);
            }
        }
    }
    Guest guest(m_folder / "bus");
    EXPECT_TRUE(guest.Await("connect"));
}

std::size_t MemoryInUse() {
    const struct mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Whoever asks and does not listen holds nobody up and takes no memory. The fixture ends the server with all
// of them still there.
TEST_F(UsbServerTest, ClientsThatOnlySendHoldNobodyUp) {
    const std::string control("\x80\6\x80\0\0\1\0\0\x12\0", 10);
    const struct {
        const char* socket;
        std::string once, bytes;
    } rows[] = {
        {"control", "", "dance\n"},
        {"control", "", std::string(4096, 'x')},  // a line that never ends
        {"bus", Hello(), Packet(usb_redir_control_packet, control)},
        {"bus", Hello(), Packet(usb_redir_bulk_packet, std::string("\x82\0\x24\0\0\0\0\0", 8))},
        {"bus", Hello(), Packet(usb_redir_get_configuration, "")},
        {"bus", Hello(), Packet(usb_redir_device_disconnect_ack, "")},
    };
    for (const auto& row : rows) {
        const std::size_t before = MemoryInUse();
        Flood(m_folder / row.socket, row.once, row.bytes);
        EXPECT_EQ(Order("plug\n").substr(0, 6), "error:") << row.socket << " " << row.bytes.substr(0, 20);
        EXPECT_LT(MemoryInUse(), before + (2 << 20)) << row.socket << " " << row.bytes.substr(0, 20);
        if (row.socket == std::string("bus"))  // the next one's turn
            ::shutdown(m_flooders.back(), SHUT_RDWR);
    }
}

TEST_F(UsbServerTest, SocketsInUseAreLeftAlone) {
    const auto again = UsbServer::Create({.image = m_folder / "other", .socket = m_folder / "bus"});
    ASSERT_FALSE(again);
    EXPECT_EQ(again.error().kind, ErrorKind::NotFound);
    std::filesystem::copy_file(m_folder / "image", m_folder / "other");
    const auto busy = UsbServer::Create({.image = m_folder / "other", .socket = m_folder / "bus"});
    ASSERT_FALSE(busy);
    EXPECT_EQ(busy.error().kind, ErrorKind::Busy);
    Guest guest(m_folder / "bus");
    EXPECT_TRUE(guest.Await("connect"));
    for (int i = 0; i < 20; ++i)  // who comes while a machine has the frame is turned away
        AwaitEnd(ConnectTo(m_folder / "bus"));
}

}  // namespace
}  // namespace lumato::vframe
