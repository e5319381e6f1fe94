// lumatoctl frame serve: the virtual frame as a USB mass-storage device of a virtual machine.
#include <cerrno>
#include <csignal>

#include <sys/eventfd.h>
#include <unistd.h>

#include "base/printable.h"
#include "cli/commands.h"
#include "vframe/usb_server.h"

namespace lumato::cli {
namespace {

int endEvent = -1;

// The sockets are removed in good order, unless the program cannot come to it: it may be writing its trace or
// a diagnostic to a pipe that nobody reads.
void End(int) {
    const int kept = errno;
    static_cast<void>(::eventfd_write(endEvent, 1));
    ::ualarm(700'000, 0);
    errno = kept;
}

// Makes `endEvent` readable once somebody wants the program to end.
void AwaitSignals() {
    endEvent = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    std::signal(SIGALRM, [](int) { ::_exit(kDone); });
    for (const int ending : {SIGINT, SIGTERM})
        std::signal(ending, End);
}

tl::expected<vframe::UsbServerOptions, Error> OptionsFor(const Arguments& arguments) {
    vframe::UsbServerOptions options;
    options.image = arguments.files.front();
    options.socket = arguments.serve.socket;
    options.frame.faults = arguments.faults;
    options.frame.pace = arguments.pace.value_or(0);
    if (arguments.serve.vendor)
        options.frame.identity.vendor = *arguments.serve.vendor;
    options.frame.identity.type = static_cast<std::uint8_t>(arguments.serve.type);
    options.connect = arguments.serve.connect;
    options.control = arguments.serve.control;
    if (arguments.trace) {
        LUMATO_TRY(options.trace, platform::TraceLog::Create(*arguments.trace));
    }
    return options;
}

}  // namespace

int RunFrameServe(const Arguments& arguments, const Output& output) {
    AwaitSignals();
    tl::expected<vframe::UsbServerOptions, Error> options = OptionsFor(arguments);
    if (!options)
        return output.Failed(kRefused, options.error().message);
    const std::shared_ptr<platform::TraceLog> trace = options->trace;
    Result<std::unique_ptr<vframe::UsbServer>> server = vframe::UsbServer::Create(std::move(*options));
    if (!server) {
        const ErrorKind kind = server.error().kind;
        const bool noFrame = kind == ErrorKind::NotFound || kind == ErrorKind::Unsupported;
        return output.Failed(noFrame ? kNoFrame : kRefused, server.error().message);
    }
    if (!arguments.quiet)
        std::fprintf(stderr, "%s is on the bus at %s\n", Printable(arguments.files.front().native()).c_str(),
                     Printable(arguments.serve.socket.native()).c_str());
    (*server)->Run(endEvent);
    if (const Result<void> whole = trace ? trace->Whole() : Result<void>(); !whole)
        *arguments.traceError = whole.error();
    return kDone;
}

}  // namespace lumato::cli
