// A virtual frame on the USB bus of a virtual machine: serves the usbredir protocol on a UNIX socket, and
// takes orders on a second one.
//
// Orders are lines of text, each answered by a line "ok" or "error: ...":
//   plug               the frame gets power and is on the bus
//   unplug             it is gone at once, whatever it was doing
//   fault N:KIND       its N-th vendor command from now goes wrong, see usb_fault.h
//   wait               answered when the frame is not plugged in any more
//
// One thread; Run() blocks.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/trace.h"
#include "vframe/plugged_frame.h"
#include "vframe/usb_redirection.h"

namespace lumato::vframe {

struct UsbServerOptions {
    Path image;
    FrameOptions frame = {};
    Path socket;
    bool connect = false;  // false: listens on the socket; true: connects to one that somebody listens on
    std::optional<Path> control = {};
    std::shared_ptr<platform::TraceLog> trace =
        {};  // of everything that the frame is sent, the kernel's commands too
};

class UsbServer {
  public:
    // Opens image and sockets; the frame is plugged in. Errors: those of FlashImage::Open(), Busy (another
    // program listens there), Unwritable, NotFound (nobody to connect to), Unsupported (no
    // libusbredirparser).
    [[nodiscard]] static Result<std::unique_ptr<UsbServer>> Create(UsbServerOptions options);
    ~UsbServer();
    UsbServer(const UsbServer&) = delete;
    UsbServer& operator=(const UsbServer&) = delete;

    // Serves one virtual machine after the other. Ends when the connection that it made itself ends, or when
    // `stop` becomes readable (-1: never).
    void Run(int stop = -1);

    // What an order is answered, as on the control socket; "wait" is none for here.
    [[nodiscard]] std::string Obey(const std::string& order);

  private:
    class Socket;
    struct Plugged;
    struct Orders;

    explicit UsbServer(UsbServerOptions options);

    [[nodiscard]] Result<void> Plug();
    void Unplug();
    void UnplugIfGone();
    [[nodiscard]] bool AwaitEvents(int stop);
    void ContinueWork();
    void Accept();
    void ServeConnection(short events);
    void EndConnection();
    void TakeOrders(Orders& orders);
    static void Answer(Orders& orders, const std::string& answer);

    UsbServerOptions m_options;
    std::unique_ptr<Socket> m_listening, m_connection, m_control;
    std::unique_ptr<Plugged> m_plugged;
    std::unique_ptr<UsbRedirection> m_redirection;
    std::vector<std::unique_ptr<Orders>> m_orders;  // connections to the control socket
};

}  // namespace lumato::vframe
