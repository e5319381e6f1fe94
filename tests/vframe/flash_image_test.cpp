// An image file that cannot be written. What is taken for one, and by whom, is asked from outside:
// tests/independent/.
#include <gtest/gtest.h>

#include "tests/support/diagnostic_capture.h"
#include "tests/support/environment.h"
#include "tests/support/temporary_folder.h"
#include "tests/vframe/frame_driver.h"
#include "vframe/virtual_frame.h"

namespace lumato::vframe {
namespace {

TEST(FlashImageFile, AFailingWriteFailsTheCommand) {
    const test::TemporaryFolder folder;
    const Path path = folder.Put("flash.img", PatternFlash());
    VirtualFrame frame(FlashImage::Open(path).value());
    FrameDriver driver(frame);
    const test::DiagnosticCapture notes;
    {
        const test::WriteLimit limit(65536 + 1024);
        driver.Prepare();
        EXPECT_EQ(driver.Erase(0x20, 65536), kCheck);
        EXPECT_NE(driver.last.diagnostic.find(path.string()), std::string::npos);
        EXPECT_EQ(driver.Sense(), "3/0C/00");
        driver.Prepare();
        EXPECT_EQ(driver.Erase(0x20, 4096), kGood) << "what can be written still is";
    }
    EXPECT_NE(notes.Text(), "");
    const Bytes flash = frame.FlashBytes();
    EXPECT_EQ(ReadFile(path), flash);
    EXPECT_EQ(flash[65536 + 1023], 0xFF);
    EXPECT_EQ(flash[65536 + 1024], PatternFlash()[65536 + 1024]);
}

TEST(FlashImageFile, AFailingReadFailsTheCommand) {
    const test::TemporaryFolder folder;
    const Path path = folder.Put("flash.img", PatternFlash());
    VirtualFrame frame(FlashImage::Open(path).value());
    FrameDriver driver(frame);
    const test::DiagnosticCapture notes;
    std::filesystem::resize_file(path, 65536);
    const Bytes pattern = PatternFlash();
    EXPECT_TRUE(driver.Read(65280, 256) == Bytes(pattern.begin() + 65280, pattern.begin() + 65536));
    driver.Read(65280, 512);
    EXPECT_EQ(driver.last.status, kCheck);
    EXPECT_EQ(driver.Sense(), "3/11/00");
    driver.Sum(65536, 4096);
    EXPECT_EQ(driver.last.status, kCheck);
    driver.Prepare();
    EXPECT_EQ(driver.Program(65536, {1, 2, 3}), kCheck) << "what was there is not known";
    EXPECT_EQ(std::filesystem::file_size(path), 65536U);
    EXPECT_TRUE(frame.FlashBytes().empty());
}

}  // namespace
}  // namespace lumato::vframe
