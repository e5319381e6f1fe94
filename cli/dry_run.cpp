#include "cli/dry_run.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "flash/checked_transfer.h"
#include "store/picture_table.h"
#include "store/recovery.h"
#include "store/safekeeping.h"
#include "store/store.h"

namespace lumato::cli {
namespace {

using flash::kBlockSize;

constexpr double kSecondsPerErasedBlock = 0.5;
constexpr double kSecondsPerPage = 0.0007;
constexpr int kPageSize = 256;
constexpr double kLinkBytesPerSecond = 800000;
constexpr int kLastBlockUnit = 1024;  // the last block of pictures is rounded up to it

int RoundedUp(int value, int unit) {
    return (value + unit - 1) / unit * unit;
}

class Estimate {
  public:
    void Read(int length) { m_work.seconds += length / kLinkBytesPerSecond; }
    void Write(int length) {
        ++m_work.blocks;
        m_work.bytes += length;
        m_work.seconds += kSecondsPerErasedBlock + length / kLinkBytesPerSecond +
                          RoundedUp(length, kPageSize) / kPageSize * kSecondsPerPage;
    }
    [[nodiscard]] const DownloadWork& Work() const { return m_work; }

  private:
    DownloadWork m_work;
};

// The pictures behind what has its place in the table's block: the block in which the stored ones end, then
// whole ones.
void WritePictureBlocks(Estimate& estimate, int start, int total) {
    const int offset = start % kBlockSize;
    if (total > 0 && offset != 0) {
        const int size = std::min(kBlockSize, store::Store().geometry.writableEnd - (start - offset));
        estimate.Read(size);
        estimate.Write(size);
        total -= std::min(total, kBlockSize - offset);
    }
    for (; total > kBlockSize; total -= kBlockSize)
        estimate.Write(kBlockSize);
    if (total > 0)
        estimate.Write(RoundedUp(total, kLastBlockUnit));
}

}  // namespace

void BeginDryRun() {
    store::Store().journalFolder.clear();
}

tl::expected<DownloadWork, Failure> PlanDownload() {
    store::StoreState& state = store::Store();
    store::ResumeDownload();
    int first = -1;
    int total = 0;
    int start = 0;
    store::GetStartAddAndTotalDownSize(first, total, start);
    if (total > 0 && state.gmyPictureData->count > store::kMostPictures)
        return tl::unexpected<Failure>(
            Failure{kRefused, "the frame's picture table has no room for so many pictures"});
    if (!state.geometry.CanWrite(start, total))
        return tl::unexpected<Failure>(Failure{kRefused, "the pictures are larger than the frame's flash"});
    const bool fromScratch = start == state.geometry.PictureAreaStart() && total > 0;

    Estimate estimate;
    estimate.Read(kBlockSize);  // the table's block, which is then made invalid
    estimate.Write(kBlockSize);
    if (!fromScratch) {
        for (const auto& [address, bytes] : state.blocksAtRisk) {
            if (address != state.geometry.tableAddress)
                estimate.Write(static_cast<int>(bytes.size()));
        }
        estimate.Read(kBlockSize);
    }
    const int besideTable = std::clamp(state.geometry.tableAddress + kBlockSize - start, 0, total);
    WritePictureBlocks(estimate, start + besideTable, total - besideTable);
    estimate.Write(kBlockSize);
    return estimate.Work();
}

void AddTo(nlohmann::ordered_json& json, const DownloadWork& work) {
    json["blocks"] = work.blocks;
    json["bytes"] = work.bytes;
    json["seconds"] = work.seconds;
}

std::string AsText(const DownloadWork& work) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.1f s", work.seconds);
    return Count(work.blocks, "block") + " would be written (" + Grouped(work.bytes) +
           " bytes), which takes about " + seconds + "; nothing was";
}

}  // namespace lumato::cli
