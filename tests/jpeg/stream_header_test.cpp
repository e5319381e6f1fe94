#include "jpeg/stream_header.h"

#include <functional>

#include <gtest/gtest.h>

#include "jpeg/decoder.h"
#include "jpeg/stream_format.h"
#include "tests/jpeg/test_picture.h"

namespace lumato::jpeg {
namespace {

// A stream of one MCU: header, table block and 4 bytes of coded data, without MCU table.
constexpr std::size_t kDqt = 16;
constexpr std::size_t kDht = kDqt + 132;
Bytes Small() {
    return Encode(Grey(16, 16, 128), 90, 3 | kOmitMcuTable);
}

void Insert(Bytes& stream, std::size_t at, const Bytes& bytes) {
    stream.insert(stream.begin() + static_cast<std::ptrdiff_t>(at), bytes.begin(), bytes.end());
}
void Erase(Bytes& stream, std::size_t from, std::size_t size) {
    const auto first = stream.begin() + static_cast<std::ptrdiff_t>(from);
    stream.erase(first, first + static_cast<std::ptrdiff_t>(size));
}

struct Damage {
    const char* name;
    std::function<void(Bytes&)> inflict;
};

TEST(StreamHeader, WhatCannotBeIsRefused) {
    const Damage kDamages[] = {
        {"no width", [](Bytes& s) { s[0] = s[1] = 0; }},
        {"no height", [](Bytes& s) { s[2] = s[3] = 0; }},
        {"quantization selector", [](Bytes& s) { s[7] = 2; }},
        {"DC selector", [](Bytes& s) { s[8] = 2; }},
        {"AC selector", [](Bytes& s) { s[13] = 0xFF; }},
        {"DQT length above two tables", [](Bytes& s) { s[kDqt + 1] = 133; }},
        {"DQT length below two tables", [](Bytes& s) { s[kDqt + 1] = 131; }},
        {"DQT length 2", [](Bytes& s) { s[kDqt + 1] = 2; }},
        {"DQT length 0", [](Bytes& s) { s[kDqt + 1] = 0; }},
        {"DQT of three tables",
         [](Bytes& s) {
             Insert(s, kDqt + 132, Bytes(65, 1));
             s[kDqt + 1] = 132 + 65;
         }},
        {"quantization table number", [](Bytes& s) { s[kDqt + 2] = 2; }},
        {"16-bit quantization table", [](Bytes& s) { s[kDqt + 2] = 0x10; }},
        {"selected quantization table missing", [](Bytes& s) { s[kDqt + 2] = 1; }},
        {"DHT past the end", [](Bytes& s) { s[kDht] = 2; }},
        {"DHT one byte short", [](Bytes& s) { s[kDht + 1] = 0xA1; }},
        {"DHT one byte long", [](Bytes& s) { s[kDht + 1] = 0xA3; }},
        {"DHT without tables",
         [](Bytes& s) {
             Erase(s, kDht + 2, 416);
             s[kDht] = 0;
             s[kDht + 1] = 2;
         }},
        {"class", [](Bytes& s) { s[kDht + 2] = 0x02; }},
        {"class, high bits", [](Bytes& s) { s[kDht + 2] = 0x20; }},
        {"selected Huffman table missing", [](Bytes& s) { s[kDht + 2] = 0x01; }},
        {"no codes", [](Bytes& s) { std::fill_n(s.begin() + kDht + 3, 16, 0); }},
        {"too many DC codes", [](Bytes& s) { s[kDht + 3 + 15] = 5; }},
        {"too many AC codes", [](Bytes& s) { s[kDht + 2 + 29 + 16] += 1; }},
        {"over-subscribed", [](Bytes& s) { s[kDht + 3] = 2; }},
        {"no data", [](Bytes& s) { s.erase(s.end() - 4, s.end()); }},
        {"more MCUs than bytes", [](Bytes& s) { s[1] = 65; }},
        {"MCU table missing", [](Bytes& s) { s[4] = 3; }},
        {"impossible scale factor",
         [](Bytes& s) {
             s[4] |= kOmitTables;
             s[5] = 5001 >> 8;
             s[6] = 5001 & 0xFF;
         }},
    };
    ASSERT_TRUE(DecodeStream(Small(), 16, 16).has_value());
    for (const Damage& damage : kDamages) {
        Bytes stream = Small();
        damage.inflict(stream);
        const auto result = DecodeStream(stream, 0, 0);
        ASSERT_FALSE(result.has_value()) << damage.name;
        EXPECT_EQ(result.error().kind, ErrorKind::Damaged) << damage.name;
        EXPECT_FALSE(result.error().message.empty());
    }
}

TEST(StreamHeader, UnusualButSoundFrontsAreRead) {
    const Damage kVariants[] = {
        {"higher mode bits", [](Bytes& s) { s[4] |= 0xF0; }},
        {"reserved word", [](Bytes& s) { s[14] = s[15] = 0xFF; }},
        {"bytes behind the picture", [](Bytes& s) { s.resize(s.size() + 100, 0xFF); }},
        {"one quantization table for all",
         [](Bytes& s) {
             s[6] = s[7] = 0;
             Erase(s, kDqt + 2 + 65, 65);
             s[kDqt + 1] = 67;
         }},
        {"a table that nothing selects is left out",
         [](Bytes& s) {  // chrominance with the luminance DC table, which codes 0 as 00, too
             s[9] = s[10] = 0;
             Erase(s, kDht + 2 + 29 + 179, 29);
             s[kDht + 1] = static_cast<std::uint8_t>(s[kDht + 1] - 29);
         }},
        {"quality 1 without tables",
         [](Bytes& s) {
             s[4] |= kOmitTables;
             s[5] = 5000 >> 8;
             s[6] = 5000 & 0xFF;
             Erase(s, kDqt, 550);
         }},
    };
    for (const Damage& variant : kVariants) {
        Bytes stream = Small();
        variant.inflict(stream);
        const auto result = DecodeStream(stream, 16, 16);
        ASSERT_TRUE(result.has_value()) << variant.name << ": " << result.error().message;
        EXPECT_EQ(result->pixels, Bytes(16 * 16 * 3, 128)) << variant.name;
    }
}

TEST(StreamHeader, AnotherSizeIsRefusedAndNamed) {
    for (const auto& [width, height] : {std::pair{17, 16}, {16, 17}, {0, 17}, {17, 0}}) {
        const auto result = DecodeStream(Small(), width, height);
        ASSERT_FALSE(result.has_value());
        EXPECT_EQ(result.error().kind, ErrorKind::Refused);
        EXPECT_NE(result.error().message.find("16 x 16"), std::string::npos);
    }
    EXPECT_TRUE(DecodeStream(Small(), 0, 16).has_value());
}

}  // namespace
}  // namespace lumato::jpeg
