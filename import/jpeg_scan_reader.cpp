#include "import/jpeg_scan_reader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <type_traits>

#include "jpeg/tables.h"

namespace lumato::picture {
namespace {

// Of one MCU: all its coefficients with the longest codes and the most additional bits.
constexpr std::size_t kMostBytes = D_MAX_BLOCKS_IN_MCU * 64 * (16 + 15) / 8;
// First coefficients of real pictures are far below; where they are not, libjpeg decides what becomes of
// them.
constexpr int kLargestPredictor = 1 << 14;

// Place in the scan to place in the block. What lies behind the block goes to its end.
constexpr std::array<std::uint8_t, 160> kPlaces = [] {
    std::array<std::uint8_t, 160> places{};
    for (std::size_t k = 0; k < places.size(); ++k)
        places[k] = k < 64 ? jpeg::jpeg_natural_order[k] : 64;
    return places;
}();

alignas(32) constinit const std::int16_t kZeros[64 + 16] = {};

// Only those are written that say how many zeros and how many bits, 16 zeros, or the end of the block.
bool IsUsual(ByteSpan acSymbols) {
    return std::ranges::all_of(
        acSymbols, [](std::uint8_t symbol) { return (symbol & 15) != 0 || symbol == 0 || symbol == 0xF0; });
}

}  // namespace

// Reads the blocks of an MCU. The bits are its own meanwhile, so that they stay in registers.
class JpegScanReader::McuReader {
  public:
    explicit McuReader(const jpeg::BitReader& bits) : m_bits(bits) {}

    [[nodiscard]] const jpeg::BitReader& Bits() const { return m_bits; }

    bool Read(Component& component, std::int16_t* block) {
        m_bits.Refill();
        component.predictor += ReadDifference(*component.dc);
        block[0] = static_cast<std::int16_t>(component.predictor);
        m_place = 0;
        static_assert(2 * CoefficientTable::kMostBits <= 56);
        do {
            m_bits.Refill();
            Look(*component.ac, block);
            if (m_place >= 63)
                break;
            Look(*component.ac, block);
        } while (m_place < 63);
        return m_sound && std::abs(component.predictor) <= kLargestPredictor &&
               (m_place == 63 || m_place >= CoefficientTable::kPastTheBlock);
    }

  private:
    template <class Values>
    int Symbol(const Table<Values>& table) {
        const auto bits = static_cast<std::uint32_t>(m_bits.Window() >> 48);
        m_sound &= table.symbols.Names(bits);
        const jpeg::SymbolTable::Match match = table.symbols.Find(bits);
        m_bits.Consume(match.length);
        return match.symbol;
    }

    int ReadDifference(const Table<jpeg::DcTable>& table) {
        const jpeg::DcTable::Entry entry = table.values.Find(m_bits.Window());
        if (entry.length != 0) {
            m_bits.Consume(entry.length);
            return entry.value;
        }
        const int category = Symbol(table) & 15;
        return jpeg::ExtendedValue(m_bits.Take(category), category);
    }

    // The value of the `bits` additional bits that lie `start` bits further on (T.81 section F.2.2.1): where
    // the first of them is 0, the negative of their complement.
    void Put(std::int16_t* block, int start, int bits) {
        const std::uint64_t at = m_bits.Window() << start;
        const std::uint64_t negative = (at >> 63) - 1;
        const std::uint64_t magnitude = (at ^ negative) >> 1 >> (63 - bits);
        block[kPlaces[m_place]] = static_cast<std::int16_t>((magnitude ^ negative) - negative);
    }

    void Look(const Table<CoefficientTable>& table, std::int16_t* block) {
        const CoefficientTable::Entry entry = table.values.Find(m_bits.Window());
        if (m_place + entry.firstSkip + entry.secondSkip < 63 && entry.length != 0) {
            m_place += entry.firstSkip;
            Put(block, entry.firstStart, entry.firstBits);
            m_place += entry.secondSkip;
            Put(block, entry.secondStart, entry.secondBits);
            m_place += entry.endSkip;
            m_bits.Consume(entry.length);
        } else {
            LookForOne(table, entry, block);
        }
    }

    // Near the block's end, where what seems to come second may belong to the next block.
    void LookForOne(const Table<CoefficientTable>& table, const CoefficientTable::Entry& entry,
                    std::int16_t* block) {
        m_place += entry.firstSkip;
        if (entry.length == 0) {
            ReadLong(table, block);
        } else if (entry.firstSkip == CoefficientTable::kPastTheBlock) {
            m_bits.Consume(entry.length);
        } else {
            Put(block, entry.firstStart, entry.firstBits);
            m_bits.Consume(entry.firstStart + entry.firstBits);
        }
    }

    // A code that one look does not tell.
    void ReadLong(const Table<CoefficientTable>& table, std::int16_t* block) {
        m_bits.Refill();
        const int symbol = Symbol(table);
        m_place += symbol == 0 ? CoefficientTable::kPastTheBlock : static_cast<unsigned>(symbol >> 4) + 1;
        Put(block, 0, symbol & 15);
        m_bits.Consume(symbol & 15);
        m_bits.Refill();
    }

    jpeg::BitReader m_bits;
    unsigned m_place = 0;
    bool m_sound = true;
};

std::unique_ptr<JpegScanReader> JpegScanReader::For(const jpeg_decompress_struct& jpeg,
                                                    const PictureFile& file, std::int64_t offset) {
    if (jpeg.progressive_mode || jpeg.arith_code || jpeg.data_precision != 8 ||
        jpeg.comps_in_scan != jpeg.num_components)
        return nullptr;
    std::unique_ptr<JpegScanReader> reader(new JpegScanReader(jpeg, file, offset));
    return reader->Prepare(jpeg) ? std::move(reader) : nullptr;
}

JpegScanReader::JpegScanReader(const jpeg_decompress_struct& jpeg, const PictureFile& file,
                               std::int64_t offset)
    : m_blocks(static_cast<std::size_t>(jpeg.blocks_in_MCU)),
      m_restartInterval(jpeg.restart_interval),
      m_untilRestart(jpeg.restart_interval),
      m_bytes(file, offset) {}

template <class Values>
std::unique_ptr<JpegScanReader::Table<Values>> JpegScanReader::MakeTable(const JHUFF_TBL* list) {
    if (list == nullptr)
        return nullptr;
    const ByteSpan bits(list->bits + 1, 16);
    const ByteSpan values(list->huffval, std::accumulate(bits.begin(), bits.end(), std::size_t{0}));
    jpeg::SymbolTable symbols;
    if (values.size() > 255 || !symbols.Define(bits, values))
        return nullptr;
    if (std::is_same_v<Values, CoefficientTable> && !IsUsual(values))
        return nullptr;
    return std::make_unique<Table<Values>>(symbols);
}

bool JpegScanReader::Prepare(const jpeg_decompress_struct& jpeg) {
    for (std::size_t i = 0; i < static_cast<std::size_t>(jpeg.comps_in_scan); ++i) {
        const jpeg_component_info& info = *jpeg.cur_comp_info[i];
        m_components[i].dc = MakeTable<jpeg::DcTable>(jpeg.dc_huff_tbl_ptrs[info.dc_tbl_no]);
        m_components[i].ac = MakeTable<CoefficientTable>(jpeg.ac_huff_tbl_ptrs[info.ac_tbl_no]);
        if (!m_components[i].dc || !m_components[i].ac)
            return false;
    }
    for (std::size_t i = 0; i < m_blocks; ++i)
        m_componentOfBlock[i] = static_cast<std::uint8_t>(jpeg.MCU_membership[i]);
    return Fetch();
}

// Has the bits of one more MCU at hand, or all that are left of the interval.
bool JpegScanReader::Fetch() {
    const auto unread = static_cast<std::size_t>(m_bits.UnreadBits());
    const ByteSpan bytes = m_bytes.Fetch((unread + 7) / 8, kMostBytes);
    m_bits = jpeg::BitReader(bytes);
    m_bits.Refill();
    m_bits.Consume(static_cast<int>(bytes.size() * 8 - unread) & 7);
    return !bytes.empty();
}

bool JpegScanReader::ReadMcu(JBLOCKROW* blocks) {
    if (m_restartInterval != 0) {
        if (m_untilRestart == 0 && !Restart())
            return false;
        --m_untilRestart;
    }
    if (m_bytes.Marker() == 0 && m_bits.UnreadBits() < static_cast<std::ptrdiff_t>(kMostBytes * 8) &&
        !Fetch())
        return false;
    return ReadBlocks(blocks) && !m_bits.IsPastEnd();
}

bool JpegScanReader::ReadBlocks(JBLOCKROW* blocks) {
    McuReader reader(m_bits);
    bool sound = true;
    for (std::size_t i = 0; i < m_blocks; ++i) {
        alignas(32) std::int16_t block[64 + 16];
        std::memcpy(block, kZeros, sizeof block);
        sound &= reader.Read(m_components[m_componentOfBlock[i]], block);
        if (blocks != nullptr)
            std::copy_n(block, 64, blocks[i][0]);
    }
    m_bits = reader.Bits();
    return sound;
}

// All bits of the interval were used, but for those that fill up its last byte.
bool JpegScanReader::AtIntervalEnd() {
    if (m_bytes.Marker() == 0 && !Fetch())
        return false;
    return m_bytes.Marker() != 0 && m_bits.UnreadBits() >= 0 && m_bits.UnreadBits() < 8;
}

bool JpegScanReader::Restart() {
    if (!AtIntervalEnd() || m_bytes.Marker() != JPEG_RST0 + m_nextRestart)
        return false;
    m_bytes.NextInterval();
    m_bits = jpeg::BitReader(ByteSpan());
    if (!Fetch())
        return false;
    for (Component& component : m_components)
        component.predictor = 0;
    m_untilRestart = m_restartInterval;
    m_nextRestart = (m_nextRestart + 1) & 7;
    return true;
}

int JpegScanReader::FinalMarker() {
    return AtIntervalEnd() ? m_bytes.Marker() : 0;
}

}  // namespace lumato::picture
