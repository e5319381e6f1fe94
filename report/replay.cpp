#include "report/replay.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <numeric>
#include <optional>

#include "flash/command_block.h"
#include "report/make_report.h"
#include "report/trace_text.h"
#include "vframe/device_information.h"
#include "vframe/virtual_frame.h"

namespace lumato::report {
namespace {

using device::CommandRecord;
using platform::Direction;
using platform::ScsiOutcome;

constexpr std::uint8_t kBusy = 0x01;
constexpr int kMostTimes = 1000;  // that it is asked in a row whether the flash is ready
constexpr int kMostAttempts = 3;  // of anything else in a row; nothing changes after that
constexpr std::size_t kMostDifferences = 1000;

bool IsVendor(const CommandRecord& record, std::uint8_t opcode) {
    return record.block.size() == 16 && record.block[0] == opcode;
}
bool IsSum(const CommandRecord& record) {
    return IsVendor(record, flash::kOpcodeIn) && record.block[5] != 0;
}
bool IsInstruction(const CommandRecord& record, std::uint8_t opcode, std::uint8_t instruction) {
    return IsVendor(record, opcode) && record.block[5] == 0 && record.block[10] == instruction;
}
std::size_t AddressOf(const CommandRecord& record) {
    return GetBe24(ByteSpan(record.block).subspan(11));
}
unsigned SumOf(const CommandRecord& record) {
    return static_cast<unsigned>(record.ByteAt(0) << 8 | record.ByteAt(1));
}
bool IsGood(const CommandRecord& record) {
    return record.status == platform::kStatusGood;
}

std::string NameOf(const CommandRecord& record) {
    char at[32];
    std::snprintf(at, sizeof at, " at 0x%06zX", record.block.size() == 16 ? AddressOf(record) : 0);
    if (IsSum(record))
        return std::string("sum") + at;
    if (IsInstruction(record, flash::kOpcodeIn, flash::kRead))
        return std::string("read") + at;
    if (IsInstruction(record, flash::kOpcodeIn, flash::kReadStatus))
        return "read status";
    if (vframe::ErasedBytes(record.block) != 0)
        return std::string("erase") + at;
    if (vframe::IsProgram(record.block))
        return std::string("program") + at;
    return "command " + HexText(ByteSpan(record.block).first(1));
}

// What the trace says of a flash's bytes.
class KnownFlash {
  public:
    explicit KnownFlash(std::size_t size) : m_bytes(size, 0xFF), m_state(size, State::Unknown) {}

    // The first that is told of a byte, if nothing has been written there before, is what it was.
    void LearnFirst(const CommandRecord& record) {
        if (const std::size_t unit = vframe::ErasedBytes(record.block))
            Mark(AddressOf(record) / unit * unit, unit, State::Written);
        if (vframe::IsProgram(record.block))
            Mark(AddressOf(record), record.length, State::Written);
        if (!IsInstruction(record, flash::kOpcodeIn, flash::kRead) || !IsGood(record))
            return;
        for (std::size_t i = 0, at = AddressOf(record); i < record.KnownBytes() && at < m_bytes.size();
             ++i, ++at) {
            if (m_state[at] != State::Unknown)
                continue;
            m_bytes[at] = record.ByteAt(i);
            m_state[at] = State::Known;
        }
    }
    // From the beginning, with what was then known.
    void Begin() { std::ranges::replace(m_state, State::Written, State::Unknown); }

    // `sure`: both frames did it.
    void Follow(const CommandRecord& record, bool sure) {
        if (const std::size_t unit = vframe::ErasedBytes(record.block))
            Mark(AddressOf(record) / unit * unit, unit, sure ? State::Known : State::Unknown);
        if (!vframe::IsProgram(record.block))
            return;
        const std::size_t kept = sure ? record.KnownBytes() : 0;
        Mark(AddressOf(record) + kept, record.length - std::min(kept, record.length), State::Unknown);
    }
    void ForgetAll() { std::ranges::fill(m_state, State::Unknown); }

    [[nodiscard]] bool Knows(std::size_t at, std::size_t length) const {
        return length > 0 && at <= m_state.size() && length <= m_state.size() - at &&
               std::all_of(m_state.begin() + static_cast<std::ptrdiff_t>(at),
                           m_state.begin() + static_cast<std::ptrdiff_t>(at + length),
                           [](State state) { return state == State::Known; });
    }
    [[nodiscard]] const std::vector<std::uint8_t>& Bytes() const { return m_bytes; }

  private:
    enum class State : std::uint8_t { Unknown, Known, Written };

    void Mark(std::size_t at, std::size_t length, State state) {
        for (; length > 0 && at < m_state.size(); --length, ++at)
            m_state[at] = state == State::Written && m_state[at] != State::Unknown ? m_state[at] : state;
    }

    std::vector<std::uint8_t> m_bytes;  // at the beginning
    std::vector<State> m_state;
};

// From the coming of a frame to the next one's.
class Part {
  public:
    Part(std::span<const CommandRecord> records, std::size_t flashSize, Replayed& replayed, int number)
        : m_records(records), m_known(flashSize), m_replayed(replayed), m_number(number) {
        for (const CommandRecord& record : records) {
            if (record.mark == "missing")
                break;
            if (!record.block.empty())
                m_known.LearnFirst(record);
        }
        m_known.Begin();
        m_frame = std::make_unique<vframe::VirtualFrame>(vframe::FlashImage::InMemory(m_known.Bytes()));
    }

    void Run() {
        for (const CommandRecord& record : m_records) {
            if (record.block.empty()) {
                m_afterGap = m_afterGap || record.mark == "missing";
                if (m_afterGap) {
                    m_known.ForgetAll();
                    m_moved.clear();
                }
                continue;
            }
            ++m_number;
            // In the middle of what takes several commands nothing can be begun.
            if (m_afterGap && IsVendor(record, flash::kOpcodeOut) &&
                !IsInstruction(record, flash::kOpcodeOut, flash::kWriteEnable))
                continue;
            m_afterGap = m_afterGap && !IsVendor(record, flash::kOpcodeOut);
            Send(record);
        }
    }

  private:
    void Send(const CommandRecord& record) {
        std::vector<std::uint8_t> data(record.length);
        if (record.direction == Direction::Out)
            std::ranges::generate(std::span(data).first(record.KnownBytes()),
                                  [&, i = 0U]() mutable { return record.ByteAt(i++); });
        const platform::ScsiRequest request{
            .block = record.block, .direction = record.direction, .data = data};
        ScsiOutcome outcome;
        const int times =
            IsInstruction(record, flash::kOpcodeIn, flash::kReadStatus) ? kMostTimes : kMostAttempts;
        for (int i = 0; i < std::min(record.times, times); ++i)
            outcome = m_frame->Execute(request);
        ++m_replayed.commands;
        const std::uint8_t status = outcome.executed ? outcome.status : platform::kStatusNone;
        if (status != record.status)
            Differ(record, "status " + HexText(ByteSpan(&record.status, 1)) + " was recorded, here it is " +
                               HexText(ByteSpan(&status, 1)));
        else if (IsGood(record) && record.direction == Direction::In)
            CompareAnswer(record, ByteSpan(data).first(outcome.transferred));
        if (IsInstruction(record, flash::kOpcodeIn, flash::kReadStatus) && IsGood(record) &&
            !record.data.empty() && (record.data[0] & kBusy) == 0)
            WaitUntilReady(request);
        m_known.Follow(record, IsGood(record) && status == record.status);
        NoteMoved(record);
    }

    // The recorded frame was ready, perhaps sooner.
    void WaitUntilReady(const platform::ScsiRequest& request) {
        for (int i = 0; i < kMostTimes && (request.data[0] & kBusy) != 0; ++i)
            static_cast<void>(m_frame->Execute(request));
    }

    void CompareAnswer(const CommandRecord& record, ByteSpan answer) {
        if (!IsVendor(record, flash::kOpcodeIn))
            return;  // who it is, is its own affair
        if (answer.size() != record.transferred) {
            Differ(record, std::to_string(record.transferred) + " bytes were recorded, here they are " +
                               std::to_string(answer.size()));
            return;
        }
        if (IsInstruction(record, flash::kOpcodeIn, flash::kRead))
            CompareBytes(record, answer);
        else if (IsSum(record))
            CompareSum(record, answer);
        else if (!record.data.empty() && !answer.empty() && ((record.data[0] | answer[0]) & kBusy) == 0)
            Compare(record, answer.first(1), "the flash's status");
    }

    // Of bytes that are not known: what was moved there last, and what is now said of it.
    void CompareMoved(const CommandRecord& record, const CommandRecord& last) {
        if (IsSum(record) && SumOf(record) != last.sum)
            Differ(record, "the sum is not that of the bytes that were moved before");
        else if (!record.hash.empty() && record.hash != last.hash)
            Differ(record, "other bytes were recorded than those that were moved before");
        ++m_replayed.compared;
    }

    // The last record that moved just these bytes, if nothing has been written there since.
    [[nodiscard]] const CommandRecord* LastMoved(std::size_t address, std::size_t length) const {
        const auto found = m_moved.find({address, length});
        return found != m_moved.end() ? found->second : nullptr;
    }

    void NoteMoved(const CommandRecord& record) {
        const std::size_t unit = vframe::ErasedBytes(record.block);
        const bool programs = vframe::IsProgram(record.block);
        if (unit != 0 || programs) {
            const std::size_t begin = unit != 0 ? AddressOf(record) / unit * unit : AddressOf(record);
            const std::size_t end = begin + (unit != 0 ? unit : record.length);
            std::erase_if(m_moved, [&](const auto& moved) {
                return moved.first.first < end && begin < moved.first.first + moved.first.second;
            });
        }
        const bool moves = programs || IsInstruction(record, flash::kOpcodeIn, flash::kRead);
        if (moves && IsGood(record) && !record.hash.empty())
            m_moved[{AddressOf(record), record.length}] = &record;
    }

    void CompareBytes(const CommandRecord& record, ByteSpan answer) {
        const std::size_t address = AddressOf(record);
        for (std::size_t i = 0; i < record.KnownBytes(); ++i) {
            if (record.ByteAt(i) == answer[i] || !m_known.Knows(address + i, 1))
                continue;
            char place[80];
            std::snprintf(place, sizeof place, "byte 0x%06zX was recorded as %02X, here it is %02X",
                          address + i, record.ByteAt(i), answer[i]);
            Differ(record, place);
            return;
        }
        if (!m_known.Knows(address, answer.size())) {
            const CommandRecord* last = LastMoved(address, answer.size());
            if (last != nullptr && !record.hash.empty())
                CompareMoved(record, *last);
            return;
        }
        ++m_replayed.compared;
        if (!record.hash.empty() && !HexText(Sha256(answer)).starts_with(record.hash))
            Differ(record, "other bytes were recorded than those that were written before");
    }

    void CompareSum(const CommandRecord& record, ByteSpan answer) {
        const std::size_t said = GetBe16(ByteSpan(record.block).subspan(7));
        const std::size_t length = said == 0 ? vframe::kBlock : said;
        if (answer.size() < 2 || record.KnownBytes() < 2)
            return;
        if (m_known.Knows(AddressOf(record), length))
            Compare(record, answer.first(2), "the sum");
        else if (const CommandRecord* last = LastMoved(AddressOf(record), length))
            CompareMoved(record, *last);
    }

    void Compare(const CommandRecord& record, ByteSpan answer, const std::string& what) {
        ++m_replayed.compared;
        std::vector<std::uint8_t> recorded;
        for (std::size_t at = 0; at < std::min(answer.size(), record.KnownBytes()); ++at)
            recorded.push_back(record.ByteAt(at));
        if (!std::ranges::equal(recorded, answer))
            Differ(record,
                   what + " was recorded as " + HexText(recorded) + ", here it is " + HexText(answer));
    }

    void Differ(const CommandRecord& record, const std::string& what) {
        if (m_replayed.differences.size() < kMostDifferences)
            m_replayed.differences.push_back({m_number, NameOf(record) + ": " + what});
    }

    const std::span<const CommandRecord> m_records;
    KnownFlash m_known;
    std::unique_ptr<vframe::VirtualFrame> m_frame;
    std::map<std::pair<std::size_t, std::size_t>, const CommandRecord*> m_moved;  // by address and length
    Replayed& m_replayed;
    int m_number;  // of the command, in the whole trace
    bool m_afterGap = false;
};

// The flash's size as the frame's information block in these records has it; none without one.
std::optional<std::size_t> FlashSize(std::span<const CommandRecord> records) {
    for (const CommandRecord& record : records) {
        if (IsInstruction(record, flash::kOpcodeIn, flash::kRead) && IsGood(record) &&
            AddressOf(record) == 0 && record.data.size() >= vframe::kInformationSize)
            return GetLe24(ByteSpan(record.data).subspan(vframe::kAtFlashSize));
    }
    return std::nullopt;
}

bool IsFlashSize(std::size_t size) {
    return size >= vframe::kSmallestFlash && size <= vframe::kLargestFlash &&
           size % vframe::kFlashGranule == 0;
}

bool IsAttachment(const CommandRecord& record) {
    return record.block.empty() && record.mark == "attached";
}

}  // namespace

Result<std::vector<CommandRecord>> TraceOfReport(std::string_view report) {
    if (!report.starts_with(kReportHead))
        return Fail(ErrorKind::Unsupported, "this is no report of Lumato's");
    const std::size_t begin = report.find(kTraceHead);
    if (begin == std::string_view::npos)
        return Fail(ErrorKind::Damaged, "the report ends before its trace");
    report.remove_prefix(begin + kTraceHead.size());
    return ParseTrace(report.substr(0, report.find(kLogHead)));
}

Result<Replayed> Replay(const std::vector<CommandRecord>& records) {
    Replayed replayed;
    bool found = false;
    int number = 0;
    for (auto begin = records.begin(); begin != records.end();) {
        const auto end = std::find_if(begin + 1, records.end(), IsAttachment);
        const std::span<const CommandRecord> part(begin, end);
        if (const auto size = FlashSize(part)) {
            if (!IsFlashSize(*size))
                return Fail(ErrorKind::Unsupported,
                            "no flash has the size that the information block says: " +
                                std::to_string(*size) + " bytes");
            Part(part, *size, replayed, number).Run();
            found = true;
        }
        number += static_cast<int>(
            std::ranges::count_if(part, [](const CommandRecord& record) { return !record.block.empty(); }));
        begin = end;
    }
    if (!found)
        return Fail(ErrorKind::Unsupported, "the report holds no trace of a frame that said what it is");
    return replayed;
}

}  // namespace lumato::report
