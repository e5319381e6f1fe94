// Downloads that break off at a command of choice, in a way of choice, and what is left and comes back after
// it.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <set>

#include "store/list_order.h"
#include "store/read_back.h"
#include "store/safekeeping.h"
#include "tests/store/left_over.h"

namespace lumato::store {

using vframe::FaultKind;

// How a download breaks off at its n-th command: that command goes wrong, and the frame is gone with the next
// one; or, without a kind, the program ends after the command, as it stands.
using Cut = std::optional<FaultKind>;
inline constexpr Cut kKill = std::nullopt;
inline constexpr Cut kCuts[] = {FaultKind::Refuse,
                                FaultKind::Lost,
                                FaultKind::Half,
                                FaultKind::Flip,
                                FaultKind::Lie,
                                FaultKind::Unplug,
                                kKill};

// From one command that is cut to the next: under the sanitizers, which are many times slower, only some.
#if defined(LUMATO_SANITIZED)
inline constexpr std::size_t kStride = 17;
#else
inline constexpr std::size_t kStride = 1;
#endif

struct Scenario {
    const char* name;
    TestFlash flash;
    std::function<void(class RecoveryTest&)> change;
};

// What happens between the cut and the connection that is to make everything good: the frame is only looked
// at on another computer, or a twin is connected here, which holds what the frame held before the download or
// what it is to hold after it; looked at, or downloaded to.
struct Meanwhile {
    const char* name;
    bool twin;
    bool after;
    bool downloaded;
};
inline constexpr Meanwhile kMeanwhile[] = {
    {"elsewhere", false, false, false},           {"twin as before", true, false, false},
    {"twin as after", true, true, false},         {"twin as before, written", true, false, true},
    {"twin as after, written", true, true, true},
};

struct Tally {
    int completed = 0;
    int losses = 0;       // of them, those before which a picture was missing or changed
    int differences = 0;  // those after which the flash is not, to the last byte, that of an undisturbed run

    void Print(const std::string& what) const {
        std::printf("%s: %d completed, %d losses, %d flashes differ\n", what.c_str(), completed, losses,
                    differences);
        std::fflush(stdout);
    }
};

class RecoveryTest : public StoreTest {
  public:
    using StoreTest::Add;
    using StoreTest::Delete;
    using StoreTest::Replace;

  protected:
    const test::TemporaryFolder m_aside{Home().parent_path()};  // for the home of another computer
    std::size_t m_stopAt = 0;   // the user asks at this command of the download; 0: never
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

    void ConnectFrame(const TestFlash& flash, std::vector<vframe::Fault> faults = {}) {
        m_spy->Call("the frame");
        Connect(flash, std::move(faults));
    }

    void Forget() {
        Restart();
        fs::remove_all(Home());
        fs::create_directory(Home());
    }

    Undisturbed RunUndisturbed(const Scenario& scenario) {
        Undisturbed run;
        ConnectFrame(scenario.flash);
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

    Left Now() { return Left::Of(FlashBytes(), Home()); }
    // A new program, and the disk as it was then.
    void Restore(const Left& left) {
        Forget();
        left.PutBack(Home());
    }

    // Downloads, and breaks off at command `at` of everything since the connection.
    Left BreakOff(Cut cut, std::size_t at) {
        Left left;
        std::size_t seen = 0;
        m_spy->Watch([&] {
            if (++seen == m_stopAt)
                RequestStop();
            if (cut == kKill && seen == at)
                left = Now();
        });
        static_cast<void>(Download());
        m_spy->Watch({});
        if (cut == kKill) {
            if (seen < at)  // a stopped download has fewer
                left = Now();
            Restore(left);
            return left;
        }
        Bytes flash = FlashBytes();
        m_bus->DeliverEvents();  // the frame vanishes
        Restart();
        return Left::Of(std::move(flash), Home());
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

    // A move that did not reach the frame, too; after that, the order is the program's to bring back.
    void MoveAgain(const Undisturbed& undisturbed) {
        std::vector<Bytes> listed = Streams();
        for (auto to = listed.begin(); !Store().resuming && to != listed.end(); ++to) {
            const auto from = std::find(to, listed.end(),
                                        undisturbed.pictures[static_cast<std::size_t>(to - listed.begin())]);
            if (from == to || from == listed.end())
                continue;
            EXPECT_TRUE(MovePicture(static_cast<int>(from - listed.begin()) + 1,
                                    static_cast<int>(to - listed.begin()) + 1));
            std::rotate(to, from, from + 1);
        }
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
        MoveAgain(undisturbed);
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
    bool Recover(const Left& left, const Undisturbed& undisturbed, const std::string& where,
                 std::vector<vframe::Fault> faults = {}) {
        ConnectFrame(TestFlash::Of(left.flash), std::move(faults));
        EXPECT_EQ(LastConnection(), Connection::Online) << where;
        const bool whole = LastConnection() == Connection::Online && NothingLost(undisturbed);
        EXPECT_TRUE(whole) << where;
        EXPECT_EQ(Difference(FlashBytes(), left.flash), "") << "connecting writes: " << where;
        if (whole)
            DeleteAgain(undisturbed);
        return whole;
    }

    // The frame with what is to be downloaded.
    void Prepare(const Scenario& scenario, const Undisturbed& undisturbed,
                 std::vector<vframe::Fault> faults) {
        if (m_tableStays) {
            faults.push_back({undisturbed.before + undisturbed.erase, FaultKind::Lie});
            faults.push_back({undisturbed.before + undisturbed.program, FaultKind::Lie});
        }
        ConnectFrame(scenario.flash, faults);
        scenario.change(*this);
    }

    // What a download leaves that breaks off at its command `n`.
    Left FirstCut(const Scenario& scenario, const Undisturbed& undisturbed, Cut cut, std::size_t n) {
        Prepare(scenario, undisturbed, FaultsOf(cut, undisturbed.before + n));
        return BreakOff(cut, n);
    }

    // The same for a program that ends after command n, by these n: one download is enough for all that it
    // reaches.
    std::map<std::size_t, Left> KilledEach(const Scenario& scenario, const Undisturbed& undisturbed) {
        std::map<std::size_t, Left> killed;
        Prepare(scenario, undisturbed, {});
        std::size_t seen = 0;
        m_spy->Watch([&] {
            if (seen++ % kStride == 0)
                killed[seen] = Now();
        });
        EXPECT_TRUE(Download());
        m_spy->Watch({});
        Forget();
        return killed;
    }

    // The last connection, which is to make everything good; `whole`: nothing was lost until then.
    void Complete(const Scenario& scenario, const Undisturbed& undisturbed, const Left& left, Tally& tally,
                  const std::string& where, bool whole = true) {
        whole = Recover(left, undisturbed, where) && whole;
        ++tally.completed;
        tally.losses += whole ? 0 : 1;
        if (whole) {
            EXPECT_TRUE(!IsDue(undisturbed) || Download()) << where;
            Judge(scenario, undisturbed, tally, where);
        }
        Forget();
    }

    // Stopped, and at once downloaded once more.
    void DownloadAgain(const Scenario& scenario, const Undisturbed& undisturbed, Tally& tally,
                       const std::string& where) {
        ConnectFrame(scenario.flash);
        scenario.change(*this);
        std::size_t seen = 0;
        m_spy->Watch([&] {
            if (++seen == m_stopAt)
                RequestStop();
        });
        static_cast<void>(Download());
        m_spy->Watch({});
        EXPECT_TRUE(NothingLost(undisturbed)) << where;
        EXPECT_TRUE(!IsDue(undisturbed) || Download()) << where;
        Judge(scenario, undisturbed, tally, where);
        Forget();
    }

    // Nothing of it may show on the frame, nor may anything of the frame's go.
    void Spend(const Meanwhile& meanwhile, const Scenario& scenario, const Undisturbed& undisturbed,
               const Left& left, const std::string& where) {
        if (!meanwhile.twin) {
            Store().gmyResousepath = m_aside / "elsewhere";
            Store().statePath = Store().gmyResousepath / "state";
            fs::create_directories(Store().statePath);
            ConnectFrame(TestFlash::Of(left.flash));
        } else {
            m_spy->Call("its twin");
            Connect(meanwhile.after ? TestFlash::Of(undisturbed.flash) : scenario.flash);
        }
        EXPECT_EQ(LastConnection(), Connection::Online) << where;
        // A picture that the frame was to have in place of a deleted one may be too much for its twin.
        EXPECT_TRUE(!meanwhile.downloaded || Download() || (Delete(1), Download())) << where;
        Restart();
    }

    static std::string Where(const Scenario& scenario, Cut cut, std::size_t n) {
        return std::string(scenario.name) + ", command " + std::to_string(n) + ", " +
               (cut == kKill ? "killed" : "kind " + std::to_string(static_cast<int>(*cut)));
    }

    // `body`, with its files in place, for each state that a download leaves which breaks off at one of its
    // commands in one of these ways; in those two that leave most behind unless `all`, or the environment,
    // says otherwise. From the same flash and the same files comes the same: once is enough. Of the cuts each
    // `step`-th.
    template <typename Body>
    void EachCut(const Scenario& scenario, const char* what, bool all, Body body, std::size_t step = 1,
                 std::size_t count = 0) {
        Tally tally;
        int cuts = 0;
        std::set<Digest> known;
        const Undisturbed undisturbed = RunUndisturbed(scenario);
        for (const bool stays : {false, true}) {
            m_tableStays = stays;
            const std::map<std::size_t, Left> killed = KilledEach(scenario, undisturbed);
            for (std::size_t n = stays ? undisturbed.program + 1 : 1; n <= undisturbed.commands;
                 n += kStride) {
                for (const Cut cut : kCuts) {
                    if ((!all && (stays || (cut != FaultKind::Half && cut != kKill))) || count++ % step != 0)
                        continue;
                    ++cuts;
                    const auto kill = cut == kKill ? killed.find(n) : killed.end();
                    const Left left =
                        kill != killed.end() ? kill->second : FirstCut(scenario, undisturbed, cut, n);
                    if (known.insert(left.Hash()).second)
                        Restore(left), body(undisturbed, left, tally, Where(scenario, cut, n));
                    else
                        Forget();
                }
            }
        }
        m_tableStays = false;
        tally.Print(scenario.name + std::string(what) + ", " + std::to_string(cuts) + " cuts");
        EXPECT_EQ(tally.losses + tally.differences, 0);
    }

    // After the first cut, each `step`-th command of the download that completes it is the second one.
    void CutAgain(const Scenario& scenario, const Undisturbed& undisturbed, const Left& first,
                  std::size_t begin, std::size_t step, Tally& tally, const std::string& where) {
        // How many commands the connection and the download have is known when they are over.
        m_spy->Take();
        const bool whole = Recover(first, undisturbed, where);
        const std::size_t connecting = m_spy->Take().size();
        const bool due = IsDue(undisturbed);
        EXPECT_TRUE(!due || Download());
        const std::size_t commands = m_spy->Take().size();
        for (std::size_t m = begin; due && m <= commands; m += step) {
            for (const Cut cut : {Cut(FaultKind::Half), kKill}) {
                const std::string again =
                    where + ", again at " + std::to_string(m) + ", " + (cut == kKill ? "killed" : "half");
                Restore(first);
                const bool still = Recover(first, undisturbed, again, FaultsOf(cut, connecting + m));
                Complete(scenario, undisturbed, BreakOff(cut, m), tally, again, whole && still);
            }
        }
    }

    // `count` commands from the n-th on go wrong, and then it is tried again, on the same connection.
    void TryAgain(const Scenario& scenario, const Undisturbed& undisturbed, std::size_t n, FaultKind kind,
                  std::size_t count, Tally& tally) {
        std::vector<vframe::Fault> faults;
        for (std::size_t i = 0; i < count; ++i)
            faults.push_back({undisturbed.before + n + i, kind});
        ConnectFrame(scenario.flash, faults);
        scenario.change(*this);
        for (int tries = 0; tries < 30 && !Download(); ++tries) {
        }
        ++tally.completed;
        Judge(scenario, undisturbed, tally, Where(scenario, kind, n) + ", times " + std::to_string(count));
        Forget();
    }
};

}  // namespace lumato::store
