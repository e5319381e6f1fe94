// lumatoctl report: what somebody who mends a fault needs to know, as one text.
#include "base/printable.h"
#include "base/private_text.h"
#include "cli/commands.h"
#include "cli/look.h"
#include "device/command_trace.h"
#include "platform/linux/folders.h"
#include "report/frame_facts.h"
#include "report/make_report.h"
#include "report/trace_text.h"
#include "store/picture_table.h"
#include "store/store.h"

namespace lumato::cli {
namespace {

// As `info` tells it, but for what only the pictures themselves say: those stay where they are.
std::string LookAtFrame(const Arguments& arguments) {
    const auto look = Look::OpenOne(arguments);
    if (!look)
        return WithoutNames(look.error().message);
    nlohmann::ordered_json facts = report::FrameFacts();
    facts["pictures"] = store::CountStored(store::Store().G_PictureList);
    facts["bytes_stored"] = store::StoredBytes(store::Store().G_PictureList);
    for (const char* unknown : {"free_bytes", "room_for"})
        facts.erase(unknown);
    return facts.dump();
}

}  // namespace

int RunReport(const Arguments& arguments, const Output& output) {
    report::ReportParts parts{.program = "lumatoctl",
                              .frame = LookAtFrame(arguments),
                              .trace = {},
                              .stateFolder = platform::StateFolder(arguments.home)};
    if (!report::HasLeftTrace(parts.stateFolder))
        parts.trace = report::TraceText(device::Commands().Copy());
    const std::string text = report::MakeReport(parts);
    if (arguments.files.empty()) {
        output.Result({{"report", text}}, text.substr(0, text.find_last_not_of('\n') + 1));
        return kDone;
    }
    const Path& file = arguments.files.front();
    const ByteSpan bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    if (const Result<void> written = WriteFile(file, bytes); !written)
        return output.Failed(kRefused, written.error().message);
    output.Result({{"file", file.string()}}, "the report is in " + Printable(file.native()) +
                                                 "; look through it before you give it away");
    return kDone;
}

}  // namespace lumato::cli
