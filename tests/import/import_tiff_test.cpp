// TIFF files of kinds that others take for what they are not, and raw photographs, most of which are TIFF
// files, too.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "import/messages.h"
#include "tests/support/picture_files.h"

namespace lumato::picture {
namespace {

using testing::StartsWith;

using TiffImport = ImportTest;

TEST_F(TiffImport, EveryKindThatIsReadComesInRight) {
    const struct {
        const char* folder;
        Colour colour;
        std::ptrdiff_t files;
    } rows[] = {
        {"orange", {255, 128, 51}, 10}, {"half-orange", {128, 64, 26}, 7}, {"light-grey", {191, 191, 191}, 3},
        {"dark-grey", {64, 64, 64}, 4}, {"inks", {204, 102, 41}, 3},       {"half-inks", {102, 51, 20}, 3},
    };
    for (const auto& row : rows) {
        const Path folder = SampleFile("tiff") / row.folder;
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), row.files);
        for (const auto& file : std::filesystem::directory_iterator(folder)) {
            ASSERT_EQ(Outcome(Read(file.path())), "fine") << file;
            const Colour shown = At(m_info, 2, 2);
            EXPECT_TRUE(Near(shown, row.colour, 2)) << file << testing::PrintToString(shown);
            EXPECT_TRUE(m_info.note.empty()) << file;
        }
    }
}

TEST_F(TiffImport, WhatWouldComeInWrongIsRefusedByName) {
    const std::pair<const char*, const char*> refused[] = {
        {"16-floating", "whose 16-bit samples"},
        {"64-floating", "whose 64-bit samples"},
        {"64-complex", "whose 64-bit samples"},
        {"32-multiplied", "whose 32-bit samples"},
        {"16-inks-multiplied", "whose 16-bit samples"},
        {"colours-6", "of colours that are not supported (number 6)"},
        {"colours-9", "of colours that are not supported (number 9)"},
        {"colours-32845", "of colours that"},
        {"three-inks", "of colours that"},
        {"other-inks", "of colours that"},
    };
    for (const auto& [name, reason] : refused)
        EXPECT_THAT(Outcome(Read(SampleFile("tiff/refused/" + std::string(name) + ".tif"))),
                    StartsWith("Unsupported: a TIFF file " + std::string(reason)));
}

// What a camera made of its raw file is shown, turned as the file says, unless the preview does itself.
TEST_F(TiffImport, RawFilesShowTheCamerasPreview) {
    const auto raw = [](const char* name) { return Sample("raw/" + std::string(name)); };
    const Bytes plain = raw("plain.dng");
    const std::pair<Bytes, int> rows[] = {
        {plain, 1},
        {WithOrientation(plain, 6), 6},
        {WithOrientation(plain, 8), 8},
        {WithOrientation(plain, 3), 3},
        {raw("preview-turned.dng"), 3},
        {WithOrientation(raw("by-its-coding.tif"), 6), 6},
    };
    for (const auto& [file, shown] : rows) {
        SCOPED_TRACE(shown);
        for (const double scale : {1.0, 0.2}) {
            ASSERT_EQ(Outcome(Read(file, scale)), "fine");
            EXPECT_EQ(m_info.width, shown >= 5 ? 64U : 96U);
            ExpectQuarters(m_info, OrientedQuarters(shown), 12);
            EXPECT_EQ(m_info.note, Phrase(kPreviewUsed));
        }
        EXPECT_TRUE(IsPicture(m_file));
    }
    ASSERT_EQ(Outcome(Read(raw("broken-profile.dng"))), "fine");
    EXPECT_EQ(m_info.note, Phrase(kSemicolon, kProfileUnusable, kPreviewUsed));
    // Pixels without a coding are a preview, too.
    ASSERT_EQ(Outcome(Read(WithOrientation(raw("uncoded-preview.dng"), 6))), "fine");
    EXPECT_EQ(m_info.width, 12U);
    EXPECT_TRUE(Near(At(m_info, 2, 2), kRed, 0));
    EXPECT_FALSE(m_info.note.empty());

    EXPECT_THAT(Outcome(Read(raw("cut.dng"))), StartsWith("Damaged: "));
    EXPECT_TRUE(m_info.note.empty());
    const std::string start = "FUJIFILMCCD-RAW 0201FF129502";
    EXPECT_EQ(Outcome(Read(Bytes(start.begin(), start.end()))),
              "Unsupported: a raw photograph in which no preview was found");
}

}  // namespace
}  // namespace lumato::picture
