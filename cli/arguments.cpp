#include "cli/arguments.h"

#include <algorithm>
#include <cstdio>
#include <span>
#include <string_view>

#include <CLI/CLI.hpp>

#include "cli/command_line.h"
#include "cli/help_texts.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/virtual_frame_arguments.h"

namespace lumato::cli {
namespace {

// Of a pose's numbers, and the greatest haste: more than any canvas, and than anybody waits for.
constexpr int kFarthest = 1'000'000;
// Leads to the file that stands there, if it is one.
constexpr const char* kStandardInput = "/proc/self/fd/0";

void AddPose(CLI::App* app, PoseArguments& pose) {
    const std::string group =
        "Pose (each picture fills the LCD without it; what the window's controls "
        "would not take is undone)";
    constexpr Range kAny{-kFarthest, kFarthest};
    AddNumber(app, "--rotate", pose.rotate, kAny, "turn clockwise")->type_name("DEGREES")->group(group);
    AddNumber(app, "--scale", pose.scale, kAny,
              "size of the picture; not below what fills the LCD, no side above 800 pixels, or twice the "
              "longer side of an LCD larger than 580 x 400")
        ->type_name("PERCENT")
        ->group(group);
    AddNumber(app, "--x", pose.x, kAny, "move to the right")->type_name("PIXELS")->group(group);
    AddNumber(app, "--y", pose.y, kAny, "move up")->type_name("PIXELS")->group(group);
    AddParsed(
        app, "--rect", pose.rect, [](const std::string& text) { return ParseReals(text, 4, kFarthest); },
        "four numbers X,Y,W,H from " + Text(kAny),
        "the LCD's place on the 580 x 400 canvas; W and H only tell the side it extends to (" + Text(kAny) +
            ")")
        ->type_name("X,Y,W,H")
        ->group(group);
}

// The general options stand on every command, so that they may come before or after it and its help lists
// them.
void AddGeneralOptions(CLI::App& app, Arguments& arguments) {
    AddPath(&app, "--frame", arguments.frame,
            "the virtual frame whose flash is FILE, or the frame at a node that `frames` lists")
        ->type_name("FILE");
    AddPath(&app, "--home", arguments.home,
            "resources folder: Language.ini, data/, Edata/ (default $XDG_DATA_HOME/lumato)")
        ->type_name("DIR");
    AddPath(&app, "--trace", arguments.trace, "write one line per SCSI command to FILE")->type_name("FILE");
    const auto takeFault = [&arguments](const std::string& text) {
        const Result<vframe::Fault> fault = vframe::ParseFault(text);
        if (!fault)
            throw CLI::ValidationError("--fault", fault.error().message.English());
        arguments.faults.push_back(*fault);
    };
    AddSeveral(&app, "--fault", takeFault,
               "the virtual frame's N-th command goes wrong; KIND is refuse, lost, half, flip, lie or unplug")
        ->type_name("N:KIND")
        ->type_size(1)
        ->allow_extra_args(false);
    AddParsed(
        &app, "--pace", arguments.pace,
        [](const std::string& text) { return ParseReal(text, 0.0001, kFarthest); },
        "a number from 0.0001 to " + std::to_string(kFarthest),
        "the virtual frame takes as long as a real one, X times as fast (0.0001 to " +
            std::to_string(kFarthest) + ")")
        ->type_name("X");
    AddFlag(&app, "--json", arguments.json, "one JSON object in place of text for people");
    AddFlag(&app, "--quiet", arguments.quiet, "no progress bar and no status notes");
    AddFlag(&app, "--progress", arguments.progress,
            "with --json: how far the work is, an object a line, before the answer");
    AddFlag(&app, "--verbose", arguments.verbose, "diagnostics of the lower layers on standard error, too");
}

CLI::Option* AddPositions(CLI::App* app, Arguments& arguments) {
    const auto take = [&arguments](const std::string& text) {
        const auto some = Checked("POSITION", text, ParsePositions, PositionWanted() + ", or such as 2-5,9");
        arguments.positions.insert(arguments.positions.end(), some.begin(), some.end());
    };
    return AddSeveral(app, "POSITION", take, "as `list` counts them; or such as 2-5,9")->type_name("");
}

// Of commands that write the list to the frame.
void AddDownloading(CLI::App* app, Arguments& arguments) {
    AddFlag(app, "--check", arguments.check, "read back all that was written, and compare it byte for byte");
    AddFlag(app, "--dry-run", arguments.dryRun, "only say what would be written");
}

void AddFrameCommands(CLI::App& app, Arguments& arguments) {
    CLI::App* frames = AddCommand(&app, arguments, Command::Frames, "frames",
                                  "every frame that is there; nothing is written to any");
    AddExamples(frames, kFramesExamples);
    AddCommand(&app, arguments, Command::Info, "info", "what the frame says of itself, and its space");
    AddCommand(&app, arguments, Command::List, "list", "the pictures of the frame, in order");

    CLI::App* add = AddCommand(&app, arguments, Command::Add, "add", "put pictures on the frame");
    const auto takePicture = [&arguments](const std::string& text) {
        arguments.files.emplace_back(text);
        const std::string name = text.starts_with('@') ? text.substr(1) : text;
        arguments.inputs.emplace_back(name == "-" ? kStandardInput : name);
    };
    AddSeveral(add, "FILE", takePicture, kPicturesHelp)->required()->type_name("");
    AddParsed(add, "--replace", arguments.replaceAt, ParsePosition, PositionWanted(),
              "put the one picture in the place of that one, as `list` counts them")
        ->type_name("POSITION");
    AddFlag(
        add, "--make-room", arguments.makeRoom,
        "where one does not fit, lower the quality of others whose photographs are still here as they were "
        "(by steps of 10, down to 50 at most), and keep their places");
    AddDownloading(add, arguments);
    AddPose(add, arguments.pose);
    AddExamples(add, kAddExamples);

    CLI::App* download = AddCommand(&app, arguments, Command::Download, "download",
                                    "finish a download that broke off, or write what waits");
    AddDownloading(download, arguments);
    AddExamples(download, kDownloadExamples);

    CLI::App* remove = AddCommand(&app, arguments, Command::Delete, "delete", "take pictures off the frame");
    CLI::Option* positions = AddPositions(remove, arguments);
    AddFlag(remove, "--all", arguments.all, "all of them; asks first on a terminal")->excludes(positions);
    AddFlag(remove, "--yes", arguments.yes, "do not ask");
    AddDownloading(remove, arguments);
    AddExamples(remove, kDeleteExamples);

    CLI::App* move = AddCommand(&app, arguments, Command::Move, "move",
                                "give a picture another place; those in between close up");
    AddPosition(move, "FROM", arguments.position, "as `list` counts them");
    AddPosition(move, "TO", arguments.newPosition, "the position that it gets");
    AddDownloading(move, arguments);
    AddExamples(move, kMoveExamples);
}

// Of all pictures as they are.
void AddCareCommands(CLI::App& app, Arguments& arguments) {
    CLI::App* check = AddCommand(&app, arguments, Command::Check, "check",
                                 "read every picture back; exit status 1 if one is damaged");
    AddFlag(check, "--mend", arguments.mend,
            "write the known bytes of damaged pictures again, from whatever copy or original is here");
    CLI::Option* mend = check->get_option("--mend");
    AddPath(check, "--from", arguments.from, "a backup that has copies of them, too")
        ->needs(mend)
        ->type_name("BACKUP");
    AddExamples(check, kCheckExamples);

    CLI::App* backup = AddCommand(&app, arguments, Command::Backup, "backup",
                                  "put the frame's pictures into one file; the frame is only read");
    AddOutput(backup, "FILE", arguments, "the file to write, a tar archive; must not be there yet");
    AddFlag(backup, "--force", arguments.force, "replace what is there");
    AddExamples(backup, kBackupExamples);
    CLI::App* restore =
        AddCommand(&app, arguments, Command::Restore, "restore",
                   "give the frame the pictures of a backup, and no others; asks first on a terminal");
    AddInput(restore, "FILE", arguments, "a backup");
    AddFlag(restore, "--yes", arguments.yes, "without a question");
    AddDownloading(restore, arguments);
    AddExamples(restore, kRestoreExamples);

    CLI::App* save = AddCommand(&app, arguments, Command::Save, "save",
                                "copy the frame's pictures as bitmaps 1.bmp, 2.bmp, ...");
    AddOutput(save, "DIR", arguments, "the folder for them; made if it is not there");
    AddPositions(save, arguments);
    AddFlag(save, "--original-names", arguments.originalNames, "named as `list` names them");
    AddExamples(save, kSaveExamples);
}

void AddFlashCommands(CLI::App& app, Arguments& arguments) {
    CLI::App* dump = AddCommand(&app, arguments, Command::Dump, "dump",
                                "copy the whole flash as it is into a file; the frame is only read");
    AddOutput(dump, "FILE", arguments, "the file to write");
    AddExamples(dump, kDumpExamples);
    CLI::App* verify = AddCommand(&app, arguments, Command::Verify, "verify",
                                  "compare the whole flash with a file; exit status 1 if they differ");
    AddInput(verify, "FILE", arguments, "a dump");
    AddExamples(verify, kVerifyExamples);
}

void AddFileCommands(CLI::App& app, Arguments& arguments) {
    CLI::App* compose = AddCommand(&app, arguments, Command::Compose, "compose",
                                   "render a posed picture as an LCD-sized bitmap file; no frame needed");
    AddInput(compose, "PICTURE", arguments, "the picture file");
    AddOutput(compose, "BITMAP", arguments, "the bitmap file to write");
    AddSize(compose, "--lcd", arguments, "size of the LCD")->required();
    AddPose(compose, arguments.pose);

    CLI::App* encode = AddCommand(&app, arguments, Command::Encode, "encode",
                                  "bitmap file to frame picture stream; no frame needed");
    AddInput(encode, "BITMAP", arguments, "the bitmap file");
    AddOutput(encode, "STREAM", arguments, "the stream file to write");
    AddSize(encode, "--size", arguments, "size of the bitmap")->required();
    AddNumber(encode, "--quality", arguments.quality, {0, 65535}, "1 to 100; 0 counts as 1, more as 100")
        ->type_name("Q");
    AddNumber(encode, "--sampling", arguments.sampling, {0, 255},
              "the frame's sampling value: 1, plus 1 for half the colour across, 2 down, 4 without tables, "
              "8 without the MCU table; 0 counts as 256")
        ->type_name("V");

    CLI::App* decode = AddCommand(&app, arguments, Command::Decode, "decode",
                                  "frame picture stream to bitmap file; no frame needed");
    AddInput(decode, "STREAM", arguments, "the stream file");
    AddOutput(decode, "BITMAP", arguments, "the bitmap file to write");
    AddSize(decode, "--size", arguments, "the size it must have (default: any)");
}

// When something is not as it should be.
void AddHelpfulCommands(CLI::App& app, Arguments& arguments) {
    CLI::App* recover = AddCommand(
        &app, arguments, Command::Recover, "recover",
        "pictures of downloads that broke off and of additions that wait, as files; no frame needed");
    CLI::Option* journal = AddParsed(recover, "N", arguments.position, ParsePosition, "a number such as 1",
                                     "the recovery journal, as `recover` alone lists them")
                               ->type_name("");
    CLI::Option* save =
        AddPath(recover, "--save", arguments.saveFolder,
                "write its pictures as N.stream and N.bmp into DIR; no file there is replaced")
            ->type_name("DIR")
            ->needs(journal);
    AddFlag(recover, "--forget", arguments.forget,
            "set it aside, so that no frame is offered its pictures any more; nothing is deleted")
        ->needs(journal)
        ->excludes(save);

    CLI::App* report = AddCommand(
        &app, arguments, Command::Report, "report",
        "versions, what the frame says of itself, the last trace and the log as one text for those who mend "
        "faults; it names no file and no user");
    AddOutput(report, "FILE", arguments, "the file to write (default: standard output)")->required(false);
    AddExamples(report, kReportExamples);
    CLI::App* replay = AddCommand(
        &app, arguments, Command::Replay, "replay",
        "send a report's trace to a virtual frame that says the same of itself; exit status 1 if its answers "
        "differ; no frame needed");
    AddInput(replay, "REPORT", arguments, "what `report` wrote");

    AddCommand(&app, arguments, Command::Permit, "permit",
               "let this computer's users use frames: installs the udev rule (as root)");

    CLI::App* text = AddCommand(&app, arguments, Command::Text, "text",
                                "what the language file gives for a key; no frame needed");
    AddText(text, "KEY", arguments.key, "the text's key")->required()->type_name("");
    AddText(text, "DEFAULT", arguments.defaultText, "the text without an entry")->required()->type_name("");
    AddText(text, "--section", arguments.section, "look only in this section")->type_name("NAME");
}

// Wherever it stands: behind the fault, too, where parsing never came.
bool WantsJson(std::span<const char* const> words) {
    return std::ranges::any_of(words, [](std::string_view word) { return word == "--json"; });
}

// The library would take the next word for the value.
void RefuseEmptyValues(std::span<const char* const> words) {
    for (const std::string_view word : words) {
        if (word == "--")
            return;
        if (word.starts_with("--") && word.ends_with('='))
            throw CLI::ValidationError(std::string(word), "a value is wanted");
    }
}

// Answers --help and --version, or says what was wrong. The exit status.
int Answer(const CLI::App& app, const CLI::ParseError& error, bool json) {
    if (error.get_exit_code() == 0)
        return app.exit(error);
    // The library would only say that a command is missing.
    const bool unknown = app.get_subcommands().empty() && !app.remaining().empty();
    const int status = Output(json).Failed(
        kWrongUsage,
        unknown ? app.remaining().front() + " is no command or option of this program" : error.what());
    std::fputs("Run with --help for more information.\n", stderr);
    return status;
}

}  // namespace

void DefineCommandLine(CLI::App& app, Arguments& arguments) {
    app.name("lumatoctl");
    app.description("lumatoctl manages the pictures of a USB digital photo frame.");
    app.set_version_flag("--version", "lumatoctl " LUMATO_VERSION);
    app.require_subcommand(1);
    app.footer(
        "The options of `lumatoctl --help` (--frame, --home, --json ...) go with it, before or after.");
    AddGeneralOptions(app, arguments);
    AddFrameCommands(app, arguments);
    AddCareCommands(app, arguments);
    AddFlashCommands(app, arguments);
    AddFileCommands(app, arguments);
    AddHelpfulCommands(app, arguments);
    AddVirtualFrameCommands(app, arguments);
    app.footer(kGeneralFooter);  // the commands have taken over the other one
}

Arguments ParseArguments(int argc, const char* const* argv) {
    Arguments arguments;
    CLI::App app;
    DefineCommandLine(app, arguments);
    const std::span<const char* const> words(argv, static_cast<std::size_t>(argc));
    try {
        RefuseEmptyValues(words);
        std::vector<std::string> reversed;  // as the library wants them, without the program's name
        for (std::size_t i = words.size(); i > 1; --i)
            reversed.push_back(Marked(words[i - 1]));
        app.parse(std::move(reversed));
        if (arguments.command == Command::Delete && !arguments.all && arguments.positions.empty())
            throw CLI::RequiredError("POSITION or --all");
        if (arguments.command == Command::FrameNew && !arguments.newFrame.from &&
            (!arguments.size || arguments.newFrame.flashBytes == 0))
            throw CLI::RequiredError("--lcd and --flash, or --from");
        if (arguments.command == Command::Recover && arguments.position != 0 && !arguments.saveFolder &&
            !arguments.forget)
            throw CLI::RequiredError("--save DIR or --forget");
        if (arguments.progress && !arguments.json)
            throw CLI::RequiredError("--json, for --progress,");
        if (arguments.newFrame.from)
            arguments.inputs.push_back(*arguments.newFrame.from);
        if (arguments.from)
            arguments.inputs.push_back(*arguments.from);
        if (arguments.saveFolder)
            arguments.outputs.push_back(*arguments.saveFolder);
    } catch (const CLI::ParseError& error) {
        arguments.command = Command::None;
        arguments.exitStatus = Answer(app, error, WantsJson(words));
    }
    return arguments;
}

}  // namespace lumato::cli
