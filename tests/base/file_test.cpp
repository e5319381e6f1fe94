#include "base/file.h"

#include <cstdlib>
#include <future>
#include <string>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/temporary_folder.h"

namespace lumato {
namespace {

using Bytes = std::vector<std::uint8_t>;
using test::PutBytes;
using test::TakeBytes;

const Bytes kOld{'o', 'l', 'd'};
const Bytes kNew{'n', 'e', 'w', 0, 0xFF};

unsigned Mode(const Path& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

class FileTest : public testing::Test {
  protected:
    const test::TemporaryFolder m_folder;
    const Path m_path = m_folder / "file";

    // Expects a failed write to leave `m_path` as it was and nothing beside it.
    void ExpectRefused(const Path& path, ErrorKind kind, Links links = Links::Follow) {
        const std::size_t before = m_folder.CountEntries();
        const auto written = WriteFile(path, kNew, links);
        ASSERT_FALSE(written) << path;
        EXPECT_EQ(written.error().kind, kind) << written.error().message.English();
        EXPECT_EQ(m_folder.CountEntries(), before) << "a temporary file is left behind";
    }
};

TEST_F(FileTest, ReadsWholeFilesOfAnySize) {
    for (const std::size_t size : {0U, 1U, 4096U, 262144U, 700001U}) {
        Bytes bytes(size);
        for (std::size_t i = 0; i < size; ++i)
            bytes[i] = static_cast<std::uint8_t>(i * 31 >> 3);
        PutBytes(m_path, bytes);
        EXPECT_EQ(ReadFile(m_path), bytes);
        EXPECT_EQ(ReadPlainFile(m_path, size), bytes);
        if (size > 0) {
            EXPECT_EQ(ReadFile(m_path, size - 1).error().kind, ErrorKind::TooLarge);
        }
    }
    EXPECT_FALSE(ReadFile("/proc/self/status")->empty()) << "a file that says it is empty";
    EXPECT_EQ(ReadFile("/dev/zero", 5000).error().kind, ErrorKind::TooLarge);
    EXPECT_EQ(ReadFile("/dev/null"), Bytes{});
    std::filesystem::resize_file(m_path, 1ULL << 40);
    EXPECT_EQ(ReadFile(m_path).error().kind, ErrorKind::TooLarge) << "known before it is read";
}

// Sanitizers need address space without a limit, and end the program where memory does.
#if !defined(LUMATO_SANITIZED)
TEST_F(FileTest, AFileBeyondMemoryIsAnErrorToo) {
    PutBytes(m_path, {});
    std::filesystem::resize_file(m_path, 1ULL << 30);
    const auto readWithLittleMemory = [this] {
        const rlimit little{1U << 28, 1U << 28};
        ::setrlimit(RLIMIT_AS, &little);
        const auto bytes = ReadFile(m_path);
        std::exit(!bytes && bytes.error().kind == ErrorKind::TooLarge ? 0 : 1);
    };
    EXPECT_EXIT(readWithLittleMemory(), testing::ExitedWithCode(0), "");
}
#endif

TEST_F(FileTest, ReadersSayWhyNot) {
    EXPECT_EQ(ReadFile(m_path).error().kind, ErrorKind::NotFound);
    EXPECT_EQ(ReadFile(m_path / "below").error().kind, ErrorKind::NotFound);
    EXPECT_EQ(ReadFile(m_folder.Get()).error().kind, ErrorKind::Unreadable);
    EXPECT_EQ(ReadPlainFile(m_path).error().kind, ErrorKind::NotFound);
    EXPECT_EQ(ReadPlainFile(m_folder.Get()).error().kind, ErrorKind::Unreadable);
    EXPECT_EQ(ReadPlainFile("/dev/null").error().kind, ErrorKind::Unreadable);
    ASSERT_EQ(::mkfifo(m_path.c_str(), 0600), 0);
    EXPECT_EQ(ReadPlainFile(m_path).error().kind, ErrorKind::Unreadable) << "and is not waited for";
    const auto named = ReadFile(m_folder / "a\nb\x1B[0m");
    EXPECT_NE(named.error().message.English().find("a\\nb\\x1B[0m: "), std::string::npos)
        << named.error().message.English();
}

TEST_F(FileTest, PermissionsCountForReadersAndWriters) {
    if (::geteuid() == 0)
        GTEST_SKIP() << "root may do everything";
    PutBytes(m_path, kOld);
    ASSERT_EQ(::chmod(m_path.c_str(), 0), 0);
    EXPECT_EQ(ReadFile(m_path).error().kind, ErrorKind::Unreadable);
    ASSERT_EQ(::chmod(m_path.c_str(), 0400), 0);
    ExpectRefused(m_path, ErrorKind::Unwritable);
    EXPECT_EQ(TakeBytes(m_path), kOld) << "a read-only file stays";
    ASSERT_EQ(::chmod(m_folder.Get().c_str(), 0500), 0);
    ExpectRefused(m_folder / "other", ErrorKind::Unwritable);
    ASSERT_EQ(::chmod(m_folder.Get().c_str(), 0700), 0);
}

TEST_F(FileTest, WritesNewFilesUnderTheUmaskAndKeepsTheBitsOfOldOnes) {
    const mode_t before = ::umask(027);
    ASSERT_TRUE(WriteFile(m_path, kOld));
    EXPECT_EQ(Mode(m_path), 0640U);
    ASSERT_EQ(::chmod(m_path.c_str(), 0606), 0);
    for (const auto& [links, mode] : {std::pair(Links::Follow, 0606U), {Links::Replace, 0600U}}) {
        ASSERT_TRUE(WriteFile(m_path, kNew, links));
        EXPECT_EQ(Mode(m_path), mode);
        EXPECT_EQ(TakeBytes(m_path), kNew);
    }
    ASSERT_TRUE(MakePrivateFolder(m_folder / "a/b"));
    for (const char* made : {"a", "a/b"})
        EXPECT_EQ(Mode(m_folder / made), 0700U) << made;
    std::filesystem::remove_all(m_folder / "a");
    ::umask(0777);
    ASSERT_TRUE(MakePrivateFolder(m_folder / "a"));
    EXPECT_EQ(Mode(m_folder / "a"), 0700U);
    std::filesystem::remove_all(m_folder / "a");
    ::umask(027);
    const auto tooLong = MakePrivateFolder(m_folder / std::string(300, 'a'));
    ASSERT_FALSE(tooLong);
    EXPECT_NE(tooLong.error().message.English().find(SystemMessage(ENAMETOOLONG)), std::string::npos);
    ASSERT_TRUE(WriteFile(m_path, {}));
    EXPECT_EQ(TakeBytes(m_path), Bytes{});
    EXPECT_EQ(m_folder.CountEntries(), 1U);
    ::umask(before);
}

TEST_F(FileTest, DevicesAndPipesAreWrittenDirectly) {
    ASSERT_TRUE(WriteFile("/dev/null", kNew));
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    EXPECT_EQ(WriteFile("/dev/full", kNew).error().kind, ErrorKind::Unwritable);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));

    ASSERT_EQ(::mkfifo(m_path.c_str(), 0600), 0);
    auto reader = std::async(std::launch::async, [this] { return ReadFile(m_path); });
    EXPECT_TRUE(WriteFile(m_path, kNew));
    EXPECT_EQ(reader.get(), kNew);
    EXPECT_TRUE(std::filesystem::is_fifo(m_path));
}

TEST_F(FileTest, FollowedLinksStayAndReplacedOnesGo) {
    const Path target = m_folder / "elsewhere" / "target";
    const Path middle = m_folder / "elsewhere" / "middle";
    std::filesystem::create_directory(target.parent_path());
    std::filesystem::create_symlink("target", middle);
    std::filesystem::create_symlink("elsewhere/middle", m_path);

    ASSERT_TRUE(WriteFile(m_path, kNew)) << "a link to nothing yet";
    EXPECT_TRUE(std::filesystem::is_symlink(m_path));
    EXPECT_TRUE(std::filesystem::is_symlink(middle));
    EXPECT_EQ(TakeBytes(target), kNew);
    ASSERT_TRUE(WriteFile(m_path, kOld)) << "a link to a file";
    EXPECT_TRUE(std::filesystem::is_symlink(m_path));
    EXPECT_EQ(TakeBytes(target), kOld);

    ASSERT_TRUE(WriteFile(m_path, kNew, Links::Replace));
    EXPECT_FALSE(std::filesystem::is_symlink(m_path));
    EXPECT_EQ(TakeBytes(m_path), kNew);
    EXPECT_EQ(TakeBytes(target), kOld);
    // Where no file can be nothing is left behind.
    std::filesystem::create_symlink("circle", m_folder / "circle");
    for (const auto& [path, kind] : {std::pair(m_folder / "circle", ErrorKind::Unwritable),
                                     {m_folder.Get(), ErrorKind::Unwritable},
                                     {m_folder / std::string(256, 'n'), ErrorKind::Unwritable},
                                     {m_path / "below", ErrorKind::NotFound},
                                     {Path(), ErrorKind::NotFound}})
        ExpectRefused(path, kind);
    ExpectRefused(m_folder.Get(), ErrorKind::Unwritable, Links::Replace);
}

}  // namespace
}  // namespace lumato
