// TIFF files of kinds that others take for what they are not, and raw photographs, most of which are TIFF
// files, too.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "import/messages.h"
#include "tests/support/picture_files.h"
#include "tests/support/tiff_writer.h"

namespace lumato::picture {
namespace {

using test::MakeRaw, test::MakeTiff, test::TiffOptions;
using testing::StartsWith;

using TiffImport = ImportTest;

const std::vector<double> kOrange{1, 0.5, 0.2}, kGrey{0.75}, kInks{0, 0.5, 0.8, 0.2};

std::vector<double> With(std::vector<double> pixel, double more, double factor = 1) {
    for (double& value : pixel)
        value *= factor;
    pixel.push_back(more);
    return pixel;
}

TEST_F(TiffImport, EveryKindThatIsReadComesInRight) {
    const Colour shown{255, 128, 51}, half{128, 64, 26}, light{191, 191, 191}, dark{64, 64, 64};
    const Colour printed{204, 102, 41}, faint{102, 51, 20};
    const struct {
        std::vector<double> pixel;
        TiffOptions options;
        Colour colour;
    } rows[] = {
        {kOrange, {}, shown},
        {kOrange, {.bits = 16}, shown},
        {kOrange, {.bits = 32}, shown},
        {kOrange, {.bits = 8, .format = 2}, shown},
        {kOrange, {.bits = 16, .format = 2}, shown},
        {kOrange, {.bits = 32, .format = 2}, shown},
        {kOrange, {.bits = 32, .format = 3}, shown},
        {kOrange, {.bits = 32, .format = 3, .white = 255}, shown},
        {kOrange, {.bits = 32, .format = 3, .white = 65535}, shown},
        {kGrey, {.photometric = 1, .bits = 32}, light},
        {kGrey, {.photometric = 1, .bits = 32, .format = 3}, light},
        {kGrey, {.photometric = 0}, dark},
        {kGrey, {.photometric = 0, .bits = 16, .format = 2}, dark},
        {kGrey, {.photometric = 0, .bits = 32}, dark},
        {kGrey, {.photometric = 0, .bits = 32, .format = 3}, dark},
        {With(kOrange, 0.5), {.extra = {2}}, half},
        {With(kOrange, 0.5), {.bits = 32, .extra = {2}}, half},
        {With(kOrange, 0.5), {.bits = 16, .format = 2, .extra = {0}}, half},
        {With(kOrange, 0.5), {.bits = 32, .format = 3, .extra = {2}}, half},
        {With(kOrange, 0.5, 0.5), {.extra = {1}}, half},
        {With(kOrange, 0.5, 0.5), {.bits = 32, .format = 3, .extra = {1}}, half},
        {With(With(kOrange, 0.9), 0.5), {.extra = {0, 2}}, half},
        {With(With(kGrey, 0.9), 0.3), {.photometric = 1, .extra = {0, 0}}, light},
        {kInks, {.photometric = 5}, printed},
        {kInks, {.photometric = 5, .bits = 16}, printed},
        {kInks, {.photometric = 5, .bits = 32, .format = 3}, printed},
        {With(kInks, 0.5), {.photometric = 5, .extra = {2}}, faint},
        {With(kInks, 0.5), {.photometric = 5, .bits = 16, .extra = {2}}, faint},
        {With(kInks, 0.5, 0.5), {.photometric = 5, .extra = {1}}, faint},
        // L* of 67.6, a* of 46, b* of 62, as bytes.
        {{172 / 255.0, 46 / 255.0, 62 / 255.0}, {.photometric = 8}, shown},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        ASSERT_EQ(Outcome(Read(MakeTiff(row.pixel, row.options))), "fine");
        EXPECT_TRUE(Near(At(m_info, 2, 2), row.colour, 2)) << testing::PrintToString(At(m_info, 2, 2));
        EXPECT_TRUE(m_info.note.empty());
    }
}

TEST_F(TiffImport, WhatWouldComeInWrongIsRefusedByName) {
    const std::pair<Bytes, const char*> refused[] = {
        {MakeTiff(kOrange, {.bits = 16, .format = 3}), "a TIFF file whose 16-bit samples"},
        {MakeTiff(kOrange, {.bits = 64, .format = 3}), "a TIFF file whose 64-bit samples"},
        {MakeTiff(kGrey, {.photometric = 1, .bits = 64, .format = 6}), "a TIFF file whose 64-bit samples"},
        {MakeTiff(With(kOrange, 0.5, 0.5), {.bits = 32, .extra = {1}}), "a TIFF file whose 32-bit samples"},
        {MakeTiff(With(kInks, 0.5, 0.5), {.photometric = 5, .bits = 16, .extra = {1}}),
         "a TIFF file whose 16-bit samples"},
        {MakeTiff(kOrange, {.photometric = 6}), "a TIFF file of colours that are not supported (number 6)"},
        {MakeTiff(kOrange, {.photometric = 9}), "a TIFF file of colours that are not supported (number 9)"},
        {MakeTiff(kOrange, {.photometric = 32845}), "a TIFF file of colours that"},
        {MakeTiff(kOrange, {.photometric = 5}), "a TIFF file of colours that"},
        {MakeTiff(kInks, {.photometric = 5, .more = {{332, 2}}}), "a TIFF file of colours that"},
    };
    for (const auto& [tiff, reason] : refused)
        EXPECT_THAT(Outcome(Read(tiff)), StartsWith("Unsupported: " + std::string(reason)));
}

// What a camera made of its raw file is shown, turned as the file says, unless the preview does itself.
TEST_F(TiffImport, RawFilesShowTheCamerasPreview) {
    const Bytes plain = MakeJpeg(Quarters(96, 64)), turned = MakeJpeg(Quarters(96, 64), {.orientation = 3});
    const struct {
        Bytes preview;
        test::RawOptions options;
        int shown;
    } rows[] = {
        {plain, {true, 1, 96, 64}, 1}, {plain, {true, 6, 96, 64}, 6},  {plain, {true, 8, 96, 64}, 8},
        {plain, {true, 3, 96, 64}, 3}, {turned, {true, 1, 96, 64}, 3}, {plain, {false, 6, 96, 64}, 6},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        for (const double scale : {1.0, 0.2}) {
            ASSERT_EQ(Outcome(Read(MakeRaw(row.preview, row.options), scale)), "fine");
            EXPECT_EQ(m_info.width, row.shown >= 5 ? 64U : 96U);
            ExpectQuarters(m_info, OrientedQuarters(row.shown), 12);
            EXPECT_EQ(m_info.note, Phrase(kPreviewUsed));
        }
        EXPECT_TRUE(IsPicture(m_file));
    }
    const Bytes broken = MakeJpeg(Quarters(96, 64), {.profile = Bytes(300, 0x55)});
    ASSERT_EQ(Outcome(Read(MakeRaw(broken, {true, 1, 96, 64}))), "fine");
    EXPECT_EQ(m_info.note, Phrase(kSemicolon, kProfileUnusable, kPreviewUsed));
    // Pixels without a coding are a preview, too.
    ASSERT_EQ(Outcome(Read(MakeRaw({}, {.orientation = 6}))), "fine");
    EXPECT_EQ(m_info.width, 12U);
    EXPECT_TRUE(Near(At(m_info, 2, 2), kRed, 0));
    EXPECT_FALSE(m_info.note.empty());

    Bytes cut = MakeJpeg(Noise(96, 64, 1));
    std::fill(cut.begin() + static_cast<std::ptrdiff_t>(cut.size() / 2), cut.end(), 0);
    EXPECT_THAT(Outcome(Read(MakeRaw(cut, {true, 1, 96, 64}))), StartsWith("Damaged: "));
    EXPECT_TRUE(m_info.note.empty());
    const std::string start = "FUJIFILMCCD-RAW 0201FF129502";
    EXPECT_EQ(Outcome(Read(Bytes(start.begin(), start.end()))),
              "Unsupported: a raw photograph in which no preview was found");
}

}  // namespace
}  // namespace lumato::picture
