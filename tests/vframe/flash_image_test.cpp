// The image file: what is accepted, who may hold it, and that it always says what the flash says.
#include <csignal>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/diagnostics.h"
#include "tests/vframe/frame_driver.h"
#include "tests/vframe/scratch_folder.h"
#include "vframe/virtual_frame.h"

namespace lumato::vframe {
namespace {

// Makes writes behind the first `bytes` of any file fail, as a full disk does, for as long as it lives.
class WriteLimit {
  public:
    explicit WriteLimit(rlim_t bytes) : m_handler(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limited{bytes, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~WriteLimit() {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }

  private:
    rlimit m_before{};
    void (*m_handler)(int);
};

TEST(FlashImageFile, AcceptsTheSizesThatAFlashHas) {
    const ScratchFolder folder;
    const struct {
        std::size_t size;
        bool valid;
    } rows[] = {{0, false},
                {4096, false},
                {kSmallestFlash - 4096, false},
                {kSmallestFlash, true},
                {kSmallestFlash + 1, false},
                {kSmallestFlash + 4096, true},
                {kLargestFlash, true},
                {kLargestFlash + 4096, false}};
    for (const auto& row : rows) {
        const Path path = folder.Write("flash.img", {});
        std::filesystem::resize_file(path, row.size);
        const auto opened = FlashImage::Open(path);
        const auto read = ReadFlashImage(path);
        EXPECT_EQ(opened.has_value(), row.valid) << row.size;
        EXPECT_EQ(read.has_value(), row.valid) << row.size;
        if (!row.valid) {
            EXPECT_EQ(opened.error().kind, ErrorKind::Unsupported);
            EXPECT_EQ(opened.error(), read.error());
        }
    }
}

TEST(FlashImageFile, RefusesWhatIsNoFile) {
    const ScratchFolder folder;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(FlashImage::Open(folder.Root()).error().kind, ErrorKind::Unsupported);
    EXPECT_FALSE(ReadFlashImage(folder.Root()));
    EXPECT_EQ(FlashImage::Open(folder / "pipe").error().kind, ErrorKind::Unsupported);
    EXPECT_EQ(FlashImage::Open(folder / "none").error().kind, ErrorKind::NotFound);
    EXPECT_FALSE(std::filesystem::exists(folder / "none"));
}

TEST(FlashImageFile, BelongsToOneAtATime) {
    const ScratchFolder folder;
    const Path path = folder.Write("flash.img", PatternFlash());
    auto held = FlashImage::Open(path);
    ASSERT_TRUE(held);
    const auto second = FlashImage::Open(path);
    ASSERT_FALSE(second);
    EXPECT_EQ(second.error().kind, ErrorKind::Busy);
    EXPECT_EQ(second.error().message, path.string() + ": in use by another program");
    EXPECT_EQ(ReadFlashImage(path), PatternFlash()) << "looking is always allowed";
    FlashImage moved = std::move(*held);
    EXPECT_FALSE(FlashImage::Open(path));
    moved.Close();
    EXPECT_TRUE(FlashImage::Open(path));
}

TEST(FlashImageFile, HoldsEveryChangeWhenTheCommandReturns) {
    const ScratchFolder folder;
    const Path path = folder.Write("flash.img", PatternFlash());
    VirtualFrame frame(FlashImage::Open(path).value());
    FrameDriver driver(frame);
    driver.Prepare();
    driver.Erase(0xD8, 0);
    EXPECT_EQ(ReadFile(path), frame.FlashBytes());
    driver.Prepare();
    driver.Program(65530, {1, 2, 3});
    EXPECT_EQ(ReadFile(path), frame.FlashBytes());
    EXPECT_EQ(frame.FlashBytes()[65531], 2);
}

TEST(FlashImageFile, AFailingWriteFailsTheCommand) {
    const ScratchFolder folder;
    const Path path = folder.Write("flash.img", PatternFlash());
    VirtualFrame frame(FlashImage::Open(path).value());
    FrameDriver driver(frame);
    std::FILE* const notes = std::fopen((folder / "notes").c_str(), "w");
    SetDiagnosticStream(notes);
    {
        const WriteLimit limit(65536 + 1024);
        driver.Prepare();
        EXPECT_EQ(driver.Erase(0x20, 65536), kCheck);
        EXPECT_NE(driver.last.diagnostic.find(path.string()), std::string::npos);
        EXPECT_EQ(driver.Sense(), "3/0C/00");
        driver.Prepare();
        EXPECT_EQ(driver.Erase(0x20, 4096), kGood) << "what can be written still is";
    }
    SetDiagnosticStream(stdout);
    std::fclose(notes);
    EXPECT_GT(std::filesystem::file_size(folder / "notes"), 0U);
    const Bytes flash = frame.FlashBytes();
    EXPECT_EQ(ReadFile(path), flash);
    EXPECT_EQ(flash[65536 + 1023], 0xFF);
    EXPECT_EQ(flash[65536 + 1024], PatternFlash()[65536 + 1024]);
}

TEST(FlashImageFile, IsFreeOnceTheFrameIsUnplugged) {
    const ScratchFolder folder;
    const Path path = folder.Write("flash.img", PatternFlash());
    VirtualFrame frame(FlashImage::Open(path).value());
    FrameDriver driver(frame);
    frame.Unplug();
    EXPECT_TRUE(frame.IsGone());
    EXPECT_TRUE(FlashImage::Open(path));
    EXPECT_EQ(driver.WriteEnable(), platform::kStatusNone);
}

}  // namespace
}  // namespace lumato::vframe
