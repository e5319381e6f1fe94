#include "store/journal.h"

#include <algorithm>
#include <cstring>

#include "store/messages.h"

namespace lumato::store {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::string_view kMagic = "LUMATOJ2";
constexpr std::size_t kFamilyLength = 7;  // what the magic of every version begins with
constexpr std::size_t kPictureSize = 40;
constexpr std::size_t kMostBlockBytes = 65536;
constexpr std::uint8_t kFromScratch = 1;

class Writer {
  public:
    void Put(ByteSpan bytes) { m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end()); }
    void PutNumber(std::int64_t number) {
        std::array<std::uint8_t, 4> bytes{};
        PutLe32(bytes, static_cast<std::uint32_t>(number));
        Put(ByteSpan(bytes));
    }
    void PutText(std::string_view text) {
        PutNumber(static_cast<std::int64_t>(text.size()));
        Put(ByteSpan(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
    }
    Bytes Finish() {
        Put(ByteSpan(Sha256(m_bytes)));
        return std::move(m_bytes);
    }

  private:
    Bytes m_bytes;
};

// After the first byte that is not there everything reads as zero, and Failed() says so.
class Reader {
  public:
    explicit Reader(ByteSpan bytes) : m_bytes(bytes) {}

    ByteSpan Take(std::size_t count) {
        if (count > m_bytes.size()) {
            m_failed = true;
            return {};
        }
        const ByteSpan taken = m_bytes.first(count);
        m_bytes = m_bytes.subspan(count);
        return taken;
    }
    template <class Array>
    void Fill(Array& array) {
        std::ranges::copy(Take(array.size()), array.begin());
    }
    std::int32_t Number() {
        const ByteSpan bytes = Take(4);
        return m_failed ? 0 : static_cast<std::int32_t>(GetLe32(bytes));
    }
    std::string Text() {
        const ByteSpan bytes = Take(static_cast<std::uint32_t>(Number()));
        return {bytes.begin(), bytes.end()};
    }
    [[nodiscard]] std::size_t Left() const { return m_bytes.size(); }
    [[nodiscard]] bool Failed() const { return m_failed; }

  private:
    ByteSpan m_bytes;
    bool m_failed = false;
};

void ReadHead(Reader& reader, Journal& journal) {
    std::array<std::uint8_t, 4> flags{};
    reader.Fill(flags);
    journal.phase = static_cast<Journal::Phase>(flags[0]);
    journal.fromScratch = flags[1] == kFromScratch;
    reader.Fill(journal.frame);
    journal.counter = static_cast<std::uint32_t>(reader.Number());
    journal.time = static_cast<std::uint32_t>(reader.Number());
    journal.lcdWidth = reader.Number();
    journal.lcdHeight = reader.Number();
    journal.flashSize = reader.Number();
    reader.Fill(journal.tableBefore);
    reader.Fill(journal.tableAfter);
}

bool ReadPictureEntries(Reader& reader, Journal& journal) {
    const std::int32_t count = reader.Number();
    if (count < 0 || static_cast<std::size_t>(count) > reader.Left() / kPictureSize)
        return false;
    journal.pictures.resize(static_cast<std::size_t>(count));
    for (JournalPicture& picture : journal.pictures) {
        reader.Fill(picture.hash);
        picture.length = reader.Number();
        picture.address = reader.Number();
        if (picture.length < 0 || picture.address < 0)
            return false;
    }
    return true;
}

bool ReadBlocks(Reader& reader, Journal& journal) {
    for (std::int32_t left = reader.Number(); left > 0 && !reader.Failed(); --left) {
        const std::int32_t address = reader.Number();
        const auto size = static_cast<std::size_t>(static_cast<std::uint32_t>(reader.Number()));
        if (address < 0 || size < kTableSize || size > kMostBlockBytes)
            return false;
        const ByteSpan bytes = reader.Take(size);
        journal.blocks.emplace(address, Bytes(bytes.begin(), bytes.end()));
    }
    return !reader.Failed();
}

bool ReadNames(Reader& reader, Journal& journal) {
    journal.individual = reader.Text();
    journal.name = reader.Text();
    return !reader.Failed() && reader.Left() == 0;
}

bool IsPhase(Journal::Phase phase) {
    return phase == Journal::Phase::Additions || phase == Journal::Phase::Download;
}

}  // namespace

Bytes EncodeJournal(const Journal& journal) {
    Writer writer;
    writer.Put(ByteSpan(reinterpret_cast<const std::uint8_t*>(kMagic.data()), kMagic.size()));
    writer.Put(
        ByteSpan(std::array<std::uint8_t, 4>{static_cast<std::uint8_t>(journal.phase),
                                             journal.fromScratch ? kFromScratch : std::uint8_t{0}, 0, 0}));
    writer.Put(ByteSpan(journal.frame));
    writer.PutNumber(journal.counter);
    writer.PutNumber(journal.time);
    for (const std::int32_t number : {journal.lcdWidth, journal.lcdHeight, journal.flashSize})
        writer.PutNumber(number);
    writer.Put(ByteSpan(journal.tableBefore));
    writer.Put(ByteSpan(journal.tableAfter));
    writer.PutNumber(static_cast<std::int64_t>(journal.pictures.size()));
    for (const JournalPicture& picture : journal.pictures) {
        writer.Put(ByteSpan(picture.hash));
        writer.PutNumber(picture.length);
        writer.PutNumber(picture.address);
    }
    writer.PutNumber(static_cast<std::int64_t>(journal.blocks.size()));
    for (const auto& [address, bytes] : journal.blocks) {
        writer.PutNumber(address);
        writer.PutNumber(static_cast<std::int64_t>(bytes.size()));
        writer.Put(ByteSpan(bytes));
    }
    writer.PutText(journal.individual);
    writer.PutText(journal.name);
    return writer.Finish();
}

Result<Journal> DecodeJournal(ByteSpan bytes) {
    const auto damaged = Fail(ErrorKind::Damaged, kJournalIsDamaged);
    if (bytes.size() < kMagic.size() + sizeof(Digest))
        return damaged;
    const ByteSpan content = bytes.first(bytes.size() - sizeof(Digest));
    if (std::memcmp(content.data(), kMagic.data(), kFamilyLength) != 0 ||
        !std::ranges::equal(Sha256(content), bytes.last(sizeof(Digest))))
        return damaged;
    if (content[kFamilyLength] != static_cast<std::uint8_t>(kMagic[kFamilyLength]))
        return Fail(ErrorKind::Unsupported,
                    Phrase("JOURNAL_OF_ANOTHER_VERSION",
                           "the recovery journal is of another version of this program"));
    Journal journal;
    Reader reader(content.subspan(kMagic.size()));
    ReadHead(reader, journal);
    if (!IsPhase(journal.phase) || !ReadPictureEntries(reader, journal) || !ReadBlocks(reader, journal) ||
        !ReadNames(reader, journal))
        return damaged;
    // Nobody else writes journals: what says the same in other bytes is not ours.
    if (!std::ranges::equal(EncodeJournal(journal), bytes))
        return damaged;
    return journal;
}

void PutBlocksBack(const std::map<std::int32_t, Bytes>& blocks, std::int32_t address, Bytes& stream) {
    const std::int64_t end = std::int64_t{address} + static_cast<std::int64_t>(stream.size());
    for (const auto& [base, block] : blocks) {
        const std::int64_t from = std::max<std::int64_t>(base, address);
        const std::int64_t to = std::min<std::int64_t>(base + static_cast<std::int64_t>(block.size()), end);
        if (from < to)
            std::copy(block.begin() + (from - base), block.begin() + (to - base),
                      stream.begin() + (from - address));
    }
}

}  // namespace lumato::store
