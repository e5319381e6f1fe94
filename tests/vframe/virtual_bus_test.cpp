// What plugging and unplugging random lives (tests/lives/) do not meet.
#include "vframe/virtual_bus.h"

#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/vframe/frame_driver.h"
#include "vframe/virtual_volumes.h"

namespace lumato::vframe {
namespace {

using testing::ElementsAre;

TEST(OnBus, OneAtATimeOpensAFrameAndUnpluggingCutsALongCommandShort) {
    VirtualBus bus;
    platform::BusService& service =
        bus.Plug(FlashImage::InMemory(PatternFlash()), {.pace = 0.001});  // an erase of 500 s
    const auto device = service.Open().value();
    EXPECT_EQ(service.Open().error().kind, ErrorKind::Busy);
    FrameDriver driver(*device);
    driver.Prepare();
    std::thread worker([&] { driver.Erase(0xD8, 0); });
    while (bus.Frame(service).FlashBytes()[0] != 0xFF)
        std::this_thread::yield();
    bus.Unplug(service);
    worker.join();
    EXPECT_FALSE(driver.last.executed);
    EXPECT_EQ(service.Open().error().kind, ErrorKind::Gone);
}

TEST(Volumes, ShowTheFramesOwnUntilItIsEjected) {
    const test::TemporaryFolder folder;
    VirtualVolumes volumes = VirtualVolumes::Create(folder.Get()).value();
    const auto marked = [&volumes] {
        std::vector<std::string> names;
        for (const auto& volume : volumes.List())
            names.push_back(volume.name +
                            (std::filesystem::exists(volume.root / "LanguageUnicode.ini") ? "*" : ""));
        return names;
    };
    EXPECT_THAT(marked(), ElementsAre("Pictures", "LUMATO*"));
    const platform::Volume frame = volumes.List()[1];
    volumes.HoldBy("a file manager");
    EXPECT_EQ(volumes.Eject(frame).error().kind, ErrorKind::Busy);
    volumes.HoldBy("");
    EXPECT_TRUE(volumes.Eject(frame));
    EXPECT_EQ(volumes.Eject(frame).error().kind, ErrorKind::NotFound);
    EXPECT_THAT(marked(), ElementsAre("Pictures"));
    volumes.Mount();
    EXPECT_THAT(marked(), ElementsAre("Pictures", "LUMATO*"));
}

}  // namespace
}  // namespace lumato::vframe
