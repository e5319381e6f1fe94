#include "jpeg/size_codes.h"

#include <algorithm>

namespace lumato::jpeg {
namespace {

constexpr int kLargestAcCategory = 10;

int ValueBits(const tag_HUFFMAN_TABLE& ac, std::size_t run, int category) {
    const std::size_t symbol = run % 16 * 16 + static_cast<std::size_t>(category);
    return static_cast<int>(run / 16) * ac.size[0xF0] + ac.size[symbol] + category;
}

}  // namespace

SizeCodes::SizeCodes(const tag_HUFFMAN_TABLE& dc, const tag_HUFFMAN_TABLE& ac) {
    for (std::size_t i = 0; i < m_first.size(); ++i) {
        const unsigned category = CategoryOf(std::abs(static_cast<int>(i) - kLargestDifference));
        m_first[i] = static_cast<std::uint8_t>(dc.size[category] + category);
    }
    for (int half = 0; half < 16; ++half) {
        m_firstByLowBits[static_cast<std::size_t>(half)] = static_cast<std::uint8_t>(First(half));
        m_firstByHighBits[static_cast<std::size_t>(half)] = static_cast<std::uint8_t>(First(half * 16));
    }
    FillValues(ac);
    FillTails(ac);
}

// The least that a run of zeros with the value behind it can become: the value may grow, and a value may
// appear anywhere in the run, which leaves two shorter runs.
void SizeCodes::FillValues(const tag_HUFFMAN_TABLE& ac) {
    for (std::size_t run = 0; run < kPlaces; ++run) {
        int least = 1 << 10;
        for (int category = kLargestAcCategory; category > 0; --category) {
            const int bits = ValueBits(ac, run, category);
            least = std::min(least, bits);
            for (std::size_t before = 0; before < run; ++before) {
                const SizeBits appeared = m_values[before * kCategories + 1];
                const SizeBits rest =
                    m_values[(run - before - 1) * kCategories + static_cast<std::size_t>(category)];
                least = std::min(least, static_cast<int>(appeared.Least() + rest.Least()));
            }
            m_values[run * kCategories + static_cast<std::size_t>(category)] = SizeBits::Of(bits, least);
            if (run < 16 && category < 8) {
                const std::size_t index = static_cast<std::size_t>(category) * 16 + run;
                m_exactBytes[index] = static_cast<std::uint8_t>(bits);
                m_leastBytes[index] = static_cast<std::uint8_t>(least);
            }
        }
    }
}

// The same for the zeros at the end, which take one code, or none where the last coefficient is not 0.
void SizeCodes::FillTails(const tag_HUFFMAN_TABLE& ac) {
    m_tails[0] = SizeBits::Of(0, 0);
    for (std::size_t zeros = 1; zeros < kPlaces; ++zeros) {
        int least = ac.size[0x00];
        for (std::size_t before = 0; before < zeros; ++before) {
            const SizeBits appeared = m_values[before * kCategories + 1];
            least = std::min(least, static_cast<int>(appeared.Least() + m_tails[zeros - before - 1].Least()));
        }
        m_tails[zeros] = SizeBits::Of(ac.size[0x00], least);
    }
}

const std::array<SizeCodes, 2>& StandardSizes() {
    const auto codes = [](StandardTable which) { return ComputeHuffmanTable(StandardHuffman(which)); };
    static const std::array<SizeCodes, 2> sizes{
        SizeCodes(codes(StandardTable::LuminanceDc), codes(StandardTable::LuminanceAc)),
        SizeCodes(codes(StandardTable::ChrominanceDc), codes(StandardTable::ChrominanceAc))};
    return sizes;
}

}  // namespace lumato::jpeg
