#include "picture/import_ahead.h"

#include <algorithm>
#include <new>
#include <system_error>
#include <utility>

#include "picture/add_pictures.h"

namespace lumato::picture {
namespace {

std::size_t AtOnce(std::size_t threads, std::size_t files) {
    const std::size_t processors = std::max(1U, std::thread::hardware_concurrency());
    return std::min(threads != 0 ? threads : processors, files);
}

}  // namespace

ImportAhead::ImportAhead(std::vector<Path> files, float lcdWidth, float lcdHeight, std::size_t threads)
    : m_files(std::move(files)),
      m_lcdWidth(lcdWidth),
      m_lcdHeight(lcdHeight),
      m_atOnce(AtOnce(threads, m_files.size())),
      m_outcomes(m_files.size()) {
    if (m_atOnce < 2)
        return;
    try {
        for (std::size_t i = 0; i < m_atOnce; ++i)
            m_threads.emplace_back([this] { Work(); });
    } catch (const std::system_error&) {  // fewer will do, or none
    }
}

ImportAhead::~ImportAhead() {
    {
        const std::lock_guard lock(m_mutex);
        m_ended = true;
    }
    m_changed.notify_all();
    for (std::thread& thread : m_threads)
        thread.join();
}

void ImportAhead::Work() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_ended || MayStart() || m_started == m_files.size(); });
        if (m_ended || m_started == m_files.size())
            return;
        const std::size_t index = m_started++;
        std::unique_ptr<BitmapInfo> old = TakeSpare();
        lock.unlock();
        Outcome outcome = Import(m_files[index], std::move(old));
        lock.lock();
        m_outcomes[index] = std::move(outcome);
        m_changed.notify_all();
    }
}

std::unique_ptr<BitmapInfo> ImportAhead::TakeSpare() {
    if (m_spares.empty())
        return nullptr;
    std::unique_ptr<BitmapInfo> spare = std::move(m_spares.back());
    m_spares.pop_back();
    return spare;
}

ImportAhead::Outcome ImportAhead::Import(const Path& file, std::unique_ptr<BitmapInfo> old) const {
    try {
        return ImportForEditView(file, m_lcdWidth, m_lcdHeight, std::move(old),
                                 m_atOnce < 2 ? Processors::All : Processors::One);
    } catch (const std::bad_alloc&) {
        return Fail(ErrorKind::TooLarge, "too large for this computer's memory");
    }
}

ImportAhead::Outcome ImportAhead::Next() {
    if (m_threads.empty())
        return Import(m_files[m_next++], TakeSpare());
    std::unique_lock lock(m_mutex);
    std::optional<Outcome>& outcome = m_outcomes[m_next++];
    m_changed.wait(lock, [&] { return outcome.has_value(); });
    return *std::exchange(outcome, std::nullopt);
}

void ImportAhead::GiveBack(std::unique_ptr<BitmapInfo> picture) {
    {
        const std::lock_guard lock(m_mutex);
        m_taken = m_next;
        if (picture && m_spares.size() < m_atOnce)
            m_spares.push_back(std::move(picture));
    }
    m_changed.notify_all();
}

}  // namespace lumato::picture
