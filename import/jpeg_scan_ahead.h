// Reads a scan's coefficients on a thread of its own, some rows of MCUs ahead of libjpeg, which transforms
// them meanwhile: a photograph that is imported alone keeps two processors busy.
//
// The reader belongs to the thread until the last MCU was taken; all else is called by one thread.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "import/jpeg_scan_reader.h"

namespace lumato::picture {

class JpegScanAhead {
  public:
    // Errors: std::system_error and std::bad_alloc, when the system has no thread or no memory to give.
    // Requires: the reader outlives this and has read nothing yet.
    JpegScanAhead(JpegScanReader& reader, const jpeg_decompress_struct& jpeg);
    // Waits for the row that is being read.
    ~JpegScanAhead();
    JpegScanAhead(const JpegScanAhead&) = delete;
    JpegScanAhead& operator=(const JpegScanAhead&) = delete;

    // As JpegScanReader's. Where that fails a few MCUs before may be refused, too.
    [[nodiscard]] bool ReadMcu(JBLOCKROW* blocks);

  private:
    static constexpr std::size_t kRowsAhead = 4;

    struct Block {
        JBLOCK coefficients;
    };
    struct Row {
        std::vector<Block> blocks;
        bool sound = false;
    };

    void Work();
    [[nodiscard]] bool ReadRow(Row& row);

    JpegScanReader& m_reader;
    const std::size_t m_blocksPerMcu;
    const std::size_t m_mcusPerRow;
    const std::size_t m_rows;
    Row m_ring[kRowsAhead];  // row r lies in m_ring[r % kRowsAhead], from when it is read until it is taken
    std::size_t m_mcu = 0;   // taken of the row in work

    std::mutex m_mutex;  // guards what follows, but for the thread
    std::condition_variable m_changed;
    std::size_t m_read = 0;   // rows
    std::size_t m_taken = 0;  // rows
    bool m_ended = false;
    std::thread m_thread;
};

}  // namespace lumato::picture
