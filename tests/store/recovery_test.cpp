// Every cut: each of these downloads breaks off at each of its commands in each way, and nothing is lost.
#include <cstdio>
#include <cstdlib>
#include <map>

#include "store/picture_table.h"
#include "store/safekeeping.h"
#include "tests/store/store_fixture.h"

namespace lumato::store {
namespace {

namespace fs = std::filesystem;
using vframe::FaultKind;

// How a download breaks off at its n-th command.
enum class Cut {
    Refuse,  // that command goes wrong, and the frame is gone with the next one
    Lost,
    Half,
    Flip,
    Unplug,  // the frame is gone instead
    Kill,    // the program ends after the command, as it stands
};
constexpr Cut kCuts[] = {Cut::Refuse, Cut::Lost, Cut::Half, Cut::Flip, Cut::Unplug, Cut::Kill};

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
    RecoveryTest() { KeepJournals(); }
    ~RecoveryTest() override { fs::remove_all(Aside()); }

    // What an undisturbed download sends and leaves.
    struct Undisturbed {
        std::size_t before = 0;  // commands until it begins
        std::size_t commands = 0;
        Bytes flash;
        std::vector<Bytes> pictures;
    };

    static TestFlash FlashOf(const Bytes& bytes) {
        TestFlash flash;
        flash.bytes = bytes;
        return flash;
    }

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

    static Bytes StreamOf(const FileData& record) {
        return ReadFile(StreamPath(record.fileName)).value_or(Bytes());
    }

    std::vector<Bytes> Streams() {
        std::vector<Bytes> streams;
        for (int i = 1; i <= Store().gmyTotalePictureNum; ++i)
            streams.push_back(StreamOf(*GetNode(Store().gmyPictureData.get(), i)));
        return streams;
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
        run.commands = m_spy->Take().size();
        run.flash = FlashBytes();
        EXPECT_EQ(StoredIn(run.flash).size(), run.pictures.size());
        Forget();
        return run;
    }

    Path Aside() const { return Home().string() + ".killed"; }

    // The disk as the program left it when it was killed.
    void TakeSnapshot(Bytes& flash) {
        flash = FlashBytes();
        fs::remove_all(Aside());
        fs::copy(Home(), Aside(), fs::copy_options::recursive);
    }

    // Downloads, and breaks off at command `at` of everything since the connection. The flash afterwards.
    Bytes BreakOff(Cut cut, std::size_t at) {
        Bytes left;
        if (cut != Cut::Kill) {
            static_cast<void>(Download());
            left = FlashBytes();
            m_bus->DeliverEvents();  // the frame vanishes
            Restart();
            return left;
        }
        std::size_t seen = 0;
        m_spy->Watch([&](const auto&, const auto&) {
            if (++seen == at)
                TakeSnapshot(left);
        });
        static_cast<void>(Download());
        m_spy->Watch({});
        Restart();
        fs::remove_all(Home());
        fs::rename(Aside(), Home());
        return left;
    }

    static std::vector<vframe::Fault> FaultsOf(Cut cut, std::size_t command) {
        switch (cut) {
            case Cut::Refuse:
                return {{command, FaultKind::Refuse}, {command + 1, FaultKind::Unplug}};
            case Cut::Lost:
                return {{command, FaultKind::Lost}, {command + 1, FaultKind::Unplug}};
            case Cut::Half:
                return {{command, FaultKind::Half}, {command + 1, FaultKind::Unplug}};
            case Cut::Flip:
                return {{command, FaultKind::Flip}, {command + 1, FaultKind::Unplug}};
            case Cut::Unplug:
                return {{command, FaultKind::Unplug}};
            case Cut::Kill:
                break;
        }
        return {};
    }

    // Whether the list has every picture that it should have, and what it calls stored is there.
    bool NothingLost(const Undisturbed& undisturbed) {
        std::map<Bytes, int> listed;
        const Bytes flash = FlashBytes();
        for (int i = 1; i <= Store().gmyTotalePictureNum; ++i) {
            const FileData& record = *GetNode(Store().gmyPictureData.get(), i);
            const Bytes stream = StreamOf(record);
            ++listed[stream];
            if (record.inFrame == 1 &&
                !std::equal(stream.begin(), stream.end(),
                            flash.begin() + SlotAddress(SlotOf(Store().G_PictureList, i))))
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
        Connect(FlashOf(left), std::move(faults));
        EXPECT_EQ(LastConnection(), Connection::Online) << where;
        const bool whole = LastConnection() == Connection::Online && NothingLost(undisturbed);
        EXPECT_TRUE(whole) << where;
        EXPECT_EQ(Difference(FlashBytes(), left), "") << "connecting writes: " << where;
        if (whole)
            DeleteAgain(undisturbed);
        return whole;
    }

    void CutOnce(const Scenario& scenario, const Undisturbed& undisturbed, Cut cut, std::size_t n,
                 Tally& tally) {
        const std::string where = std::string(scenario.name) + ", command " + std::to_string(n) + ", kind " +
                                  std::to_string(static_cast<int>(cut));
        Connect(scenario.flash, FaultsOf(cut, undisturbed.before + n));
        scenario.change(*this);
        const Bytes left = BreakOff(cut, n);
        ++tally.cuts;
        const bool whole = Recover(left, undisturbed, where);
        tally.losses += whole ? 0 : 1;
        if (whole) {
            EXPECT_TRUE(!IsDue(undisturbed) || Download()) << where;
            Judge(scenario, undisturbed, tally, where);
        }
        Forget();
    }

    // Command `n` of the download is the first cut, command `m` of the one that completes it the second.
    // False when there is no such command any more.
    bool CutTwice(const Scenario& scenario, const Undisturbed& undisturbed, Cut cut, std::size_t n,
                  std::size_t m, Tally& tally) {
        const std::string where = std::string(scenario.name) + ", commands " + std::to_string(n) + " and " +
                                  std::to_string(m) + ", kind " + std::to_string(static_cast<int>(cut));
        Connect(scenario.flash, FaultsOf(cut, undisturbed.before + n));
        scenario.change(*this);
        Bytes left = BreakOff(cut, n);
        // How many commands this connection has is known when it is over.
        m_spy->Take();
        bool whole = Recover(left, undisturbed, where);
        const std::size_t connecting = m_spy->Take().size();
        if (!IsDue(undisturbed) || (Download() && m_spy->Take().size() < m)) {
            Forget();
            return false;
        }
        Forget();
        Connect(scenario.flash, FaultsOf(cut, undisturbed.before + n));
        scenario.change(*this);
        left = BreakOff(cut, n);
        whole = whole && Recover(left, undisturbed, where, FaultsOf(cut, connecting + m));
        left = BreakOff(cut, m);
        whole = whole && Recover(left, undisturbed, where);
        ++tally.cuts;
        tally.losses += whole ? 0 : 1;
        if (whole) {
            EXPECT_TRUE(!IsDue(undisturbed) || Download()) << where;
            Judge(scenario, undisturbed, tally, where);
        }
        Forget();
        return true;
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

// Under the sanitizers, which are many times slower, only some.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t kStride = 7;
#else
constexpr std::size_t kStride = 1;
#endif

TEST_F(RecoveryTest, OneCutLosesNothing) {
    for (const Scenario& scenario : Scenarios()) {
        Tally tally;
        const Undisturbed undisturbed = RunUndisturbed(scenario);
        for (std::size_t n = 1; n <= undisturbed.commands; ++n) {
            for (const Cut cut : kCuts)
                CutOnce(scenario, undisturbed, cut, n, tally);
        }
        tally.Print(scenario.name);
        EXPECT_EQ(tally.losses + tally.differences, 0);
    }
}

TEST_F(RecoveryTest, OneCutLosesNoneOfAsManyPicturesAsATableHolds) {
    const Scenario scenario = MostPictures();
    Tally tally;
    const Undisturbed undisturbed = RunUndisturbed(scenario);
    for (std::size_t n = 1; n <= undisturbed.commands; n += kStride) {
        for (const Cut cut : kCuts)
            CutOnce(scenario, undisturbed, cut, n, tally);
    }
    tally.Print(scenario.name);
    EXPECT_EQ(tally.losses + tally.differences, 0);
}

// Of every kind when the environment says so, else of the two that leave most behind.
TEST_F(RecoveryTest, TwoCutsInARowLoseNothing) {
    for (const std::size_t i : {1U, 4U, 10U}) {
        const Scenario scenario = Scenarios()[i];
        Tally tally;
        const Undisturbed undisturbed = RunUndisturbed(scenario);
        for (std::size_t n = 1; n <= undisturbed.commands; n += kStride) {
            for (const Cut cut : kCuts) {
                if (!Thorough() && cut != Cut::Half && cut != Cut::Kill)
                    continue;
                for (std::size_t m = 1; CutTwice(scenario, undisturbed, cut, n, m, tally);)
                    m += kStride;
            }
        }
        tally.Print((std::string(scenario.name) + ", twice").c_str());
        EXPECT_EQ(tally.losses + tally.differences, 0);
    }
}

}  // namespace
}  // namespace lumato::store
