#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "device/comm_usb.h"
#include "platform/services.h"
#include "tests/support/temporary_folder.h"

namespace lumato::device {
namespace {

using platform::Volume;

class FakeVolumes : public platform::Volumes {
  public:
    std::vector<Volume> List() override { return m_volumes; }
    Result<void> Eject(const Volume& volume) override {
        m_ejected.push_back(volume.name);
        return Fail(ErrorKind::Busy, volume.name + " is held");
    }
    std::vector<Volume> m_volumes;
    std::vector<std::string> m_ejected;
};

class NotedErrors : public FramePort {
  public:
    void SetFlashOnline() override {}
    void SetFlashOffline() override {}
    void ShowLinkError(const Error& error) override { m_messages.push_back(error.message); }
    std::vector<std::string> m_messages;
};

class FrameVolume : public testing::Test {
  protected:
    FrameVolume() { platform::CurrentServices().volumes = &m_volumes; }
    ~FrameVolume() override {
        platform::CurrentServices() = {};
        ResetLink();
    }
    Path Mount(const std::string& name) {
        std::filesystem::create_directory(m_folder / name);
        m_volumes.m_volumes.push_back({.name = name, .root = m_folder / name});
        return m_folder / name;
    }
    static void Put(const Path& file) { test::PutBytes(file, {'x'}); }

    const test::TemporaryFolder m_folder;
    FakeVolumes m_volumes;
    CCommUSB m_link;
};

TEST_F(FrameVolume, OnlyVolumesWithTheMarkerFileInTheirRootAreEjected) {
    Put(Mount("frame") / "LanguageUnicode.ini");
    Put(Mount("fat") / "LANGUAGEUNICODE.INI");
    Put(Mount("stick") / "Language.ini");
    const Path deeper = Mount("deeper") / "sub";
    std::filesystem::create_directory(deeper);
    Put(deeper / "LanguageUnicode.ini");
    std::filesystem::create_directory(Mount("folder") / "LanguageUnicode.ini");
    m_volumes.m_volumes.push_back({.name = "vanished", .root = m_folder / "vanished"});
    Put(Mount("last") / "languageunicode.ini");

    NotedErrors errors;
    Link().frame = &errors;
    m_link.EjectMyDPF();
    EXPECT_THAT(m_volumes.m_ejected, testing::ElementsAre("frame", "fat", "last"));
    EXPECT_THAT(errors.m_messages, testing::ElementsAre("frame is held", "fat is held", "last is held"));
}

TEST_F(FrameVolume, NoVolumesAtAllIsFine) {
    platform::CurrentServices().volumes = nullptr;
    m_link.EjectMyDPF();
}

}  // namespace
}  // namespace lumato::device
