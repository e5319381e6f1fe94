#include "store/written_blocks.h"

#include "flash/checked_transfer.h"
#include "store/progress_meter.h"

namespace lumato::store {
namespace {

using BlockBytes = std::vector<std::uint8_t>;

Result<bool> ReadsBack(std::int32_t address, const BlockBytes& bytes) {
    BlockBytes read(bytes.size());
    if (!flash::ReadFlashData(read.data(), static_cast<int>(read.size()), address))
        return Fail(ErrorKind::Unreadable,
                    Phrase("WRITTEN_NOT_READ", "what was written could not be read back"));
    return read == bytes;
}

Result<void> CheckBlock(std::int32_t address, BlockBytes& bytes) {
    for (int attempt = 0;; ++attempt) {
        LUMATO_TRY(const bool right, ReadsBack(address, bytes));
        if (right)
            return {};
        if (attempt == flash::kAttempts ||
            !flash::WriteDataToFlash(bytes.data(), static_cast<int>(bytes.size()), address))
            return Fail(ErrorKind::Unwritable,
                        Phrase("WRITTEN_READS_OTHERWISE", "what was written reads back as other bytes"));
    }
}

}  // namespace

void WrittenBlocks::Note(std::int32_t address, ByteSpan bytes) {
    m_blocks[address].assign(bytes.begin(), bytes.end());
}

Result<void> WrittenBlocks::Check() {
    if (m_blocks.empty())
        return {};
    std::int64_t total = 0;
    for (const auto& [address, bytes] : m_blocks)
        total += static_cast<std::int64_t>(bytes.size());
    ProgressMeter meter(Phase::Checking, 0, total);
    std::int64_t done = 0;
    for (auto& [address, bytes] : m_blocks) {
        meter.Reach(0, done);
        LUMATO_TRY_VOID(CheckBlock(address, bytes));
        done += static_cast<std::int64_t>(bytes.size());
    }
    m_blocks.clear();
    return {};
}

}  // namespace lumato::store
