#include "vframe/usb_server.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/printable.h"
#include "vframe/usbredir_library.h"

namespace lumato::vframe {
namespace {

Result<sockaddr_un> AddressOf(const Path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    // Without a name it would be a socket that is in no folder, open to all users.
    if (path.empty() || path.native().size() >= sizeof address.sun_path)
        return Fail(ErrorKind::Unwritable,
                    Printable(path.native()) + ": no name for a socket, or too long a one");
    std::memcpy(address.sun_path, path.c_str(), path.native().size());
    return address;
}

const sockaddr* Generic(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

constexpr std::size_t kMostOrderers = 16;
constexpr std::size_t kLongestOrder = 200;

// How long it is to `time`, not below nothing; none without one.
std::optional<timespec> TimeTo(std::optional<BulkOnly::Time> time) {
    if (!time)
        return std::nullopt;
    using std::chrono::nanoseconds;
    const auto left = std::max(nanoseconds(*time - std::chrono::steady_clock::now()), nanoseconds(0));
    return timespec{.tv_sec = left / std::chrono::seconds(1),
                    .tv_nsec = (left % std::chrono::seconds(1)).count()};
}

// The server waits for the frame, so that the plug can be pulled meanwhile; the frame itself must not.
FrameOptions WithoutPace(FrameOptions options) {
    options.pace = 0;
    return options;
}

// Forwards the commands to a frame that somebody else owns.
class Borrowed : public platform::ScsiDevice {
  public:
    explicit Borrowed(PluggedFrame& frame) : m_frame(frame) {}

    [[nodiscard]] platform::ScsiOutcome Execute(const platform::ScsiRequest& request) override {
        return m_frame.Execute(request);
    }
    [[nodiscard]] bool IsGone() const override { return m_frame.IsGone(); }

  private:
    PluggedFrame& m_frame;
};

std::unique_ptr<platform::ScsiDevice> Traced(PluggedFrame& frame,
                                             const std::shared_ptr<platform::TraceLog>& log) {
    auto borrowed = std::make_unique<Borrowed>(frame);
    if (log == nullptr)
        return borrowed;
    return std::make_unique<platform::TracedDevice>(std::move(borrowed), log);
}

}  // namespace

class UsbServer::Socket {
  public:
    explicit Socket(int fd, Path path = {}) : m_fd(fd), m_path(std::move(path)) {}
    ~Socket() {
        ::close(m_fd);
        if (!m_path.empty())
            ::unlink(m_path.c_str());
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    // Busy: somebody listens there, and does not accept those who wait already.
    static Result<std::unique_ptr<Socket>> Connect(const Path& path) {
        LUMATO_TRY(const sockaddr_un address, AddressOf(path));
        auto socket = Make();
        if (::connect(socket->Get(), Generic(address), sizeof address) != 0)
            return Fail(errno == EAGAIN ? ErrorKind::Busy : ErrorKind::NotFound,
                        About(Printable(path.native()), SystemMessage(errno)));
        return socket;
    }

    static Result<std::unique_ptr<Socket>> Listen(const Path& path) {
        LUMATO_TRY(const sockaddr_un address, AddressOf(path));
        std::error_code error;
        if (std::filesystem::is_socket(path, error)) {
            const auto other = Connect(path);
            if (other || other.error().kind == ErrorKind::Busy)
                return Fail(ErrorKind::Busy,
                            About(Printable(path.native()), "another program listens there"));
            ::unlink(path.c_str());  // left over by a program that was killed
        }
        auto socket = Make();
        if (::bind(socket->Get(), Generic(address), sizeof address) != 0)
            return Fail(ErrorKind::Unwritable, About(Printable(path.native()), SystemMessage(errno)));
        socket->m_path = path;
        if (::listen(socket->Get(), 4) != 0)
            return Fail(ErrorKind::Unwritable, About(Printable(path.native()), SystemMessage(errno)));
        return socket;
    }

    [[nodiscard]] std::unique_ptr<Socket> Accept() const {
        const int fd = ::accept4(m_fd, nullptr, nullptr, SOCK_CLOEXEC);
        return fd < 0 ? nullptr : std::make_unique<Socket>(fd);
    }
    [[nodiscard]] int Get() const { return m_fd; }

  private:
    // Nothing here waits but for all of its sockets at once.
    static std::unique_ptr<Socket> Make() {
        return std::make_unique<Socket>(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    }

    const int m_fd;
    Path m_path;  // to be removed with the socket; empty for a connection
};

// A frame from its plug to its unplugging.
struct UsbServer::Plugged {
    Plugged(FlashImage flash, const UsbServerOptions& options)
        : frame(std::move(flash), WithoutPace(options.frame)),
          device(Traced(frame, options.trace)),
          storage(frame, *device, options.frame.pace) {}

    PluggedFrame frame;
    std::unique_ptr<platform::ScsiDevice> device;
    BulkOnly storage;
};

struct UsbServer::Orders {
    std::unique_ptr<Socket> socket;
    std::string text;    // of a line that has not ended yet
    bool waits = false;  // for the frame to be unplugged
    bool ended = false;
};

UsbServer::UsbServer(UsbServerOptions options) : m_options(std::move(options)) {}
UsbServer::~UsbServer() = default;

Result<std::unique_ptr<UsbServer>> UsbServer::Create(UsbServerOptions options) {
    std::unique_ptr<UsbServer> server(new UsbServer(std::move(options)));
    const UsbServerOptions& wanted = server->m_options;
    LUMATO_TRY_VOID(UsbredirLibrary::Get().library.Check());
    LUMATO_TRY_VOID(server->Plug());
    if (wanted.control) {
        LUMATO_TRY(server->m_control, Socket::Listen(*wanted.control));
    }
    if (!wanted.connect) {
        LUMATO_TRY(server->m_listening, Socket::Listen(wanted.socket));
        return server;
    }
    LUMATO_TRY(server->m_connection, Socket::Connect(wanted.socket));
    server->m_redirection = std::make_unique<UsbRedirection>(server->m_connection->Get());
    server->m_redirection->Plug(server->m_plugged->storage);
    return server;
}

Result<void> UsbServer::Plug() {
    if (m_plugged != nullptr)
        return Fail(ErrorKind::Refused, "it is plugged in");
    LUMATO_TRY(FlashImage flash, FlashImage::Open(m_options.image));
    m_plugged = std::make_unique<Plugged>(std::move(flash), m_options);
    if (m_redirection != nullptr)
        m_redirection->Plug(m_plugged->storage);
    return {};
}

void UsbServer::Unplug() {
    if (m_plugged != nullptr)
        m_plugged->storage.Pull();
    if (m_redirection != nullptr)
        m_redirection->Unplug();
    m_plugged.reset();
    for (const auto& orders : m_orders) {
        if (std::exchange(orders->waits, false))
            Answer(*orders, "ok");
    }
}

void UsbServer::UnplugIfGone() {
    if (m_plugged != nullptr && (m_plugged->frame.IsGone() || m_plugged->storage.IsPulled()))
        Unplug();
}

void UsbServer::Run(int stop) {
    while ((!m_options.connect || m_connection != nullptr) && AwaitEvents(stop))
        ContinueWork();
}

// Handles what comes next, or nothing when a command has taken its time first. False: it is to end.
bool UsbServer::AwaitEvents(int stop) {
    std::vector<pollfd> waits;
    const auto wait = [&](int fd, short events) {
        waits.push_back({.fd = fd, .events = events, .revents = 0});
    };
    const bool sending = m_redirection != nullptr && m_redirection->HasToSend();
    const auto descriptor = [](const std::unique_ptr<Socket>& socket) {
        return socket != nullptr ? socket->Get() : -1;
    };
    wait(stop, POLLIN);
    wait(descriptor(m_connection), sending ? POLLOUT : POLLIN);
    wait(descriptor(m_control), POLLIN);
    wait(descriptor(m_listening), POLLIN);
    for (const auto& orders : m_orders)
        wait(orders->socket->Get(), POLLIN);
    const std::optional<timespec> limit = TimeTo(m_plugged ? m_plugged->storage.EndOfWork() : std::nullopt);
    if (::ppoll(waits.data(), waits.size(), limit ? &*limit : nullptr, nullptr) < 0)
        return errno == EINTR;

    for (std::size_t i = 0; i < m_orders.size(); ++i) {
        if (waits[4 + i].revents != 0)
            TakeOrders(*m_orders[i]);
    }
    std::erase_if(m_orders, [](const auto& orders) { return orders->ended; });
    if (waits[2].revents != 0) {
        auto accepted = m_control->Accept();
        if (accepted != nullptr && m_orders.size() < kMostOrderers)
            m_orders.push_back(std::make_unique<Orders>(Orders{.socket = std::move(accepted), .text = {}}));
    }
    if (waits[1].revents != 0)
        ServeConnection(waits[1].revents);
    if (waits[3].revents != 0)
        Accept();
    return waits[0].revents == 0;
}

void UsbServer::ContinueWork() {
    if (m_plugged == nullptr || !m_plugged->storage.EndOfWork())
        return;
    m_plugged->storage.Continue(std::chrono::steady_clock::now());
    if (m_redirection == nullptr)
        return;
    m_redirection->Continue();
    UnplugIfGone();
}

// The bus has one frame: who comes while a machine has it is turned away rather than left waiting.
void UsbServer::Accept() {
    auto accepted = m_listening->Accept();
    if (accepted == nullptr || m_connection != nullptr)
        return;
    m_connection = std::move(accepted);
    m_redirection = std::make_unique<UsbRedirection>(m_connection->Get());
    if (m_plugged != nullptr)
        m_redirection->Plug(m_plugged->storage);
}

void UsbServer::ServeConnection(short events) {
    const bool alive =
        ((events & (POLLIN | POLLHUP | POLLERR)) == 0 || m_redirection->Receive()) && m_redirection->Send();
    UnplugIfGone();
    if (!alive)
        EndConnection();
}

// The machine is off. Its frame stays plugged in, for the next one.
void UsbServer::EndConnection() {
    m_redirection.reset();
    m_connection.reset();
    if (m_plugged != nullptr)
        m_plugged->storage.Reset();
}

void UsbServer::TakeOrders(Orders& orders) {
    char bytes[512];
    const ssize_t got = ::recv(orders.socket->Get(), bytes, sizeof bytes, MSG_DONTWAIT);
    if (got <= 0) {
        orders.ended = got == 0 || errno != EAGAIN;
        return;
    }
    orders.text.append(bytes, static_cast<std::size_t>(got));
    for (std::size_t end = orders.text.find('\n'); end != std::string::npos; end = orders.text.find('\n')) {
        const std::string order = orders.text.substr(0, end);
        orders.text.erase(0, end + 1);
        orders.waits = order == "wait" && m_plugged != nullptr;
        if (!orders.waits)
            Answer(orders, order == "wait" ? "ok" : Obey(order));
    }
    if (orders.text.size() > kLongestOrder) {
        Answer(orders, "error: too long an order");
        orders.ended = true;
    }
}

// Whoever does not read his answers gets no more of them.
void UsbServer::Answer(Orders& orders, const std::string& answer) {
    const std::string line = answer + "\n";
    if (::send(orders.socket->Get(), line.data(), line.size(), MSG_NOSIGNAL | MSG_DONTWAIT) !=
        static_cast<ssize_t>(line.size()))
        orders.ended = true;
}

std::string UsbServer::Obey(const std::string& order) {
    constexpr std::string_view fault = "fault ";
    Result<void> done;
    if (order == "plug") {
        done = Plug();
    } else if (order == "unplug") {
        if (m_plugged == nullptr)
            done = Fail(ErrorKind::Refused, "it is not plugged in");
        Unplug();
    } else if (order.starts_with(fault)) {
        const Result<UsbFault> parsed = ParseUsbFault(std::string_view(order).substr(fault.size()));
        if (!parsed)
            done = tl::unexpected(parsed.error());
        else if (m_plugged == nullptr)
            done = Fail(ErrorKind::Refused, "it is not plugged in");
        else
            m_plugged->storage.Order(*parsed);
    } else {
        done = Fail(ErrorKind::Unsupported, "the orders are plug, unplug, wait and fault N:KIND");
    }
    return done ? "ok" : "error: " + Printable(done.error().message.English());
}

}  // namespace lumato::vframe
