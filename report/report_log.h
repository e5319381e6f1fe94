// The log of a program, from its start to its end: who it is, and what it says from then on, without the
// names of files and people; and the trace that a call leaves for a later report.
//
// The object is the main thread's; lines come from any.
#pragma once

#include <memory>
#include <string>

#include "base/file.h"
#include "platform/linux/log_file.h"

namespace lumato::report {

class ReportLog {
  public:
    // `program`: "lumatoctl". Its lines go into the state folder.
    ReportLog(const std::string& program, const Path& stateFolder, platform::LogFile::Folder folder);
    // From now on it is written; what was said before, too. Any thread.
    void Begin() { m_file->Begin(); }
    // Says no more, and waits half a second at most for the disk.
    ~ReportLog();
    ReportLog(const ReportLog&) = delete;
    ReportLog& operator=(const ReportLog&) = delete;

    // The same, for who ends the program without any more ado.
    void End();

    // The commands that were sent are what a report will show. Those of a call that only looked, and found
    // nothing wrong, leave others in their place.
    void KeepTrace();

  private:
    std::shared_ptr<platform::LogFile> m_file;
};

}  // namespace lumato::report
