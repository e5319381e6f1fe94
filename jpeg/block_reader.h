// The decoder's entropy decoding, with one look for one or two coefficients.
//
// Everything is inlined into the form of the decoder that uses it (bit_reader.h). No state outside the
// objects; separate ones may be used on different threads.
#pragma once

#include "jpeg/decode_loops.h"
#include "jpeg/inverse_dct.h"

namespace lumato::jpeg {

[[gnu::always_inline]] inline int ReadDifference(const ComponentTables& tables, BitReader& bits) {
    const DcTable::Entry entry = tables.dcValues->Find(bits.Window());
    if (entry.length != 0) {
        bits.Consume(entry.length);
        return entry.value;
    }
    const SymbolTable::Match match = tables.dcSymbols->Find(static_cast<std::uint32_t>(bits.Window() >> 48));
    bits.Consume(match.length);
    const int category = match.symbol & 15;
    return ExtendedValue(bits.Take(category), category);
}

// Reads a block's coefficients, dequantized. A run that passes the last coefficient ends at it, so that a
// damaged block ends, too.
class BlockReader {
  public:
    // `block`: all 0.
    [[gnu::always_inline]] BlockReader(const ComponentTables& tables, std::int16_t* block, BitReader& bits)
        : m_tables(tables), m_places(tables.scan->places.data()), m_block(block), m_bits(bits) {}

    // Predictors wrap at 16 bits.
    [[gnu::always_inline]] void Read(std::int16_t& predictor) {
        m_bits.Refill();
        predictor = static_cast<std::int16_t>(predictor + ReadDifference(m_tables, m_bits));
        Put(0, predictor);
        m_bits.Refill();
        // Two at a time, while even the longest run before the first of them leaves room for the second. One
        // refill does for three looks: 12 + 12 + 31 bits.
        constexpr unsigned kLastForTwo = 63 - 17;
        for (;;) {
            if (ReadTwo() > kLastForTwo || ReadTwo() > kLastForTwo || ReadTwo() > kLastForTwo)
                break;
            m_bits.Refill();
        }
        while (m_place < 63) {
            m_bits.Refill();
            ReadOne();
        }
    }

  private:
    [[gnu::always_inline]] void Put(unsigned place, int value) {
        const ScanPlaces::Place at = m_places[place];
        m_block[at.offset] = Dequantize(static_cast<std::int16_t>(value), at.quant);
    }

    [[gnu::always_inline]] unsigned ReadTwo() {
        const AcTable::Entry entry = m_tables.acValues->Find(m_bits.Window());
        if (entry.length != 0) [[likely]] {
            m_bits.Consume(entry.length);
            m_place += entry.firstSkip;
            Put(m_place, entry.firstValue);
            m_place += entry.secondSkip;
            Put(m_place, entry.secondValue);
        } else {
            ReadLong(entry);
        }
        return m_place;
    }

    [[gnu::always_inline]] void ReadOne() {
        const AcTable::Entry entry = m_tables.acValues->Find(m_bits.Window());
        if (entry.length == 0) {
            ReadLong(entry);
            return;
        }
        m_bits.Consume(entry.firstLength);
        m_place += entry.firstSkip;
        Put(m_place, entry.firstValue);
    }

    // A value that one look does not tell.
    [[gnu::always_inline]] void ReadLong(const AcTable::Entry& entry) {
        if (entry.firstLength != 0) {
            m_bits.Consume(entry.firstLength);
            m_place += entry.firstSkip;
            PutNext(entry.firstValue);
        } else {
            const SymbolTable::Match match =
                m_tables.acSymbols->Find(static_cast<std::uint32_t>(m_bits.Window() >> 48));
            m_bits.Consume(match.length);
            m_place += match.symbol == 0 ? unsigned{AcTable::kPastTheBlock}
                                         : static_cast<unsigned>(match.symbol >> 4) + 1;
            PutNext(match.symbol & 15);
        }
    }

    // Reads the additional bits.
    [[gnu::always_inline]] void PutNext(int category) {
        Put(m_place, ExtendedValue(m_bits.Take(category), category));
        m_bits.Refill();
    }

    const ComponentTables& m_tables;
    const ScanPlaces::Place* m_places;
    std::int16_t* m_block;
    BitReader& m_bits;
    unsigned m_place = 0;
};

// DecodeLoops::read (decode_loops.h) of the form whose groups have `Group` blocks.
template <std::size_t Group>
[[gnu::always_inline]] inline int ReadMcus(const StreamTables& tables, const McuGrid& grid, int wanted,
                                           DecodingPosition& position, ChunkCoefficients& blocks) {
    // Local, so that the compiler knows that storing coefficients does not change it.
    BitReader bits = position.bits;
    const auto readBlock = [&](std::size_t component, std::int16_t * row, std::size_t index)
        __attribute__((always_inline)) {
        BlockReader(tables.components[component], row + BlockStart(index, Group), bits)
            .Read(position.predictors[component]);
    };
    const std::size_t across = grid.wide ? 2 : 1;
    const std::size_t down = grid.tall ? 2 : 1;
    int read = 0;
    for (std::size_t mcu = 0; read < wanted; ++mcu, ++read) {
        readBlock(1, blocks.cb, mcu);
        readBlock(2, blocks.cr, mcu);
        for (std::size_t row = 0; row < down; ++row) {
            for (std::size_t column = 0; column < across; ++column)
                readBlock(0, blocks.luma[row], mcu * across + column);
        }
        bits.AlignToByte();
        if (bits.IsPastEnd())
            break;
    }
    position.bits = bits;
    return read;
}

}  // namespace lumato::jpeg
