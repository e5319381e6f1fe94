#include "report/trace_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <utility>

namespace lumato::report {
namespace {

using device::CommandRecord;
using platform::Direction;

constexpr std::array<std::pair<Direction, std::string_view>, 3> kDirections{
    {{Direction::None, "none"}, {Direction::Out, "out"}, {Direction::In, "in"}}};
constexpr std::size_t kLongestData = 1 << 16;  // no command moves more
constexpr std::size_t kHashDigits = 32;
constexpr std::size_t kSumDigits = 4;

std::string SumText(std::uint16_t sum) {
    std::array<std::uint8_t, 2> bytes{};
    PutBe16(bytes, sum);
    return HexText(bytes);
}

std::string DataText(const CommandRecord& record) {
    const std::vector<std::uint8_t>& data = record.data;
    if (record.filled)
        return "*" + HexText(data);
    std::string text = data.empty() ? "" : "=" + HexText(data);
    if (!record.hash.empty())
        text += "~" + record.hash + SumText(record.sum);
    return text.empty() ? "-" : text;
}

std::string Line(const CommandRecord& record) {
    if (record.block.empty())
        return "! " + record.mark + "\n";
    const auto direction = std::ranges::find(kDirections, record.direction, [](auto& d) { return d.first; });
    return HexText(record.block) + " " + std::string(direction->second) + " " +
           std::to_string(record.length) + " " + std::to_string(record.transferred) + " " +
           HexText(ByteSpan(&record.status, 1)) + " " + std::to_string(record.times) + " " +
           DataText(record) + "\n";
}

std::optional<std::vector<std::uint8_t>> ParseHex(std::string_view text) {
    if (text.size() % 2 != 0)
        return std::nullopt;
    std::vector<std::uint8_t> bytes(text.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const char* const begin = text.data() + 2 * i;
        if (const auto read = std::from_chars(begin, begin + 2, bytes[i], 16);
            read.ec != std::errc() || read.ptr != begin + 2)
            return std::nullopt;
    }
    return bytes;
}

template <class Number>
bool ParseNumber(std::string_view text, Number most, Number& number) {
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    return read.ec == std::errc() && read.ptr == text.data() + text.size() && number >= 0 && number <= most;
}

bool ParseData(std::string_view text, CommandRecord& record) {
    if (text == "-")
        return record.Moved() == 0;
    if (text.starts_with('*')) {
        const auto byte = ParseHex(text.substr(1));
        if (!byte || byte->size() != 1 || record.Moved() == 0)
            return false;
        record.data = *byte;
        record.filled = true;
        return true;
    }
    const std::size_t hash = std::min(text.find('~'), text.size());
    if (text.starts_with('=')) {
        auto bytes = ParseHex(text.substr(1, hash - 1));
        if (!bytes)
            return false;
        record.data = std::move(*bytes);
    } else if (hash != 0) {
        return false;
    }
    if (hash < text.size()) {
        const std::string_view digits = text.substr(hash + 1);
        const auto bytes = ParseHex(digits);
        if (!bytes || digits.size() != kHashDigits + kSumDigits)
            return false;
        record.hash = digits.substr(0, kHashDigits);
        record.sum = GetBe16(ByteSpan(*bytes).last(kSumDigits / 2));
    }
    const bool whole = record.data.size() == record.Moved();
    return record.hash.empty() ? whole : record.data.size() < record.Moved();
}

std::optional<CommandRecord> ParseLine(std::string_view line) {
    CommandRecord record;
    if (line.starts_with("! ")) {
        record.mark = line.substr(2);
        return record;
    }
    std::array<std::string_view, 7> fields;
    for (std::string_view& field : fields) {
        const std::size_t end = std::min(line.find(' '), line.size());
        field = line.substr(0, end);
        line.remove_prefix(std::min(end + 1, line.size()));
    }
    const auto block = ParseHex(fields[0]);
    const auto status = ParseHex(fields[4]);
    const auto direction = std::ranges::find(kDirections, fields[1], [](auto& d) { return d.second; });
    const bool wellFormed = line.empty() && block && block->size() >= 6 && block->size() <= 16 &&
                            direction != kDirections.end() && status && status->size() == 1 &&
                            ParseNumber(fields[2], kLongestData, record.length) &&
                            ParseNumber(fields[3], record.length, record.transferred) &&
                            ParseNumber(fields[5], 1'000'000'000, record.times) && record.times > 0;
    if (!wellFormed)
        return std::nullopt;
    record.block = *block;
    record.status = status->front();
    record.direction = direction->first;
    return ParseData(fields[6], record) ? std::optional(record) : std::nullopt;
}

}  // namespace

std::string TraceText(const std::vector<CommandRecord>& records) {
    std::string text;
    for (const CommandRecord& record : records)
        text += Line(record);
    return text;
}

Result<std::vector<CommandRecord>> ParseTrace(std::string_view text) {
    std::vector<CommandRecord> records;
    for (int number = 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        auto record = ParseLine(text.substr(0, end));
        if (!record)
            return Fail(ErrorKind::Damaged, "line " + std::to_string(number) + " of the trace is none");
        records.push_back(std::move(*record));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return records;
}

}  // namespace lumato::report
