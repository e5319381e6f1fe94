// Frames that come and go while a worker task runs.
#include <chrono>
#include <semaphore>
#include <thread>

#include "tests/store/store_fixture.h"

namespace lumato::store {
namespace {

class TransferTest : public StoreTest {
  protected:
    static TestFlash Old() { return TestFlash().Pictures({50000, 12440}); }
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
        m_spy->Watch([&] {
            if (++commands != n)
                return;
            reached.release();
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        });
        ASSERT_TRUE(BeginDownload());
        platform::Task worker([] { TranspotPic(); });
        reached.acquire();
        Unplug();
        const TestFlash next = TestFlash().Pictures({111, 222, 333});
        Plug(next);
        WaitForOnline();
        worker.Join();
        EXPECT_EQ(LastConnection(), Connection::Online);
        EXPECT_TRUE(FinishTransfer());
        EXPECT_THAT(Listed(), testing::ElementsAre(111, 222, 333));
        EXPECT_EQ(Difference(FlashBytes(), next.bytes), "") << n;
        Restart();
    }
}

}  // namespace
}  // namespace lumato::store
