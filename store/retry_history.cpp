#include "store/retry_history.h"

#include <charconv>
#include <vector>

#include "store/known_pictures.h"

namespace lumato::store {
namespace {

using flash::TransferCount;

constexpr std::size_t kMostTransfers = 8;
constexpr std::size_t kMostBytes = 256;
constexpr int kMostCounted = 1'000'000;  // a frame has fewer blocks; what says more is no file of ours
constexpr int kFewRetries = 3;           // a single bump against the cable is no news
constexpr int kBlocksPerRetry = 50;

std::string FileName() {
    return "retries-" + KnownName({});
}

// "BLOCKS RETRIES", a line for each transfer; nothing for a file that is not like that.
std::vector<TransferCount> Load() {
    const auto bytes = ReadKnownFile(FileName(), kMostBytes);
    std::vector<TransferCount> history;
    const char* at = reinterpret_cast<const char*>(bytes.data());
    const char* const end = at + bytes.size();
    const auto take = [&](int& number, char behind) {
        const auto [stopped, error] = std::from_chars(at, end, number);
        if (error != std::errc{} || stopped == end || *stopped != behind || number < 0 ||
            number > kMostCounted)
            return false;
        at = stopped + 1;
        return true;
    };
    while (at != end) {
        TransferCount count;
        if (history.size() == kMostTransfers || !take(count.blocks, ' ') || !take(count.retries, '\n'))
            return {};
        history.push_back(count);
    }
    return history;
}

}  // namespace

void NoteRetries(const TransferCount& before) {
    const TransferCount& now = flash::Transferred();
    const TransferCount count{now.blocks - before.blocks, now.retries - before.retries};
    if (count.blocks == 0)
        return;
    std::vector<TransferCount> history = Load();
    if (history.size() == kMostTransfers)
        history.erase(history.begin());
    history.push_back(count);
    std::string text;
    for (const TransferCount& one : history)
        text += std::to_string(one.blocks) + " " + std::to_string(one.retries) + "\n";
    KeepKnownFile(FileName(), std::vector<std::uint8_t>(text.begin(), text.end()));
}

Phrase LinkWarning() {
    TransferCount sum;
    for (const TransferCount& one : Load()) {
        sum.blocks += one.blocks;
        sum.retries += one.retries;
    }
    if (sum.retries < kFewRetries || sum.retries * kBlocksPerRetry <= sum.blocks)
        return {};
    return Phrase(
        "LINK_GETS_WEAK",
        "the cable or the frame's flash is getting weak: the last {0} blocks took {1} more attempts; "
        "try another cable",
        sum.blocks, sum.retries);
}

}  // namespace lumato::store
