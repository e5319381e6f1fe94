// The user's home, the log in it, the trash, and the volumes: which there are, and who holds them. How the
// desktop's disk service unmounts them: tests/app/.
#include <cstdlib>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/linux/file_holders.h"
#include "platform/linux/folders.h"
#include "platform/linux/log_file.h"
#include "platform/linux/mount_table.h"
#include "platform/linux/mounted_volumes.h"
#include "platform/linux/trash.h"
#include "tests/support/temporary_folder.h"

namespace lumato::platform {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// What the environment names is looked at from outside: tests/independent/.
TEST(Folders, WithoutHomeTheUserDatabaseTellsIt) {
    ::unsetenv("HOME");
    ::unsetenv("XDG_DATA_HOME");
    EXPECT_TRUE(ResourcesFolder({}).is_absolute());
}

std::vector<std::string> LinesOfLogs(const Path& folder) {
    std::vector<std::string> lines;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        EXPECT_LE(entry.file_size(), kLogFileSize) << entry.path();
        EXPECT_EQ(entry.status().permissions(), std::filesystem::perms(0600)) << entry.path();
        std::ifstream file(entry.path());
        for (std::string line; std::getline(file, line);)
            lines.push_back(line);
    }
    return lines;
}

// Longer than the files that are kept, so that they are moved on again and again, by whoever comes to it.
TEST(LogFile, LinesOfSeveralProcessesStayWholeInFiveFiles) {
    const test::TemporaryFolder folder;
    const Path state = folder / "deep/state";
    const auto write = [&](char letter) {
        LogFile log(state, LogFile::Folder::Make, "test");
        log.Begin();
        for (int batch = 0; batch < 300; ++batch) {
            for (int i = 0; i < 50; ++i)
                log.Write(std::string(100, letter));
            log.Flush(std::chrono::seconds(10));
        }
    };
    std::vector<pid_t> children;
    for (const char letter : {'a', 'b', 'c'}) {
        children.push_back(::fork());
        if (children.back() == 0) {
            write(letter);
            ::_exit(0);
        }
    }
    for (const pid_t child : children)
        ::waitpid(child, nullptr, 0);
    const std::vector<std::string> lines = LinesOfLogs(state);
    EXPECT_GT(lines.size(), 25'000U) << "four full files at least";
    for (const std::string& line : lines) {
        const std::string text = line.substr(line.find("] ") + 2);
        ASSERT_TRUE(text == std::string(100, text.front()) && line.starts_with("20")) << line;
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(state), {}), kLogFiles);
    EXPECT_EQ(ReadLog(state, 1000).front(), '2') << "whole lines";
}

TEST(LogFile, WhatCannotBeWrittenCostsNothingButTheLog) {
    const test::TemporaryFolder folder;
    LogFile awaiting(folder / "state", LogFile::Folder::Await, "test");
    awaiting.Write("early");
    awaiting.Begin();
    awaiting.Flush(std::chrono::seconds(10));
    EXPECT_FALSE(std::filesystem::exists(folder / "state"));
    std::filesystem::create_directory(folder / "state");
    awaiting.Keep("trace", [] { return std::string("kept"); });
    awaiting.Flush(std::chrono::seconds(10));
    EXPECT_THAT(ReadLog(folder / "state", 1000), testing::EndsWith("early\n"));
    EXPECT_EQ(std::filesystem::file_size(folder / "state/trace"), 4U);

    // A pipe, whose writer would wait for a reader, and a link out of the folder.
    std::filesystem::remove(folder / "state/log");
    ASSERT_EQ(::mkfifo((folder / "state/log").c_str(), 0600), 0);
    std::filesystem::remove(folder / "state/trace");
    std::filesystem::create_symlink(folder / "other", folder / "state/trace.new");
    awaiting.Write("to nobody");
    awaiting.Keep("trace", [] { return std::string("kept"); });
    awaiting.Flush(std::chrono::seconds(10));
    EXPECT_FALSE(std::filesystem::exists(folder / "other"));
    for (int i = 0; i < 10'000; ++i)
        awaiting.Write("more than is held");
}

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

constexpr const char* kTable =
    "21 1 8:2 / / rw,relatime shared:1 - ext4 /dev/sda2 rw\n"
    "22 21 0:20 / /proc rw - proc proc rw\n"
    "23 21 8:1 / /boot/efi rw shared:2 - vfat /dev/sda1 rw\n"
    "24 21 8:3 / /home rw - ext4 /dev/sda3 rw\n"
    "25 21 8:3 /user /mnt/again rw - ext4 /dev/sda3 rw\n"
    "26 21 8:17 / /media/user/MY\\040FRAME rw shared:5 master:3 - vfat /dev/sdb1 rw\n"
    "27 21 0:44 / /mnt/net rw - nfs server:/export rw\n"
    "broken\n"
    "28 21 8:33 / /media/user/back\\134slash rw - exfat /dev/sdc1 rw";

class MountedVolumesTest : public testing::Test {
  protected:
    MountedVolumesTest() { std::ofstream(m_folder / "mountinfo") << kTable; }

    Result<void> Eject(const Path& root) { return m_volumes.Eject({.name = "NAME", .root = root}); }

    test::TemporaryFolder m_folder;
    std::vector<std::string> m_unmounted;
    Result<void> m_answer;
    MountedVolumes m_volumes{m_folder / "mountinfo", "/home/user",
                             [this](const std::string& device, const Path&) {
                                 m_unmounted.push_back(device);
                                 return m_answer;
                             }};
};

TEST_F(MountedVolumesTest, ListHoldsWhatAPersonWouldCallADiskAndTheHomeFolder) {
    std::vector<std::string> listed;
    for (const Volume& volume : m_volumes.List())
        listed.push_back(volume.name + " at " + volume.root.string());
    EXPECT_THAT(listed, ElementsAre("/ at /", "home at /home", "MY FRAME at /media/user/MY FRAME",
                                    "back\\slash at /media/user/back\\slash", "user at /home/user"));
}

TEST_F(MountedVolumesTest, TheSystemsOwnVolumesAreNeverEjected) {
    for (const char* root : {"/", "/home", "/home/user"})
        EXPECT_EQ(Eject(root).error().kind, ErrorKind::Refused) << root;
    EXPECT_EQ(Eject("/media/user/GONE").error().kind, ErrorKind::NotFound);
    EXPECT_THAT(m_unmounted, IsEmpty());
    EXPECT_TRUE(Eject("/media/user/MY FRAME"));
    EXPECT_THAT(m_unmounted, ElementsAre("/dev/sdb1"));
}

TEST_F(MountedVolumesTest, ABusyVolumeIsReportedAsSuch) {
    m_answer = Fail(ErrorKind::Busy, "target is busy");
    const Result<void> ejected = Eject("/media/user/MY FRAME");
    EXPECT_EQ(ejected.error().kind, ErrorKind::Busy);
    EXPECT_THAT(ejected.error().message.English(), HasSubstr("NAME: in use by"));
}

TEST(FileHolders, ProgramsAreNamedByOpenFileWorkingFolderAndMapping) {
    const test::TemporaryFolder proc;
    const auto process = [&](const char* number, const char* name) {
        const Path folder = proc / number;
        std::filesystem::create_directories(folder / "fd");
        std::ofstream(folder / "comm") << name << "\n";
        return folder;
    };
    std::filesystem::create_symlink("/media/frame/a.bmp", process("11", "viewer") / "fd/3");
    std::filesystem::create_symlink("/media/frame", process("12", "shell") / "cwd");
    std::ofstream(process("13", "player") / "maps") << "7f00-7f01 r--p 0000 08:11 5    /media/frame/b.so\n";
    std::filesystem::create_symlink("/media/framework/a", process("14", "other") / "fd/3");
    std::filesystem::create_symlink("/media/frame", process("self", "not a process") / "cwd");
    EXPECT_EQ(FileHolders("/media/frame", proc.Get()),
              "player (process 13), shell (process 12), viewer (process 11)");
    EXPECT_EQ(InUseBy("/media/none", proc.Get()).English(), "in use by another program");
}

}  // namespace
}  // namespace lumato::platform
