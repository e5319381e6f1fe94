#include "report/report_log.h"

#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

#include "base/diagnostics.h"
#include "base/private_text.h"
#include "device/command_trace.h"
#include "report/make_report.h"
#include "report/trace_text.h"

namespace lumato::report {

namespace {

// "Read Picture:: 7" only counts on from "Read Picture:: 6": of those the first and the last are logged.
class Counts {
  public:
    // What is to be written now.
    std::vector<std::string> Take(std::string line) {
        const std::lock_guard lock(m_mutex);
        const auto text = [](std::string_view said) {
            return said.substr(0, said.find_last_not_of("0123456789") + 1);
        };
        const bool countsOn = line != m_last && text(line).size() < line.size() && text(line) == text(m_last);
        std::vector<std::string> lines;
        if (!countsOn && std::exchange(m_heldBack, false))
            lines.push_back(m_last);
        m_heldBack = countsOn;
        m_last = std::move(line);
        if (!countsOn)
            lines.push_back(m_last);
        return lines;
    }

  private:
    std::mutex m_mutex;
    std::string m_last;
    bool m_heldBack = false;
};

}  // namespace

ReportLog::ReportLog(const std::string& program, const Path& stateFolder, platform::LogFile::Folder folder)
    : m_file(std::make_shared<platform::LogFile>(stateFolder, folder, program)) {
    HideUser();
    SetLog([file = m_file, counts = std::make_shared<Counts>()](std::string_view said) {
        for (const std::string& line : counts->Take(WithoutNames(said)))
            file->Write(line);
    });
    Log(program + " " + LUMATO_VERSION + " begins");
}

ReportLog::~ReportLog() {
    End();
}

void ReportLog::End() {
    Log("ends");
    SetLog({});
    m_file->Flush(std::chrono::milliseconds(500));
}

// One that only looked would take the place of the one that a report is made for.
void ReportLog::KeepTrace() {
    if (!device::Commands().Tells())
        return;
    m_file->Keep(kTraceFile, [] { return TraceText(device::Commands().Copy()); });
}

}  // namespace lumato::report
