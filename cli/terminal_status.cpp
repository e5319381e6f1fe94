#include "cli/terminal_status.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include <unistd.h>

#include "base/printable.h"

namespace lumato::cli {
namespace {

constexpr int kBarCells = 40;

// "Read Picture:: 7" only counts on from "Read Picture:: 6".
bool CountsOn(std::string_view before, std::string_view now) {
    const auto text = [](std::string_view note) {
        return note.substr(0, note.find_last_not_of("0123456789") + 1);
    };
    return text(now) != now && text(now) == text(before);
}

}  // namespace

TerminalStatus::TerminalStatus(bool quiet)
    : m_showNotes(!quiet), m_showBar(!quiet && ::isatty(STDERR_FILENO) == 1) {}

TerminalStatus::~TerminalStatus() {
    const std::lock_guard lock(m_mutex);
    ClearBarLocked();
    if (std::exchange(m_heldBack, false))
        Print();
}

void TerminalStatus::SetNotes(std::string_view text) {
    const std::lock_guard lock(m_mutex);
    m_detail.clear();
    if (m_note == text)
        return;
    // Where nobody watches, the first and the last of a count are enough.
    const bool hold = !m_showBar && CountsOn(m_note, text);
    if (!hold && std::exchange(m_heldBack, false))
        Print();
    m_note = text;
    m_heldBack = hold;
    if (!hold)
        Print();
}

void TerminalStatus::Print() {
    if (!m_showNotes)
        return;
    ClearBarLocked();
    std::fprintf(stderr, "%s\n", Printable(m_note).c_str());
}

void TerminalStatus::SetNoteDetail(std::string_view text) {
    const std::lock_guard lock(m_mutex);
    m_detail = text;
}

void TerminalStatus::SetDownLoadPrcess(int percent) {
    const std::lock_guard lock(m_mutex);
    percent = std::clamp(percent, 0, 100);
    if (!m_showBar || (m_barShown && percent == m_percent))
        return;
    m_percent = percent;
    if (percent == 0) {  // nothing is under way
        ClearBarLocked();
        return;
    }
    const int filled = percent * kBarCells / 100;
    const std::string bar = std::string(static_cast<std::size_t>(filled), '#') +
                            std::string(static_cast<std::size_t>(kBarCells - filled), ' ');
    std::fprintf(stderr, "\r[%s] %3d%%", bar.c_str(), percent);
    std::fflush(stderr);
    m_barShown = true;
}

std::string TerminalStatus::LastMessage() const {
    const std::lock_guard lock(m_mutex);
    return m_detail.empty() ? m_note : m_note + ": " + m_detail;
}

void TerminalStatus::ClearBar() {
    const std::lock_guard lock(m_mutex);
    ClearBarLocked();
}

void TerminalStatus::ClearBarLocked() {
    if (!m_barShown)
        return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
    m_barShown = false;
}

}  // namespace lumato::cli
