// Frames that come and go while a worker task runs.
#include <chrono>
#include <random>
#include <semaphore>
#include <thread>

#include "tests/store/store_fixture.h"

namespace lumato::store {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

class TransferTest : public StoreTest {
  protected:
    static TestFlash Old() { return TestFlash().Pictures({50000, 12440}); }

    void StartDownload() {
        ASSERT_TRUE(BeginDownload());
        m_worker = platform::Task([] { TranspotPic(); });
    }

    void ExpectReleased() {
        EXPECT_FALSE(FinishTransfer());
        EXPECT_FALSE(TransferRunning());
        EXPECT_EQ(Store().gmyPictureData, nullptr);
        EXPECT_EQ(flash::Flash().m_PtrPF, nullptr);
        EXPECT_EQ(m_status.Notes().back(), "Device Not Online!");
        EXPECT_FALSE(m_status.Panel().back());
    }

    platform::Task m_worker;
};

TEST_F(TransferTest, OneAtATime) {
    Connect(Old());
    ASSERT_TRUE(StartTransfer());
    EXPECT_TRUE(TransferRunning());
    EXPECT_FALSE(BeginDownload());
    EXPECT_FALSE(FinishTransfer());
    { const TransferOwner owner; }
    EXPECT_FALSE(TransferRunning());
    EXPECT_TRUE(FinishTransfer());
    EXPECT_TRUE(Download());
}

TEST_F(TransferTest, TheNextFrameGetsNothingOfTheLastOnesDownload) {
    // The frame changes hands while the n-th command of the download is under way.
    for (int n = 1; n < 40; n += 3) {
        Connect(Old());
        Add(70000, 3);
        std::binary_semaphore reached(0);
        std::atomic<int> commands{0};
        m_spy->Watch([&](const platform::ScsiRequest&, const platform::ScsiOutcome&) {
            if (++commands != n)
                return;
            reached.release();
            std::this_thread::sleep_for(milliseconds(5));
        });
        StartDownload();
        reached.acquire();
        Unplug();
        const TestFlash next = TestFlash().Pictures({111, 222, 333});
        Plug(next);
        WaitForOnline();
        m_worker.Join();
        EXPECT_EQ(LastConnection(), Connection::Online);
        EXPECT_TRUE(FinishTransfer());
        EXPECT_THAT(Listed(), testing::ElementsAre(111, 222, 333));
        EXPECT_EQ(Difference(FlashBytes(), next.bytes), "") << n;
        Restart();
    }
}

TEST_F(TransferTest, PluggingAndUnpluggingAtAnyMoment) {
    std::mt19937 random(20260101);
    const auto pause = [&](int most) {
        std::this_thread::sleep_for(microseconds(std::uniform_int_distribution(0, most)(random)));
    };
    for (int round = 0; round < 60; ++round) {
        Plug(Old());
        if (round % 3 == 0) {
            pause(2000);  // somewhere in connecting
        } else {
            WaitForOnline();
            Add(70000, 3);
            StartDownload();
            pause(6000);
        }
        Unplug();
        if (round % 2 == 0) {
            FinishTransfer();
            pause(500);
            Plug(Old());
            pause(1000);
            Unplug();
        }
        WaitForOnline();
        m_worker.Join();
        const Bytes left = FlashBytes();
        EXPECT_TRUE(std::equal(left.begin(), left.begin() + kTable, Old().bytes.begin()));
        ExpectReleased();
    }
    Connect(Old());
    EXPECT_TRUE(FinishTransfer());
    EXPECT_TRUE(Download());
}

}  // namespace
}  // namespace lumato::store
