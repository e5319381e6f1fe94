#include "cli/terminal_status.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <nlohmann/json.hpp>
#include <sys/ioctl.h>
#include <unistd.h>

#include "base/diagnostics.h"
#include "base/printable.h"
#include "base/private_text.h"
#include "store/transfer.h"
#include "text/localized.h"

namespace lumato::cli {
namespace {

constexpr int kBarCells = 24;

// Where the terminal does not say, COLUMNS may.
std::size_t TerminalWidth() {
    winsize size{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    const char* columns = std::getenv("COLUMNS");
    const int said = columns != nullptr ? std::atoi(columns) : 0;
    return said > 0 ? static_cast<std::size_t>(said) : 80;
}

const char* NameOf(store::Phase phase) {
    switch (phase) {
        case store::Phase::Reading:
            return "reading";
        case store::Phase::Adding:
            return "adding";
        case store::Phase::Checking:
            return "checking";
        case store::Phase::Saving:
            return "saving";
        default:
            return "writing";
    }
}

nlohmann::ordered_json AsJson(const store::Progress& progress) {
    nlohmann::ordered_json json = {{"phase", NameOf(progress.phase)},
                                   {"picture", progress.picture},
                                   {"pictures", progress.pictures},
                                   {"bytes", progress.bytes},
                                   {"total_bytes", progress.totalBytes}};
    if (progress.secondsLeft)
        json["seconds_left"] = *progress.secondsLeft;
    return json;
}

// "1.2 of 4.0 MB"
std::string BytesText(std::int64_t bytes, std::int64_t total) {
    const bool large = total >= 1000000;
    const double unit = large ? 1e6 : 1e3;
    char text[64];
    std::snprintf(text, sizeof text, "%.*f of %.*f %s", large ? 1 : 0, static_cast<double>(bytes) / unit,
                  large ? 1 : 0, static_cast<double>(total) / unit, large ? "MB" : "KB");
    return text;
}

// "writing picture 3 of 12, 1.2 of 4.0 MB, 14 s left"
// `since`: seconds from when that was told.
std::string AsText(const store::Progress& progress, double since, bool withBytes, bool withTime) {
    std::string text = NameOf(progress.phase);
    if (progress.pictures > 0)
        text += " picture " + std::to_string(progress.picture) + " of " + std::to_string(progress.pictures);
    if (withBytes && progress.totalBytes > 0)
        text += ", " + BytesText(progress.bytes, progress.totalBytes);
    if (withTime && progress.secondsLeft)
        text += ", " + std::to_string(static_cast<int>(std::max(*progress.secondsLeft - since, 0.0) + 0.5)) +
                " s left";
    return text;
}

std::string SilenceText(std::chrono::seconds silence) {
    return "the frame has not answered for " + std::to_string(silence.count()) + " s";
}

// "Read Picture:: 7" only counts on from "Read Picture:: 6".
bool CountsOn(std::string_view before, std::string_view now) {
    const auto text = [](std::string_view note) {
        return note.substr(0, note.find_last_not_of("0123456789") + 1);
    };
    return text(now) != now && text(now) == text(before);
}

}  // namespace

TerminalStatus::TerminalStatus(bool quiet, bool lines)
    : m_showNotes(!quiet), m_showBar(!quiet && ::isatty(STDERR_FILENO) == 1), m_lines(lines) {
    if (m_showNotes || m_lines)
        m_watcher = std::jthread([this](const std::stop_token& stop) { Watch(stop); });
}

void TerminalStatus::EndWatch() {
    m_watcher = {};
}

TerminalStatus::~TerminalStatus() {
    EndWatch();
    const std::lock_guard lock(m_mutex);
    ClearBarLocked();
    if (std::exchange(m_heldBack, false))
        Print();
}

void TerminalStatus::SetNotes(const Phrase& note) {
    const std::string text = text::FitForControl(text::Localized(note));
    const std::lock_guard lock(m_mutex);
    m_detail = {};
    if (m_note == text)
        return;
    // The first and the last of a count are enough: the bar counts, too.
    const bool hold = CountsOn(m_note, text);
    if (!hold && std::exchange(m_heldBack, false))
        Print();
    // The log holds counts back itself.
    Log("note: " + WithoutNames(note));
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

void TerminalStatus::SetNoteDetail(const Phrase& detail) {
    const std::lock_guard lock(m_mutex);
    m_detail = detail;
    if (!detail.empty())
        Log("note: " + WithoutNames(detail));
}

void TerminalStatus::SetDownLoadPrcess(int percent) {
    const std::lock_guard lock(m_mutex);
    percent = std::clamp(percent, 0, 100);
    if (!m_showBar || (m_barShown && percent == m_percent))
        return;
    m_percent = m_toldPercent = percent;
    if (percent == 0 || percent == 100) {  // nothing is under way
        m_progress.reset();
        ClearBarLocked();
        return;
    }
    DrawBar();
}

void TerminalStatus::SetProgress(const store::Progress& progress) {
    const std::lock_guard lock(m_mutex);
    m_progress = progress;
    m_progressTime = std::chrono::steady_clock::now();
    PrintLine(AsJson(progress));
    // What no percentage is told of has one all the same.
    if (m_toldPercent == 0)
        m_percent = std::min(static_cast<int>(100 * progress.Done()), 99);
    if (m_barShown || (m_showBar && m_toldPercent == 0))
        DrawBar();
}

void TerminalStatus::PrintLine(const nlohmann::ordered_json& progress) const {
    if (!m_lines)
        return;
    std::printf("%s\n", nlohmann::ordered_json({{"progress", progress}}).dump().c_str());
    std::fflush(stdout);
}

void TerminalStatus::DrawBar() {
    const int filled = m_percent * kBarCells / 100;
    const std::string bar = std::string(static_cast<std::size_t>(filled), '#') +
                            std::string(static_cast<std::size_t>(kBarCells - filled), ' ');
    std::string told;
    if (store::StopRequested())
        told = "stopping (Ctrl-C once more: at once)";
    if (const auto silence = store::FrameSilence(); silence >= store::kLongSilence)
        told = SilenceText(silence);
    const std::chrono::duration<double> since = std::chrono::steady_clock::now() - m_progressTime;
    const auto text = [&](bool withBytes, bool withTime) {
        return m_progress && told.empty() ? AsText(*m_progress, since.count(), withBytes, withTime) : told;
    };
    // A line that wraps could not be drawn over: what tells least goes first.
    const std::string percent = (m_percent < 10 ? " " : "") + std::to_string(m_percent) + "%  ";
    const std::size_t room = TerminalWidth() - 1;
    std::string line = "[" + bar + "]  " + percent + text(true, true);
    for (const auto& [withBytes, withTime] : {std::pair(true, true), {false, true}, {false, false}}) {
        if (line.size() > room)
            line = percent + text(withBytes, withTime);
    }
    std::fprintf(stderr, "\r\033[K%s", line.substr(0, room).c_str());
    std::fflush(stderr);
    m_barShown = true;
}

// Between two blocks the time that is left goes on, and a command that is not answered keeps the thread that
// would tell of it.
void TerminalStatus::Watch(const std::stop_token& stop) {
    std::unique_lock lock(m_mutex);
    while (!m_ending.wait_for(lock, stop, std::chrono::seconds(1), [&] { return stop.stop_requested(); })) {
        const auto silence = store::FrameSilence();
        const bool silent = silence >= store::kLongSilence;
        if (m_barShown || (silent && m_showBar))
            DrawBar();
        if (std::exchange(m_silent, silent) || !silent)
            continue;
        PrintLine({{"silent_seconds", silence.count()}});
        if (m_showNotes && !m_showBar)
            std::fprintf(stderr, "%s\n", SilenceText(silence).c_str());
    }
}

Phrase TerminalStatus::LastMessage() const {
    const std::lock_guard lock(m_mutex);
    return Joined(m_note, kColon, m_detail);
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
