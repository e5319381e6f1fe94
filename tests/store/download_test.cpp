// What a download says and refuses, and frames that come and go meanwhile. Which commands it sends, and what
// they leave on the flash, is compared with a model of the whole: tests/independent/; how it breaks off:
// recovery_test.cpp.
#include <chrono>
#include <csignal>
#include <semaphore>
#include <thread>

#include <sys/resource.h>

#include "store/edit_history.h"
#include "store/progress.h"
#include "store/safekeeping.h"
#include "tests/store/store_fixture.h"

namespace lumato::store {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vframe::FaultKind;

constexpr std::size_t kConnecting = 1 + 3 + 1 + 3;  // commands, without those of its pictures

class DownloadTest : public StoreTest {
  protected:
    void ConnectQuietly(const TestFlash& flash) {
        m_before = flash.bytes;
        Connect(flash);
        m_spy->Take();
        m_status.Notes();
        m_status.Progress();
        m_status.Refreshes();
    }
    void ExpectUnchanged() { EXPECT_EQ(Difference(FlashBytes(), m_before), ""); }

    Bytes m_before;
};

TEST_F(DownloadTest, ProgressGoesBySteps) {
    const int rest = 0x40000 - (kArea + 132440);
    const struct {
        const char* what;
        std::vector<int> stored;
        int deleted;  // a position, or 0
        std::vector<int> added;
        std::vector<int> progress;
    } rows[] = {
        {"into the table block", {}, 0, {20000, 20000, 10000}, {0, 10, 20, 99, 100}},
        {"across a boundary", {62440}, 0, {70000}, {0, 10, 20, 30, 90, 99, 100}},
        {"up to a boundary", {62440, 70000}, 0, {rest}, {0, 10, 20, 30, 99, 100}},
        {"whole blocks", {}, 0, {150000, 50000}, {0, 10, 20, 30, 50, 70, 90, 99, 100}},
        {"all anew", {60000, 60000, 60000}, 1, {100000}, {0, 10, 20, 30, 50, 70, 90, 99, 100}},
        {"a deletion", {1000, 2000, 3000}, 2, {}, {0, 100}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        ConnectQuietly(TestFlash().Pictures(row.stored));
        if (row.deleted > 0)
            Delete(row.deleted);
        for (const int size : row.added)
            Add(size, static_cast<unsigned>(size));
        m_status.Notes();
        const std::vector<Bytes> streams = Streams();
        EXPECT_TRUE(Download());
        EXPECT_EQ(m_status.Progress(), row.progress);
        EXPECT_THAT(m_status.Notes(), ElementsAre("Download Pictures(s)", "DownLoad Finished!"));
        EXPECT_EQ(m_status.Refreshes(), 1);
        EXPECT_FALSE(DownloadIsDue());
        const Bytes after = FlashBytes();
        Restart();
        Connect(TestFlash::Of(after));
        EXPECT_EQ(Streams(), streams);
        Restart();
    }
}

TEST(Progress, BeginsAtNothing) {
    EXPECT_EQ((Progress{.picture = 0, .pictures = 1}).Done(), 0.0);
    EXPECT_EQ((Progress{.picture = 2, .pictures = 4}).Done(), 0.25);
}

TEST_F(DownloadTest, HardwareIsAskedOnceMoreWhoItIsBeforeTheFirstErase) {
    ConnectQuietly(TestFlash());
    Add(20000, 1);
    m_spy->BecomeHardware("SOMEBODY");
    EXPECT_FALSE(Download());
    EXPECT_EQ(m_spy->Take(), "R?=I");
    ExpectUnchanged();

    m_spy->BecomeHardware("QUORVANE");
    EXPECT_TRUE(Download());
    EXPECT_EQ(m_spy->Take(), "R?=InsnEnsnPnsnEnsnP=");
}

TEST_F(DownloadTest, APictureInTheTablesPlaceIsMoved) {
    for (const bool add : {false, true}) {
        const TestFlash flash = TestFlash()
                                    .Slots({{1, kArea + 5000, 300}, {1, kTable + 4000, 400}})
                                    .Put(kTable + 4000, MakeStream(400, 2))
                                    .Put(kTable + 4094, {0x55, 0xAA});
        ConnectQuietly(flash);
        if (add)
            Add(100, 3);
        const std::vector<Bytes> streams = Streams();
        EXPECT_TRUE(Download());
        const Bytes after = FlashBytes();
        Restart();
        Connect(TestFlash::Of(after));
        EXPECT_EQ(Streams(), streams);
        Restart();
    }
}

// Pictures that wait come back from the journal, whatever else the frame was given meanwhile.
TEST_F(DownloadTest, MorePicturesThanTheTableDescribesCanOnlyBecomeFewer) {
    KeepJournals();
    ConnectQuietly(TestFlash().Pictures(std::vector<int>(kMostPictures, 100)));
    for (unsigned seed = 1; seed <= 4; ++seed)
        Add(50, 1000 + seed);
    EditHistory edits;
    Store().gmyCurrentSelectItem = 512;
    edits.Do(Edit::Kind::Delete, DeletePictures);
    EXPECT_TRUE(edits.Undo());
    EXPECT_EQ(Listed().size(), 513U);
    for (const int position : {512, 510, 511, 510}) {
        EXPECT_FALSE(Download());
        EXPECT_THAT(m_status.Details(), ElementsAre(testing::HasSubstr("has room for 509 pictures")));
        ExpectUnchanged();
        Delete(position);
    }
    EXPECT_EQ(Listed(), std::vector<int>(kMostPictures, 100));
    Delete(1);
    EXPECT_TRUE(Download());
    EXPECT_EQ(Listed().size(), 508U);
}

TEST_F(DownloadTest, AMissingFileCostsNothing) {
    ConnectQuietly(TestFlash().Pictures({1000}));
    Add(100, 2);
    Add(100, 3);
    const Path stream = StreamPath("Picture3.bmp");
    for (const int size : {-1, 99, 101}) {
        std::filesystem::remove(stream);
        if (size >= 0) {
            ASSERT_TRUE(WriteFile(stream, MakeStream(size, 3)));
        }
        EXPECT_FALSE(Download());
        EXPECT_THAT(m_spy->Take(), IsEmpty());
        EXPECT_THAT(m_status.Notes(), ElementsAre("Download Pictures(s)", "Fail To Download Picture"));
        EXPECT_THAT(m_status.Details(), ElementsAre(testing::HasSubstr("Picture3.bmp")));
        EXPECT_THAT(m_status.Progress(), ElementsAre(0, 0));
        EXPECT_EQ(m_status.Refreshes(), 1);
        EXPECT_FALSE(Store().gmyIsTransferData);
    }
    ASSERT_TRUE(WriteFile(stream, MakeStream(100, 3)));
    EXPECT_TRUE(Download());
}

TEST_F(DownloadTest, ADiskThatFillsUpLeavesNoFrameWithoutItsTable) {
    KeepJournals();
    ConnectQuietly(TestFlash().Pictures({62440, 1000}));
    Add(1500, 3);
    rlimit usual{};
    ::getrlimit(RLIMIT_FSIZE, &usual);
    rlimit low = usual;
    ::signal(SIGXFSZ, SIG_IGN);
    for (const rlim_t blocks : {0U, 1U}) {  // so many fit into a journal; the second is that at the boundary
        low.rlim_cur = blocks * kBlock + 16384;
        ::setrlimit(RLIMIT_FSIZE, &low);
        EXPECT_FALSE(Download());
        ::setrlimit(RLIMIT_FSIZE, &usual);
        EXPECT_TRUE(Store().blocksAtRisk.empty());
        EXPECT_EQ(Store().picturesShown, 2);
        ExpectUnchanged();
    }
    for (int connections = 0; connections < 2; ++connections) {
        EXPECT_THAT(Listed(), ElementsAre(62440, 1000, 1500));
        EXPECT_TRUE(DownloadIsDue());
        Restart();
        ConnectQuietly(TestFlash::Of(m_before));
    }
    EXPECT_TRUE(Download());
    EXPECT_FALSE(DownloadIsDue());
}

// The table block is on the frame in pieces by then: to stop would lose the pictures in it.
TEST_F(DownloadTest, ACommandThatFailsWhileTheTableIsInvalidatedDoesNotEndIt) {
    for (const std::size_t n : {7U, 11U}) {
        for (const auto kind : {FaultKind::Refuse, FaultKind::Lost, FaultKind::Half}) {
            Connect(TestFlash().Pictures({1000}), {{kConnecting + 3 + n, kind}});
            Add(500, 2);
            EXPECT_TRUE(Download()) << n;
            Restart();
        }
    }
}

TEST_F(DownloadTest, OneAtATime) {
    Connect(TestFlash().Pictures({50000, 12440}));
    ASSERT_TRUE(StartTransfer());
    EXPECT_TRUE(TransferRunning());
    EXPECT_FALSE(BeginDownload());
    EXPECT_FALSE(FinishTransfer());
    { const TransferOwner owner; }
    EXPECT_FALSE(TransferRunning());
    EXPECT_TRUE(FinishTransfer());
    EXPECT_TRUE(Download());
}

TEST_F(DownloadTest, TheNextFrameGetsNothingOfTheLastOnesTask) {
    // The frame changes hands while the n-th command of a connection (-12 to -1) or of a download is under
    // way.
    for (int n = -12; n < 40; n += n < 0 ? 1 : 3) {
        const TestFlash first = TestFlash().Pictures({50000, 12440});
        if (n >= 0)
            Connect(first), Add(70000, 3);
        std::binary_semaphore reached(0);
        std::atomic<int> commands{0};
        m_spy->Watch([&] {
            if (++commands != (n < 0 ? n + 13 : n + 1))
                return;
            reached.release();
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        });
        platform::Task worker;
        if (n < 0)
            Plug(first);
        else if (BeginDownload())
            worker = platform::Task([] { TranspotPic(); });
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
