#include "cli/dry_run.h"

#include <cstdio>

#include "flash/checked_transfer.h"
#include "store/download_plan.h"
#include "store/store.h"

namespace lumato::cli {
namespace {

using flash::kBlockSize;

constexpr double kSecondsPerErasedBlock = 0.5;
constexpr double kSecondsPerPage = 0.0007;
constexpr int kPageSize = 256;
constexpr double kLinkBytesPerSecond = 800000;

class Estimate {
  public:
    void Read(int length) { m_work.seconds += length / kLinkBytesPerSecond; }
    void Write(int length) {
        ++m_work.blocks;
        m_work.bytes += length;
        m_work.seconds += kSecondsPerErasedBlock + length / kLinkBytesPerSecond +
                          (length + kPageSize - 1) / kPageSize * kSecondsPerPage;
    }
    [[nodiscard]] const DownloadWork& Work() const { return m_work; }

  private:
    DownloadWork m_work;
};

}  // namespace

void BeginDryRun() {
    store::Store().journalFolder.clear();
}

tl::expected<DownloadWork, Failure> EstimateDownload() {
    const Result<store::DownloadPlan> plan = store::PlanDownload();
    if (!plan)
        return tl::unexpected<Failure>(Failure{kRefused, plan.error().message});
    const store::StoreState& state = store::Store();
    Estimate estimate;
    estimate.Read(kBlockSize);  // the table's block, which is then made invalid
    estimate.Write(kBlockSize);
    if (!plan->fromScratch) {
        for (const auto& [address, bytes] : state.blocksAtRisk) {
            if (address != state.geometry.tableAddress)
                estimate.Write(static_cast<int>(bytes.size()));
        }
        estimate.Read(kBlockSize);
    }
    if (plan->boundary) {
        estimate.Read(plan->boundary->length);
        estimate.Write(plan->boundary->length);
    }
    for (const store::PlannedBlock& block : plan->whole)
        estimate.Write(block.length);
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
