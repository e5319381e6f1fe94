// Every cut: each of these downloads breaks off at each of its commands in each way, and nothing is lost.
#include <cstdlib>

#include "store/mend_pictures.h"
#include "tests/store/recovery_fixture.h"
#include "tests/support/seed.h"

namespace lumato::store {
namespace {

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
        {"moved", crowded, [](Test& test) { MovePicture(3, 1), test.Delete(2); }},
        {"moved among new ones", boundary,
         [](Test& test) {
             test.Add(300, 5), MovePicture(4, 2), MovePicture(1, 3), test.Add(70000, 4), MovePicture(5, 1);
         }},
        {"moved, full rewrite", full,
         [](Test& test) { test.Delete(1), test.Add(70000, 3), MovePicture(2, 1); }},
        {"replaced", crowded,
         [](Test& test) { test.Add(20000, 4), test.Replace(2, 100, 5), test.Replace(4, 21000, 6); }},
        {"replaced, full rewrite", full, [](Test& test) { test.Replace(1, 100000, 3); }},
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
    const auto cutEach = [this](const Scenario& scenario, std::size_t step, std::size_t first) {
        const auto complete = [&](const auto& undisturbed, const Left& left, Tally& tally,
                                  const auto& where) { Complete(scenario, undisturbed, left, tally, where); };
        EachCut(scenario, "", true, complete, step, first);
    };
    for (const Scenario& scenario : Scenarios())
        cutEach(scenario, 1, 0);
    // Reading back 509 pictures takes as long as ten other cuts: a fifth, which one the seed says.
    if (kStride == 1)
        cutEach(MostPictures(), Thorough() ? 1 : 5, Thorough() ? 0 : test::Seed(1));
}

// At every command the user may ask to stop; the frame then has what is whole, and the rest waits. At some
// places that, too, is cut.
TEST_F(RecoveryTest, StoppedDownloadsLoseNothing) {
    const std::size_t step = Thorough() ? 1 : 5 * kStride;
    for (const std::size_t i : {0U, 2U, 3U, 12U}) {
        const Scenario scenario = Scenarios()[i];
        const Undisturbed undisturbed = RunUndisturbed(scenario);
        Tally stops;
        Tally cuts;
        std::set<Digest> known;
        int early = 0;
        for (m_stopAt = 1; m_stopAt < undisturbed.commands; m_stopAt += (kStride + 1) / 2) {
            const std::string where = std::string(scenario.name) + ", stopped at " + std::to_string(m_stopAt);
            ConnectFrame(scenario.flash);
            scenario.change(*this);
            m_spy->Take();
            const Left left = BreakOff(FaultKind::Unplug, 0);
            EXPECT_FALSE(StoredIn(left.flash).empty()) << where;
            early += StoredIn(left.flash).size() < undisturbed.pictures.size() ? 1 : 0;
            Complete(scenario, undisturbed, left, stops, where);
            DownloadAgain(scenario, undisturbed, stops, where);
            for (std::size_t n = m_stopAt + m_stopAt % step; n <= undisturbed.commands; n += step) {
                for (const Cut cut : {Cut(FaultKind::Half), kKill}) {
                    const Left cutOff = FirstCut(scenario, undisturbed, cut, n);
                    if (known.insert(cutOff.Hash()).second)
                        Complete(scenario, undisturbed, cutOff, cuts, where + ", " + Where(scenario, cut, n));
                    else
                        Forget();
                }
            }
        }
        m_stopAt = 0;
        stops.Print(scenario.name + std::string(", stopped"));
        cuts.Print(scenario.name + std::string(", stopped and cut"));
        EXPECT_EQ(stops.losses + cuts.losses + cuts.differences, 0);
        EXPECT_GT(early, 3 / kStride) << "hardly one stopped";
    }
}

// Of the second cuts a fifth, which one the seed says.
TEST_F(RecoveryTest, TwoCutsInARowLoseNothing) {
    const std::size_t step = Thorough() ? 1 : 5 * kStride;
    std::size_t cuts = Thorough() ? 0 : test::Seed(1);
    for (const std::size_t i : {1U, 4U, 10U}) {
        const Scenario scenario = Scenarios()[i];
        const auto again = [&](const auto& undisturbed, const Left& left, Tally& tally, const auto& where) {
            CutAgain(scenario, undisturbed, left, 1 + cuts++ % step, step, tally, where);
        };
        EachCut(scenario, ", twice", Thorough(), again);
    }
}

TEST_F(RecoveryTest, NeitherATwinNorAnotherComputerChangesWhatComesBack) {
    for (const std::size_t i : {1U, 3U, 6U, 10U}) {
        const Scenario scenario = Scenarios()[i];
        const auto spend = [&](const auto& undisturbed, const Left& left, Tally& tally, const auto& cut) {
            for (const Meanwhile& meanwhile : kMeanwhile) {
                // What waits for a frame that nothing has changed yet may go to its twin instead.
                if (meanwhile.downloaded && !meanwhile.after && left.flash == scenario.flash.bytes)
                    continue;
                const std::string where = cut + ", meanwhile " + meanwhile.name;
                Restore(left);
                Spend(meanwhile, scenario, undisturbed, left, where);
                Complete(scenario, undisturbed, left, tally, where);
            }
        };
        EachCut(scenario, ", not alone", Thorough(), spend);
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
        ConnectFrame(scenario.flash, faults);
        scenario.change(*this);
        EXPECT_FALSE(Download());
        Delete(5), Delete(4);
        for (int tries = 0; tries < 9 && !Download(); ++tries) {
        }
        EXPECT_EQ(StoredIn(FlashBytes()), StoredIn(scenario.flash.bytes)) << n;
        Forget();
    }
}

// The search for whose pictures these are, too; and what is not taken up now is at the next connection.
TEST_F(RecoveryTest, AConnectionThatIsStoppedReadsNoFurther) {
    const Scenario scenario = MostPictures();
    const Undisturbed undisturbed = RunUndisturbed(scenario);
    const Left left = FirstCut(scenario, undisturbed, kKill, undisturbed.program);
    const auto connect = [&](std::size_t stopAt) {
        std::size_t seen = 0;
        m_spy->Watch([&] {
            if (++seen == stopAt)
                RequestStop();
        });
        ConnectFrame(TestFlash::Of(left.flash));
        m_spy->Watch({});
        return seen;
    };
    const std::size_t whole = connect(0);
    for (std::size_t stopAt = 20; stopAt < whole; stopAt += whole / 20) {
        Restart();
        EXPECT_LE(connect(stopAt), stopAt + 2);
        EXPECT_EQ(LastConnection(), Connection::ReadBackFailed) << stopAt;
    }
    Restart();
    Tally tally;
    Complete(scenario, undisturbed, left, tally, "stopped when it was connected");
}

// Whatever of these pictures is damaged is to be written anew, as it was made.
void Mend(const std::vector<int>& sizes) {
    CheckReport report;
    int address = kArea;
    for (const int size : sizes) {
        CheckedPicture picture;
        picture.position = static_cast<int>(report.pictures.size()) + 1;
        picture.address = address;
        picture.length = size;
        const Bytes stream = MakeStream(size, static_cast<unsigned>(picture.position));
        picture.wanted = Sha256(stream);
        const auto read = ReadPictureBytes(address, size);
        picture.health = read && *read == stream ? PictureHealth::Good : PictureHealth::Damaged;
        report.pictures.push_back(picture);
        address += size;
    }
    const auto source = [&](const Digest& hash, int length) -> std::optional<Bytes> {
        for (const CheckedPicture& picture : report.pictures) {
            if (picture.wanted == hash)
                return MakeStream(length, static_cast<unsigned>(picture.position));
        }
        return std::nullopt;
    };
    static_cast<void>(PrepareMending(report, source));
    Store().checkWritten = true;
}

// Bits, a page of a chip and whole blocks lost, a picture among them that nobody can show any more; with one
// that waits. Each command of the mending is cut.
TEST_F(RecoveryTest, MendingLosesNothing) {
    const std::vector<int> sizes = {500, 30000, 60000, 90000, 700};
    const TestFlash whole = TestFlash().Pictures(sizes);
    const struct {
        const char* name;
        std::map<int, Bytes> damage;
        bool adds;
    } rows[] = {
        {"mended, bits and a page", {{kArea + 700, {1}}, {0x24000, Bytes(256, 0xFF)}}, true},
        {"mended, blocks and one not listed", {{kArea, {0}}, {0x30000, Bytes(kBlock, 0)}}, false},
    };
    for (const auto& row : rows) {
        TestFlash damaged = whole;
        for (const auto& [address, bytes] : row.damage)
            damaged.Put(address, bytes);
        const Scenario scenario{row.name, damaged, [&](RecoveryTest& test) {
                                    if (row.adds && !DownloadIsDue())
                                        test.Add(300, 9);
                                    Mend(sizes);
                                }};
        EachCut(scenario, "", true,
                [&](const auto& undisturbed, const Left& left, Tally& tally, const auto& where) {
                    ConnectFrame(TestFlash::Of(left.flash));
                    if (!Store().resuming && FlashBytes() != undisturbed.flash)  // it had not begun
                        scenario.change(*this);
                    ++tally.completed;
                    tally.losses += NothingLost(undisturbed) || !Store().blocksAtRisk.empty() ? 0 : 1;
                    EXPECT_TRUE(!IsDue(undisturbed) || Download()) << where;
                    EXPECT_EQ(Streams(), undisturbed.pictures) << where;
                    Judge(scenario, undisturbed, tally, where);
                    Forget();
                });
        const Bytes mended = RunUndisturbed(scenario).flash;
        EXPECT_TRUE(std::equal(whole.bytes.begin() + kArea, whole.bytes.begin() + kArea + 181200,
                               mended.begin() + kArea))
            << row.name;
    }
}

// The second block of this picture has the sum of an erased one: a chip that only pretends to program it is
// found out by reading back alone.
TEST_F(RecoveryTest, WhatIsReadBackIsWhatWasMeant) {
    constexpr unsigned kSumOfErased = 2648;
    const auto run = [&](bool check, std::size_t fault, FaultKind kind) {
        ConnectFrame(TestFlash(), {{fault, kind}});
        const std::size_t before = m_spy->Take().size();
        Add(0x20000 - kArea + kBlock, kSumOfErased);
        Store().checkWritten = check;
        const bool done = Download();
        const std::size_t commands = before + m_spy->Take().size();
        const Bytes flash = FlashBytes();
        Forget();
        return std::tuple(done, commands, before, flash);
    };
    for (const bool check : {false, true}) {
        int wrong = 0;
        const auto [done, commands, before, right] = run(check, 0, FaultKind::Lie);
        ASSERT_TRUE(done);
        for (std::size_t n = before + 1; n <= commands; ++n) {
            for (const FaultKind kind : {FaultKind::Lie, FaultKind::Flip}) {
                const auto [said, sent, first, flash] = run(check, n, kind);
                wrong += said && flash != right ? 1 : 0;
            }
        }
        EXPECT_EQ(wrong > 0, !check) << wrong;
    }
}

}  // namespace
}  // namespace lumato::store
