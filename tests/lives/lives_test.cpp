// Random lives of the program: frames come and go, pictures are added, deleted, downloaded and saved, and
// things go wrong, as a seed decides. Beside it runs the plainest reference there is: two lists of picture
// bytes, what the user sees and what the frame holds.
//
// LUMATO_LIVES says how many (default 200), LUMATO_LIVES_SEED where to begin (default 1): a life that failed
// is led again with its seed and LUMATO_LIVES=1.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "fuzz/store_program.h"
#include "jpeg/encoder.h"
#include "picture/add_pictures.h"
#include "picture/bitmap_file.h"
#include "store/transfer.h"
#include "tests/support/picture_table.h"
#include "tests/support/temporary_folder.h"
#include "vframe/new_frame.h"

namespace lumato::lives {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Pictures = std::vector<Bytes>;

// What the lives of a run have come to.
struct Tally {
    int lives = 0;
    int steps = 0;
    int downloads = 0;
    int failedDownloads = 0;
    int unplugged = 0;
    int waitingBack = 0;  // connections at which pictures came back that no table listed
    int recovered = 0;    // connections after a download that broke off
};

struct Frame {
    Bytes flash;     // while it is not plugged in
    Bytes firmware;  // what must stay as it is
    int lcd = 8;
    int limit = 0;
    Pictures stored;   // what its table lists
    Pictures waiting;  // added and not downloaded: they come back behind the stored ones
    // Since the last download failed, all those come back, but which of them wait is open;
    bool broken = false;
    bool anyOrder = false;    // their order, too, when that download was itself to mend a broken-off one;
    Pictures deleted;         // and those that were deleted and never left the frame may come back.
    std::size_t perhaps = 0;  // pictures of a batch that may have been added before the frame was gone
};

constexpr unsigned kSources = 6;
constexpr std::size_t kTable = 0x10000;
constexpr std::size_t kArea = kTable + 4096;

// A picture's stream of some hundred bytes.
Bytes MakeStream(int side, std::mt19937& random) {
    constexpr int kMode = 3;
    Bytes pixels(static_cast<std::size_t>(side * side * 3));
    for (std::uint8_t& byte : pixels)
        byte = static_cast<std::uint8_t>(random());
    Bytes stream(jpeg::MaximumStreamSize(side, side, kMode));
    int size = 0;
    jpeg::CVaskJpegEncoder(90).CompressImage(pixels.data(), stream.data(), side, side, size, kMode);
    stream.resize(static_cast<std::size_t>(size));
    return stream;
}

std::vector<const store::FileData*> Records() {
    std::vector<const store::FileData*> records;
    for (const auto* record = store::Store().gmyPictureData->sentinel->next; record != nullptr;
         record = record->next)
        records.push_back(record);
    return records;
}

bool StartsWith(const Pictures& pictures, const Pictures& first) {
    return std::ranges::mismatch(first, pictures).in1 == first.end();
}

// Takes each of `wanted` out of `pictures`, once. False when one is not there.
bool TakeAll(Pictures& pictures, const Pictures& wanted) {
    return std::ranges::all_of(wanted, [&](const Bytes& picture) {
        const auto found = std::ranges::find(pictures, picture);
        if (found == pictures.end())
            return false;
        pictures.erase(found);
        return true;
    });
}

// How many of `pictures`, from `begin` on, stand in `order` one after the other.
std::size_t Follow(const Pictures& pictures, std::size_t begin, const Pictures& order) {
    std::size_t at = begin;
    for (const Bytes& picture : order) {
        if (at < pictures.size() && pictures[at] == picture)
            ++at;
    }
    return at - begin;
}

// Whether `pictures` are those of `order` that are stored, in its order, and then those that wait.
bool IsShuffled(const Pictures& pictures, const Pictures& order) {
    for (std::size_t split = 0; split <= Follow(pictures, 0, order); ++split) {
        if (split + Follow(pictures, split, order) == pictures.size())
            return true;
    }
    return false;
}

// Back to back from `address` on, and the table that lists them.
void PutPictures(Bytes& flash, const Pictures& pictures, std::size_t address) {
    test::PutTable(flash, kTable);
    for (std::size_t i = 0; i < pictures.size(); ++i)
        address = test::PutPicture(flash, kTable, i + 1, pictures[i], address);
}

class Life {
  public:
    // Requires: `home` holds MakeSources()'s files.
    Life(const Path& home, unsigned seed, Tally& tally) : m_home(home), m_random(seed), m_tally(tally) {
        std::error_code ignored;
        std::filesystem::remove_all(StateFolder(), ignored);
        m_program.emplace(m_home, StateFolder());
        MakeFrames();
    }

    // The first fault, with the steps that led to it; "" for none.
    std::string Run() {
        constexpr Step kSteps[] = {&Life::Attach,
                                   &Life::Attach,
                                   &Life::Detach,
                                   &Life::Add,
                                   &Life::Add,
                                   &Life::Add,
                                   &Life::Add,
                                   &Life::Delete,
                                   &Life::DeleteAll,
                                   &Life::Download,
                                   &Life::Download,
                                   &Life::Download,
                                   &Life::Save,
                                   &Life::OtherFrame,
                                   &Life::Restart,
                                   &Life::DownloadAndUnplug,
                                   &Life::DownloadBrokenOff,
                                   &Life::DownloadBrokenOff,
                                   &Life::AttachAndUnplugAtOnce,
                                   &Life::AddBatchAndUnplug};
        ++m_tally.lives;
        for (unsigned left = 10 + Random(20); left > 0 && m_fault.empty(); --left) {
            ++m_tally.steps;
            (this->*kSteps[Random(std::size(kSteps))])();
            if (m_plugged >= 0 && !Online())
                AfterUnplug();
            Check();
        }
        return m_fault;
    }

    static void MakeSources(const Path& home) {
        std::mt19937 random(7);
        for (unsigned number = 0; number < kSources; ++number) {
            const int side = number % 2 == 0 ? 8 : 16;
            Bytes pixels(static_cast<std::size_t>(side * side * 3));
            for (std::uint8_t& byte : pixels)
                byte = static_cast<std::uint8_t>(random() % (40 * number + 1));
            const auto made =
                picture::SaveBmpFile(pixels, side, side, home / ("source" + std::to_string(number) + ".bmp"));
            if (!made)
                std::abort();
        }
    }

  private:
    using Step = void (Life::*)();

    unsigned Random(unsigned below) { return static_cast<unsigned>(m_random() % below); }
    void Note(const std::string& what) { m_steps += what + "\n"; }
    void Demand(bool kept, const std::string& promise) {
        if (!kept && m_fault.empty())
            m_fault = promise + ", after:\n" + m_steps;
    }

    // Of two sizes: what else they say of themselves may be the same, and then nobody could tell them apart.
    void MakeFrames() {
        constexpr std::array<std::uint32_t, 3> kErases{0x20, 0x52, 0xD8};
        std::uint32_t size = 0x28000;
        for (Frame& frame : m_frames) {
            vframe::NewFrame options;
            frame.lcd = Random(2) == 0 ? 8 : 16;
            frame.limit = Random(3) == 0 ? 3 : 0;
            options.lcdWidth = options.lcdHeight = static_cast<std::uint32_t>(frame.lcd);
            options.pictureLimit = static_cast<std::uint32_t>(frame.limit);
            options.flashSize = size + 0x8000 * Random(2);
            size += 0x10000;
            options.eraseInstruction = kErases[Random(3)];
            frame.flash = vframe::MakeFlash(options).value();
            for (std::size_t at = 1024; at < kTable; ++at)
                frame.flash[at] = static_cast<std::uint8_t>(at * at >> 4);
            // Often the next pictures share a block with stored ones, or the stored ones lie across two
            // blocks.
            for (unsigned count = Random(4); count > 0; --count)
                frame.stored.push_back(MakeStream(frame.lcd, m_random));
            PutPictures(frame.flash, frame.stored, Random(3) == 0 ? kArea : 0x20000 - Random(2000));
            frame.firmware.assign(frame.flash.begin(), frame.flash.begin() + kTable);
        }
    }

    // None, single ones, which a second attempt mends, or a row of them, which outlasts all attempts.
    std::vector<vframe::Fault> SomeFaults() {
        const unsigned rows = Random(2);
        const unsigned length = Random(2) == 0 ? 1 : 10 + Random(30);
        std::vector<vframe::Fault> faults;
        for (unsigned row = 0; row < rows; ++row) {
            const unsigned first = 1 + Random(160);
            const auto kind = static_cast<vframe::FaultKind>(Random(5));
            Note("  " + std::to_string(length) + " commands from " + std::to_string(first) +
                 " on will go wrong, kind " + std::to_string(static_cast<int>(kind)));
            for (unsigned command = first; command < first + length; ++command)
                faults.push_back({command, kind});
        }
        return faults;
    }

    void PlugIn(int frame, std::vector<vframe::Fault> faults) {
        Note("plug in frame " + std::to_string(frame));
        m_plugged = frame;
        m_service = &m_program->Bus().Plug(
            vframe::FlashImage::InMemory(Plugged().flash, "frame " + std::to_string(frame)),
            {.faults = std::move(faults), .pace = 0});
    }

    // What follows a plug-in: the list is the one that this frame must show, or the frame was refused.
    void ExpectList() {
        Frame& frame = Plugged();
        Demand(m_program->Bus().Frame(*m_service).FlashBytes() == frame.flash, "connecting changes no byte");
        if (!Online())
            return AfterUnplug();
        m_seen = Listed();
        Demand(IsExpected(frame), "a frame that comes online shows what is its own");
        m_tally.recovered += frame.broken ? 1 : 0;
        m_fromFrame = static_cast<std::size_t>(std::ranges::count_if(
            Records(), [](const store::FileData* record) { return record->inFrame == 1; }));
        m_tally.waitingBack += m_fromFrame < m_seen.size() ? 1 : 0;
        const auto split = m_seen.begin() + static_cast<std::ptrdiff_t>(m_fromFrame);
        frame.waiting.assign(split, m_seen.end());
        if (frame.broken)
            frame.stored.assign(m_seen.begin(), split);
        else
            frame.deleted.clear();
        if (!frame.broken)
            Demand(frame.stored.size() == m_fromFrame, "what the table lists is in the frame");
        frame.perhaps = 0;
    }

    // What is seen has all of the frame's pictures; the others were deleted, or come from a batch.
    bool IsExpected(const Frame& frame) const {
        Pictures due = frame.stored;
        due.insert(due.end(), frame.waiting.begin(), frame.waiting.end());
        if (!frame.broken)
            return m_seen.size() <= due.size() + frame.perhaps && StartsWith(m_seen, due);
        Pictures surplus = m_seen;
        if (!TakeAll(surplus, due))
            return false;
        if (frame.deleted.empty())
            due.insert(due.end(), surplus.begin(), surplus.end());
        for (const Bytes& picture : frame.deleted)
            TakeAll(surplus, {picture});
        return surplus.size() <= frame.perhaps &&
               (frame.anyOrder || !frame.deleted.empty() || IsShuffled(m_seen, due));
    }

    // The pictures of the list, as their files have them.
    static Pictures Listed() {
        Pictures listed;
        for (const store::FileData* record : Records())
            listed.push_back(ReadFile(store::StreamPath(record->fileName)).value_or(Bytes()));
        return listed;
    }

    // Vanished by a fault, refused, or pulled out: nothing of it is seen any more.
    void AfterUnplug() {
        if (m_plugged < 0)
            return;
        if (!m_program->Bus().Frame(*m_service).IsGone())
            m_program->Bus().Unplug(*m_service);
        store::FinishTransfer();
        Plugged().flash = m_program->Bus().Frame(*m_service).FlashBytes();
        m_plugged = -1;
        m_seen.clear();
        ++m_tally.unplugged;
        Demand(!fuzz::IsOnline(), "an unplugged frame is not online");
    }

    // A download ended, well or not.
    void AfterDownload(Frame& frame, const Bytes& flash, bool done) {
        ++m_tally.downloads;
        if (done) {
            Pictures surplus = m_seen;
            Demand(OnFlash(flash).size() == m_seen.size() && TakeAll(surplus, OnFlash(flash)),
                   "a download that is done has put the list on the frame");
            Demand(frame.broken || OnFlash(flash) == m_seen, "in the list's order");
            frame.stored = m_seen = OnFlash(flash);
            m_fromFrame = m_seen.size();
            frame.waiting.clear();
            frame.deleted.clear();
            frame.broken = frame.anyOrder = false;
            return;
        }
        ++m_tally.failedDownloads;
        Note("  failed");
        if (Online() && &frame == &Plugged()) {
            Pictures surplus = Listed();
            Demand(surplus.size() == m_seen.size() && TakeAll(surplus, m_seen),
                   "a download loses no picture");
            // One that was to mend a broken-off one has put the list into its old order.
            Demand(frame.broken || Listed() == m_seen, "nor the order");
            m_seen = Listed();
        }
        frame.stored = m_seen;
        frame.waiting.clear();
        frame.anyOrder = frame.broken;
        frame.broken = true;
    }

    // A picture that only waits is gone for good; one in the frame is there until a download.
    void Forget(std::size_t index) {
        Frame& frame = Plugged();
        if (frame.broken)
            TakeAll(index < frame.stored.size() ? frame.stored : frame.waiting, {m_seen[index]});
        else if (index >= m_fromFrame)
            frame.waiting.erase(frame.waiting.begin() + static_cast<std::ptrdiff_t>(index - m_fromFrame));
        if (frame.broken || index < m_fromFrame)
            frame.deleted.push_back(m_seen[index]);
        m_fromFrame -= index < m_fromFrame ? 1 : 0;
        m_seen.erase(m_seen.begin() + static_cast<std::ptrdiff_t>(index));
    }

    // What the table on a flash lists, read without the program's help.
    static Pictures OnFlash(const Bytes& flash) {
        Pictures found;
        for (std::size_t at = kTable + 16; at < kTable + 16 + 509 * 8; at += 8) {
            const ByteSpan slot = ByteSpan(flash).subspan(at, 8);
            const auto address = static_cast<std::size_t>(GetLe24(slot.subspan(1)));
            const auto length = static_cast<std::size_t>(GetLe24(slot.subspan(5)));
            if (slot[0] == 1 && address + length <= flash.size())
                found.emplace_back(flash.begin() + static_cast<std::ptrdiff_t>(address),
                                   flash.begin() + static_cast<std::ptrdiff_t>(address + length));
        }
        return found;
    }

    // The steps. One that makes no sense at the moment does nothing.
    void Attach() {
        if (m_plugged >= 0)
            return;
        PlugIn(static_cast<int>(Random(2)), SomeFaults());
        m_program->Settle();
        ExpectList();
    }

    void AttachAndUnplugAtOnce() {
        if (m_plugged >= 0)
            return;
        PlugIn(static_cast<int>(Random(2)), {});
        std::this_thread::sleep_for(std::chrono::microseconds(Random(3000)));
        Note("unplug it at once");
        const Frame& frame = Plugged();
        const Bytes before = frame.flash;
        AfterUnplug();
        Demand(frame.flash == before, "connecting changes no byte");
    }

    void Detach() {
        if (m_plugged < 0)
            return;
        Note("unplug");
        AfterUnplug();
    }

    void Add() {
        if (!Online())
            return;
        const Path source = Source(Random(kSources));
        Note("add " + source.filename().string());
        const int free = store::Store().TotolFlashSizeForPic;
        const picture::BatchReport report = picture::AddPictures({source}, {}, picture::AfterRefusal::GoOn);
        if (!report.added.empty()) {
            const Bytes stream = ReadFile(store::StreamPath(report.added[0].picture.name)).value_or(Bytes());
            Demand(static_cast<int>(stream.size()) == report.added[0].picture.bytes && !stream.empty(),
                   "an added picture has its stream");
            m_seen.push_back(stream);
            Plugged().waiting.push_back(stream);
        } else {
            const int limit = Plugged().limit;
            Demand((limit != 0 && static_cast<int>(m_seen.size()) >= limit) || free < 4096,
                   "a picture that fits is taken");
        }
    }

    // The batch's own task, and the plug pulled meanwhile.
    void AddBatchAndUnplug() {
        if (!Online() || !store::StartTransfer())
            return;
        Note("add a batch and unplug");
        std::vector<Path> files;
        for (unsigned count = 1 + Random(4); count > 0; --count)
            files.push_back(Source(Random(kSources)));
        Plugged().perhaps = files.size();
        platform::Task task([&files] { picture::ProcessMorePic(files); });
        std::this_thread::sleep_for(std::chrono::microseconds(Random(3000)));
        m_program->Bus().Unplug(*m_service);
        task.Join();
        AfterUnplug();
    }

    void Delete() {
        if (!Online() || m_seen.empty())
            return;
        const unsigned position = Random(static_cast<unsigned>(m_seen.size()) + 1);  // 0: none is selected
        Note("delete " + std::to_string(position));
        store::Store().gmyCurrentSelectItem = static_cast<int>(position);
        store::DeletePictures();
        Forget(position == 0 ? m_seen.size() - 1 : position - 1);
    }

    void DeleteAll() {
        if (!Online())
            return;
        Note("delete all");
        store::Store().gmyDeleteAll = true;
        store::DeletePictures();
        store::Store().gmyDeleteAll = false;
        while (!m_seen.empty())
            Forget(m_seen.size() - 1);
    }

    void Download() {
        if (!Online())
            return;
        Note("download");
        const bool done = fuzz::DownloadNow(m_program->Bus());
        AfterDownload(Plugged(), m_program->Bus().Frame(*m_service).FlashBytes(), done);
        if (!Online())
            AfterUnplug();
    }

    // The frame vanishes with one command of many half done.
    void DownloadBrokenOff() {
        if (!Online())
            return;
        const unsigned command = 1 + Random(45);
        Note("after " + std::to_string(command) + " commands the frame vanishes");
        m_program->Bus().Order(*m_service, {command, vframe::FaultKind::Half});
        m_program->Bus().Order(*m_service, {command + 1, vframe::FaultKind::Unplug});
        Download();
    }

    void DownloadAndUnplug() {
        if (!Online() || !store::BeginDownload())
            return;
        Note("download and unplug");
        bool done = false;
        platform::Task task([&done] { done = store::TranspotPic(); });
        std::this_thread::sleep_for(std::chrono::microseconds(Random(1200)));
        platform::BusService& first = *m_service;
        const int firstFrame = std::exchange(m_plugged, -1);
        m_program->Bus().Unplug(first);
        if (Random(2) == 0)
            PlugIn(1 - firstFrame, {});  // while the task of the first may still be ending
        task.Join();
        m_program->Settle();

        Frame& frame = m_frames[static_cast<std::size_t>(firstFrame)];
        frame.flash = m_program->Bus().Frame(first).FlashBytes();
        AfterDownload(frame, frame.flash, done);
        ++m_tally.unplugged;
        m_seen.clear();
        if (m_plugged >= 0)
            ExpectList();
    }

    void Save() {
        if (!Online())
            return;
        Note("save");
        const Path folder = m_home / "saved";
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
        std::filesystem::create_directory(folder, ignored);
        const store::SaveReport report = store::SavePictures(folder);
        Demand(report.failed.empty() && report.saved == static_cast<int>(m_seen.size()),
               "every picture that is seen can be saved");
    }

    // One program drives one frame: the second is not even looked at.
    void OtherFrame() {
        if (!Online())
            return;
        Note("a second frame comes and goes");
        const Bytes flash = m_frames[static_cast<std::size_t>(1 - m_plugged)].flash;
        platform::BusService& service =
            m_program->Bus().Plug(vframe::FlashImage::InMemory(flash, "the other frame"));
        const bool stillThere = Online();
        m_program->Bus().Unplug(service);
        Demand(m_program->Bus().Frame(service).FlashBytes() == flash, "a second frame is left alone");
        if (!stillThere)
            AfterUnplug();
    }

    // The program ends, as it stands, and another one begins.
    void Restart() {
        Note("restart");
        if (m_plugged >= 0)
            Plugged().flash = m_program->Bus().Frame(*m_service).FlashBytes();
        m_plugged = -1;
        m_seen.clear();
        m_program.reset();
        m_program.emplace(m_home, StateFolder());
    }

    void Check() {
        for (int i = 0; i < 2; ++i) {
            const Bytes flash = i == m_plugged ? m_program->Bus().Frame(*m_service).FlashBytes()
                                               : m_frames[static_cast<std::size_t>(i)].flash;
            const Bytes& firmware = m_frames[static_cast<std::size_t>(i)].firmware;
            Demand(std::equal(firmware.begin(), firmware.end(), flash.begin()), "firmware is never written");
        }
        if (!Online())
            return;
        const store::StoreState& store = store::Store();
        Demand(store.gmyPictureData->count == static_cast<int>(m_seen.size()) &&
                   store.gmyTotalePictureNum == static_cast<int>(m_seen.size()),
               "the list is as long as what is seen");
        std::int32_t used = 0;
        for (std::size_t i = 0; i < m_seen.size() && m_fault.empty(); ++i) {
            const auto* record = store::GetNode(store.gmyPictureData.get(), static_cast<int>(i) + 1);
            Demand(ReadFile(store::StreamPath(record->fileName)).value_or(Bytes()) == m_seen[i],
                   "each picture has its own bytes");
            used += record->picSize;
        }
        Demand(store.TotolFlashSizeForPic ==
                   store.G_FlashTotalSize - static_cast<std::int32_t>(kTable) - 4096 - used,
               "the free space is what no picture takes");
    }

    [[nodiscard]] bool Online() const { return m_plugged >= 0 && fuzz::IsOnline(); }
    Frame& Plugged() { return m_frames[static_cast<std::size_t>(m_plugged)]; }
    [[nodiscard]] Path StateFolder() const { return m_home / "state"; }
    [[nodiscard]] Path Source(unsigned number) const {
        return m_home / ("source" + std::to_string(number) + ".bmp");
    }

    Path m_home;
    std::mt19937 m_random;
    Tally& m_tally;
    std::string m_steps;
    std::string m_fault;
    std::array<Frame, 2> m_frames;
    std::optional<fuzz::StoreProgram> m_program;
    platform::BusService* m_service = nullptr;
    int m_plugged = -1;
    Pictures m_seen;              // what the user sees while a frame is online
    std::size_t m_fromFrame = 0;  // so many of them, from the first on, the frame holds
};

unsigned Setting(const char* name, unsigned otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? static_cast<unsigned>(std::strtoul(value, nullptr, 10)) : otherwise;
}

TEST(Lives, WhatIsSeenIsWhatThereIs) {
    const test::TemporaryFolder home;
    Life::MakeSources(home.Get());
    const unsigned first = Setting("LUMATO_LIVES_SEED", 1);
    const unsigned count = Setting("LUMATO_LIVES", 200);
    Tally tally;
    for (unsigned seed = first; seed < first + count; ++seed) {
        const std::string fault = Life(home.Get(), seed, tally).Run();
        ASSERT_EQ(fault, "") << "LUMATO_LIVES_SEED=" << seed << " LUMATO_LIVES=1";
    }
    std::printf(
        "%d lives, %d steps, %d downloads, %d of them failed, %d unplugged, pictures waited at %d "
        "connections, %d after a failed download\n",
        tally.lives, tally.steps, tally.downloads, tally.failedDownloads, tally.unplugged, tally.waitingBack,
        tally.recovered);
    EXPECT_TRUE(count < 100 || (tally.downloads > 0 && tally.failedDownloads > 0 && tally.unplugged > 0 &&
                                tally.waitingBack > 0 && tally.recovered > 0));
}

}  // namespace
}  // namespace lumato::lives
