// lumatoctl: the picture manager without a display.
#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>

#include <malloc.h>

#include "base/diagnostics.h"
#include "base/private_text.h"
#include "base/standard_descriptors.h"
#include "cli/commands.h"
#include "cli/file_roles.h"
#include "platform/linux/folders.h"
#include "report/report_log.h"

namespace lumato::cli {
namespace {

// Those that speak to a frame or concern its pictures; the others leave nothing behind.
bool IsLogged(Command command) {
    switch (command) {
        case Command::None:
        case Command::Report:
        case Command::Replay:
        case Command::Compose:
        case Command::Encode:
        case Command::Decode:
        case Command::Text:
        case Command::FrameNew:
        case Command::FrameServe:
        case Command::FrameRender:
        case Command::Permit:
            return false;
        default:
            return true;
    }
}

bool ChangesFrame(const Arguments& arguments) {
    const Command command = arguments.command;
    return !arguments.dryRun &&
           (command == Command::Add || command == Command::Download || command == Command::Delete ||
            command == Command::Move || command == Command::Restore || command == Command::Check);
}

// From the log, and from a report.
void HideNames(const Arguments& arguments) {
    for (const auto* names : {&arguments.files, &arguments.inputs, &arguments.outputs})
        for (const Path& name : *names)
            HideFileName(name.native());
    for (const auto& name : {arguments.frame, arguments.home, arguments.trace, arguments.saveFolder})
        if (name && !name->native().starts_with("/dev/"))
            HideFileName(name->native());
}

std::unique_ptr<report::ReportLog> MakeLog(const Arguments& arguments) {
    HideNames(arguments);
    if (!IsLogged(arguments.command))
        return nullptr;
    // A home of the user's choice gets its folders from whoever has something to keep there.
    using Folder = platform::LogFile::Folder;
    auto log = std::make_unique<report::ReportLog>("lumatoctl", platform::StateFolder(arguments.home),
                                                   arguments.home ? Folder::Await : Folder::Make);
    Log(arguments.commandName + ", " + Count(static_cast<long long>(arguments.files.size()), "file") +
        (arguments.dryRun ? ", dry run" : "") + (arguments.faults.empty() ? "" : ", with faults"));
    return log;
}

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
        case Command::Report:
            return RunReport(arguments, output);
        case Command::Replay:
            return RunReplay(arguments, output);
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

Phrase ReasonOf(const std::exception& error) {
    if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr)
        return "memory ran out";
    return std::string(error.what());  // it may name files
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
        Output::Complain(About("the trace is not whole", error->message));
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
    cli::Arguments arguments = cli::ParseArguments(argc, argv);
    SetDiagnosticStream(arguments.verbose ? stderr : nullptr);
    std::set_terminate(cli::EndAtOnce);
    const auto log = cli::MakeLog(arguments);
    if (log != nullptr)
        arguments.beginLog = [&log] { log->Begin(); };
    const int status = cli::FlushOutput(cli::Run(arguments, cli::Output(arguments.json)));
    if (log != nullptr && status != cli::kWrongUsage)
        log->Begin();
    Log("status " + std::to_string(status));
    if (log != nullptr && (status != cli::kDone || cli::ChangesFrame(arguments)))
        log->KeepTrace();
    return status;
}
