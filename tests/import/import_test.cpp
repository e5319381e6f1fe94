#include <atomic>
#include <limits>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "import/held_size.h"
#include "import/messages.h"
#include "import/picture_builder.h"
#include "import/reader_pool.h"
#include "tests/support/picture_files.h"

namespace lumato::picture {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

using PictureImport = ImportTest;
constexpr int kLossy = 25;

TEST_F(PictureImport, EveryFormat) {
    for (const char* name :
         {"png", "webp", "tif", "gif", "heic", "avif", "jxl", "jpg", "palette.png", "interlaced.png"}) {
        SCOPED_TRACE(name);
        const Path file = SampleFile(std::string("quarters.") + name);
        EXPECT_TRUE(IsPicture(file));
        ASSERT_EQ(Outcome(Read(file)), "fine");
        EXPECT_EQ(m_info.width, 96U);
        EXPECT_EQ(m_info.height, 64);
        EXPECT_EQ(m_info.dataSize, 96U * 64 * 4);
        EXPECT_EQ(m_info.pixels.size(), 96U * 64 * 4);
        ExpectQuarters(m_info, OrientedQuarters(1), kLossy);

        ASSERT_EQ(Outcome(Read(file, 0.1)), "fine");
        EXPECT_EQ(m_info.width, 96U);
        EXPECT_GE(m_info.heldWidth, 20);
        EXPECT_LE(m_info.heldWidth, 24);
        ExpectQuarters(m_info, OrientedQuarters(1), kLossy);
    }
}

TEST_F(PictureImport, AllOrientationsAtAnyScaleAndRowOrder) {
    for (const std::string suffix : {"jpg", "webp", "tif"}) {
        for (int orientation = 0; orientation <= 9; ++orientation) {
            const Path file = m_folder / (std::to_string(orientation) + suffix);
            const bool jpeg = suffix == "jpg";
            const int shown = orientation % 9 == 0 ? 1 : orientation;
            Put(file, jpeg ? MakeJpeg(Quarters(96, 64), {.orientation = orientation})
                           : WithOrientation(Sample("quarters." + suffix), orientation));
            for (const double scale : {1.0, 0.2, 0.1, 0.05}) {
                if (!jpeg && scale < 0.1)
                    continue;  // too small to tell quarters of lossy colours apart
                SCOPED_TRACE(testing::Message() << file << " scale " << scale);
                ASSERT_EQ(Outcome(Read(file, scale)), "fine");
                EXPECT_EQ(m_info.width, shown >= 5 ? 64U : 96U);
                EXPECT_EQ(m_info.height, shown >= 5 ? 96 : 64);
                ExpectQuarters(m_info, OrientedQuarters(shown), jpeg ? 12 : kLossy);

                ASSERT_EQ(Outcome(Read(file, scale, true)), "fine");
                const auto [topLeft, topRight, bottomLeft, bottomRight] = OrientedQuarters(shown);
                ExpectQuarters(m_info, {bottomLeft, bottomRight, topLeft, topRight}, jpeg ? 12 : kLossy);
            }
        }
    }
}

TEST_F(PictureImport, WhatIsHeldFollowsTheSidesAsShown) {
    const Path file = m_folder / "p.jpg";
    Put(file, MakeJpeg(Quarters(800, 400), {.orientation = 6}));
    const auto fiftyAcross = [](int width, int) { return 50.0 / width; };
    ASSERT_EQ(Outcome(CreateMyImage(file, false, fiftyAcross, m_info)), "fine");
    EXPECT_EQ(m_info.heldWidth, 100);
    EXPECT_EQ(m_info.heldHeight, 200);
}

TEST_F(PictureImport, ProfilesDepthsAndTransparency) {
    const struct {
        const char* name;
        Colour colour;
        int tolerance;
    } rows[] = {
        // Red by a profile whose red is sRGB's blue, and by one that is none.
        {"swapped.png", kBlue, 12},        {"swapped.tif", kBlue, 12},
        {"swapped.webp", kBlue, 12},       {"swapped.heic", kBlue, 12},
        {"broken.tif", kRed, 0},           {"deep.png", {200, 100, 50}, 1},  // 16 bits per sample
        {"rgba.png", {40, 20, 10}, 1},                                       // a fifth of it, on black
        {"greya.png", {100, 100, 100}, 1}, {"grey.png", {200, 200, 200}, 1},
    };
    for (const auto& row : rows) {
        ASSERT_EQ(Outcome(Read(SampleFile(row.name))), "fine") << row.name;
        EXPECT_TRUE(Near(At(m_info, 4, 4), row.colour, row.tolerance))
            << row.name << testing::PrintToString(At(m_info, 4, 4));
    }
}

// A file whose profile makes no sense any more.
Bytes WithBrokenProfile(Bytes file) {
    for (const std::string_view mark : {"acsp", "iCCP"}) {
        const auto at = std::search(file.begin(), file.end(), mark.begin(), mark.end());
        if (at == file.end())
            continue;
        std::fill_n(at + (mark == "acsp" ? 0 : 40), 4, 0x55);
        return file;
    }
    ADD_FAILURE() << "has no profile";
    return file;
}

TEST_F(PictureImport, BrokenProfilesAreToldOf) {
    const std::pair<Bytes, Colour> rows[] = {{WithBrokenProfile(Sample("swapped.png")), kRed},
                                             {WithBrokenProfile(Sample("swapped.tif")), kRed},
                                             {WithBrokenProfile(Sample("swapped.webp")), kRed},
                                             {WithBrokenProfile(Sample("swapped.heic")), kRed},
                                             {Sample("broken.tif"), kRed},
                                             {Sample("tiff/inks-with-a-broken-profile.tif"), {204, 102, 41}}};
    for (const auto& [file, colour] : rows) {
        SCOPED_TRACE(file.size());
        for (const Held held : {Held::AsShown, Held::AsStored}) {
            Put(m_file, file);
            ASSERT_EQ(Outcome(CreateMyImage(
                          m_file, false, [](int, int) { return 1.0; }, m_info, Processors::All, held)),
                      "fine");
            EXPECT_EQ(m_info.note, Phrase(kProfileUnusable));
            EXPECT_TRUE(Near(At(m_info, 2, 2), colour, 2)) << testing::PrintToString(At(m_info, 2, 2));
        }
    }
}

TEST_F(PictureImport, OnlyTheFirstPictureOfAnAnimation) {
    // Two pictures of 96 x 32 in one file: red and green first, blue and white second.
    ASSERT_EQ(Outcome(Read(SampleFile("pages.gif"))), "fine");
    EXPECT_EQ(m_info.width, 96U);
    ASSERT_TRUE(m_info.height == 32 || m_info.height == 64);
    EXPECT_TRUE(Near(At(m_info, 10, m_info.height - 1), m_info.height == 32 ? kRed : kBlue, 12));
}

// 120 x 90 in sevenths of its sides: of the last column there is one pixel, of the last row all but one. And
// tiles that are more than the picture, turned by the container and, once more, by its Exif data.
TEST_F(PictureImport, SmallerOnesAreMeansOfTheWhole) {
    for (const double scale : {1.0, 0.2}) {
        ASSERT_EQ(Outcome(Import(SampleFile("turned.heic"), m_info, scale)), "fine");
        ASSERT_EQ(std::pair(m_info.width, m_info.height), std::pair(66U, 94));
        ExpectQuarters(m_info, OrientedQuarters(6));
    }
    constexpr int kDivisor = 7;
    for (const char* name : {"noise.heic", "noise.avif", "noise.png", "noise.tif"}) {
        BitmapInfo whole;
        ASSERT_EQ(Outcome(Import(SampleFile(name), whole)), "fine");
        ASSERT_EQ(Outcome(Import(SampleFile(name), m_info, 0.065)), "fine");
        ASSERT_EQ(m_info.heldWidth, 18);
        ASSERT_EQ(m_info.heldHeight, 13);
        EXPECT_NEAR(m_info.overhang.right, 6.0 / kDivisor, 1e-9);
        EXPECT_NEAR(m_info.overhang.bottom, 1.0 / kDivisor, 1e-9);
        int others = 0;
        for (int y = 0; y < m_info.heldHeight; ++y) {
            for (int x = 0; x < m_info.heldWidth; ++x) {
                Colour mean{};
                const int rows = std::min(kDivisor, whole.heldHeight - kDivisor * y);
                const int columns = std::min(kDivisor, whole.heldWidth - kDivisor * x);
                for (int i = 0; i < columns * rows; ++i)
                    for (std::size_t band = 0; band < mean.size(); ++band)
                        mean[band] += At(whole, kDivisor * x + i % columns, kDivisor * y + i / columns)[band];
                for (int& band : mean)
                    band /= columns * rows;
                others += Near(At(m_info, x, y), mean, 1) ? 0 : 1;
            }
        }
        EXPECT_EQ(others, 0) << name;
    }
}

TEST_F(PictureImport, TruncationIsNeverSilent) {
    for (const char* name : {"png", "webp", "tif", "gif", "heic", "avif", "jxl"}) {
        const Bytes sound = Sample(std::string("noise.") + name);
        ASSERT_EQ(Outcome(Read(sound)), "fine") << name;
        const Bytes whole = m_info.pixels;
        for (std::size_t size = 40; size < sound.size(); size += sound.size() / 12) {
            const auto result = Read(Bytes(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(size)));
            if (result)
                EXPECT_EQ(m_info.pixels, whole) << name << " cut at " << size << " of " << sound.size();
            else
                EXPECT_THAT(Outcome(result), testing::MatchesRegex("(Damaged|Unsupported): .*[^: ]")) << name;
        }
    }
}

// Sound and broken ones beside each other: each comes to what it comes to alone, its reason included.
TEST_F(PictureImport, ManyAtOnceAreAsOneByOne) {
    std::vector<Path> files;
    for (const std::string name : {"noise.heic", "noise.webp", "noise.png", "noise.tif", "noise.jxl"}) {
        Bytes cut = Sample(name);
        cut.resize(cut.size() / 2);
        Put(m_folder / ("cut." + name), cut);
        files.insert(files.end(), {SampleFile(name), m_folder / ("cut." + name)});
    }
    std::vector<BitmapInfo> expected(files.size());
    std::vector<std::string> outcomes;
    for (std::size_t i = 0; i < files.size(); ++i)
        outcomes.push_back(Outcome(Import(files[i], expected[i])));
    std::vector<std::thread> threads;
    std::atomic<int> others = 0;
    for (std::size_t first = 0; first < 6; ++first)
        threads.emplace_back([&, first] {
            for (std::size_t n = 0; n < 3 * files.size(); ++n) {
                const std::size_t i = (first + n) % files.size();
                BitmapInfo info;
                const std::string outcome = Outcome(Import(files[i], info));
                if (outcome != outcomes[i] || info.pixels != expected[i].pixels) {
                    ++others;
                    ADD_FAILURE() << files[i] << ": " << outcome << " in place of " << outcomes[i];
                }
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(others, 0);
}

TEST_F(PictureImport, NotAPicture) {
    // Of formats, too, that libvips would read by readers not meant for files of unknown origin.
    const std::pair<const char*, std::string> files[] = {
        {"text", "BM text\n"},
        {"empty", ""},
        {"svg", "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>"},
        {"ppm", "P6 1 1 255\nabc"},
        {"pdf", "%PDF-1.4\n"},
    };
    for (const auto& [name, text] : files)
        Put(m_folder / name, Bytes(text.begin(), text.end()));
    Put(m_folder / "bare.png", Bytes{0x89, 'P', 'N', 'G', 13, 10, 26, 10, 0, 0, 0, 13});
    ASSERT_EQ(::mkfifo((m_folder / "pipe").c_str(), 0600), 0);
    const struct {
        Path file;
        const char* outcome;
    } rows[] = {
        {m_folder / "text", "Unsupported: not a picture in any known format"},
        {m_folder / "svg", "Unsupported: not a picture in any known format"},
        {m_folder / "ppm", "Unsupported: not a picture in any known format"},
        {m_folder / "pdf", "Unsupported: not a picture in any known format"},
        {m_folder / "empty", "Unsupported: the file is empty"},
        {m_folder / "pipe", "Unreadable: is a device or a pipe, not a file"},
        {"/dev/zero", "Unreadable: is a device or a pipe, not a file"},
        {m_folder / "", "Unreadable: is a folder"},
        {m_folder / "missing", "NotFound: No such file or directory"},
        {m_folder / "text" / "below", "NotFound: Not a directory"},
    };
    for (const auto& row : rows) {
        m_info.pixels.resize(4);
        EXPECT_EQ(Outcome(Read(row.file)), row.outcome);
        EXPECT_TRUE(m_info.pixels.empty());
        EXPECT_FALSE(IsPicture(row.file)) << row.file;
    }
    EXPECT_THAT(Outcome(Read(m_folder / "bare.png")), StartsWith("Damaged: "));
    if (::geteuid() != 0) {
        ::chmod((m_folder / "text").c_str(), 0);
        EXPECT_EQ(Outcome(Read(m_folder / "text")), "Unreadable: Permission denied");
    }
}

TEST_F(PictureImport, AnyFileName) {
    for (const char* name : {"a b\n.png", "\xFF\xFE.png", "p.png[page=7]", "\xC3\xA8\".png", "%s%n", "-o"}) {
        std::filesystem::copy_file(SampleFile("quarters.png"), m_folder / name);
        EXPECT_EQ(Outcome(Read(m_folder / name)), "fine") << name;
        EXPECT_TRUE(IsPicture(m_folder / name));
    }
}

TEST_F(PictureImport, MissingReaderIsNamed) {
    const auto missing = FindReader({m_folder / "a", m_folder / "b"});
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().kind, ErrorKind::Unsupported);
    EXPECT_THAT(missing.error().message.English(), HasSubstr("not installed"));
    Put(m_folder / reader::kProgram, Bytes{'x'});
    EXPECT_EQ(ReaderProcess::Start(FindReader({m_folder / ""}).value()).error().kind, ErrorKind::Unsupported);
}

TEST(HeldSize, ArithmeticOfReduction) {
    const auto held = [](Size decoded, Size least) {
        return DividedUp(decoded, HeldDivisor(decoded, least));
    };
    EXPECT_EQ(held({1000, 500}, {1000, 500}), (Size{1000, 500}));
    EXPECT_EQ(held({1000, 500}, {501, 251}), (Size{1000, 500}));
    EXPECT_EQ(held({1000, 500}, {333, 167}), (Size{500, 250}));
    EXPECT_EQ(held({1001, 501}, {100, 51}), (Size{112, 56}));
    EXPECT_EQ(held({1, 30'000}, {1, 600}), (Size{1, 30'000}));
    // At most 64 million pixels, whatever is asked for.
    EXPECT_EQ(held({16'000, 10'000}, {16'000, 10'000}), (Size{8'000, 5'000}));
    EXPECT_EQ(held({8'000, 8'000}, {8'000, 8'000}), (Size{8'000, 8'000}));
    EXPECT_EQ(held({1'000'000, 1'000}, {1'000'000, 1'000}), (Size{250'000, 250}));

    // A decoder that scales comes closer to that bound than whole divisors do.
    EXPECT_EQ(EighthsFor({13'339, 7'502}, {13'339, 7'502}), 6);
    EXPECT_EQ(EighthsFor({13'339, 7'502}, {1'600, 960}), 2);
    EXPECT_EQ(EighthsFor({40'000, 25'000}, {40'000, 25'000}), 2);
    EXPECT_EQ(held({10'005, 5'627}, {13'339, 7'502}), (Size{10'005, 5'627}));

    const double odd[] = {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(),
                          std::numeric_limits<double>::infinity()};
    const int widths[] = {1, 1, 70, 70};
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(LeastHeld({70, 7}, [&](int, int) { return odd[i]; }).width, widths[i]);
    EXPECT_EQ(LeastHeld({4000, 3000}, [](int, int) { return 0.1; }), (Size{800, 600}));
}

TEST(BoxReducer, MeansAreExactAtTheFarEdges) {
    BoxReducer reducer({5, 3}, 2);
    const Bytes rows[] = {{10, 0, 1, 20, 0, 0, 30, 0, 0, 40, 0, 0, 50, 0, 0},
                          {11, 1, 2, 20, 0, 0, 30, 0, 0, 40, 0, 0, 60, 0, 0},
                          {0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 255, 255, 255}};
    EXPECT_FALSE(reducer.Add(rows[0].data()));
    ASSERT_TRUE(reducer.Add(rows[1].data()));
    const auto row = [&] { return Bytes(reducer.Row(), reducer.Row() + 9); };
    EXPECT_EQ(row(), (Bytes{15, 0, 1, 35, 0, 0, 55, 0, 0}));
    ASSERT_TRUE(reducer.Add(rows[2].data()));
    EXPECT_EQ(row(), (Bytes{1, 0, 0, 0, 0, 0, 255, 255, 255}));

    BoxReducer one({300, 300}, 300, 1);
    const Bytes white(300, 255);
    for (int y = 1; y < 300; ++y)
        EXPECT_FALSE(one.Add(white.data()));
    ASSERT_TRUE(one.Add(white.data()));
    EXPECT_EQ(*one.Row(), 255);
}

}  // namespace
}  // namespace lumato::picture
