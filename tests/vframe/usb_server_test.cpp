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

#include "base/sha256.h"
#include "tests/support/temporary_folder.h"
#include "tests/vframe/frame_driver.h"
#include "vframe/new_frame.h"

namespace lumato::vframe {
namespace {

using testing::_;
using testing::MatchesRegex;

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

// One packet as it goes over the wire, its ids in 32 bits; zeros behind its header.
std::string Packet(std::uint32_t type, std::string body, std::uint32_t id = 0) {
    std::string packet(12, '\0');
    const MutableByteSpan header(reinterpret_cast<std::uint8_t*>(packet.data()), packet.size());
    PutLe32(header, type);
    PutLe32(header.subspan(4), static_cast<std::uint32_t>(body.size()));
    PutLe32(header.subspan(8), id);
    return packet + body;
}

std::string Hello() {
    return Packet(usb_redir_hello, std::string(64, 'x') + std::string(4, '\0'));
}

class UsbServerTest : public testing::Test {
  protected:
    UsbServerTest() {
        NewFrame frame;
        frame.lcdWidth = 32;
        frame.lcdHeight = 24;
        frame.flashSize = 262144;
        EXPECT_TRUE(CreateFrame(m_folder / "image", frame));
        auto server = UsbServer::Create(
            {.image = m_folder / "image", .socket = m_folder / "bus", .control = m_folder / "control"});
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

    // Greets and sends the packets: what is answered, as "type id: body" in hex, up to that many answers.
    std::vector<std::string> Ask(const std::string& packets, std::size_t count) {
        const int fd = ConnectTo(m_folder / "bus");
        const std::string bytes = Hello() + packets;
        EXPECT_GT(::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), 0);
        std::vector<std::string> answers;
        for (std::uint32_t header[3]; answers.size() < count;) {
            if (::recv(fd, header, sizeof header, MSG_WAITALL) != sizeof header)
                break;
            Bytes body(header[1]);
            EXPECT_EQ(::recv(fd, body.data(), body.size(), MSG_WAITALL), static_cast<ssize_t>(header[1]));
            answers.push_back(std::to_string(header[0]) + " " + std::to_string(header[2]) + ": " +
                              HexText(body));
        }
        ::close(fd);
        return answers;
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

// A command, its data asked for early, what is not there, an answer that nobody waits for any more, no
// wrapper.
TEST_F(UsbServerTest, AMachineAsksAndIsAnswered) {
    const auto control = [](std::uint32_t id, std::uint8_t type, std::uint8_t request, std::uint8_t value) {
        const char body[] = {static_cast<char>(type & 0x80),
                             static_cast<char>(request),
                             static_cast<char>(type),
                             0,
                             0,
                             static_cast<char>(value),
                             0,
                             0,
                             8,
                             0};
        return Packet(usb_redir_control_packet, std::string(body, sizeof body), id);
    };
    const auto in = [](std::uint32_t id) {
        return Packet(usb_redir_bulk_packet, std::string("\x82\0\x0D\0\0\0\0\0", 8), id);
    };
    const auto out = [](std::uint32_t id, const Bytes& data) {
        return Packet(usb_redir_bulk_packet,
                      std::string{1, 0, static_cast<char>(data.size()), 0, 0, 0, 0, 0} +
                          std::string(data.begin(), data.end()),
                      id);
    };
    const auto answers =
        Ask(control(1, 0x80, 6, 1) + control(2, 0x80, 6, 6) + control(3, 0xA1, 0xFE, 0) + in(4) +
                out(5, CommandWrapper({0, 0, 0, 0, 0, 0}, 0, false)) + in(6) +
                Packet(usb_redir_cancel_data_packet, "", 6) + out(7, Bytes(31)) +
                Packet(usb_redir_reset, "") + out(8, CommandWrapper({0, 0, 0, 0, 0, 0}, 0, false)),
            12);
    EXPECT_THAT(
        answers,
        testing::ElementsAre(
            _, "5 0: 0002" + std::string(28, 'f') + "00ff02" + std::string(26, 'f') + std::string(128, '0'),
            MatchesRegex("4 0: 010{70}08.*"), "1 0: 0200000009120100",
            // The device descriptor's first 8 bytes, no device qualifier, one unit.
            "100 1: 800680000001000008001201000200000040", "100 2: 80068004000600000000",
            "100 3: 80fea10000000000010000", "101 5: 01001f0000000000",
            "101 4: 82000d000000000055534253785634120000000000", "101 6: 8201000000000000",
            "101 7: 01041f0000000000", "101 8: 01001f0000000000"));
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
    EXPECT_EQ(Ask("", 4).size(), 4U);
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
        {"control", "", "fault short\nfault 1:loud\nfault 1:phase CG\n"},
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
    EXPECT_EQ(Ask("", 4).size(), 4U);
    const int machine = ConnectTo(m_folder / "bus");
    for (int i = 0; i < 20; ++i)  // who comes while a machine has the frame is turned away
        AwaitEnd(ConnectTo(m_folder / "bus"));
    ::close(machine);
}

}  // namespace
}  // namespace lumato::vframe
