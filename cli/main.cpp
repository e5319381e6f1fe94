// lumatoctl: the picture manager without a display.
#include <csignal>

#include <malloc.h>

#include "base/diagnostics.h"
#include "base/standard_descriptors.h"
#include "cli/commands.h"

namespace lumato::cli {
namespace {

int Run(const Arguments& arguments, const Output& output) {
    switch (arguments.command) {
        case Command::None:
            return arguments.exitStatus;
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
    SetDiagnosticStream(arguments.quiet ? nullptr : stderr);
    return cli::FlushOutput(cli::Run(arguments, cli::Output(arguments.json)));
}
