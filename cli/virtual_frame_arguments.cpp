#include "cli/virtual_frame_arguments.h"

#include "cli/help_texts.h"
#include "cli/options.h"

namespace lumato::cli {
namespace {

// A dump says all that the other options would.
void ExcludeAllOthers(CLI::App* app, CLI::Option* from) {
    for (CLI::Option* other : app->get_options())
        if (other != from && other != app->get_help_ptr() && !other->get_positional())
            from->excludes(other);
}

void AddNewFrame(CLI::App* frame, Arguments& arguments) {
    NewFrameArguments& fresh = arguments.newFrame;
    CLI::App* make = AddCommand(frame, arguments, Command::FrameNew, "new", "make a fresh virtual frame");
    AddOutput(make, "FILE", arguments, "the flash image to make; must not be there yet");
    AddSize(make, "--lcd", arguments, "size of the LCD");
    AddParsed(make, "--flash", fresh.flashBytes, ParseBytes, "a number of bytes",
              "size of the flash, such as 4M")
        ->type_name("BYTES");
    CLI::Option* from =
        AddPath(make, "--from", fresh.from, "a dump of some frame, in place of all other options")
            ->type_name("DUMP");
    AddExamples(make, kNewFrameExamples);
    AddParsed(make, "--table", fresh.tableAddress, ParseAddress, "an address",
              "where the picture table lies (default 0x10000)")
        ->type_name("ADDRESS");
    AddNumber(make, "--limit", fresh.limit, {0, 65535}, "most pictures it holds; 0 is no limit")
        ->type_name("N");
    AddNumber(make, "--sampling", fresh.sampling, {0, 255}, "sampling value")->type_name("V");
    AddNumber(make, "--quality", fresh.quality, {0, 255}, "starting quality")->type_name("Q");
    AddParsed(make, "--erase", fresh.erase, ParseHexByte, "an instruction byte in hex",
              "erase instruction: 20 (4 KB), 52 (32 KB) or D8 (64 KB, the default)")
        ->type_name("HEX");
    AddNumber(make, "--page-option", fresh.pageOption, {0, 255}, "page-program option byte")->type_name("N");
    AddParsed(make, "--firmware-end", fresh.firmwareEnd, ParseAddress, "an address",
              "give it a firmware header that leads to this address")
        ->type_name("ADDRESS");
    ExcludeAllOthers(make, from);
}

}  // namespace

void AddVirtualFrameCommands(CLI::App& app, Arguments& arguments) {
    CLI::App* frame = app.add_subcommand("frame", "make and look at virtual frames");
    frame->fallthrough();
    frame->require_subcommand(1);

    AddNewFrame(frame, arguments);
    CLI::App* serve = AddCommand(
        frame, arguments, Command::FrameServe, "serve",
        "plug the virtual frame into a virtual machine's USB bus (usbredir protocol), until it is ended");
    AddInput(serve, "FILE", arguments, "the flash image");
    AddPath(serve, "--socket", arguments.serve.socket, "the UNIX socket to listen on")
        ->required()
        ->type_name("PATH");
    AddFlag(serve, "--connect", arguments.serve.connect, "connect to the socket in place of listening on it");
    AddPath(serve, "--control", arguments.serve.control,
            "listen here for orders, one a line: plug, unplug, wait, fault N:KIND")
        ->type_name("PATH");
    const auto vendor = [](const std::string& text) {
        return text.size() <= 8 ? std::optional(text) : std::nullopt;
    };
    AddParsed(serve, "--vendor", arguments.serve.vendor, vendor, "a name of 8 characters at most",
              "what it answers an INQUIRY with, 8 characters at most")
        ->type_name("NAME");
    const auto type = [](const std::string& text) {
        const auto value = ParseWhole(text, {0, 5});
        return value == 0 || value == 5 ? value : std::nullopt;
    };
    AddParsed(serve, "--type", arguments.serve.type, type, "0 or 5",
              "the SCSI device type: 0, a disk, or 5, a writer of discs")
        ->type_name("TYPE");

    CLI::App* render = AddCommand(frame, arguments, Command::FrameRender, "render",
                                  "what the frame would show for a picture, as a PNG file");
    AddInput(render, "FILE", arguments, "the flash image");
    AddPosition(render, "POSITION", arguments.position, "the picture, from 1");
    AddOutput(render, "PNG", arguments, "the file to write");
}

}  // namespace lumato::cli
