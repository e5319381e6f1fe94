// What the store says to people.
#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "store/status_port.h"

namespace lumato::store {

class RecordingStatus : public StatusPort {
  public:
    void SetNotes(const Phrase& note) override { Record(m_notes, note.English()); }
    void SetNoteDetail(const Phrase& detail) override { Record(m_details, detail.English()); }
    void SetDownLoadPrcess(int percent) override { Record(m_progress, percent); }
    void UpdateInfo() override {}
    void SetControlPanlEnable(bool enable) override { Record(m_panel, enable); }
    void InvalidateMyWindow() override { Record(m_refreshes, 0); }
    void ShowPictureList(int count, int selected) override { Record(m_lists, {count, selected}); }

    // Each takes what came since the last call.
    std::vector<std::string> Notes() { return Take(m_notes); }
    std::vector<std::string> Details() { return Take(m_details); }
    std::vector<int> Progress() { return Take(m_progress); }
    std::vector<bool> Panel() { return Take(m_panel); }
    int Refreshes() { return static_cast<int>(Take(m_refreshes).size()); }
    std::vector<std::pair<int, int>> Lists() { return Take(m_lists); }

  private:
    template <class T>
    void Record(std::vector<T>& to, T what) {
        const std::lock_guard lock(m_mutex);
        to.push_back(std::move(what));
    }
    template <class T>
    std::vector<T> Take(std::vector<T>& from) {
        const std::lock_guard lock(m_mutex);
        return std::exchange(from, {});
    }

    std::mutex m_mutex;
    std::vector<std::string> m_notes;
    std::vector<std::string> m_details;
    std::vector<int> m_progress;
    std::vector<bool> m_panel;
    std::vector<int> m_refreshes;
    std::vector<std::pair<int, int>> m_lists;
};

}  // namespace lumato::store
