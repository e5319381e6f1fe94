#include "platform/linux/mounted_volumes.h"

#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/linux/file_holders.h"
#include "platform/linux/mount_table.h"
#include "tests/support/temporary_folder.h"

namespace lumato::platform {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

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

TEST(MountTable, DisksAreListedOnceUnderTheirRealNames) {
    EXPECT_THAT(
        ParseMountTable(kTable),
        ElementsAre(Mount{"/dev/sda2", "/", "ext4"}, Mount{"/dev/sda1", "/boot/efi", "vfat"},
                    Mount{"/dev/sda3", "/home", "ext4"}, Mount{"/dev/sdb1", "/media/user/MY FRAME", "vfat"},
                    Mount{"/dev/sdc1", "/media/user/back\\slash", "exfat"}));
    EXPECT_THAT(ParseMountTable(""), IsEmpty());
}

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
    EXPECT_THAT(ejected.error().message, HasSubstr("NAME: in use by"));
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
    EXPECT_EQ(InUseBy("/media/none", proc.Get()), "in use by another program");
}

}  // namespace
}  // namespace lumato::platform
