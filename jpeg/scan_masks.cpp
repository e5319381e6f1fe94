#include "jpeg/scan_masks.h"

namespace lumato::jpeg {

const RowScanBits kRowScanBits = [] {
    RowScanBits table{};
    for (std::size_t place = 0; place < 64; ++place) {
        const std::size_t natural = jpeg_natural_order[place];
        for (std::size_t bits = 0; bits < 256; ++bits) {
            if ((bits >> natural % 8 & 1) != 0)
                table[natural / 8][bits] |= std::uint64_t{1} << place;
        }
    }
    return table;
}();

}  // namespace lumato::jpeg
