#include "cli/arguments.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <sstream>

#include <CLI/CLI.hpp>

#include "base/printable.h"

namespace lumato::cli {
namespace {

constexpr int kUsageError = 2;

constexpr const char* kGeneralFooter =
    "Exit status: 0 all done; 1 the frame or a file refused something; 2 wrong usage;\n"
    "3 no frame found, or FILE is no usable flash image.\n\n"
    "A first try, without any hardware:\n"
    "  lumatoctl frame new my.frame --lcd 480x234 --flash 4M\n"
    "  lumatoctl --frame my.frame add ~/Pictures/*.jpg\n"
    "  lumatoctl frame render my.frame 1 shown.png";

// Decimal or 0x hex, the whole text.
std::optional<std::uint64_t> ParseNumber(std::string_view text, int base = 10) {
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        base = 16;
    }
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::optional<std::uint64_t> ParseBytes(std::string text) {
    std::uint64_t unit = 1;
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    if (!hex && !text.empty() && (text.back() == 'K' || text.back() == 'k'))
        unit = 1024;
    if (!hex && !text.empty() && (text.back() == 'M' || text.back() == 'm'))
        unit = 1024 * 1024;
    if (unit != 1)
        text.pop_back();
    const auto number = ParseNumber(text);
    if (!number || *number > std::numeric_limits<std::uint64_t>::max() / unit)
        return std::nullopt;
    return *number * unit;
}

std::optional<int> ParsePosition(const std::string& text) {
    const auto number = ParseNumber(text);
    if (!number || *number < 1 || *number > std::numeric_limits<int>::max())
        return std::nullopt;
    return static_cast<int>(*number);
}

std::optional<Size> ParseSize(const std::string& text) {
    const std::size_t cross = text.find_first_of("xX");
    if (cross == std::string::npos)
        return std::nullopt;
    const auto part = [](std::string_view digits) -> int {
        int value = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        return error == std::errc() && end == digits.data() + digits.size() ? value : 0;
    };
    const std::string_view view = text;
    const Size size{part(view.substr(0, cross)), part(view.substr(cross + 1))};
    if (size.width < 1 || size.height < 1 || size.width > 65535 || size.height > 65535)
        return std::nullopt;
    return size;
}

constexpr const char* kPositionWanted = "a position such as 1";

// The value that `parse` makes of the text; a text that it refuses is wrong usage.
template <class Parse>
auto Checked(const std::string& name, const std::string& text, Parse parse, const char* wanted) {
    const auto value = parse(text);
    if (!value)
        throw CLI::ValidationError(name, "\"" + text + "\" is not " + wanted);
    return *value;
}

template <class T, class Parse>
CLI::Option* AddParsed(CLI::App* app, const std::string& name, T& target, Parse parse, const char* wanted,
                       const std::string& help) {
    const auto take = [&target, parse, name, wanted](const std::string& text) {
        target = static_cast<T>(Checked(name, text, parse, wanted));
    };
    return app->add_option_function<std::string>(name, take, help);
}

// A number from 0 to `most`, with its default in the help.
CLI::Option* AddNumber(CLI::App* app, const std::string& name, int& target, int most,
                       const std::string& help) {
    const auto parse = [most](const std::string& text) -> std::optional<int> {
        const auto number = ParseNumber(text);
        if (!number || *number > static_cast<std::uint64_t>(most))
            return std::nullopt;
        return static_cast<int>(*number);
    };
    return AddParsed(app, name, target, parse,
                     most == 255 ? "a number from 0 to 255" : "a number from 0 to 65535",
                     help + " (default " + std::to_string(target) + ")");
}

CLI::Option* AddSize(CLI::App* app, const std::string& name, Arguments& arguments, const std::string& help) {
    return AddParsed(app, name, arguments.size, ParseSize, "a size such as 320x240 (1 to 65535 a side)", help)
        ->type_name("WxH");
}

CLI::Option* AddFile(CLI::App* app, const std::string& name, Arguments& arguments, const std::string& help) {
    return app
        ->add_option_function<std::string>(
            name, [&arguments](const std::string& text) { arguments.files.emplace_back(text); }, help)
        ->required()
        ->type_name("");
}

void AddPose(CLI::App* app, PoseArguments& pose) {
    const std::string group = "Pose (each picture fills the LCD without it)";
    app->add_option("--rotate", pose.rotate, "turn clockwise")->type_name("DEGREES")->group(group);
    app->add_option("--scale", pose.scale, "size of the picture; not below what fills the LCD")
        ->type_name("PERCENT")
        ->group(group);
    app->add_option("--x", pose.x, "move to the right")->type_name("PIXELS")->group(group);
    app->add_option("--y", pose.y, "move up")->type_name("PIXELS")->group(group);
    app->add_option("--rect", pose.rect,
                    "the LCD's place on the 580 x 400 canvas; W and H only tell the side it extends to")
        ->delimiter(',')
        ->expected(4)
        ->type_name("X,Y,W,H")
        ->group(group);
}

// The general options stand on every command, so that they may come before or after it and its help lists
// them.
void AddGeneralOptions(CLI::App& app, Arguments& arguments) {
    app.add_option("--frame", arguments.frame, "the virtual frame whose flash is FILE")->type_name("FILE");
    app.add_option("--home", arguments.home,
                   "resources folder: Language.ini, data/, Edata/ (default $XDG_DATA_HOME/lumato)")
        ->type_name("DIR");
    app.add_option("--trace", arguments.trace, "write one line per SCSI command to FILE")->type_name("FILE");
    const auto takeFaults = [&arguments](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            const Result<vframe::Fault> fault = vframe::ParseFault(text);
            if (!fault)
                throw CLI::ValidationError("--fault", fault.error().message);
            arguments.faults.push_back(*fault);
        }
    };
    app.add_option_function<std::vector<std::string>>(
           "--fault", takeFaults,
           "the virtual frame's N-th command goes wrong; KIND is refuse, lost, half, flip, lie or unplug")
        ->type_name("N:KIND")
        ->type_size(1)
        ->allow_extra_args(false);
    const auto speed = [](const std::string& text) -> std::optional<double> {
        char* end = nullptr;
        const double value = std::strtod(text.c_str(), &end);
        return !text.empty() && *end == '\0' && value > 0 && std::isfinite(value) ? std::optional(value)
                                                                                  : std::nullopt;
    };
    AddParsed(&app, "--pace", arguments.pace, speed, "a number above 0",
              "the virtual frame takes as long as a real one, X times as fast")
        ->type_name("X");
    app.add_flag("--json", arguments.json, "one JSON object in place of text for people");
    app.add_flag("--quiet", arguments.quiet, "no progress bar and no status notes");
}

CLI::App* AddCommand(CLI::App* parent, Arguments& arguments, Command command, const std::string& name,
                     const std::string& help) {
    CLI::App* app = parent->add_subcommand(name, help);
    app->fallthrough();
    app->callback([&arguments, command] { arguments.command = command; });
    return app;
}

void AddFrameCommands(CLI::App& app, Arguments& arguments) {
    AddCommand(&app, arguments, Command::Info, "info", "what the frame says of itself, and its space");
    AddCommand(&app, arguments, Command::List, "list", "the pictures of the frame, in order");

    CLI::App* add = AddCommand(&app, arguments, Command::Add, "add", "put pictures on the frame");
    add->add_option("FILE", arguments.files, "picture files, in the order wanted on the frame")
        ->required()
        ->type_name("");
    AddPose(add, arguments.pose);

    CLI::App* remove = AddCommand(&app, arguments, Command::Delete, "delete", "take pictures off the frame");
    const auto takePositions = [&arguments](const std::vector<std::string>& texts) {
        for (const std::string& text : texts)
            arguments.positions.push_back(Checked("POSITION", text, ParsePosition, kPositionWanted));
    };
    CLI::Option* positions = remove
                                 ->add_option_function<std::vector<std::string>>(
                                     "POSITION", takePositions, "as `list` counts them, from 1")
                                 ->type_name("");
    CLI::Option* all = remove->add_flag("--all", arguments.all, "all of them");
    all->excludes(positions);

    CLI::App* save = AddCommand(&app, arguments, Command::Save, "save",
                                "copy the frame's pictures as bitmaps 1.bmp, 2.bmp, ...");
    AddFile(save, "DIR", arguments, "the folder for them; made if it is not there");
}

void AddFileCommands(CLI::App& app, Arguments& arguments) {
    CLI::App* compose = AddCommand(&app, arguments, Command::Compose, "compose",
                                   "render a posed picture as an LCD-sized bitmap file; no frame needed");
    AddFile(compose, "PICTURE", arguments, "the picture file");
    AddFile(compose, "BITMAP", arguments, "the bitmap file to write");
    AddSize(compose, "--lcd", arguments, "size of the LCD")->required();
    AddPose(compose, arguments.pose);

    CLI::App* encode = AddCommand(&app, arguments, Command::Encode, "encode",
                                  "bitmap file to frame picture stream; no frame needed");
    AddFile(encode, "BITMAP", arguments, "the bitmap file");
    AddFile(encode, "STREAM", arguments, "the stream file to write");
    AddSize(encode, "--size", arguments, "size of the bitmap")->required();
    encode->add_option("--quality", arguments.quality, "1 to 100")->type_name("Q")->capture_default_str();
    encode->add_option("--sampling", arguments.sampling, "the frame's sampling value; 1 is 4:4:4, 4 is 4:2:0")
        ->type_name("V")
        ->capture_default_str();

    CLI::App* decode = AddCommand(&app, arguments, Command::Decode, "decode",
                                  "frame picture stream to bitmap file; no frame needed");
    AddFile(decode, "STREAM", arguments, "the stream file");
    AddFile(decode, "BITMAP", arguments, "the bitmap file to write");
    AddSize(decode, "--size", arguments, "the size it must have (default: any)");

    AddCommand(&app, arguments, Command::Permit, "permit",
               "let this computer's users use frames: installs the udev rule (as root)");

    CLI::App* text = AddCommand(&app, arguments, Command::Text, "text",
                                "what the language file gives for a key; no frame needed");
    text->add_option("KEY", arguments.key, "the text's key")->required()->type_name("");
    text->add_option("DEFAULT", arguments.defaultText, "the text without an entry")
        ->required()
        ->type_name("");
    text->add_option("--section", arguments.section, "look only in this section")->type_name("NAME");
}

void AddVirtualFrameCommands(CLI::App& app, Arguments& arguments) {
    CLI::App* frame = app.add_subcommand("frame", "make and look at virtual frames");
    frame->fallthrough();
    frame->require_subcommand(1);

    NewFrameArguments& fresh = arguments.newFrame;
    CLI::App* make = AddCommand(frame, arguments, Command::FrameNew, "new", "make a fresh virtual frame");
    AddFile(make, "FILE", arguments, "the flash image to make; must not be there yet");
    AddSize(make, "--lcd", arguments, "size of the LCD")->required();
    AddParsed(make, "--flash", fresh.flashBytes, ParseBytes, "a number of bytes",
              "size of the flash, such as 4M")
        ->type_name("BYTES")
        ->required();
    const auto address = [](const std::string& text) { return ParseNumber(text); };
    AddParsed(make, "--table", fresh.tableAddress, address, "an address",
              "where the picture table lies (default 0x10000)")
        ->type_name("ADDRESS");
    AddNumber(make, "--limit", fresh.limit, 65535, "most pictures it holds; 0 is no limit")->type_name("N");
    AddNumber(make, "--sampling", fresh.sampling, 255, "sampling value")->type_name("V");
    AddNumber(make, "--quality", fresh.quality, 255, "starting quality")->type_name("Q");
    const auto instruction = [](const std::string& text) -> std::optional<std::uint64_t> {
        const auto value = ParseNumber(text, 16);
        return value && *value <= 0xFF ? value : std::nullopt;
    };
    AddParsed(make, "--erase", fresh.erase, instruction, "an instruction byte in hex",
              "erase instruction: 20 (4 KB), 52 (32 KB) or D8 (64 KB, the default)")
        ->type_name("HEX");
    AddNumber(make, "--page-option", fresh.pageOption, 255, "page-program option byte")->type_name("N");
    AddParsed(make, "--firmware-end", fresh.firmwareEnd, address, "an address",
              "give it a firmware header that leads to this address")
        ->type_name("ADDRESS");

    CLI::App* serve = AddCommand(
        frame, arguments, Command::FrameServe, "serve",
        "plug the virtual frame into a virtual machine's USB bus (usbredir protocol), until it is ended");
    AddFile(serve, "FILE", arguments, "the flash image");
    serve->add_option("--socket", arguments.serve.socket, "the UNIX socket to listen on")
        ->required()
        ->type_name("PATH");
    serve->add_flag("--connect", arguments.serve.connect,
                    "connect to the socket in place of listening on it");
    serve
        ->add_option("--control", arguments.serve.control,
                     "listen here for orders, one a line: plug, unplug, wait, fault N:KIND")
        ->type_name("PATH");
    serve
        ->add_option("--vendor", arguments.serve.vendor,
                     "what it answers an INQUIRY with, 8 characters at most")
        ->type_name("NAME");
    serve
        ->add_option("--type", arguments.serve.type,
                     "the SCSI device type: 0, a disk, or 5, a writer of discs")
        ->check(CLI::IsMember({0, 5}))
        ->type_name("TYPE");

    CLI::App* render = AddCommand(frame, arguments, Command::FrameRender, "render",
                                  "what the frame would show for a picture, as a PNG file");
    AddFile(render, "FILE", arguments, "the flash image");
    AddParsed(render, "POSITION", arguments.position, ParsePosition, kPositionWanted, "the picture, from 1")
        ->required()
        ->type_name("");
    AddFile(render, "PNG", arguments, "the file to write");
}

// The library would only say that a command is missing. Always false.
bool Unknown(const CLI::App& app) {
    std::fprintf(
        stderr,
        "lumatoctl: %s is no command or option of this program\nRun with --help for more information.\n",
        Printable(app.remaining().front()).c_str());
    return false;
}

// Help and version, or what was wrong, in which an argument may be quoted that no terminal should obey. True
// for the former.
bool Answer(const CLI::App& app, const CLI::ParseError& error) {
    std::ostringstream answer;
    std::ostringstream complaint;
    const bool answered = app.exit(error, answer, complaint) == 0;
    std::fputs(answer.str().c_str(), stdout);
    std::istringstream lines(complaint.str());
    for (std::string line; std::getline(lines, line);)
        std::fprintf(stderr, "%s\n", Printable(line).c_str());
    return answered;
}

}  // namespace

Arguments ParseArguments(int argc, const char* const* argv) {
    Arguments arguments;
    CLI::App app{"lumatoctl manages the pictures of a USB digital photo frame.", "lumatoctl"};
    app.set_version_flag("--version", "lumatoctl " LUMATO_VERSION);
    app.require_subcommand(1);
    app.footer(
        "The options of `lumatoctl --help` (--frame, --home, --json ...) go with it, before or after.");
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return std::string("lumatoctl: ") + error.what() + "\nRun with --help for more information.\n";
    });
    AddGeneralOptions(app, arguments);
    AddFrameCommands(app, arguments);
    AddFileCommands(app, arguments);
    AddVirtualFrameCommands(app, arguments);
    app.footer(kGeneralFooter);  // the commands have taken over the other one
    try {
        app.parse(argc, argv);
        if (arguments.command == Command::Delete && !arguments.all && arguments.positions.empty())
            throw CLI::RequiredError("POSITION or --all");
    } catch (const CLI::ParseError& error) {
        const bool unknown = app.get_subcommands().empty() && !app.remaining().empty();
        const bool answered = unknown ? Unknown(app) : Answer(app, error);
        arguments.command = Command::None;
        arguments.exitStatus = answered ? 0 : kUsageError;
    }
    return arguments;
}

}  // namespace lumato::cli
