// Edits that are undone and done again, against a list of how everything stood.
#include "store/edit_history.h"

#include <random>

#include "store/journal_folder.h"
#include "store/list_order.h"
#include "store/replace_list.h"
#include "tests/store/store_fixture.h"
#include "tests/support/seed.h"

namespace lumato::store {
namespace {

// Everything that an edit changes.
struct Standing {
    std::vector<int> pictures, counts;
    std::vector<Bytes> files;
    Bytes table;
    bool operator==(const Standing&) const = default;
};

class EditHistoryTest : public StoreTest {
  protected:
    EditHistoryTest() {
        KeepJournals();
        Connect(m_flash);
    }

    void Forget() {
        m_edits.Forget();
        m_edits.WaitForRemoval();
    }
    static Standing Stands() {
        const StoreState& store = Store();
        Standing now;
        for (const FileData& record : EachOf(store.gmyPictureData)) {
            now.pictures.insert(now.pictures.end(), {record.picSize, record.inFrame, record.afterGap});
            now.files.push_back(ReadPlainFile(StreamPath(record.fileName)).value_or(Bytes()));
            now.files.push_back(ReadPlainFile(record.fileRef).value_or(Bytes()));
            EXPECT_EQ(Sha256(now.files[now.files.size() - 2]), record.streamHash);
            EXPECT_FALSE(now.files.back().empty());
        }
        now.counts = {store.TotolFlashSizeForPic, store.gmyTotalePicture, store.gmyTotalePictureNum,
                      store.gmyCurrentSelectItem};
        now.table.assign(store.G_PictureList.begin(), store.G_PictureList.end());
        return now;
    }

    static std::vector<Bytes> Waiting() {
        std::vector<Bytes> streams;
        for (const FileData& record : EachOf(Store().gmyPictureData)) {
            if (record.inFrame == 0)
                streams.push_back(ReadPlainFile(StreamPath(record.fileName)).value_or(Bytes()));
        }
        std::ranges::sort(streams);
        return streams;
    }

    // As a backup does it: nothing of it is in the journal.
    static void Restore(int pictures) {
        std::vector<FileData> records;
        for (int i = 0; i < pictures; ++i) {
            records.push_back(*NewPicture(100 + i, static_cast<unsigned>(i)));
            records.back().streamHash = Sha256(MakeStream(100 + i, static_cast<unsigned>(i)));
        }
        ReplaceList(std::move(records));
    }

    int Random(int below) { return static_cast<int>(m_random() % static_cast<unsigned>(below)); }

    std::vector<int> SomeOf(int count) {
        std::vector<int> positions{1 + Random(count)};
        for (int position = 1; position <= count; ++position) {
            if (Random(3) == 0 && position != positions.front())
                positions.push_back(position);
        }
        return positions;
    }

    void EditSomething() {
        const int count = Store().gmyPictureData->count;
        Store().gmyCurrentSelectItem = Random(count + 1);
        m_standings[m_at] = Stands();
        const int what = count == 0 ? 0 : Random(m_restores ? 10 : 9);
        Store().gmyDeleteAll = what == 7;
        if (what < 3)
            m_edits.Do(Edit::Kind::Add, [&] {
                for (int left = 1 + Random(2); left > 0; --left)
                    Add(100 + Random(400), static_cast<unsigned>(m_random()));
            });
        else if (what < 5)
            m_edits.Do(Edit::Kind::Move, [&] { MovePictures(SomeOf(count), 1 + Random(count + 1)); });
        else if (what == 5)
            m_edits.Do(Edit::Kind::Delete, [&] { DeletePicturesAt(SomeOf(count)); });
        else if (what == 8)
            m_edits.Do(Edit::Kind::Replace, [&] {
                ++Store().gmyTotalePicture;
                Replace(1 + Random(count), 100 + Random(400), static_cast<unsigned>(m_random()));
            });
        else if (what == 9)
            m_edits.Do(Edit::Kind::Restore, [&] { Restore(1 + Random(3)); });
        else
            m_edits.Do(Edit::Kind::Delete, DeletePictures);
        if (Stands() == m_standings[m_at])
            return;  // moved to where it was
        m_standings.resize(++m_at);
        m_standings.push_back(Stands());
    }

    void Step(bool back) {
        const bool possible = back ? m_at > 0 : m_at + 1 < m_standings.size();
        ASSERT_EQ((back ? m_edits.Undoable() : m_edits.Redoable()).has_value(), possible);
        ASSERT_TRUE(back ? m_edits.Undo() : m_edits.Redo());
        if (!possible)
            return;
        back ? --m_at : ++m_at;
        // Which one was selected is told again by the next edit alone.
        Standing then = m_standings[m_at];
        then.counts.back() = Store().gmyCurrentSelectItem;
        ASSERT_TRUE(Stands() == then) << "standing " << m_at;
    }

    std::mt19937 m_random;
    TestFlash m_flash = TestFlash().Pictures({100, 200, 300, 400, 500});
    EditHistory m_edits;
    std::vector<Standing> m_standings{1};
    std::size_t m_at = 0;
    bool m_restores = false;
};

TEST_F(EditHistoryTest, EveryStepBackAndForthStandsAsItStood) {
    const unsigned first = test::Seed(1);
    for (unsigned seed = first; seed < first + 20; ++seed) {
        SCOPED_TRACE(seed);
        m_random.seed(seed);
        m_restores = seed % 5 == 0;
        m_standings = {Stands()};
        m_at = 0;
        for (int i = 0; i < 30 && !HasFatalFailure(); ++i)
            Random(2) == 0 ? EditSomething() : Step(Random(3) > 0);
        while (m_at > 0 && seed % 3 == 0 && !HasFatalFailure())
            Step(true);
        // A program that is killed now finds what waits, and nothing that does not.
        const std::vector<Bytes> waiting = Waiting();
        Forget();
        EXPECT_FALSE(std::filesystem::exists(Home() / "undo"));
        Restart();
        Connect(m_flash);
        EXPECT_TRUE(m_restores || Waiting() == waiting);
        Store().gmyDeleteAll = true;
        DeletePictures();
        Restart();
        Connect(m_flash);
        EXPECT_EQ(Waiting(), std::vector<Bytes>());
    }
}

TEST_F(EditHistoryTest, WhatCannotBeKeptOrBroughtBackChangesNothing) {
    m_edits.Do(Edit::Kind::Move, [] { MovePicture(1, 2); });
    m_edits.Do(Edit::Kind::Delete, DeletePictures);
    const Standing stood = Stands();
    const Path kept = Home() / "undo";
    std::filesystem::remove_all(Home() / "data");
    test::PutBytes(Home() / "data", {'x'});
    EXPECT_FALSE(m_edits.Undo());
    EXPECT_EQ(Store().gmyPictureData->count, 4);
    EXPECT_EQ(Bytes(Store().G_PictureList.begin(), Store().G_PictureList.end()), stood.table);

    // Somebody's own file is never taken for one of ours, and no link is followed.
    test::PutBytes(kept / "letter.txt", {'x'});
    Forget();
    EXPECT_TRUE(std::filesystem::remove(kept / "letter.txt"));
    EXPECT_TRUE(std::filesystem::remove(kept));
    std::filesystem::create_directory_symlink(Home() / "Edata", kept);
    m_edits.Do(Edit::Kind::Move, [] { MovePicture(1, 2); });
    EXPECT_FALSE(m_edits.Undoable()) << "done, but for good";
    EXPECT_EQ(Listed(), std::vector<int>({100, 200, 300, 400}));

    // Another frame, or a download: nothing of that is undone any more.
    std::filesystem::remove(kept);
    std::filesystem::remove(Home() / "data");
    Restart();
    Connect(m_flash);
    m_edits.Do(Edit::Kind::Move, [] { MovePicture(1, 2); });
    EXPECT_TRUE(m_edits.Undoable());
    EXPECT_TRUE(Download());
    Add(100, 7);
    EXPECT_FALSE(m_edits.Undoable());
    EXPECT_TRUE(m_edits.Undo());
    EXPECT_EQ(Listed(), std::vector<int>({200, 100, 300, 400, 500, 100}));

    // What a program that was killed kept goes at the next connection.
    m_edits.Do(Edit::Kind::Move, [] { MovePicture(1, 2); });
    EXPECT_FALSE(std::filesystem::is_empty(kept));
    Restart();
    Connect(m_flash);
    EXPECT_TRUE(std::filesystem::is_empty(kept));

    // A restoration that is done again leaves the journal as it was, to the last file.
    m_edits.Do(Edit::Kind::Restore, [] { Restore(2); });
    EXPECT_TRUE(m_edits.Undo());
    EXPECT_TRUE(m_edits.Redo());
    EXPECT_EQ(Listed(), std::vector<int>({100, 101}));
    for (const FileData& record : EachOf(Store().gmyPictureData))
        EXPECT_FALSE(HasStream(Store().journalFolder, {*record.streamHash, record.picSize}));
}

}  // namespace
}  // namespace lumato::store
