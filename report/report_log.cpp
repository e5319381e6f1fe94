#include "report/report_log.h"

#include <algorithm>
#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

#include "base/diagnostics.h"
#include "base/printable.h"
#include "base/private_text.h"
#include "device/command_trace.h"
#include "report/make_report.h"
#include "report/trace_text.h"

namespace lumato::report {

namespace {

// "Read Picture:: 7" only counts on from "Read Picture:: 6", and a folder of what are no pictures says much
// the same of each: of lines that are alike but for their numbers and names, the first and the last are
// logged.
class Repeats {
  public:
    // What is to be written now.
    std::vector<std::string> Take(std::string line) {
        const std::string shape = ShapeOf(line);
        const std::lock_guard lock(m_mutex);
        const auto same = std::ranges::find(m_open, shape, &Alike::shape);
        if (same != m_open.end()) {
            same->last = std::move(line);
            ++same->held;
            return {};
        }
        std::vector<std::string> lines;
        if (shape == line || m_open.size() == kMostOpen)
            lines = Close();
        if (shape != line)
            m_open.push_back({shape, {}, 0});
        lines.push_back(std::move(line));
        return lines;
    }

  private:
    struct Alike {
        std::string shape;
        std::string last;
        int held = 0;
    };
    static constexpr std::size_t kMostOpen = 4;  // kinds of line that come in turns

    static std::string ShapeOf(std::string_view line) {
        static constexpr std::string_view kVaries = "0123456789,.";
        std::string shape;
        for (std::size_t at = 0; at < line.size(); ++at)
            if (kVaries.find(line[at]) == std::string_view::npos)
                shape += line[at];
            else if (at == 0 || kVaries.find(line[at - 1]) == std::string_view::npos)
                shape += '#';
        return shape;
    }

    std::vector<std::string> Close() {
        std::vector<std::string> lines;
        for (Alike& alike : m_open)
            if (alike.held > 0)
                lines.push_back(alike.last +
                                (alike.held > 1 ? " (" + std::to_string(alike.held - 1) + " before)" : ""));
        m_open.clear();
        return lines;
    }

    std::mutex m_mutex;
    std::vector<Alike> m_open;  // since the last line that has nothing to vary
};

}  // namespace

ReportLog::ReportLog(const std::string& program, const Path& stateFolder, platform::LogFile::Folder folder)
    : m_file(std::make_shared<platform::LogFile>(stateFolder, folder, program)) {
    HideUser();
    SetLog([file = m_file, repeats = std::make_shared<Repeats>()](std::string_view said) {
        // Names are known as they are printed.
        said.remove_suffix(said.size() - (said.find_last_not_of('\n') + 1));
        for (const std::string& line : repeats->Take(WithoutNames(Printable(said))))
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
