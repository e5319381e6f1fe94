// Adding pictures: fitting, budgets and qualities, refusals that leave nothing behind. A batch, which
// composes several at a time while they are imported, gives every byte and every word as if they were added
// one by one.
#include "picture/add_pictures.h"

#include <algorithm>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "device/comm_usb.h"
#include "flash/process_flash.h"
#include "picture/bitmap_file.h"
#include "picture/rv512_encoder.h"
#include "picture/trial.h"
#include "store/store.h"
#include "tests/support/failing_memory.h"
#include "tests/support/picture_files.h"
#include "tests/support/recording_status.h"

namespace lumato::picture {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class PortRecorder : public EditPort {
  public:
    void ControlChanged(EditControl) override {}
    void RedrawEditView() override { ++redraws; }
    void SelectNextPicture() override { ++advances; }
    int redraws = 0, advances = 0;
};

class AddPicturesTest : public testing::Test {
  protected:
    AddPicturesTest() { Begin({}); }
    ~AddPicturesTest() override {
        flash::ResetFlash();
        ResetPictures();
        store::ResetStore();
    }

    // An empty list, in a folder of its own.
    void Begin(const std::string& folder) {
        store::ResetStore();
        ResetPictures();
        flash::Flash().m_PtrPF = std::make_shared<flash::CProcessFlash>(m_frame);
        m_store.gmyResousepath = m_folder / folder;
        fs::create_directories(m_store.gmyResousepath / "data");
        fs::create_directories(m_store.gmyResousepath / "Edata");
        m_store.status = &m_status;
        UseSpace(4'000'000);
        Pictures().port = &m_port;
    }
    Path MakeFile(const std::string& name, const Raw& raw) {
        EXPECT_TRUE(SaveBmpFile(raw.pixels, raw.width, raw.height, m_folder / name));
        return m_folder / name;
    }
    Path MakeFile(const std::string& name, int width, int height) {
        return MakeFile(name, Plain(width, height, {100, 100, 100}));
    }
    Path MakeText(const std::string& name) { return m_folder.Put(name, {'n', 'o'}); }
    Path Jpeg(const std::string& name, const Raw& raw, const JpegOptions& options = {}) {
        Put(m_folder / name, MakeJpeg(raw, options));
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
            MakeFile("sheet.bmp", Noise(300, 211, 7)),
        };
        for (int orientation = 2; orientation <= 8; ++orientation)
            files.push_back(Jpeg("turned" + std::to_string(orientation) + ".jpg", Noise(700, 500, 8),
                                 {.orientation = orientation,
                                  .progressive = orientation == 8,
                                  .separateScans = orientation == 6}));
        return files;
    }
    void UseLcd(float width, float height) {
        m_store.gmyLcdWidth = width;
        m_store.gmyLcdHeight = height;
    }
    // A frame without pictures that has room for so many bytes of them.
    void UseSpace(int bytes) {
        m_store.geometry.writableEnd = m_store.geometry.PictureAreaStart() + bytes;
        m_store.gmyPictureData.reset(store::CreateList());
        store::CountFreeSpace();
    }
    // What the selected picture takes at a quality, apart from all else.
    int SizeAt(int quality) {
        EXPECT_TRUE(SaveBmpFile(*RenderLcdBitmap(m_store.gmyDrawrect), static_cast<int>(m_store.gmyLcdWidth),
                                static_cast<int>(m_store.gmyLcdHeight), m_folder / "probe.bmp"));
        return CRv512Encoder().EnCode(m_folder / "probe.bmp", m_folder / "probe",
                                      static_cast<int>(m_store.gmyLcdWidth),
                                      static_cast<int>(m_store.gmyLcdHeight), quality, m_store.G_YValue);
    }
    bool Exists(int number) {
        const std::string name = "Picture" + std::to_string(number) + ".bmp";
        return fs::exists(store::BitmapPath(name)) || fs::exists(store::StreamPath(name));
    }
    // The preview of the edit picture shows what adding it gives; its quality.
    int AddAsTried() {
        const auto tried = TakeTrial(0)->Run();
        EXPECT_EQ(TakeTrial(0)->Run([] { return false; }).error().kind, ErrorKind::Gone);
        const auto added = AddEditPicture();
        const auto stream = ReadPlainFile(store::StreamPath(added->name));
        EXPECT_EQ(std::pair(tried->quality, tried->bytes), std::pair(added->quality, added->bytes));
        EXPECT_EQ(tried->decoded.pixels, jpeg::DecodeStream(*stream, 0, 0)->pixels);
        return added->quality;
    }
    // Nothing of a refused addition stays but its note.
    void ExpectRefused(const Result<AddedPicture>& result, int pictures, const std::string& note,
                       const std::string& detail) {
        ASSERT_FALSE(result);
        EXPECT_EQ(m_status.Notes().back(), note);
        EXPECT_THAT(m_status.Details().back(), HasSubstr(detail));
        EXPECT_THAT(result.error().cause.English(), HasSubstr(detail));
        EXPECT_EQ(m_store.gmyTotalePictureNum, pictures);
        EXPECT_EQ(m_store.gmyTotalePicture, pictures);
        EXPECT_EQ(m_store.gmyPictureData->count, 0);
    }

    store::StoreState& m_store = store::Store();
    std::shared_ptr<device::AttachedFrame> m_frame = std::make_shared<device::AttachedFrame>();
    store::RecordingStatus m_status;
    PortRecorder m_port;
    const TemporaryFolder m_folder;
};

TEST_F(AddPicturesTest, SelectingFitsThePictureToTheLcd) {
    m_store.gmyDrawrect = {};
    Pictures().gmySuitableSize = false;
    Pictures().controls.rotate.SetValue(45);
    ASSERT_TRUE(SelectOnePicture(MakeFile("a.bmp", 1600, 1200), true));
    const PictureState& state = Pictures();
    EXPECT_EQ(m_store.TheSmallestValue, 11);
    EXPECT_EQ(state.OldValue, 11);
    EXPECT_FLOAT_EQ(state.gmyCGimage->scaleX, -0.11F);
    EXPECT_FLOAT_EQ(state.gmyCGimage->rotation, 180);
    EXPECT_TRUE(state.gmySuitableSize);
    EXPECT_EQ(state.controls.translateX.Maximum(), 170);
    EXPECT_EQ(state.controls.translateY.Minimum(), -128);
    EXPECT_EQ(m_store.gmyDrawrect, (store::Rect{226, 136, 128, 128}));
    EXPECT_GT(m_port.redraws, 0);

    EXPECT_FALSE(SelectOnePicture(MakeText("b.bmp"), true));
    EXPECT_EQ(state.gmyCGimage, nullptr);
    EXPECT_EQ(m_status.Notes().back(), "Couldn't Process!");
    EXPECT_THAT(m_status.Details().back(), HasSubstr("b.bmp"));
    EXPECT_EQ(state.controls.scale.Value(), 0);
    EXPECT_EQ(m_store.TheSmallestValue, 0);
    EXPECT_FALSE(AddEditPicture());
    EXPECT_EQ(m_store.gmyTotalePicture, 0);
}

TEST_F(AddPicturesTest, FramesTakeWhatFitsToTheByte) {
    ASSERT_TRUE(SelectOnePicture(MakeFile("a.bmp", Noise(128, 128, 1)), true));
    Pictures().G_CurQuanlity = 70;
    UseSpace(SizeAt(70) - 1);
    ExpectRefused(AddEditPicture(), 0, "Can't add anymore pictures!", "free on the frame");
    EXPECT_FALSE(Exists(1));
    m_frame->Release();
    ExpectRefused(AddEditPicture(), 0, "Device Not Online!", "free on the frame");
    UseSpace(SizeAt(70));
    EXPECT_EQ(AddAsTried(), 70);
    EXPECT_EQ(m_status.Notes().back(), "The sequence number:: 1");
    EXPECT_EQ(m_port.advances, 1);
    EXPECT_EQ(store::GetNode(m_store.gmyPictureData.get(), 1)->seqIndex, 1001);
    EXPECT_EQ(m_store.TotolFlashSizeForPic, 0);
    m_store.G_TotalPicNum = m_store.geometry.mostPictures = 2;
    UseSpace(SizeAt(60));
    EXPECT_EQ(AddAsTried(), 60) << "the last place takes the last byte";
    EXPECT_THAT(TakeTrial(0)->plan.whyNot.English(), HasSubstr("at most 2"));
    EXPECT_EQ(TakeTrial(1)->plan.whyNot, "");
}

TEST_F(AddPicturesTest, WhatCannotBeWrittenIsNotAdded) {
    ASSERT_TRUE(SelectOnePicture(MakeFile("a.bmp", 20, 20), true));
    // A stale bitmap of that number must not be taken for the new one.
    fs::copy_file(m_folder / "a.bmp", store::BitmapPath("Picture1.bmp"));
    fs::rename(m_folder / "data", m_folder / "elsewhere");
    m_folder.Put("data", {1});  // a file in the folder's place
    ExpectRefused(AddEditPicture(), 0, "Couldn't Process the picture!", "data");
    fs::remove(m_folder / "data");
    fs::rename(m_folder / "elsewhere", m_folder / "data");

    UseLcd(60000, 60000);
    ExpectRefused(AddEditPicture(), 0, "Couldn't Process the picture!", "LCD");
}

TEST_F(AddPicturesTest, TheWindowsBatchStopsAtItsFirstRefusal) {
    const std::vector<Path> files{MakeFile("a.bmp", 64, 64), MakeText("b.bmp"), MakeFile("c.bmp", 64, 64),
                                  MakeFile("d.bmp", 64, 64), MakeFile("e.bmp", 64, 64)};
    m_store.G_TotalPicNum = m_store.geometry.mostPictures = 2;
    const BatchReport report = ProcessMorePic(files);
    ASSERT_EQ(report.added.size(), 2U);
    EXPECT_EQ(report.added[1].file, files[2]);
    EXPECT_EQ(report.added[1].picture.name, "Picture2.bmp");
    ASSERT_EQ(report.refused.size(), 2U);
    EXPECT_TRUE(report.refused[0].unreadable);
    EXPECT_EQ(report.refused[1].file, files[3]);
    EXPECT_FALSE(report.refused[1].unreadable);
    EXPECT_EQ(report.notTried, std::vector<Path>{files[4]});
    EXPECT_EQ(m_status.Notes().back(), "2 added, 2 refused, 1 not tried");
    EXPECT_EQ(m_status.Details().back(), "d.bmp: the frame holds at most 2 pictures");
    EXPECT_EQ(m_status.Lists().back().first, 2);
    EXPECT_FALSE(m_status.Panel().back());
    EXPECT_EQ(m_port.redraws, 1);
    EXPECT_EQ(m_port.advances, 0);
}

TEST_F(AddPicturesTest, ABatchNamesWhatIsNoPicture) {
    ProcessMorePic({MakeText("b\n.bmp"), MakeText("a.bmp"), MakeFile("c.bmp", 64, 64)});
    EXPECT_EQ(m_store.gmyTotalePictureNum, 1);
    EXPECT_EQ(m_status.Notes().back(), "1 added, 2 refused");
    EXPECT_THAT(m_status.Details().back(), HasSubstr("b\\n.bmp: "));
    ProcessMorePic({MakeText("a.bmp")});
    EXPECT_EQ(m_status.Notes().back(), "Couldn't Process!") << "alone";
}

TEST_F(AddPicturesTest, ComposedFilesShowThePosedArea) {
    // Left half dark, right half bright.
    std::vector<std::uint8_t> pixels;
    for (int i = 0; i < 100 * 50; ++i)
        pixels.insert(pixels.end(), 3, i % 100 < 50 ? 10 : 240);
    ASSERT_TRUE(SaveBmpFile(pixels, 100, 50, m_folder / "halves.bmp"));
    const auto compose = [&](const Pose& pose) {
        EXPECT_TRUE(ComposeFile(m_folder / "halves.bmp", 40, 30, pose, m_folder / "out.bmp"));
        return LoadPicFromDir(m_folder / "out.bmp", 40, 30).value();
    };
    const auto at = [](const std::vector<std::uint8_t>& bitmap, int x, int y) {
        return bitmap[static_cast<std::size_t>((29 - y) * 120 + x * 3)];
    };
    const auto fitted = compose({});
    EXPECT_EQ(at(fitted, 1, 15), 10);
    EXPECT_EQ(at(fitted, 38, 15), 240);
    const auto turned = compose({.rotate = 90});  // dark on top; 61 percent leave the sides uncovered
    EXPECT_EQ(at(turned, 20, 2), 10);
    EXPECT_EQ(at(turned, 20, 27), 240);
    EXPECT_EQ(at(turned, 1, 15), 0);
    const auto shifted = compose({.scale = 100, .x = 30, .y = 10});
    EXPECT_EQ(at(shifted, 30, 15), 10);
    EXPECT_EQ(at(shifted, 30, 29), 10);
    const auto moved = compose({.scale = 100, .rect = store::Rect{330, 200, -1, -1}});
    EXPECT_EQ(at(moved, 1, 1), 0);  // above the picture, which begins at 175; this is line 170
    EXPECT_EQ(at(moved, 1, 29), 240);
    EXPECT_EQ(moved, compose({.scale = 100, .rect = store::Rect{290, 170, 1, 1}}));
    EXPECT_FALSE(ComposeFile(m_folder / "none.bmp", 40, 30, {}, m_folder / "out.bmp"));
    EXPECT_FALSE(ComposeFile(m_folder / "halves.bmp", 0, 30, {}, m_folder / "out.bmp"));
}

TEST_F(AddPicturesTest, EveryPictureIsComposedAsItsSelectionShowsIt) {
    std::vector<Path> files = Photographs();
    files.push_back(SampleFile("noise.png"));
    files.push_back(Jpeg("speck.jpg", Quarters(2, 2)));
    for (const Path& file : files)
        for (const auto& [width, height] : {std::pair{480, 234}, {128, 128}, {37, 301}, {1, 1}}) {
            SCOPED_TRACE(testing::Message() << file << " for " << width << " x " << height);
            UseLcd(static_cast<float>(width), static_cast<float>(height));
            ASSERT_TRUE(SelectOnePicture(file, true));
            const auto selected = RenderLcdBitmap(WithTopLeftCorner(m_store.gmyDrawrect));
            for (const Processors processors : {Processors::One, Processors::All}) {
                const auto composed = ComposeFitted(file, width, height, processors);
                ASSERT_TRUE(composed);
                EXPECT_EQ(*composed, *selected);
            }
        }
}

TEST_F(AddPicturesTest, StreamsOrderAndRefusalsAreThoseOfOneByOne) {
    std::vector<Path> files = Photographs();
    files.insert(files.begin() + 1, MakeText("notes.txt"));
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
        EXPECT_EQ(Get(m_folder / "batch" / "Edata" / name), Get(m_folder / "Edata" / name)) << i;
    }
    EXPECT_FALSE(Pictures().gmyCGimage);
}

TEST_F(AddPicturesTest, ABatchThatMayStopLeavesItsLastPictureInTheEditView) {
    const std::vector<Path> files{Jpeg("a.jpg", Noise(300, 200, 1)), Jpeg("b.jpg", Noise(200, 400, 2)),
                                  Jpeg("c.jpg", Noise(100, 100, 3))};
    m_store.G_TotalPicNum = m_store.geometry.mostPictures = 1;
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
    AddPictures({files[0], MakeText("last.jpg")}, {}, AfterRefusal::Stop);
    EXPECT_FALSE(Pictures().gmyCGimage);
}

// Wherever memory ends, on whatever thread, one file is refused for it, and the others are added.
TEST_F(AddPicturesTest, MemoryThatEndsRefusesOneFile) {
#ifdef LUMATO_SANITIZED
    constexpr int kEvery = 4;
#else
    constexpr int kEvery = 16;
#endif
    using test::FailingMemory;
    const std::vector<Path> all = Photographs();
    const std::vector<Path> lots[] = {{all[0]}, {all[0], all[7], all[6]}};
    const auto failed = [&](auto threads, int request, const auto& files, const Pose& pose) {
        Begin("memory");
        BatchReport report;
        bool was = true;
        try {
            const FailingMemory failing(threads, request);
            report = AddPictures(files, pose, AfterRefusal::GoOn);
            EXPECT_EQ(report.added.size() + report.refused.size(), files.size());
            was = failing.HasFailed();
        } catch (const std::bad_alloc&) {  // before the first file was begun
            EXPECT_LT(request, 20);
        }
        EXPECT_LE(report.refused.size(), was ? 1U : 0U);
        for (const BatchReport::Refused& refused : report.refused)
            EXPECT_EQ(refused.reason.kind, ErrorKind::TooLarge);
        EXPECT_EQ(m_store.gmyTotalePictureNum, static_cast<int>(report.added.size()));
        return was;
    };
    for (const auto threads : {FailingMemory::Of::OtherThreads, FailingMemory::Of::ThisThread})
        for (const Pose& pose : {Pose{}, Pose{.rotate = 30}})
            for (const std::vector<Path>& files : lots)
                for (int n = 1; failed(threads, n, files, pose); n += 1 + n / kEvery) {
                }
}

}  // namespace
}  // namespace lumato::picture
