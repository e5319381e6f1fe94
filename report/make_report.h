// A report for those who mend faults: the systems' versions, what the frame says of itself, the last trace
// and the end of the log, as one text. It names no file, no user and no computer.
//
// No state; may wait for the disk.
#pragma once

#include <string>
#include <string_view>

#include "base/file.h"

namespace lumato::report {

inline constexpr std::string_view kReportHead = "Lumato report 1\n";
inline constexpr std::string_view kTraceHead = "\n== trace\n";
inline constexpr std::string_view kLogHead = "\n== log\n";
inline constexpr const char* kTraceFile = "trace";  // in the state folder
inline constexpr std::uintmax_t kLongestReport = 64 << 20;

struct ReportParts {
    std::string program;  // "lumatoctl"
    std::string frame;    // what it says of itself, or why that is not known
    std::string trace;    // as TraceText() gives it; empty: what the last call left in the state folder
    Path stateFolder;
};

[[nodiscard]] bool HasLeftTrace(const Path& stateFolder);
[[nodiscard]] std::string MakeReport(const ReportParts& parts);

}  // namespace lumato::report
