// One connection over the usbredir protocol, device side: the other end is a virtual machine whose USB bus
// the frame is plugged into.
//
// One thread at a time. Nothing blocks; the caller polls the socket.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>

#include <usbredirparser.h>

#include "vframe/bulk_only.h"

namespace lumato::vframe {

class UsbRedirection {
  public:
    // Greets the other end. `socket` must not block and stays the caller's. Requires: libusbredirparser is
    // there.
    explicit UsbRedirection(int socket);
    ~UsbRedirection();
    UsbRedirection(const UsbRedirection&) = delete;
    UsbRedirection& operator=(const UsbRedirection&) = delete;

    // Plugs the frame behind `storage` into the other end's bus, as soon as that has greeted; pulls it.
    // Requires: `storage` outlives its plug.
    void Plug(BulkOnly& storage);
    void Unplug();

    // The frame has something to say that no packet of the host brought about.
    void Continue() { ServeWaiting(); }

    // Reads and handles what has come, a bounded part of it and nothing while HasToSend(). False: the
    // connection has ended.
    [[nodiscard]] bool Receive();
    // Sends what can be sent now. False: the connection has ended.
    [[nodiscard]] bool Send();
    [[nodiscard]] bool HasToSend() const;

  private:
    struct Waiting {
        std::uint64_t id;
        usb_redir_bulk_packet_header header;
    };
    struct Handlers;
    struct ParserReleaser {
        void operator()(usbredirparser* parser) const;
    };

    void RefuseWhatIsNotThere();
    void Connect();
    void HandleControl(std::uint64_t id, usb_redir_control_packet_header header);
    [[nodiscard]] bool AnswerControl(const usb_redir_control_packet_header& header,
                                     std::vector<std::uint8_t>& answer);
    void HandleBulk(std::uint64_t id, usb_redir_bulk_packet_header header, ByteSpan data);
    void ServeWaiting();
    void Cancel(std::uint64_t id);
    void Reset();

    int m_socket;
    bool m_greeted = false;
    bool m_ended = false;
    int m_allowance = 0;  // bytes that the call of Receive() under way may still read
    BulkOnly* m_storage = nullptr;
    std::uint8_t m_configuration = 1;
    std::deque<Waiting> m_waiting;  // requests of the host for data, until there are any
    std::unique_ptr<usbredirparser, ParserReleaser> m_parser;
};

}  // namespace lumato::vframe
