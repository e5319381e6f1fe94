#include "report/report_log.h"

#include "base/diagnostics.h"
#include "base/private_text.h"
#include "device/command_trace.h"
#include "report/make_report.h"
#include "report/trace_text.h"

namespace lumato::report {

ReportLog::ReportLog(const std::string& program, const Path& stateFolder, platform::LogFile::Folder folder)
    : m_file(std::make_shared<platform::LogFile>(stateFolder, folder, program)) {
    HideUser();
    SetLog([file = m_file](std::string_view line) { file->Write(WithoutNames(line)); });
    Log(program + " " + LUMATO_VERSION + " begins");
}

ReportLog::~ReportLog() {
    End();
}

void ReportLog::End() {
    SetLog({});
    m_file->Flush(std::chrono::milliseconds(500));
}

void ReportLog::KeepTrace() {
    m_file->Keep(kTraceFile, [] { return TraceText(device::Commands().Copy()); });
}

}  // namespace lumato::report
