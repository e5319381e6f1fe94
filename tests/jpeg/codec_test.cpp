// What the codec refuses, and how far it goes. What it makes of pictures and of streams, sound and damaged
// ones, is compared to the bit with a second implementation: tests/independent/.
#include <algorithm>
#include <cstdlib>

#include <gtest/gtest.h>

#include "base/sha256.h"
#include "jpeg/codec_form.h"
#include "jpeg/decoder.h"
#include "jpeg/encoder.h"
#include "jpeg/stream_format.h"
#include "jpeg/stream_header.h"
#include "tests/jpeg/test_picture.h"
#include "tests/support/temporary_folder.h"

namespace lumato::jpeg {
namespace {

// Counted out by hand: whatever another reader may share with this one.
TEST(Codec, GreyPicturesAreTheKnownBytes) {
    for (const auto& [side, mode, coded] : {std::tuple{16, 3, "0028a28a"}, {8, 0, "002b"}}) {
        for (const int quality : {1, 50, 90, 100}) {
            const std::string stream = HexText(Encode(Grey(side, side, 128), quality, mode));
            const std::string sides = side == 16 ? "00100010" : "00080008";
            EXPECT_EQ(stream.substr(0, 48),
                      sides + "0" + std::to_string(mode) + "00010100010100010100000000000000002e02");
            EXPECT_EQ(stream.substr(2 * 574), coded);
        }
    }
}

TEST(Codec, QualityIsBoundedIn16Bits) {
    const TestPicture picture = Scene(24, 24);
    for (const auto& [quality, same] :
         {std::pair{0, 1}, {65536, 1}, {101, 100}, {1000, 100}, {-1, 100}, {65536 + 30, 30}})
        EXPECT_EQ(Encode(picture, quality, 3), Encode(picture, same, 3)) << quality;
    for (const int mode : {0, 3, 3 | kOmitTables, 3 | kOmitTables | kOmitMcuTable}) {
        for (int quality = 1; quality <= 100; ++quality)
            EXPECT_EQ(QualityOf(Encode(picture, quality, mode)), quality) << mode;
    }
    EXPECT_FALSE(QualityOf({}));
}

// Budgets just at and around the sizes at all qualities, and far from all; and beginnings out of the range.
TEST(Codec, TheFirstQualityThatFitsIsFound) {
    for (const std::string& form : {CodecForms().front(), std::string("plain")}) {
        ASSERT_TRUE(UseCodecForm(form));
        for (const int mode : {0, 3, 13}) {
            for (const TestPicture& picture : {Scene(300, 170), Noise(140, 30, 2), Scene(20, 9)}) {
                std::vector<Bytes> streams;  // at 90, 80, ...
                for (int quality = 90; quality > 0; quality -= 10)
                    streams.push_back(Encode(picture, quality, mode));
                const auto expect = [&](int start, int budget, int quality, const Bytes& stream) {
                    SCOPED_TRACE(form + ", mode " + std::to_string(mode) + ", budget " +
                                 std::to_string(budget));
                    Bytes out(MaximumStreamSize(picture.width, picture.height, mode));
                    const auto size = EncodeWithin({picture.pixels.data(), picture.width, picture.height},
                                                   out.data(), mode, start, 10, budget);
                    out.resize(static_cast<std::size_t>(size.value_or(0)));
                    EXPECT_EQ(start, quality);
                    EXPECT_TRUE(out == stream);
                };
                for (const int budget : {-1, 0, 1})
                    expect(90, budget, 10, streams.back());
                for (std::size_t i = 0; i < streams.size(); ++i) {
                    const auto size = static_cast<int>(streams[i].size());
                    for (const int budget : {size - 1, size, size + 1}) {
                        auto first = std::ranges::find_if(
                            streams, [&](const Bytes& s) { return static_cast<int>(s.size()) <= budget; });
                        first -= first == streams.end() ? 1 : 0;
                        expect(90, budget, 90 - 10 * static_cast<int>(first - streams.begin()), *first);
                    }
                }
                expect(255, 1 << 30, 255, Encode(picture, 100, mode));
                expect(0, 0, 0, Encode(picture, 1, mode));
            }
        }
    }
    UseCodecForm("");
}

// Seventeen megabytes that ask for thirteen thousand.
TEST(Codec, HugePicturesAreRefusedBeforeTheyTakeMemory) {
    Bytes stream = Encode(Grey(16, 16, 128), 90, kWideMcu | kTallMcu | kOmitMcuTable);
    for (const std::size_t size : {0U, 2U})  // width and height
        PutBe16(MutableByteSpan(stream).subspan(size), 65535);
    stream.resize(std::size_t{4096} * 4096 + 1000);
    const auto decoded = DecodeStream(stream, 0, 0);
    ASSERT_FALSE(decoded.has_value());
    EXPECT_EQ(decoded.error().kind, ErrorKind::TooLarge) << decoded.error().message.English();
}

TEST(Codec, SaysWhyAFileIsNotDecoded) {
    const test::TemporaryFolder folder;
    const Path sound = folder.Put("sound", Encode(Grey(16, 8, 1), 90, 0));
    const Path broken = folder.Put("broken", {1, 2, 3});
    const Path bitmap = folder / "b.bmp";
    const struct {
        Path source, destination;
        int width;
        ErrorKind kind;
        const char* message;
    } rows[] = {
        {folder / "none", bitmap, 0, ErrorKind::NotFound, ""},
        {sound, bitmap, 17, ErrorKind::Refused, "16 x 8"},
        {broken, bitmap, 0, ErrorKind::Damaged, "broken"},
        {sound, folder / "no" / "b.bmp", 0, ErrorKind::NotFound, ""},
        {sound, folder.Get(), 0, ErrorKind::Unwritable, ""},
    };
    JPGEncode decoder;
    for (const auto& row : rows) {
        EXPECT_FALSE(decoder.DecodeMyPicture(row.source.c_str(), row.destination.c_str(), row.width, 8));
        EXPECT_EQ(decoder.LastError().kind, row.kind) << decoder.LastError().message.English();
        EXPECT_NE(decoder.LastError().message.English().find(row.message), std::string::npos);
    }
    EXPECT_EQ(folder.CountEntries(), 2U);
}

}  // namespace
}  // namespace lumato::jpeg
