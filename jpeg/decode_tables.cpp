#include "jpeg/decode_tables.h"

#include <algorithm>

#include "jpeg/tables.h"

namespace lumato::jpeg {

ScanPlaces::ScanPlaces(const DequantTable& table, std::size_t group) {
    for (std::size_t place = 0; place < places.size(); ++place) {
        const std::size_t natural = jpeg_natural_order[std::min<std::size_t>(place, 63)];
        places[place] = {static_cast<std::uint16_t>(natural / 8 * (8 * group) + natural % 8), table[natural]};
    }
}

StreamTables::StreamTables(const ParsedStream& parsed, std::size_t group)
    : scans{ScanPlaces(parsed.TableDQT[0], group), ScanPlaces(parsed.TableDQT[1], group)} {
    const dpf_header& header = parsed.header;
    for (std::size_t i = 0; i < 3; ++i) {
        ComponentTables& component = components[i];
        component.scan = &scans[header.quantTable[i]];
        component.dcSymbols = &parsed.huffman[header.dcTable[i]];
        component.acSymbols = &parsed.huffman[2U + header.acTable[i]];
        component.dcValues = &DcTableFor(*component.dcSymbols, dcStorage[i]);
        component.acValues = &AcTableFor(*component.acSymbols, acStorage[i]);
    }
}

}  // namespace lumato::jpeg
