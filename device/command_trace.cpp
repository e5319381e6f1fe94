#include "device/command_trace.h"

#include <algorithm>
#include <utility>

namespace lumato::device {
namespace {

using platform::Direction;

constexpr std::size_t kFirst = 64;
constexpr std::size_t kLast = 4000;
constexpr std::size_t kBefore = 1000;
constexpr std::size_t kMostBytes = 1 << 20;
constexpr std::size_t kHashDigits = 32;
constexpr std::uint32_t kInformationSize = 512;
constexpr std::uint8_t kInquiryCode = 0x12;
constexpr std::uint8_t kVendorOut = 0xCB;
constexpr std::uint8_t kVendorIn = 0xCD;
constexpr std::uint8_t kRead = 0x03;
constexpr std::uint8_t kProgram = 0x02;

bool MovesFlashBytes(ByteSpan block) {
    return block.size() == 16 && block[5] == 0 &&
           ((block[0] == kVendorIn && block[10] == kRead) ||
            (block[0] == kVendorOut && block[10] == kProgram));
}

}  // namespace

CommandRecord CommandRecord::Marked(std::string mark) {
    CommandRecord record;
    record.mark = std::move(mark);
    return record;
}

std::size_t CommandRecord::Moved() const {
    return direction == Direction::Out ? length : transferred;
}

std::size_t CommandRecord::KnownBytes() const {
    return filled ? Moved() : data.size();
}

bool CommandRecord::IsLike(const CommandRecord& other) const {
    return !block.empty() && block == other.block && direction == other.direction && length == other.length &&
           transferred == other.transferred && status == other.status && data == other.data &&
           filled == other.filled && hash == other.hash && sum == other.sum;
}

std::size_t CommandTrace::BytesToKeep(const platform::ScsiRequest& request, std::size_t moved) const {
    if (!MovesFlashBytes(request.block))
        return moved;  // what the frame says of itself
    const std::uint32_t address = GetBe24(request.block.subspan(11));
    const auto whole = [&](Range range) {
        return address >= range.address && address < range.address + range.length
                   ? std::min<std::size_t>(moved, range.address + range.length - address)
                   : 0;
    };
    std::size_t kept = whole({0, kInformationSize});
    for (const Range& range : m_whole)
        kept = std::max(kept, whole(range));
    return kept;
}

void CommandTrace::Note(const platform::ScsiRequest& request, const platform::ScsiOutcome& outcome) {
    CommandRecord record;
    record.block.assign(request.block.begin(), request.block.end());
    record.direction = request.direction;
    record.length = request.direction == Direction::None ? 0 : request.data.size();
    record.transferred = std::min(outcome.transferred, record.length);
    record.status = outcome.executed ? outcome.status : platform::kStatusNone;
    const std::size_t moved = request.direction == Direction::Out ? record.length : record.transferred;
    const ByteSpan data = ByteSpan(request.data).first(moved);
    const bool same = moved > 0 && std::ranges::all_of(data, [&](std::uint8_t b) { return b == data[0]; });
    const std::lock_guard lock(m_mutex);
    m_tells = m_tells || record.status != platform::kStatusGood || record.block.front() == kVendorOut;
    const std::size_t kept = same ? moved : BytesToKeep(request, moved);
    record.filled = same;
    record.data.assign(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(same ? 1 : kept));
    if (kept < moved) {
        record.hash = HexText(Sha256(data)).substr(0, kHashDigits);
        record.sum = Sum16(data);
    }
    Add(std::move(record));
}

bool CommandTrace::Tells() const {
    const std::lock_guard lock(m_mutex);
    return m_tells;
}

void CommandTrace::Add(CommandRecord record) {
    CommandRecord* last = !m_last.empty() ? &m_last.back() : !m_first.empty() ? &m_first.back() : nullptr;
    if (last != nullptr && last->IsLike(record)) {
        ++last->times;
        return;
    }
    if (m_first.size() < kFirst) {
        m_first.push_back(std::move(record));
        return;
    }
    m_kept += record.data.size();
    m_last.push_back(std::move(record));
    while (m_last.size() > kLast || m_kept > kMostBytes) {
        m_kept -= m_last.front().data.size();
        m_last.pop_front();
        ++m_missing;
    }
}

void CommandTrace::NoteAttached() {
    const std::lock_guard lock(m_mutex);
    std::vector<CommandRecord>& from = m_first;
    CommandRecord inquiry;
    if (!m_last.empty() && m_last.back().block.front() == kInquiryCode) {
        inquiry = std::move(m_last.back());
        m_last.pop_back();
    } else if (!from.empty() && !from.back().block.empty() && from.back().block.front() == kInquiryCode) {
        inquiry = std::move(from.back());
        from.pop_back();
    }
    // Of the frame before, or of what was no frame, the last commands.
    m_before.assign(m_first.begin(), m_first.end());
    if (m_missing > 0 || m_last.size() > kBefore)
        m_before.push_back(CommandRecord::Marked("missing"));
    const std::size_t kept = std::min(m_last.size(), kBefore);
    m_before.insert(m_before.end(), m_last.end() - static_cast<std::ptrdiff_t>(kept), m_last.end());
    m_first.clear();
    m_last.clear();
    m_kept = 0;
    m_whole.clear();
    m_missing = 0;
    m_first.push_back(CommandRecord::Marked("attached"));
    if (!inquiry.block.empty())
        m_first.push_back(std::move(inquiry));
}

void CommandTrace::KeepWhole(std::uint32_t address, std::uint32_t length) {
    const std::lock_guard lock(m_mutex);
    constexpr std::size_t most = 16;
    const bool known = std::ranges::any_of(
        m_whole, [&](Range range) { return range.address == address && range.length == length; });
    if (!known && m_whole.size() < most)
        m_whole.push_back({address, length});
}

std::vector<CommandRecord> CommandTrace::Copy() const {
    const std::lock_guard lock(m_mutex);
    std::vector<CommandRecord> all = m_before;
    all.insert(all.end(), m_first.begin(), m_first.end());
    if (m_missing > 0)
        all.push_back(CommandRecord::Marked("missing"));
    all.insert(all.end(), m_last.begin(), m_last.end());
    return all;
}

CommandTrace& Commands() {
    static auto& trace = *new CommandTrace;  // a log that is slow may read it to the end
    return trace;
}

}  // namespace lumato::device
