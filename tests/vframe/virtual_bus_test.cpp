// Plugging, opening, unplugging: what the device room relies on.
#include "vframe/virtual_bus.h"

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/vframe/frame_driver.h"
#include "tests/vframe/scratch_folder.h"
#include "vframe/trace.h"
#include "vframe/virtual_volumes.h"

namespace lumato::vframe {
namespace {

using platform::BusService;
using testing::ElementsAre;

// Writes down what it is told, and what opening a vanished service gives.
class Recorder : public platform::BusListener {
  public:
    void ServiceAppeared(BusService& service) override {
        events.push_back("+" + service.Name());
        services.push_back(&service);
    }
    void ServiceDisappeared(BusService& service) override {
        const auto opened = service.Open();
        events.push_back(!opened && opened.error().kind == ErrorKind::Gone ? "-" + service.Name()
                                                                           : "still there");
    }

    std::vector<std::string> events;
    std::vector<BusService*> services;
};

class OnBus : public testing::Test {
  protected:
    BusService& Plug(FrameOptions options = {}) {
        return bus.Plug(FlashImage::InMemory(PatternFlash()), std::move(options));
    }

    ScratchFolder folder;
    Recorder recorder;
    VirtualBus bus;
};

TEST_F(OnBus, AnnouncesFramesPresentAndLaterOnes) {
    const Path first = folder.Write("first.img", PatternFlash());
    const Path second = folder.Write("second.img", PatternFlash());
    BusService* service = bus.Plug(first).value();
    EXPECT_TRUE(recorder.events.empty());
    ASSERT_TRUE(bus.Start(recorder));
    EXPECT_THAT(recorder.events, ElementsAre("+" + first.string()));
    ASSERT_TRUE(bus.Plug(second));
    bus.Unplug(*service);
    bus.DeliverEvents();
    EXPECT_THAT(recorder.events,
                ElementsAre("+" + first.string(), "+" + second.string(), "-" + first.string()));
    EXPECT_TRUE(bus.Plug(first)) << "the image is free again";
}

TEST_F(OnBus, IsOpenedByOneAtATime) {
    BusService& service = Plug();
    auto device = service.Open();
    ASSERT_TRUE(device);
    EXPECT_EQ(service.Open().error().kind, ErrorKind::Busy);
    EXPECT_TRUE(Plug().Open()) << "another frame";
    device->reset();
    EXPECT_TRUE(service.Open());
}

TEST_F(OnBus, UnpluggingEndsEverythingAtOnce) {
    BusService& service = Plug();
    const auto device = service.Open().value();
    FrameDriver driver(*device);
    EXPECT_EQ(driver.Inquiry().substr(8, 8), "QUORVANE");
    bus.Unplug(service);
    EXPECT_TRUE(device->IsGone());
    EXPECT_EQ(driver.WriteEnable(), platform::kStatusNone);
    EXPECT_FALSE(driver.last.executed);
    EXPECT_EQ(service.Open().error().kind, ErrorKind::Gone);
}

TEST_F(OnBus, UnpluggingCutsALongCommandShort) {
    BusService& service = Plug({.pace = 0.001});  // an erase of 500 s
    const auto device = service.Open().value();
    FrameDriver driver(*device);
    driver.Prepare();
    std::thread worker([&] { driver.Erase(0xD8, 0); });
    while (bus.Frame(service).FlashBytes()[0] != 0xFF)
        std::this_thread::yield();
    bus.Unplug(service);
    worker.join();
    EXPECT_FALSE(driver.last.executed);
}

TEST_F(OnBus, DeliversWhatVanishedByItself) {
    ASSERT_TRUE(bus.Start(recorder));
    BusService& service = Plug({.faults = {{2, FaultKind::Unplug}}, .pace = 0});
    auto device = service.Open().value();
    FrameDriver(*device).WriteEnable();
    device = nullptr;
    device = service.Open().value();
    FrameDriver(*device).WriteEnable();
    EXPECT_TRUE(device->IsGone()) << "commands are counted over all openings";
    EXPECT_THAT(recorder.events, ElementsAre("+flash in memory"));
    bus.DeliverEvents();
    bus.DeliverEvents();
    EXPECT_THAT(recorder.events, ElementsAre("+flash in memory", "-flash in memory"));
}

TEST_F(OnBus, TracesAnyBus) {
    const auto log = TraceLog::Create(folder / "trace").value();
    TracedBus traced(bus, log);
    BusService& inner = Plug();
    ASSERT_TRUE(traced.Start(recorder));
    BusService& service = *recorder.services.at(0);
    const auto device = service.Open().value();
    EXPECT_EQ(service.Open().error().kind, ErrorKind::Busy);
    FrameDriver(*device).Inquiry();
    EXPECT_FALSE(device->IsGone());
    bus.Unplug(inner);
    EXPECT_TRUE(device->IsGone());
    EXPECT_THAT(recorder.events, ElementsAre("+flash in memory", "-flash in memory"));
    const Bytes trace = ReadFile(folder / "trace").value();
    EXPECT_EQ(std::string(trace.begin(), trace.end()), "120000004000 in 36 00\n");
}

TEST(Volumes, ShowTheFramesOwnUntilItIsEjected) {
    const ScratchFolder folder;
    VirtualVolumes volumes = VirtualVolumes::Create(folder.Root()).value();
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
