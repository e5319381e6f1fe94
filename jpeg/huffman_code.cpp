#include "jpeg/huffman_code.h"

namespace lumato::jpeg {

tag_HUFFMAN_TABLE ComputeHuffmanTable(const HuffmanList& list) {
    tag_HUFFMAN_TABLE table{};
    std::uint32_t code = 0;
    std::size_t position = 0;
    for (std::uint8_t length = 1; length <= 16; ++length) {
        for (int i = 0; i < list.bits[length - 1U]; ++i) {
            const std::uint8_t symbol = list.huffval[position++];
            table.code[symbol] = code++;
            table.size[symbol] = length;
        }
        code <<= 1;
    }
    return table;
}

}  // namespace lumato::jpeg
