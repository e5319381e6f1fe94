#include "store/download_cost.h"

#include "flash/checked_transfer.h"
#include "store/download_plan.h"
#include "store/store.h"

namespace lumato::store {
namespace {

using flash::kBlockSize;

constexpr double kSecondsPerErasedBlock = 0.5;
constexpr double kSecondsPerPage = 0.0007;
constexpr int kPageSize = 256;
constexpr double kLinkBytesPerSecond = 800000;

void Read(DownloadCost& cost, int length) {
    cost.seconds += length / kLinkBytesPerSecond;
}

void Write(DownloadCost& cost, int length) {
    ++cost.blocks;
    cost.bytes += length;
    cost.seconds += kSecondsPerErasedBlock + length / kLinkBytesPerSecond +
                    (length + kPageSize - 1) / kPageSize * kSecondsPerPage;
}

}  // namespace

Result<DownloadCost> CostOfDownload() {
    LUMATO_TRY(const DownloadPlan plan, PlanDownload());
    DownloadCost cost;
    Read(cost, kBlockSize);  // the table's block, which is then made invalid
    Write(cost, kBlockSize);
    if (!plan.fromScratch) {
        for (const auto& [address, bytes] : Store().blocksAtRisk) {
            if (address != Store().geometry.tableAddress)
                Write(cost, static_cast<int>(bytes.size()));
        }
        Read(cost, kBlockSize);
    }
    if (plan.boundary) {
        Read(cost, plan.boundary->length);
        Write(cost, plan.boundary->length);
    }
    for (const PlannedBlock& block : plan.whole)
        Write(cost, block.length);
    Write(cost, kBlockSize);
    return cost;
}

}  // namespace lumato::store
