// The store's status notes and progress on a terminal.
//
// Callable from any thread. Notes go to standard error, one a line; if that is no terminal, there is no
// progress bar. Of notes that only count on the first and the last are shown.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include <nlohmann/json_fwd.hpp>

#include "store/status_port.h"

namespace lumato::cli {

class TerminalStatus : public store::StatusPort {
  public:
    // `quiet`: neither notes nor progress bar. `lines`: progress as JSON on standard output, a line each.
    TerminalStatus(bool quiet, bool lines);
    ~TerminalStatus() override;
    TerminalStatus(const TerminalStatus&) = delete;
    TerminalStatus& operator=(const TerminalStatus&) = delete;

    void SetNotes(const Phrase& note) override;
    void SetNoteDetail(const Phrase& detail) override;
    void SetDownLoadPrcess(int percent) override;
    void SetProgress(const store::Progress& progress) override;
    void UpdateInfo() override {}
    void SetControlPanlEnable(bool) override {}
    void InvalidateMyWindow() override {}
    void ShowPictureList(int, int) override {}

    // The last note, with the reason that belongs to it: what to say when an operation failed.
    [[nodiscard]] Phrase LastMessage() const;
    // Takes the progress bar off the line, so that other output may follow.
    void ClearBar();
    // Before the store's state goes, which the watching thread reads.
    void EndWatch();

  private:
    void Print();
    void PrintLine(const nlohmann::ordered_json& progress) const;
    void DrawBar();
    void ClearBarLocked();
    void Watch(const std::stop_token& stop);

    mutable std::mutex m_mutex;
    const bool m_showNotes;
    const bool m_showBar;
    const bool m_lines;
    bool m_barShown = false;
    bool m_heldBack = false;  // the last note only counts on, and has not been printed
    bool m_silent = false;    // the frame, and that has been told
    int m_percent = 0;
    int m_toldPercent = 0;  // by SetDownLoadPrcess()
    std::optional<store::Progress> m_progress;
    std::chrono::steady_clock::time_point m_progressTime;  // when it was told
    std::string m_note;
    Phrase m_detail;
    std::condition_variable_any m_ending;
    std::jthread m_watcher;  // tells what goes on while the task tells nothing
};

}  // namespace lumato::cli
