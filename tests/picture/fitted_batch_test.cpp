// A batch composes its pictures while they are imported, several at a time: every byte and every word to
// people must be as if they had been selected and added one by one.
#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

#include "device/comm_usb.h"
#include "flash/process_flash.h"
#include "picture/add_pictures.h"
#include "picture/bitmap_file.h"
#include "store/store.h"
#include "tests/support/failing_memory.h"
#include "tests/support/picture_files.h"
#include "tests/support/recording_status.h"

namespace lumato::picture {
namespace {

namespace fs = std::filesystem;

class FittedBatchTest : public testing::Test {
  protected:
    FittedBatchTest() { Begin("one"); }
    ~FittedBatchTest() override {
        flash::ResetFlash();
        ResetPictures();
        store::ResetStore();
    }

    // An empty list, in a folder of its own.
    void Begin(const std::string& folder) {
        store::ResetStore();
        ResetPictures();
        store::StoreState& store = store::Store();
        store.gmyResousepath = m_folder / folder;
        fs::create_directories(store.gmyResousepath / "data");
        fs::create_directories(store.gmyResousepath / "Edata");
        store.status = &m_status;
        store.gmyPictureData.reset(store::CreateList());
        store.geometry.writableEnd = 4'000'000 + store::kTableSize;
        store::CountFreeSpace();
        flash::Flash().m_PtrPF =
            std::make_shared<flash::CProcessFlash>(std::make_shared<device::AttachedFrame>());
    }
    Path Jpeg(const std::string& name, const Raw& raw, const JpegOptions& options = {}) {
        Put(m_folder / name, MakeJpeg(raw, options));
        return m_folder / name;
    }
    Path Sheet(const std::string& name) {
        EXPECT_TRUE(SaveBmpFile(Noise(300, 211, 7).pixels, 300, 211, m_folder / name));
        return m_folder / name;
    }
    // Ordinary until the middle: read anew by libjpeg alone, which forgives bytes in front of a restart
    // marker.
    Path Odd(const std::string& name) {
        Bytes jpeg = MakeJpeg(Noise(900, 700, 5), {.restartRows = 1});
        const Bytes marker{0xFF, 0xD3};
        const auto middle = jpeg.begin() + static_cast<std::ptrdiff_t>(jpeg.size() / 2);
        jpeg.insert(std::search(middle, jpeg.end(), marker.begin(), marker.end()), {1, 2, 3});
        Put(m_folder / name, jpeg);
        return m_folder / name;
    }
    std::vector<Path> Photographs() {
        std::vector<Path> files{
            Jpeg("photo.jpg", Noise(1203, 907, 1)),
            Jpeg("tall.jpg", Noise(140, 1999, 2)),
            Jpeg("wide.jpg", Noise(1999, 33, 2)),
            Jpeg("small.jpg", Noise(61, 47, 3)),
            Jpeg("grey.jpg", Noise(640, 480, 4, 1), {.progressive = true}),
            Odd("odd.jpg"),
            Jpeg("colours.jpg", Noise(500, 301, 6), {.orientation = 6, .profile = Sample("swapped.icc")}),
            Sheet("sheet.bmp"),
        };
        for (int orientation = 2; orientation <= 8; ++orientation)
            files.push_back(Jpeg("turned" + std::to_string(orientation) + ".jpg", Noise(700, 500, 8),
                                 {.orientation = orientation}));
        return files;
    }

    store::RecordingStatus m_status;
    const TemporaryFolder m_folder;
};

TEST_F(FittedBatchTest, EveryPictureIsComposedAsItsSelectionShowsIt) {
    std::vector<Path> files = Photographs();
    files.push_back(SampleFile("noise.png"));
    files.push_back(Jpeg("speck.jpg", Quarters(2, 2)));
    for (const Path& file : files)
        for (const auto& [width, height] : {std::pair{480, 234}, {128, 128}, {37, 301}, {1, 1}}) {
            SCOPED_TRACE(testing::Message() << file << " for " << width << " x " << height);
            store::Store().gmyLcdWidth = static_cast<float>(width);
            store::Store().gmyLcdHeight = static_cast<float>(height);
            ASSERT_TRUE(SelectOnePicture(file, true));
            const auto selected = RenderLcdBitmap(WithTopLeftCorner(store::Store().gmyDrawrect));
            for (const Processors processors : {Processors::One, Processors::All}) {
                const auto composed = ComposeFitted(file, width, height, processors);
                ASSERT_TRUE(composed);
                EXPECT_EQ(*composed, *selected);
            }
        }
}

TEST_F(FittedBatchTest, StreamsOrderAndRefusalsAreThoseOfOneByOne) {
    std::vector<Path> files = Photographs();
    Put(m_folder / "notes.txt", Bytes{'n', 'o'});
    files.insert(files.begin() + 1, m_folder / "notes.txt");
    files.insert(files.begin() + 5, m_folder / "missing.jpg");
    std::vector<std::string> refused;
    for (const Path& file : files) {
        if (SelectOnePicture(file, true))
            EXPECT_TRUE(AddEditPicture());
        else
            refused.push_back(file.filename());
    }
    const std::vector<std::string> notes = m_status.Notes();
    const std::vector<std::string> details = m_status.Details();

    Begin("batch");
    const BatchReport report = AddPictures(files, {}, AfterRefusal::GoOn);
    ASSERT_EQ(report.added.size(), files.size() - refused.size());
    EXPECT_EQ(m_status.Notes(), notes);
    EXPECT_EQ(m_status.Details(), details);
    ASSERT_EQ(report.refused.size(), refused.size());
    for (std::size_t i = 0; i < refused.size(); ++i) {
        EXPECT_EQ(report.refused[i].file.filename(), refused[i]);
        EXPECT_TRUE(report.refused[i].unreadable);
    }
    for (std::size_t i = 0; i < report.added.size(); ++i) {
        const Path name = store::StreamPath(report.added[i].picture.name).filename();
        EXPECT_EQ(Get(m_folder / "batch" / "Edata" / name), Get(m_folder / "one" / "Edata" / name)) << i;
    }
    EXPECT_FALSE(Pictures().gmyCGimage);
}

TEST_F(FittedBatchTest, ABatchThatMayStopLeavesItsLastPictureInTheEditView) {
    const std::vector<Path> files{Jpeg("a.jpg", Noise(300, 200, 1)), Jpeg("b.jpg", Noise(200, 400, 2)),
                                  Jpeg("c.jpg", Noise(100, 100, 3))};
    store::Store().G_TotalPicNum = store::Store().geometry.mostPictures = 1;
    AddPictures(files, {}, AfterRefusal::Stop);
    ASSERT_TRUE(Pictures().gmyCGimage);
    EXPECT_EQ(Pictures().gmyCGimagebi->height, 400);
    const int scale = Pictures().controls.scale.Value();

    Begin("posed");
    AddPictures({files[0], files[1]}, {.rotate = 30, .scale = scale + 10}, AfterRefusal::Stop);
    ASSERT_TRUE(Pictures().gmyCGimage);
    EXPECT_EQ(Pictures().gmyCGimagebi->height, 400);
    EXPECT_EQ(Pictures().controls.rotate.Value(), 30);

    Begin("unreadable");
    Put(m_folder / "last.jpg", Bytes{'n', 'o'});
    AddPictures({files[0], m_folder / "last.jpg"}, {}, AfterRefusal::Stop);
    EXPECT_FALSE(Pictures().gmyCGimage);
}

// Wherever memory ends, on whatever thread, one file is refused for it, and the others are added.
TEST_F(FittedBatchTest, MemoryThatEndsRefusesOneFile) {
    const Path photo = Jpeg("photo.jpg", Noise(903, 607, 1));
    const Path turned =
        Jpeg("turned.jpg", Noise(300, 200, 8), {.orientation = 6, .profile = Sample("swapped.icc")});
    const std::vector<Path> lots[] = {{photo}, {photo, Sheet("sheet.bmp"), turned}};
    int run = 0;
    for (const auto threads : {test::FailingMemory::Of::OtherThreads, test::FailingMemory::Of::ThisThread})
        for (const Pose& pose : {Pose{}, Pose{.rotate = 30}})
            for (const std::vector<Path>& files : lots) {
                bool failed = true;
                for (int n = 1; failed; n += 1 + n / 16) {
                    SCOPED_TRACE(testing::Message()
                                 << n << " of " << files.size() << " files, posed " << !pose.IsFitted()
                                 << ", threads " << static_cast<int>(threads));
                    Begin(std::to_string(++run));
                    BatchReport report;
                    try {
                        const test::FailingMemory failing(threads, n);
                        report = AddPictures(files, pose, AfterRefusal::GoOn);
                        failed = failing.HasFailed();
                    } catch (const std::bad_alloc&) {  // before the first file was begun
                        EXPECT_EQ(store::Store().gmyTotalePicture, 0);
                        EXPECT_LT(n, 20);
                        continue;
                    }
                    EXPECT_EQ(report.added.size() + report.refused.size(), files.size());
                    ASSERT_LE(report.refused.size(), failed ? 1U : 0U);
                    for (const BatchReport::Refused& refused : report.refused)
                        EXPECT_EQ(refused.reason.kind, ErrorKind::TooLarge);
                    EXPECT_EQ(store::Store().gmyTotalePictureNum, static_cast<int>(report.added.size()));
                }
            }
}

}  // namespace
}  // namespace lumato::picture
