// A fresh frame, read back by plain byte offsets.
#include "vframe/new_frame.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "tests/vframe/frame_driver.h"
#include "tests/vframe/scratch_folder.h"

namespace lumato::vframe {
namespace {

constexpr NewFrame kSmallFrame{.lcdWidth = 128, .lcdHeight = 160, .flashSize = 0x80000};

Bytes Part(const Bytes& flash, std::size_t begin, std::size_t length) {
    const auto first = flash.begin() + static_cast<std::ptrdiff_t>(begin);
    return {first, first + static_cast<std::ptrdiff_t>(length)};
}

std::size_t NotErased(const Bytes& flash) {
    return static_cast<std::size_t>(
        std::count_if(flash.begin(), flash.end(), [](std::uint8_t byte) { return byte != 0xFF; }));
}

TEST(FreshFrame, HasItsInformationBlockAndNothingElse) {
    const Bytes flash = MakeFlash(kSmallFrame).value();
    EXPECT_EQ(flash.size(), 0x80000U);
    EXPECT_EQ(Part(flash, 31, 20),
              (Bytes{0xFF, 0, 0, 1, 128, 0, 160, 0, 0xD8, 0, 0xFF, 0xFF, 0, 0, 8, 0, 0, 4, 90, 0xFF}));
    EXPECT_EQ(NotErased(flash), 16U);

    NewFrame all = kSmallFrame;
    all.lcdWidth = 0x1234;
    all.lcdHeight = 0xFFFF;
    all.flashSize = 0xFF0000;
    all.tableAddress = 0xFE0000;
    all.pictureLimit = 0x0102;
    all.sampling = 15;
    all.quality = 70;
    all.eraseInstruction = 0x20;
    all.pageOption = 1;
    EXPECT_EQ(Part(MakeFlash(all).value(), 32, 18),
              (Bytes{0, 0, 0xFE, 0x34, 0x12, 0xFF, 0xFF, 0x20, 1, 0xFF, 0xFF, 0, 0, 0xFF, 2, 1, 15, 70}));
}

TEST(FreshFrame, HasAFirmwareHeaderThatLeadsToTheTable) {
    NewFrame options = kSmallFrame;
    options.firmwareEnd = 70196;
    const Bytes flash = MakeFlash(options).value();
    EXPECT_EQ(Part(flash, 256, 5), (Bytes{'D', 'P', 'F', 'H', 0xDE}));
    const std::uint32_t pointer = GetLe24(ByteSpan(flash).subspan(261));
    ASSERT_GE(pointer, 1024U);
    ASSERT_LT(pointer, 65536U);
    EXPECT_EQ(Part(flash, pointer - 512 + 11, 3), (Bytes{0x34, 0x12, 0x01}));
    EXPECT_EQ(Part(flash, 32, 3), (Bytes{0, 0, 1})) << "what a frame without the header would use";
}

TEST(FreshFrame, RefusesWhatCannotBe) {
    const struct {
        const char* what;
        std::uint32_t NewFrame::*field;
        std::uint32_t value;
    } rows[] = {
        {"no width", &NewFrame::lcdWidth, 0},
        {"width", &NewFrame::lcdWidth, 65536},
        {"no height", &NewFrame::lcdHeight, 0},
        {"height", &NewFrame::lcdHeight, 65536},
        {"small flash", &NewFrame::flashSize, 131072 - 4096},
        {"odd flash", &NewFrame::flashSize, 0x80001},
        {"flash beyond its field", &NewFrame::flashSize, 0x1000000},
        {"table in the information block", &NewFrame::tableAddress, 0},
        {"table between blocks", &NewFrame::tableAddress, 0x18000},
        {"table at the end", &NewFrame::tableAddress, 0x80000},
        {"table far beyond", &NewFrame::tableAddress, 0xFFFF0000},
        {"limit", &NewFrame::pictureLimit, 65536},
        {"sampling", &NewFrame::sampling, 256},
        {"quality", &NewFrame::quality, 256},
        {"erase instruction", &NewFrame::eraseInstruction, 0xC7},
        {"page option", &NewFrame::pageOption, 256},
    };
    for (const auto& row : rows) {
        NewFrame options = kSmallFrame;
        options.*row.field = row.value;
        const auto flash = MakeFlash(options);
        ASSERT_FALSE(flash) << row.what;
        EXPECT_EQ(flash.error().kind, ErrorKind::Refused) << row.what;
    }
    for (const std::uint32_t end : {0U, 0x70001U, 0x80000U, 0xFFFFFFFFU}) {
        NewFrame options = kSmallFrame;
        options.firmwareEnd = end;
        EXPECT_FALSE(MakeFlash(options)) << end;
    }
    NewFrame last = kSmallFrame;
    last.firmwareEnd = 0x6FFFF;
    EXPECT_TRUE(MakeFlash(last));
}

TEST(FreshFrame, NeverOverwrites) {
    const ScratchFolder folder;
    const Path path = folder.Write("flash.img", Bytes{1, 2, 3});
    EXPECT_EQ(CreateFrame(path, kSmallFrame).error().kind, ErrorKind::Unwritable);
    EXPECT_EQ(ReadFile(path), (Bytes{1, 2, 3}));
    std::filesystem::create_symlink("nowhere", folder / "link");
    EXPECT_FALSE(CreateFrame(folder / "link", kSmallFrame));
    EXPECT_TRUE(CreateFrame(folder / "new.img", kSmallFrame));
    EXPECT_EQ(ReadFile(folder / "new.img"), MakeFlash(kSmallFrame));
}

}  // namespace
}  // namespace lumato::vframe
