// Every cut: each of these downloads breaks off at each of its commands in each way, and nothing is lost.
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>

#include "store/picture_table.h"
#include "store/safekeeping.h"
#include "tests/store/store_fixture.h"

namespace lumato::store {
namespace {

namespace fs = std::filesystem;
using vframe::FaultKind;

// How a download breaks off at its n-th command: that command goes wrong, and the frame is gone with the next
// one; or, without a kind, the program ends after the command, as it stands.
using Cut = std::optional<FaultKind>;
constexpr Cut kKill = std::nullopt;
constexpr Cut kCuts[] = {FaultKind::Refuse,
                         FaultKind::Lost,
                         FaultKind::Half,
                         FaultKind::Flip,
                         FaultKind::Lie,
                         FaultKind::Unplug,
                         kKill};

// From one command that is cut to the next: under the sanitizers, which are many times slower, only some.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t kStride = 7;
#else
constexpr std::size_t kStride = 1;
#endif

struct Scenario {
    const char* name;
    TestFlash flash;
    std::function<void(class RecoveryTest&)> change;
};

// A picture as the frame has it.
struct Stored {
    int address;
    Bytes bytes;
    bool operator==(const Stored&) const = default;
};

struct Tally {
    int cuts = 0;
    int losses = 0;       // cuts after which a picture was missing or changed
    int differences = 0;  // cuts after which the flash is not, to the last byte, that of an undisturbed run

    void Print(const char* what) const {
        std::printf("%s: %d cuts, %d losses, %d flashes differ\n", what, cuts, losses, differences);
        std::fflush(stdout);
    }
};

class RecoveryTest : public StoreTest {
  public:
    using StoreTest::Add;
    using StoreTest::Delete;

  protected:
    const test::TemporaryFolder m_aside{Home().parent_path()};  // for the disk as a killed program left it
    bool m_tableStays = false;  // the frame lies when the first download makes its table invalid

    RecoveryTest() { KeepJournals(); }

    // What an undisturbed download sends and leaves.
    struct Undisturbed {
        std::size_t before = 0;  // commands until it begins
        std::size_t commands = 0;
        std::size_t erase = 0, program = 0;  // those that make the table invalid
        Bytes flash;
        std::vector<Bytes> pictures;
    };

    static std::vector<Stored> StoredIn(Bytes flash) {
        const MutableByteSpan table = MutableByteSpan(flash).subspan(kTable, 4096);
        std::vector<Stored> stored;
        for (int slot = 1; IsTable(table) && slot <= kMostPictures; ++slot) {
            const ByteSpan bytes = SlotOf(table, slot);
            if (bytes[0] != kSlotStored)
                continue;
            const auto at = flash.begin() + SlotAddress(bytes);
            stored.push_back({SlotAddress(bytes), Bytes(at, at + SlotLength(bytes))});
        }
        return stored;
    }

    void Forget() {
        Restart();
        fs::remove_all(Home());
        fs::create_directory(Home());
    }

    Undisturbed RunUndisturbed(const Scenario& scenario) {
        Undisturbed run;
        Connect(scenario.flash);
        run.before = m_spy->Take().size();
        scenario.change(*this);
        run.pictures = Streams();
        EXPECT_TRUE(Download());
        const std::string sent = m_spy->Take();
        run.commands = sent.size();
        run.erase = sent.find('E') + 1;
        run.program = sent.find('P') + 1;
        run.flash = FlashBytes();
        EXPECT_EQ(StoredIn(run.flash).size(), run.pictures.size());
        Forget();
        return run;
    }

    // The disk as the program left it when it was killed.
    void TakeSnapshot(Bytes& flash) {
        flash = FlashBytes();
        fs::remove_all(m_aside / "home");
        fs::copy(Home(), m_aside / "home", fs::copy_options::recursive);
    }

    // Downloads, and breaks off at command `at` of everything since the connection. The flash afterwards.
    Bytes BreakOff(Cut cut, std::size_t at) {
        Bytes left;
        if (cut != kKill) {
            static_cast<void>(Download());
            left = FlashBytes();
            m_bus->DeliverEvents();  // the frame vanishes
            Restart();
            return left;
        }
        std::size_t seen = 0;
        m_spy->Watch([&] {
            if (++seen == at)
                TakeSnapshot(left);
        });
        static_cast<void>(Download());
        m_spy->Watch({});
        Restart();
        fs::remove_all(Home());
        fs::copy(m_aside / "home", Home(), fs::copy_options::recursive);
        return left;
    }

    static std::vector<vframe::Fault> FaultsOf(Cut cut, std::size_t command) {
        if (cut == kKill)
            return {};
        return {{command, *cut}, {command + 1, FaultKind::Unplug}};
    }

    // Whether the list has every picture that it should have, and what it calls stored is there.
    bool NothingLost(const Undisturbed& undisturbed) {
        std::map<Bytes, int> listed;
        const Bytes flash = FlashBytes();
        const std::vector<Bytes> streams = Streams();
        for (std::size_t i = 0; i < streams.size(); ++i) {
            ++listed[streams[i]];
            const int position = static_cast<int>(i) + 1;
            if (GetNode(Store().gmyPictureData.get(), position)->inFrame == 1 &&
                !std::equal(streams[i].begin(), streams[i].end(),
                            flash.begin() + SlotAddress(SlotOf(Store().G_PictureList, position))))
                return false;
        }
        for (const Bytes& picture : undisturbed.pictures) {
            if (--listed[picture] < 0)
                return false;
        }
        return true;
    }

    // A deletion that did not reach the frame is the user's to repeat.
    void DeleteAgain(const Undisturbed& undisturbed) {
        const std::vector<Bytes> listed = Streams();
        std::map<Bytes, int> surplus;
        for (const Bytes& picture : listed)
            ++surplus[picture];
        for (const Bytes& picture : undisturbed.pictures)
            --surplus[picture];
        int position = 1;
        for (const Bytes& picture : listed) {
            if (surplus[picture]-- > 0)
                Delete(position);
            else
                ++position;
        }
    }

    // Nobody downloads when the frame has everything already.
    bool IsDue(const Undisturbed& undisturbed) {
        return DownloadIsDue() || StoredIn(FlashBytes()) != StoredIn(undisturbed.flash);
    }

    void Judge(const Scenario& scenario, const Undisturbed& undisturbed, Tally& tally,
               const std::string& where) {
        const Bytes now = FlashBytes();
        EXPECT_TRUE(std::equal(now.begin(), now.begin() + kTable, scenario.flash.bytes.begin()))
            << "firmware: " << where;
        EXPECT_EQ(Difference(now, undisturbed.flash), "") << where;
        tally.differences += now == undisturbed.flash ? 0 : 1;
        EXPECT_FALSE(fs::exists(Home() / "state/recovery") && !fs::is_empty(Home() / "state/recovery"))
            << where;
    }

    // Reconnects, recovers, and completes the download. False when something was lost.
    bool Recover(const Bytes& left, const Undisturbed& undisturbed, const std::string& where,
                 std::vector<vframe::Fault> faults = {}) {
        Connect(TestFlash::Of(left), std::move(faults));
        EXPECT_EQ(LastConnection(), Connection::Online) << where;
        const bool whole = LastConnection() == Connection::Online && NothingLost(undisturbed);
        EXPECT_TRUE(whole) << where;
        EXPECT_EQ(Difference(FlashBytes(), left), "") << "connecting writes: " << where;
        if (whole)
            DeleteAgain(undisturbed);
        return whole;
    }

    // The flash after a download that breaks off at its command `n`.
    Bytes FirstCut(const Scenario& scenario, const Undisturbed& undisturbed, Cut cut, std::size_t n) {
        std::vector<vframe::Fault> faults = FaultsOf(cut, undisturbed.before + n);
        if (m_tableStays) {
            faults.push_back({undisturbed.before + undisturbed.erase, FaultKind::Lie});
            faults.push_back({undisturbed.before + undisturbed.program, FaultKind::Lie});
        }
        Connect(scenario.flash, faults);
        scenario.change(*this);
        return BreakOff(cut, n);
    }

    // The last connection, which is to make everything good; `whole`: nothing was lost until then.
    void Complete(const Scenario& scenario, const Undisturbed& undisturbed, const Bytes& left, Tally& tally,
                  const std::string& where, bool whole = true) {
        whole = Recover(left, undisturbed, where) && whole;
        ++tally.cuts;
        tally.losses += whole ? 0 : 1;
        if (whole) {
            EXPECT_TRUE(!IsDue(undisturbed) || Download()) << where;
            Judge(scenario, undisturbed, tally, where);
        }
        Forget();
    }

    static std::string Where(const Scenario& scenario, Cut cut, std::size_t n) {
        return std::string(scenario.name) + ", command " + std::to_string(n) + ", " +
               (cut == kKill ? "killed" : "kind " + std::to_string(static_cast<int>(*cut)));
    }

    void CutOnce(const Scenario& scenario, const Undisturbed& undisturbed, std::size_t n, Tally& tally) {
        for (const Cut cut : kCuts)
            Complete(scenario, undisturbed, FirstCut(scenario, undisturbed, cut, n), tally,
                     Where(scenario, cut, n));
    }

    // Command `n` of the download is the first cut, command `m` of the one that completes it the second.
    // False when there is no such command any more.
    bool CutTwice(const Scenario& scenario, const Undisturbed& undisturbed, Cut cut, std::size_t n,
                  std::size_t m, Tally& tally) {
        const std::string where = Where(scenario, cut, n) + ", again at " + std::to_string(m);
        Bytes left = FirstCut(scenario, undisturbed, cut, n);
        // How many commands this connection has is known when it is over.
        m_spy->Take();
        bool whole = Recover(left, undisturbed, where);
        const std::size_t connecting = m_spy->Take().size();
        const bool cutTwice = IsDue(undisturbed) && (!Download() || m_spy->Take().size() >= m);
        Forget();
        if (!cutTwice)
            return false;
        left = FirstCut(scenario, undisturbed, cut, n);
        whole = whole && Recover(left, undisturbed, where, FaultsOf(cut, connecting + m));
        Complete(scenario, undisturbed, BreakOff(cut, m), tally, where, whole);
        return true;
    }

    // `count` commands from the n-th on go wrong, and then it is tried again, on the same connection.
    void TryAgain(const Scenario& scenario, const Undisturbed& undisturbed, std::size_t n, FaultKind kind,
                  std::size_t count, Tally& tally) {
        std::vector<vframe::Fault> faults;
        for (std::size_t i = 0; i < count; ++i)
            faults.push_back({undisturbed.before + n + i, kind});
        Connect(scenario.flash, faults);
        scenario.change(*this);
        for (int tries = 0; tries < 30 && !Download(); ++tries) {
        }
        ++tally.cuts;
        Judge(scenario, undisturbed, tally, Where(scenario, kind, n) + ", times " + std::to_string(count));
        Forget();
    }
};

std::vector<Scenario> Scenarios() {
    using Test = RecoveryTest;
    TestFlash filled(0x30000);
    filled.Put(kTable, MakeStream(0x20000, 77));  // left over by somebody else: no table, no pictures
    TestFlash small(0x20000);
    small.Pictures({1000, 2000}).Put(kArea + 20000, {1, 2, 3});
    TestFlash boundary;
    boundary.Pictures({50000, 12440, 700}).Put(0x30000, Bytes(kBlock, 0)).Put(0x2F000, {4, 5, 6});
    TestFlash full(0x40000);
    full.Pictures({90000, 61000});
    TestFlash crowded(0x30000);
    crowded.Pictures({30000, 30000, 30000});
    TestFlash sectors(0x30000, 0x20);
    sectors.Pictures({3000, 70000});
    TestFlash halves(0x30000, 0x52);
    halves.Pictures({3000, 70000});
    TestFlash oneBlock(0x20000);
    oneBlock.Pictures({20000, 10000});
    return {
        {"first pictures", filled, [](Test& test) { test.Add(500, 3), test.Add(70000, 4); }},
        {"in the table block", small, [](Test& test) { test.Add(500, 3); }},
        {"across blocks", boundary, [](Test& test) { test.Add(70000, 4), test.Add(300, 5); }},
        {"full rewrite", full, [](Test& test) { test.Delete(1), test.Add(70000, 3); }},
        {"deletions only", crowded, [](Test& test) { test.Delete(1), test.Delete(2); }},
        {"delete all", small, [](Test& test) { test.Delete(1), test.Delete(1); }},
        {"delete and add", crowded, [](Test& test) { test.Delete(2), test.Add(30001, 4); }},
        {"a full frame", crowded, [](Test& test) { test.Add(0x30000 - kArea - 90000, 4); }},
        {"4 KB erase", sectors, [](Test& test) { test.Add(2000, 3), test.Add(20000, 4); }},
        {"32 KB erase", halves, [](Test& test) { test.Delete(1), test.Add(2000, 3), test.Add(20000, 4); }},
        {"one block", oneBlock, [](Test& test) { test.Add(31440, 3); }},
        {"twice the same picture", small, [](Test& test) { test.Add(2000, 2), test.Add(2000, 2); }},
    };
}

Scenario MostPictures() {
    TestFlash flash(0x30000);
    std::vector<int> sizes(500, 100);
    flash.Pictures(sizes);
    return {"509 pictures", flash, [](RecoveryTest& test) {
                for (unsigned seed = 1001; seed <= 1009; ++seed)
                    test.Add(100, seed);
            }};
}

bool Thorough() {
    return std::getenv("LUMATO_EVERY_CUT") != nullptr;
}

TEST_F(RecoveryTest, OneCutLosesNothing) {
    std::vector<Scenario> scenarios = Scenarios();
    scenarios.push_back(MostPictures());
    for (const Scenario& scenario : scenarios) {
        Tally tally;
        const Undisturbed undisturbed = RunUndisturbed(scenario);
        m_tableStays = false;
        for (std::size_t n = 1; n <= undisturbed.commands; n += kStride)
            CutOnce(scenario, undisturbed, n, tally);
        m_tableStays = true;
        for (std::size_t n = undisturbed.program + 1; n <= undisturbed.commands; n += kStride)
            CutOnce(scenario, undisturbed, n, tally);
        tally.Print(scenario.name);
        EXPECT_EQ(tally.losses + tally.differences, 0);
    }
}

// Of every kind when the environment says so, else of the two that leave most behind.
TEST_F(RecoveryTest, TwoCutsInARowLoseNothing) {
    for (const std::size_t i : {1U, 4U, 10U}) {
        const Scenario scenario = Scenarios()[i];
        Tally tally;
        const Undisturbed undisturbed = RunUndisturbed(scenario);
        for (std::size_t n = 1; n <= undisturbed.commands; n += kStride) {
            for (const Cut cut : kCuts) {
                if (!Thorough() && cut != FaultKind::Half && cut != kKill)
                    continue;
                for (std::size_t m = 1; CutTwice(scenario, undisturbed, cut, n, m, tally);)
                    m += kStride;
            }
        }
        tally.Print((std::string(scenario.name) + ", twice").c_str());
        EXPECT_EQ(tally.losses + tally.differences, 0);
    }
}

TEST_F(RecoveryTest, AnotherDownloadOnTheSameConnectionCompletesTheSameFlash) {
    for (const std::size_t i : {1U, 2U, 3U, 4U}) {
        const Scenario scenario = Scenarios()[i];
        Tally tally;
        const Undisturbed undisturbed = RunUndisturbed(scenario);
        for (std::size_t n = 1; n <= undisturbed.commands; n += kStride) {
            for (const FaultKind kind :
                 {FaultKind::Refuse, FaultKind::Lost, FaultKind::Half, FaultKind::Flip, FaultKind::Lie}) {
                TryAgain(scenario, undisturbed, n, kind, 1, tally);
                // Zeros for the data and for their sum agree: a frame that goes on lying is believed.
                if (kind != FaultKind::Lie)
                    TryAgain(scenario, undisturbed, n, kind, 30, tally);
            }
        }
        tally.Print((std::string(scenario.name) + ", tried again").c_str());
    }
}

TEST_F(RecoveryTest, ABlockDamagedByAFailureIsRestoredThoughNothingNewIsLeft) {
    const Scenario scenario = Scenarios()[2];
    const Undisturbed undisturbed = RunUndisturbed(scenario);
    for (std::size_t n = 18; n < 27; ++n) {  // while the block in use is written
        std::vector<vframe::Fault> faults;
        for (std::size_t i = 0; i < 30; ++i)
            faults.push_back({undisturbed.before + n + i, i % 9 == 5 ? FaultKind::Half : FaultKind::Lost});
        Connect(scenario.flash, faults);
        scenario.change(*this);
        EXPECT_FALSE(Download());
        Delete(5), Delete(4);
        for (int tries = 0; tries < 9 && !Download(); ++tries) {
        }
        EXPECT_EQ(StoredIn(FlashBytes()), StoredIn(scenario.flash.bytes)) << n;
        Forget();
    }
}

}  // namespace
}  // namespace lumato::store
