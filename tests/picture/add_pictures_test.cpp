// Adding pictures: fitting, budgets and qualities, refusals that leave nothing behind, batches.
#include "picture/add_pictures.h"

#include <algorithm>
#include <filesystem>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "device/comm_usb.h"
#include "flash/process_flash.h"
#include "picture/bitmap_file.h"
#include "picture/rv512_encoder.h"
#include "picture/trial.h"
#include "store/store.h"
#include "tests/support/recording_status.h"
#include "tests/support/temporary_folder.h"

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
    AddPicturesTest() : m_store(store::Store()) {
        store::ResetStore();
        ResetPictures();
        flash::Flash().m_PtrPF = std::make_shared<flash::CProcessFlash>(m_frame);
        fs::create_directories(m_folder / "data");
        fs::create_directories(m_folder / "Edata");
        m_store.gmyResousepath = m_folder.Get();
        m_store.status = &m_status;
        UseSpace(4'000'000);
        Pictures().port = &m_port;
    }
    ~AddPicturesTest() override {
        flash::ResetFlash();
        ResetPictures();
        store::ResetStore();
    }

    // A picture file; noise of `amplitude` makes it hard to compress.
    Path MakeFile(const std::string& name, int width, int height, int amplitude = 0) {
        std::vector<std::uint8_t> pixels;
        std::minstd_rand random(1);
        for (int i = 0; i < width * height * 3; ++i)
            pixels.push_back(static_cast<std::uint8_t>(
                100 + (amplitude ? random() % static_cast<unsigned>(amplitude) : 0)));
        EXPECT_TRUE(SaveBmpFile(pixels, width, height, m_folder / name));
        return m_folder / name;
    }
    Path MakeText(const std::string& name) { return m_folder.Put(name, {'n', 'o'}); }
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

    store::StoreState& m_store;
    std::shared_ptr<device::AttachedFrame> m_frame = std::make_shared<device::AttachedFrame>();
    store::RecordingStatus m_status;
    PortRecorder m_port;
    const test::TemporaryFolder m_folder;
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

TEST_F(AddPicturesTest, FitPercentIsTakenFromThe32BitFit) {
    EXPECT_EQ(FitPercent(FitScale(1600, 1200, 128, 128)), 11);
    EXPECT_EQ(FitPercent(0.29F), 29);  // 0.29 in 32 bits lies below 0.29
    EXPECT_EQ(FitPercent(FitScale(128, 128, 128, 128)), 101);
    EXPECT_EQ(FitPercent(FitScale(12, 400, 128, 128)), 1000);
    EXPECT_EQ(FitPercent(FitScale(1, 1, 65535, 65535)), 1000);
}

TEST_F(AddPicturesTest, FramesTakeWhatFitsToTheByte) {
    ASSERT_TRUE(SelectOnePicture(MakeFile("a.bmp", 128, 128, 150), true));
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

}  // namespace
}  // namespace lumato::picture
