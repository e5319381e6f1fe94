// lumatoctl replay: a report's trace against a virtual frame that says the same of itself.
#include "report/replay.h"

#include "base/printable.h"
#include "cli/commands.h"
#include "report/make_report.h"

namespace lumato::cli {
namespace {

constexpr std::size_t kMostLines = 20;

std::string AsText(const report::Replayed& replayed) {
    const std::size_t count = replayed.differences.size();
    std::string text = Count(replayed.commands, "command") + ", " + Grouped(replayed.compared) +
                       " of the answers compared; " +
                       (count == 0 ? "none differs" : Count(static_cast<long long>(count), "difference"));
    for (std::size_t i = 0; i < std::min(count, kMostLines); ++i)
        text += "\ncommand " + Grouped(replayed.differences[i].command) + ": " + replayed.differences[i].what;
    return count > kMostLines ? text + "\n..." : text;
}

}  // namespace

int RunReplay(const Arguments& arguments, const Output& output) {
    const auto bytes = ReadPlainFile(arguments.files.front(), report::kLongestReport);
    if (!bytes)
        return output.Failed(kRefused, bytes.error().message);
    const std::string_view text(reinterpret_cast<const char*>(bytes->data()), bytes->size());
    const auto trace = report::TraceOfReport(text);
    const auto replayed = trace ? report::Replay(*trace) : tl::unexpected(trace.error());
    if (!replayed)
        return output.Failed(kRefused,
                             About(Printable(arguments.files.front().native()), replayed.error().message));
    nlohmann::ordered_json differences = nlohmann::ordered_json::array();
    for (const report::Difference& difference : replayed->differences)
        differences.push_back({{"command", difference.command}, {"what", difference.what}});
    const nlohmann::ordered_json first =
        replayed->differences.empty() ? nlohmann::ordered_json() : differences.front()["command"];
    output.Result({{"commands", replayed->commands},
                   {"compared", replayed->compared},
                   {"differs_at", first},
                   {"differences", differences}},
                  AsText(*replayed));
    return replayed->differences.empty() ? kDone : kRefused;
}

}  // namespace lumato::cli
