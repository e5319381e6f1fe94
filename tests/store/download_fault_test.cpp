// Downloads that go wrong at each of their commands in each way.
#include "tests/store/store_fixture.h"

namespace lumato::store {
namespace {

using vframe::FaultKind;

struct Scenario {
    const char* name;
    TestFlash flash;
    std::function<void(class DownloadFaultTest&)> change;
};

class DownloadFaultTest : public StoreTest {
  public:
    using StoreTest::Add;
    using StoreTest::Delete;

  protected:
    // What an undisturbed download sends and leaves.
    struct Undisturbed {
        std::size_t before = 0;  // commands until it begins
        std::size_t commands = 0;
        Bytes flash;
        std::vector<Bytes> streams;
    };

    Undisturbed RunUndisturbed(const Scenario& scenario) {
        Undisturbed run;
        Connect(scenario.flash);
        run.before = m_spy->Take().size();
        scenario.change(*this);
        EXPECT_TRUE(Download());
        run.commands = m_spy->Take().size();
        run.flash = FlashBytes();
        Restart();
        Connect(TestFlashOf(run.flash));
        run.streams = Streams();
        Restart();
        return run;
    }

    static TestFlash TestFlashOf(const Bytes& bytes) {
        TestFlash flash;
        flash.bytes = bytes;
        return flash;
    }

    std::vector<Bytes> Streams() {
        std::vector<Bytes> streams;
        for (int i = 1; i <= Store().gmyPictureData->count; ++i)
            streams.push_back(
                ReadFile(StreamPath(GetNode(Store().gmyPictureData.get(), i)->fileName)).value());
        return streams;
    }

    void ExpectFirmware(const Scenario& scenario) {
        const Bytes now = FlashBytes();
        EXPECT_TRUE(std::equal(now.begin(), now.begin() + kTable, scenario.flash.bytes.begin()));
    }

    // The n-th command of the download and those after it go wrong; then it is tried again.
    void TryAgainAfter(const Scenario& scenario, const Undisturbed& undisturbed, std::size_t n,
                       FaultKind kind, std::size_t count) {
        std::vector<vframe::Fault> faults;
        for (std::size_t i = 0; i < count; ++i)
            faults.push_back({undisturbed.before + n + i, kind});
        Connect(scenario.flash, faults);
        scenario.change(*this);
        for (int tries = 0; tries < 30; ++tries) {
            const bool done = Download();
            ExpectFirmware(scenario);
            if (done)
                break;
        }
        EXPECT_EQ(Difference(FlashBytes(), undisturbed.flash), "")
            << scenario.name << ": " << count << " of kind " << static_cast<int>(kind) << " at " << n;
        Restart();
    }

    void PullThePlugAt(const Scenario& scenario, const Undisturbed& undisturbed, std::size_t n) {
        Connect(scenario.flash, {{undisturbed.before + n, FaultKind::Unplug}});
        const std::vector<Bytes> old = Streams();
        scenario.change(*this);
        m_spy->Take();
        EXPECT_FALSE(Download());
        EXPECT_EQ(m_spy->Take().size(), n);  // nothing is sent any more
        ExpectFirmware(scenario);
        m_bus->DeliverEvents();
        EXPECT_EQ(Store().gmyPictureData, nullptr);
        const Bytes left = FlashBytes();
        Restart();
        Connect(TestFlashOf(left));
        EXPECT_EQ(LastConnection(), Connection::Online);
        const std::vector<Bytes> now = Streams();
        EXPECT_TRUE(now.empty() || now == old || now == undisturbed.streams) << scenario.name << " at " << n;
        Restart();
    }
};

std::vector<Scenario> Scenarios() {
    TestFlash small;
    small.Pictures({1000, 2000}).Put(kArea + 20000, {1, 2, 3});
    TestFlash boundary;
    boundary.Pictures({50000, 12440}).Put(0x30000, Bytes(kBlock, 0)).Put(0x2F000, {4, 5, 6});
    TestFlash full;
    full.Pictures({90000, 90000});
    return {
        {"in the table block", small, [](DownloadFaultTest& test) { test.Add(500, 3); }},
        {"up to the boundary and beyond", boundary, [](DownloadFaultTest& test) { test.Add(70000, 3); }},
        {"deletion", small, [](DownloadFaultTest& test) { test.Delete(1); }},
        {"full rewrite", full,
         [](DownloadFaultTest& test) {
             test.Delete(1);
             test.Add(100000, 3);
         }},
    };
}

TEST_F(DownloadFaultTest, AnotherDownloadCompletesTheSameFlash) {
    for (const Scenario& scenario : Scenarios()) {
        const Undisturbed undisturbed = RunUndisturbed(scenario);
        for (std::size_t n = 1; n <= undisturbed.commands; ++n) {
            for (const FaultKind kind :
                 {FaultKind::Refuse, FaultKind::Lost, FaultKind::Half, FaultKind::Flip}) {
                TryAgainAfter(scenario, undisturbed, n, kind, 1);
                TryAgainAfter(scenario, undisturbed, n, kind, 30);
            }
        }
    }
}

TEST_F(DownloadFaultTest, APulledPlugLeavesOldNewOrNoPictures) {
    for (const Scenario& scenario : Scenarios()) {
        const Undisturbed undisturbed = RunUndisturbed(scenario);
        for (std::size_t n = 1; n <= undisturbed.commands; ++n)
            PullThePlugAt(scenario, undisturbed, n);
    }
}

TEST_F(DownloadFaultTest, ABlockDamagedByAFailureIsRestoredThoughNothingNewIsLeft) {
    const Scenario scenario = Scenarios()[1];
    const Undisturbed undisturbed = RunUndisturbed(scenario);
    for (std::size_t n = 18; n < 27; ++n) {  // while the block in use is written
        std::vector<vframe::Fault> faults;
        for (std::size_t i = 0; i < 30; ++i)
            faults.push_back({undisturbed.before + n + i, i % 9 == 5 ? FaultKind::Half : FaultKind::Lost});
        Connect(scenario.flash, faults);
        Add(70000, 3);
        EXPECT_FALSE(Download());
        Delete(3);
        for (int tries = 0; tries < 9 && !Download(); ++tries) {
        }
        TestFlash expected = scenario.flash;
        const auto slot = Store().G_PictureList.begin() + 32;  // free, with the old address behind it
        expected.Put(kTable + 32, Bytes(slot, slot + 8));
        EXPECT_EQ(Difference(FlashBytes(), expected.bytes), "") << n;
        Restart();
    }
}

}  // namespace
}  // namespace lumato::store
