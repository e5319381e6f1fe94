// The input is the trace of a report, behind the frame that it is about: whoever replays one has it from a
// stranger.
#include <string>

#include "fuzz/input.h"
#include "fuzz/targets.h"
#include "report/make_report.h"
#include "report/replay.h"
#include "report/trace_text.h"
#include "vframe/device_information.h"
#include "vframe/flash_image.h"
#include "vframe/new_frame.h"

namespace lumato::fuzz {
namespace {

std::string ReportOfFrame() {
    const Bytes flash =
        vframe::MakeFlash({.lcdWidth = 17, .lcdHeight = 9, .flashSize = vframe::kSmallestFlash}).value();
    return std::string(report::kReportHead) + std::string(report::kTraceHead) +
           "! attached\ncd000000000004000200030000000000 in 512 512 00 1 =" +
           HexText(ByteSpan(flash).first(vframe::kInformationSize)) + "\n";
}

Bytes BytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}

}  // namespace

void RunReport(ByteSpan input) {
    static const std::string frame = ReportOfFrame();
    const auto trace = report::TraceOfReport(frame + std::string(input.begin(), input.end()));
    if (!trace)
        return;
    const std::string text = report::TraceText(*trace);
    const auto again = report::ParseTrace(text);
    Demand(again && report::TraceText(*again) == text, "a trace that was read can be written");
    const auto replayed = report::Replay(*trace);
    if (!replayed)
        return;
    const int commands = static_cast<int>(trace->size());
    Demand(replayed->commands <= commands && replayed->compared <= commands, "a command is sent once");
    int before = 1;
    for (const report::Difference& difference : replayed->differences) {
        Demand(difference.command >= before && difference.command <= commands,
               "a difference has its command");
        before = difference.command;
    }
}

std::vector<Bytes> ReportSeeds() {
    const std::string enable = "cb000000000001000000060000000000 none 0 0 00 1 -\n";
    const std::string erase = "cb00000000000400000000d8010000 none 0 0 00 1 -\n";
    const std::string ready = "cd000000000001000040050000000000 in 64 64 00 9 *1c\n";
    const std::string program = "cb000000000004000100020100000000 out 256 256 00 1 *5a\n";
    const std::string read = "cd000000000004000100030100000000 in 256 256 00 1 *5a\n";
    const std::string sum = "cd000000000505010000000100000000 in 64 64 00 1 =5a00\n";
    const std::string hashed = " 256 256 00 1 =0102~00112233445566778899aabbccddeeff1234\n";
    return {
        BytesOf(""),
        BytesOf(enable + erase + ready + enable + program + ready + sum + read),
        BytesOf("cd000000000004000100030100000000 in" + hashed + sum),
        BytesOf(enable + "cb000000000004000100020100000000 out" + hashed + "! missing\n" + program + read),
        BytesOf("! missing\n! attached\n120000004000 in 36 4 00 1 =80800202\n" + read),
        BytesOf("120000004000 in 36 0 ff 1 -\n\n== log\nnothing of it is read")};
}

}  // namespace lumato::fuzz
