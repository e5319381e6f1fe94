#include "platform/linux/trash.h"

#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/temporary_folder.h"

namespace lumato::platform {
namespace {

using testing::HasSubstr;

std::string TextOf(const Path& file) {
    const auto bytes = test::TakeBytes(file);
    return {bytes.begin(), bytes.end()};
}

bool IsOtherFileSystem(const Path& a, const Path& b) {
    struct stat first {};
    struct stat second {};
    return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 && first.st_dev != second.st_dev;
}

class TrashTest : public testing::Test {
  protected:
    TrashTest() { ::setenv("XDG_DATA_HOME", (m_folder / "data").c_str(), 1); }
    Path Move(const Path& file) {
        const Result<Path> moved = MoveToTrash(file);
        EXPECT_TRUE(moved) << moved.error().message.English();
        EXPECT_FALSE(std::filesystem::exists(file));
        return moved.value_or(Path());
    }

    const test::TemporaryFolder m_folder;
};

TEST_F(TrashTest, KeepsEachFileWithItsPlace) {
    const Path trash = m_folder / "data/Trash";
    const std::string odd = "50%\n\xC3\xA4 b.bmp";
    EXPECT_EQ(Move(m_folder.Put(odd, {'1'})), trash / "files" / odd);
    EXPECT_EQ(Move(m_folder.Put(odd, {'2'})), trash / "files" / (odd + ".2"));
    EXPECT_EQ(TextOf(trash / "files" / odd), "1");
    EXPECT_EQ(TextOf(trash / "files" / (odd + ".2")), "2");
    const std::string info = TextOf(trash / "info" / (odd + ".2.trashinfo"));
    EXPECT_THAT(info, testing::StartsWith("[Trash Info]\nPath=" + m_folder.Get().string() +
                                          "/50%25%0A%C3%A4%20b.bmp\n"));
    EXPECT_THAT(info, testing::ContainsRegex("\nDeletionDate=....-..-..T..:..:..\n$"));
    EXPECT_EQ(std::filesystem::status(trash).permissions(), std::filesystem::perms::owner_all);
    EXPECT_EQ(MoveToTrash(m_folder / "none").error().kind, ErrorKind::NotFound);
    EXPECT_FALSE(std::filesystem::exists(trash / "info/none.trashinfo"));
    EXPECT_EQ(Move(m_folder.Put(std::string(255, 'n'), {})).filename(), std::string(200, 'n'));
}

TEST_F(TrashTest, WithoutOneTheFileStaysBesideItsPlace) {
    std::filesystem::create_directory(m_folder / "data");
    std::filesystem::create_symlink(m_folder.Get(), m_folder / "data/Trash");  // leads who knows where
    for (const char* beside : {"a.bmp.~1~", "a.bmp.~2~"})
        EXPECT_EQ(Move(m_folder.Put("a.bmp", {'1'})), m_folder / beside);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "files"));
}

TEST_F(TrashTest, OtherFileSystemsHaveTheirOwn) {
    if (!IsOtherFileSystem("/dev/shm", m_folder.Get()))
        GTEST_SKIP() << "there is no other file system here";
    const test::TemporaryFolder other("/dev/shm");
    const Path trash = "/dev/shm/.Trash-" + std::to_string(::geteuid());
    const bool wasThere = std::filesystem::exists(trash);
    const Path moved = Move(other.Put("a.bmp", {'1'}));
    EXPECT_EQ(moved.parent_path(), trash / "files");
    const Path info = trash / "info" / (moved.filename().string() + ".trashinfo");
    EXPECT_THAT(TextOf(info), HasSubstr("\nPath=" + other.Get().filename().string() + "/a.bmp\n"));
    std::filesystem::remove(moved);
    std::filesystem::remove(info);
    if (!wasThere)
        std::filesystem::remove_all(trash);
}

}  // namespace
}  // namespace lumato::platform
