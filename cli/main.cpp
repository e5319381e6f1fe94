// lumatoctl: the picture manager without a display.
#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>

#include <malloc.h>

#include "base/diagnostics.h"
#include "base/standard_descriptors.h"
#include "cli/commands.h"
#include "cli/file_roles.h"

namespace lumato::cli {
namespace {

int RunCommand(const Arguments& arguments, const Output& output) {
    if (const auto harmless = CheckOutputs(arguments); !harmless)
        return output.Failed(harmless.error());
    switch (arguments.command) {
        case Command::None:
            return arguments.exitStatus;
        case Command::Frames:
            return RunFrames(arguments, output);
        case Command::Dump:
            return RunDump(arguments, output);
        case Command::Verify:
            return RunVerify(arguments, output);
        case Command::Info:
            return RunInfo(arguments, output);
        case Command::List:
            return RunList(arguments, output);
        case Command::Add:
            return RunAdd(arguments, output);
        case Command::Download:
            return RunDownload(arguments, output);
        case Command::Delete:
            return RunDelete(arguments, output);
        case Command::Move:
            return RunMove(arguments, output);
        case Command::Backup:
            return RunBackup(arguments, output);
        case Command::Restore:
            return RunRestore(arguments, output);
        case Command::Check:
            return RunCheck(arguments, output);
        case Command::Save:
            return RunSave(arguments, output);
        case Command::Compose:
            return RunCompose(arguments, output);
        case Command::Encode:
            return RunEncode(arguments, output);
        case Command::Decode:
            return RunDecode(arguments, output);
        case Command::Recover:
            return RunRecover(arguments, output);
        case Command::Text:
            return RunText(arguments, output);
        case Command::FrameNew:
            return RunFrameNew(arguments, output);
        case Command::Permit:
            return RunPermit(arguments, output);
        case Command::FrameServe:
            return RunFrameServe(arguments, output);
        case Command::FrameRender:
            return RunFrameRender(arguments, output);
    }
    return kWrongUsage;
}

std::string ReasonOf(const std::exception& error) {
    return dynamic_cast<const std::bad_alloc*>(&error) != nullptr ? "memory ran out" : error.what();
}

// An error that nobody expected on a thread of its own. What the frame and the disk hold at any moment can be
// recovered, so that ending here does no harm.
[[noreturn]] void EndAtOnce() {
    try {
        if (const std::exception_ptr error = std::current_exception())
            std::rethrow_exception(error);
    } catch (const std::exception& error) {
        Output::Complain(ReasonOf(error));
        std::_Exit(kRefused);
    } catch (...) {
    }
    std::abort();
}

int Run(const Arguments& arguments, const Output& output) {
    int status = kRefused;
    try {
        status = RunCommand(arguments, output);
    } catch (const std::exception& error) {
        status = output.Failed(kRefused, ReasonOf(error));
    }
    if (const auto& error = *arguments.traceError) {
        Output::Complain("the trace is not whole: " + error->message.English());
        return status == kDone ? kRefused : status;
    }
    return status;
}

}  // namespace
}  // namespace lumato::cli

int main(int argc, char** argv) {
    using namespace lumato;
    OccupyStandardDescriptors();
    // A reader that went away, or a limit on file sizes, is a failed write like any other, not the end.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    // Imported pictures go back to the system when they are released, not into a pool of freed ones that a
    // batch on several threads would fill. Bitmaps for the LCD come and go with each picture and do stay:
    // memory from the system costs more than what is done with it.
    ::mallopt(M_MMAP_THRESHOLD, 4 << 20);
    ::mallopt(M_TRIM_THRESHOLD, 8 << 20);
    const cli::Arguments arguments = cli::ParseArguments(argc, argv);
    SetDiagnosticStream(arguments.verbose ? stderr : nullptr);
    std::set_terminate(cli::EndAtOnce);
    return cli::FlushOutput(cli::Run(arguments, cli::Output(arguments.json)));
}
