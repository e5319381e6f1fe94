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

}  // namespace
}  // namespace lumato::vframe
