// Imports the files of a batch ahead of the one who adds them, on all processors, while the outcomes are
// taken in the files' order.
//
// New memory costs a good part of an import, in pages that the system has to clear: a picture that is given
// back makes room for a later one.
//
// Used by one thread; its own threads touch nothing but the files and the pictures they make of them. At most
// as many pictures are held at a time as there are threads, the one taken last included: memory stays bounded
// however long the batch is, and all processors are busy.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "base/file.h"
#include "picture/bitmap_info.h"

namespace lumato::picture {

class ImportAhead {
  public:
    using Outcome = Result<std::unique_ptr<BitmapInfo>>;

    // Begins with the first files. `threads`: 0 for as many as there are processors; a single one needs no
    // thread of its own. The pictures are held as ImportForEditView() holds them.
    ImportAhead(std::vector<Path> files, float lcdWidth, float lcdHeight, std::size_t threads = 0);
    // Starts no more imports and waits for those that run.
    ~ImportAhead();
    ImportAhead(const ImportAhead&) = delete;
    ImportAhead& operator=(const ImportAhead&) = delete;

    // Waits for the next file's picture. Requires: there is one more file, and the last picture was given
    // back.
    [[nodiscard]] Outcome Next();
    // The picture taken last is needed no more, if there was one: another import may begin at once.
    void GiveBack(std::unique_ptr<BitmapInfo> picture);

  private:
    void Work();
    [[nodiscard]] Outcome Import(const Path& file, std::unique_ptr<BitmapInfo> old) const;
    [[nodiscard]] std::unique_ptr<BitmapInfo> TakeSpare();
    [[nodiscard]] bool MayStart() const {
        return m_started < m_files.size() && m_started < m_taken + m_atOnce;
    }

    const std::vector<Path> m_files;
    const float m_lcdWidth;
    const float m_lcdHeight;
    const std::size_t m_atOnce;
    std::mutex m_mutex;  // guards what follows, but for the threads
    std::condition_variable m_changed;
    std::vector<std::optional<Outcome>> m_outcomes;  // by file
    std::size_t m_started = 0;                       // so many imports were started
    std::size_t m_taken = 0;                         // so many outcomes were taken and given back
    std::size_t m_next = 0;                          // the next one to be taken
    std::vector<std::unique_ptr<BitmapInfo>> m_spares;
    bool m_ended = false;
    std::vector<std::thread> m_threads;
};

}  // namespace lumato::picture
