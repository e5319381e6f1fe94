#include "import/import_jpeg.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "import/held_size.h"
#include "import/jpeg_decoder.h"
#include "tests/support/diagnostic_capture.h"
#include "tests/support/picture_files.h"

namespace {

bool s_otherLibjpeg = false;

}  // namespace

// In front of libjpeg's: one whose messages are others.
extern "C" jpeg_error_mgr* jpeg_std_error(jpeg_error_mgr* errors) {
    using StandardErrors = jpeg_error_mgr* (*)(jpeg_error_mgr*);
    static const auto real = reinterpret_cast<StandardErrors>(::dlsym(RTLD_NEXT, "jpeg_std_error"));
    real(errors);
    if (s_otherLibjpeg)
        --errors->last_jpeg_message;
    return errors;
}

namespace lumato::picture {
namespace {

using testing::StartsWith;

using JpegImport = ImportTest;

constexpr std::string_view kProfileMark("ICC_PROFILE\0", 12);

TEST_F(JpegImport, EveryCodingGivesTheSamePicture) {
    const JpegOptions codings[] = {{},
                                   {.progressive = true},
                                   {.separateScans = true},
                                   {.restartRows = 1},
                                   {.comment = Bytes(60000, 'x')},
                                   {.profile = Sample("srgb.icc")}};
    for (const JpegOptions& coding : codings) {
        ASSERT_EQ(Outcome(Read(MakeJpeg(Quarters(97, 63), coding))), "fine");
        EXPECT_EQ(m_info.width, 97U);
        EXPECT_EQ(m_info.height, 63);
        EXPECT_EQ(m_info.bytesPerRow, 97U * 4);
        EXPECT_EQ(m_info.dataSize, m_info.pixels.size());
        ExpectQuarters(m_info, OrientedQuarters(1));
    }
}

TEST_F(JpegImport, BrokenExifAndGarbageAreTolerated) {
    const Bytes sound = MakeJpeg(Quarters(32, 32), {.orientation = 6});
    for (std::size_t at = 24; at < 56; ++at) {
        Bytes jpeg = sound;
        jpeg[at] ^= 0xFF;
        jpeg.insert(jpeg.begin() + 20, {1, 2, 3});
        jpeg.insert(jpeg.end(), 5000, 0xAB);
        EXPECT_EQ(Outcome(Read(jpeg)), "fine") << at;
    }
}

TEST_F(JpegImport, ColoursByProfilesAndInksAndWithout) {
    const Bytes swapped = Sample("swapped.icc"), cmyk = CmykProfile();
    ASSERT_FALSE(cmyk.empty());
    Bytes large = swapped;  // in segments
    large.resize(150'000);
    PutBe32(large, 150'000);
    const Bytes cut(swapped.begin(), swapped.end() - 280);
    const std::vector<int> red{255, 0, 0};
    // Half cyan, a fifth of black: what an ideal ink of each lets through.
    const Colour inks{128 * 204 / 255, 204, 204};
    const struct {
        std::vector<int> pixel;
        JpegOptions options;
        Colour shown;
        int tolerance;
        bool isTold = false;  // that its profile is none
    } rows[] = {
        {red, {.profile = swapped}, kBlue, 12},
        {red, {.profile = large}, kBlue, 12},
        {red, {.profile = Bytes(300, 0x55)}, kRed, 12, true},
        {red, {.profile = cut}, kRed, 12, true},
        {red, {.profile = cmyk}, kRed, 12, true},
        {{77}, {.profile = cmyk}, {77, 77, 77}, 2, true},
        {{77}, {.profile = swapped}, {77, 77, 77}, 2},
        {{77}, {}, {77, 77, 77}, 2},
        {{127, 0, 0, 51}, {}, inks, 6},
        {{128, 255, 255, 204}, {.adobe = true}, inks, 6},
        {{255, 0, 0, 0}, {.profile = cmyk}, {0, 153, 228}, 8},  // printed cyan is far from the ideal one
        {{0, 255, 255, 255}, {.adobe = true, .profile = cmyk}, {0, 153, 228}, 8},
    };
    for (const auto& row : rows) {
        ASSERT_EQ(Outcome(Read(MakeJpeg(Plain(16, 16, row.pixel), row.options))), "fine");
        EXPECT_TRUE(Near(At(m_info, 8, 8), row.shown, row.tolerance))
            << &row - rows << testing::PrintToString(At(m_info, 8, 8));
        EXPECT_EQ(m_info.note.empty(), !row.isTold) << &row - rows;
    }
    // A part is missing.
    Bytes jpeg = MakeJpeg(Plain(16, 16, red), {.profile = large});
    *(std::search(jpeg.begin(), jpeg.end(), kProfileMark.begin(), kProfileMark.end()) + 12) = 9;
    ASSERT_EQ(Outcome(Read(jpeg)), "fine");
    EXPECT_FALSE(m_info.note.empty());
}

TEST_F(JpegImport, DecodesAtTheSmallestScaleThatServes) {
    const Bytes jpeg = MakeJpeg(Quarters(800, 400));
    const struct {
        double scale;
        int width, height;
    } rows[] = {{1.0, 800, 400},  {0.5, 800, 400}, {0.45, 800, 400}, {0.4, 800, 400},
                {0.25, 400, 200}, {0.2, 400, 200}, {0.1, 200, 100},  {0.01, 100 / 6 + 1, 50 / 6 + 1}};
    for (const auto& row : rows) {
        ASSERT_EQ(Outcome(Read(jpeg, row.scale)), "fine");
        EXPECT_EQ(m_info.width, 800U);
        EXPECT_EQ(m_info.heldWidth, row.width) << row.scale;
        EXPECT_EQ(m_info.heldHeight, row.height) << row.scale;
        ExpectQuarters(m_info, OrientedQuarters(1));
    }
}

// The picture up to a cut may be complete only when nothing but the end marker is missing.
TEST_F(JpegImport, TruncationIsNeverSilent) {
    for (const JpegOptions& coding :
         {JpegOptions{}, {.progressive = true}, {.separateScans = true}, {.restartRows = 1}}) {
        const Bytes jpeg = MakeJpeg(Noise(61, 47, 5), coding);
        ASSERT_EQ(Outcome(Read(jpeg)), "fine");
        const Bytes whole = m_info.pixels;
        for (std::size_t size = 3; size < jpeg.size(); size += size + 40 < jpeg.size() ? 23U : 1U) {
            const auto result = Read(Bytes(jpeg.begin(), jpeg.begin() + static_cast<std::ptrdiff_t>(size)));
            if (result) {
                EXPECT_GE(size + 3, jpeg.size());
                EXPECT_EQ(m_info.pixels, whole) << size;
                continue;
            }
            EXPECT_EQ(Outcome(result), "Damaged: cut off: the file ends early") << size;
            EXPECT_TRUE(m_info.pixels.empty());
            EXPECT_EQ(m_info.width, 0U);
        }
    }
}

// Another kind of frame, and other sides, which lie behind its marker.
Bytes WithFrame(Bytes jpeg, std::uint8_t marker, std::uint32_t width, std::uint32_t height) {
    const std::uint8_t frame[] = {0xFF, marker};
    const auto at = std::search(jpeg.begin(), jpeg.end(), std::begin(frame), std::end(frame));
    const MutableByteSpan sides =
        MutableByteSpan(jpeg).subspan(static_cast<std::size_t>(at - jpeg.begin()) + 5);
    PutBe16(sides, height);
    PutBe16(sides.subspan(2), width);
    return jpeg;
}

TEST_F(JpegImport, HostileSizesUnknownCodingsAndZerosAreRefused) {
    const Bytes baseline = MakeJpeg(Quarters(32, 32));
    const Bytes progressive = MakeJpeg(Quarters(32, 32), {.progressive = true});
    Bytes lossless = baseline, zeros = MakeJpeg(Noise(160, 120, 5), {.progressive = true});
    std::fill(zeros.begin() + static_cast<std::ptrdiff_t>(zeros.size() / 3), zeros.end(), 0);
    const std::uint8_t frame[] = {0xFF, 0xC0};
    *(std::search(lossless.begin(), lossless.end(), std::begin(frame), std::end(frame)) + 1) = 0xC3;
    const std::pair<Bytes, const char*> rows[] = {
        {WithFrame(baseline, 0xC0, 65500, 65500), "TooLarge: "},
        {WithFrame(baseline, 0xC0, 30000, 30000), "Damaged: cut off"},
        {WithFrame(progressive, 0xC2, 30000, 30000), "TooLarge: "},
        {WithFrame(progressive, 0xC2, 1000, 1000), "Damaged: "},
        {WithFrame(baseline, 0xC0, 0, 32), "Damaged: "},
        {lossless, "Unsupported: "},
        {zeros, "Damaged: "},
    };
    for (const auto& [jpeg, outcome] : rows)
        EXPECT_THAT(Outcome(Read(jpeg)), StartsWith(outcome));
}

// More coefficients than may lie in memory: the same pixels through the temporary file.
TEST_F(JpegImport, LargeProgressivePicturesMatchSequentialOnes) {
    const Raw raw = Quarters(6400, 4600);
    ASSERT_EQ(Outcome(Read(MakeJpeg(raw, {.quality = 85}), 0.05)), "fine");
    const Bytes sequential = m_info.pixels;
    for (const JpegOptions& coding : {JpegOptions{.progressive = true, .quality = 85},
                                      JpegOptions{.separateScans = true, .quality = 85}}) {
        ASSERT_EQ(Outcome(Read(MakeJpeg(raw, coding), 0.05)), "fine");
        EXPECT_EQ(m_info.pixels, sequential);
    }
}

// What libjpeg alone makes of a file: pixels, or the reason why not.
Bytes PixelsByLibjpeg(const Path& path, double scale, std::string& outcome) {
    const auto file = PictureFile::Open(path);
    BitmapInfo info;
    const ScaleNeeded needed = [scale](int, int) { return scale; };
    PictureBuilder builder(info, false, needed);
    const auto imported = ImportJpegByLibjpeg(*file, builder);
    outcome = Outcome(imported);
    return imported ? info.pixels : Bytes();
}

// Those in the columns, of which only these are decoded if `alone`.
Bytes PixelsReadHere(const Path& path, int eighths, bool rough, Columns columns, bool alone) {
    const auto file = PictureFile::Open(path);
    JpegDecoder decoder(*file, JpegDecoder::Reading::Usual);
    EXPECT_TRUE(decoder.ReadHeader());
    const auto size = decoder.Scale(eighths, rough);
    EXPECT_TRUE(size && decoder.Start() && decoder.HasScanReader());
    const int bytes = BytesPerPixel(decoder.Layout());
    const int first = alone ? decoder.LeaveOut(columns).value() : 0;
    Bytes row(static_cast<std::size_t>(size->width * bytes)), pixels;
    for (int y = 0; y < size->height; ++y) {
        EXPECT_TRUE(decoder.ReadRow(row.data() + std::ptrdiff_t{first} * bytes));
        pixels.insert(pixels.end(), row.begin() + std::ptrdiff_t{columns.begin} * bytes,
                      row.begin() + std::ptrdiff_t{columns.end} * bytes);
    }
    EXPECT_TRUE(decoder.Finish());
    return pixels;
}

TEST_F(JpegImport, OrdinaryPhotographsAreReadHereAndGiveTheSamePixels) {
    const JpegOptions codings[] = {{},
                                   {.quality = 100},
                                   {.quality = 20},
                                   {.across = 4},
                                   {.down = 1},
                                   {.across = 1, .down = 1},
                                   {.across = 4, .down = 1},
                                   {.across = 1},
                                   {.restartRows = 1},
                                   {.optimized = true}};
    for (const JpegOptions& coding : codings)
        for (const int bands : {1, 3, 4})
            for (const Raw& raw : {Noise(83, 61, 3, bands),
                                   Plain(400, 300, std::vector<int>(static_cast<std::size_t>(bands), 90))}) {
                SCOPED_TRACE(testing::Message() << "bands " << bands << " quality " << coding.quality);
                ASSERT_EQ(Outcome(Read(MakeJpeg(raw, coding), 0.3)), "fine");
                std::string outcome;
                EXPECT_EQ(m_info.pixels, PixelsByLibjpeg(m_file, 0.3, outcome));

                for (const auto& [eighths, rough] : {std::pair{8, false}, {8, true}, {4, false}, {4, true}}) {
                    const Bytes whole = PixelsReadHere(m_file, eighths, rough, {17, 34}, false);
                    EXPECT_EQ(whole, PixelsReadHere(m_file, eighths, rough, {17, 34}, true)) << eighths;
                }
            }
}

// What it is inside only the one that this was built with is known to be.
TEST_F(JpegImport, AnotherLibjpegReadsAlone) {
    const test::DiagnosticCapture capture;
    for (const bool other : {false, true}) {
        s_otherLibjpeg = other;
        ASSERT_EQ(Outcome(Read(MakeJpeg(Noise(83, 61, 3)))), "fine");
        const Bytes pixels = m_info.pixels;
        const auto file = PictureFile::Open(m_file);
        JpegDecoder decoder(*file, JpegDecoder::Reading::Usual);
        ASSERT_TRUE(decoder.ReadHeader() && decoder.Scale(8) && decoder.Start());
        EXPECT_EQ(decoder.HasScanReader(), !other);
        std::string outcome;
        EXPECT_EQ(pixels, PixelsByLibjpeg(m_file, 1, outcome));
        EXPECT_EQ(capture.Text().find("libjpeg is not the version") != std::string::npos, other);
    }
    s_otherLibjpeg = false;
}

// Large enough to be read on two threads.
TEST_F(JpegImport, APictureReadAheadIsTheSameAndBreaksTheSame) {
    const Bytes sound = MakeJpeg(Noise(1001, 703, 4), {.quality = 60});
    for (const double at : {0.0, 0.1, 0.5, 0.99}) {
        Bytes jpeg = sound;
        if (at > 0)
            std::fill_n(jpeg.begin() + static_cast<std::ptrdiff_t>(static_cast<double>(jpeg.size()) * at), 3,
                        0xFF);
        const auto result = Read(jpeg, 0.2);
        std::string outcome;
        EXPECT_EQ(m_info.pixels, PixelsByLibjpeg(m_file, 0.2, outcome)) << at;
        EXPECT_EQ(Outcome(result), outcome) << at;
        EXPECT_EQ(result.has_value(), at == 0) << at;
    }
}

}  // namespace
}  // namespace lumato::picture
