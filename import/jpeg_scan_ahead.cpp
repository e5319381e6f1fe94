#include "import/jpeg_scan_ahead.h"

#include <array>
#include <cstring>
#include <new>

namespace lumato::picture {

JpegScanAhead::JpegScanAhead(JpegScanReader& reader, const jpeg_decompress_struct& jpeg)
    : m_reader(reader),
      m_blocksPerMcu(static_cast<std::size_t>(jpeg.blocks_in_MCU)),
      m_mcusPerRow(jpeg.MCUs_per_row),
      m_rows(jpeg.MCU_rows_in_scan) {
    for (Row& row : m_ring)
        row.blocks.resize(m_mcusPerRow * m_blocksPerMcu);
    m_thread = std::thread([this] { Work(); });
}

JpegScanAhead::~JpegScanAhead() {
    {
        const std::lock_guard lock(m_mutex);
        m_ended = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void JpegScanAhead::Work() {
    std::unique_lock lock(m_mutex);
    for (bool goOn = true; goOn && m_read < m_rows; ++m_read, m_changed.notify_all()) {
        m_changed.wait(lock, [this] { return m_ended || m_read < m_taken + kRowsAhead; });
        if (m_ended)
            return;
        Row& row = m_ring[m_read % kRowsAhead];
        lock.unlock();
        try {
            goOn = row.sound = ReadRow(row);
        } catch (const std::bad_alloc&) {  // of a reason that nobody asks for
            goOn = row.sound = false;
        }
        lock.lock();
    }
}

bool JpegScanAhead::ReadRow(Row& row) {
    std::array<JBLOCKROW, D_MAX_BLOCKS_IN_MCU> blocks{};
    auto next = row.blocks.begin();
    for (std::size_t mcu = 0; mcu < m_mcusPerRow; ++mcu) {
        for (std::size_t i = 0; i < m_blocksPerMcu; ++i)
            blocks[i] = &(next++)->coefficients;
        if (!m_reader.ReadMcu(blocks.data()))
            return false;
    }
    return true;
}

bool JpegScanAhead::ReadMcu(JBLOCKROW* blocks) {
    Row& row = m_ring[m_taken % kRowsAhead];  // only this thread changes m_taken
    if (m_mcu == 0) {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_read > m_taken; });
    }
    if (!row.sound)
        return false;
    if (blocks != nullptr)
        for (std::size_t i = 0; i < m_blocksPerMcu; ++i)
            std::memcpy(blocks[i], &row.blocks[m_mcu * m_blocksPerMcu + i], sizeof(JBLOCK));
    if (++m_mcu == m_mcusPerRow) {
        m_mcu = 0;
        const std::lock_guard lock(m_mutex);
        ++m_taken;
        m_changed.notify_all();
    }
    return true;
}

}  // namespace lumato::picture
