#include "tests/lives/life.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <utility>

#include "jpeg/encoder.h"
#include "picture/add_pictures.h"
#include "picture/bitmap_file.h"
#include "store/transfer.h"
#include "tests/support/picture_table.h"
#include "vframe/new_frame.h"

namespace lumato::lives {
namespace {

constexpr unsigned kSources = 6;
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

// The pictures of the list, as their files have them.
Pictures Listed() {
    Pictures listed;
    for (const store::FileData* record : Records())
        listed.push_back(ReadFile(store::StreamPath(record->fileName)).value_or(Bytes()));
    return listed;
}

// Back to back from `address` on, and the table that lists them.
void PutPictures(Bytes& flash, const Pictures& pictures, std::size_t address) {
    test::PutTable(flash, kTable);
    for (std::size_t i = 0; i < pictures.size(); ++i)
        address = test::PutPicture(flash, kTable, i + 1, pictures[i], address);
}

}  // namespace

Life::Life(const Path& home, unsigned seed, Tally& tally) : m_home(home), m_random(seed), m_tally(tally) {
    std::error_code ignored;
    std::filesystem::remove_all(StateFolder(), ignored);
    m_program.emplace(m_home, StateFolder());
    MakeFrames();
}

std::string Life::Run() {
    constexpr void (Life::*kSteps[])() = {&Life::Attach,
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

void Life::MakeSources(const Path& home) {
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

void Life::Demand(bool kept, const std::string& promise) {
    if (!kept && m_fault.empty())
        m_fault = promise + ", after:\n" + m_steps;
}

// Of two sizes: what else they say of themselves may be the same, and then nobody could tell them apart.
void Life::MakeFrames() {
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
            frame.reference.stored.push_back(MakeStream(frame.lcd, m_random));
        PutPictures(frame.flash, frame.reference.stored, Random(3) == 0 ? kArea : 0x20000 - Random(2000));
        frame.firmware.assign(frame.flash.begin(), frame.flash.begin() + kTable);
    }
}

// None, single ones, which a second attempt mends, or a row of them, which outlasts all attempts.
std::vector<vframe::Fault> Life::SomeFaults() {
    const unsigned rows = Random(2);
    const unsigned longest = Random(2) == 0 ? 1 : 10 + Random(30);
    std::vector<vframe::Fault> faults;
    for (unsigned row = 0; row < rows; ++row) {
        const unsigned first = 1 + Random(160);
        const auto kind = static_cast<vframe::FaultKind>(Random(6));
        // Zeros for the data and for their sum agree: a frame that goes on lying is believed.
        const unsigned length = kind == vframe::FaultKind::Lie ? 1 : longest;
        Note("  " + std::to_string(length) + " commands from " + std::to_string(first) +
             " on will go wrong, kind " + std::to_string(static_cast<int>(kind)));
        for (unsigned command = first; command < first + length; ++command)
            faults.push_back({command, kind});
    }
    return faults;
}

void Life::PlugIn(int frame, std::vector<vframe::Fault> faults) {
    Note("plug in frame " + std::to_string(frame));
    m_plugged = frame;
    m_service = &m_program->Bus().Plug(
        vframe::FlashImage::InMemory(Plugged().flash, "frame " + std::to_string(frame)),
        {.faults = std::move(faults), .pace = 0});
}

// What follows a plug-in: the list is the one that this frame must show, or the frame was refused.
void Life::ExpectList() {
    Frame& frame = Plugged();
    Demand(PluggedFlash() == frame.flash, "connecting changes no byte");
    if (!Online())
        return AfterUnplug();
    m_seen = Listed();
    Demand(frame.reference.Explains(m_seen), "a frame that comes online shows what is its own");
    m_tally.recovered += frame.reference.broken ? 1 : 0;
    m_fromFrame = static_cast<std::size_t>(
        std::ranges::count_if(Records(), [](const store::FileData* record) { return record->inFrame == 1; }));
    m_tally.waitingBack += m_fromFrame < m_seen.size() ? 1 : 0;
    Demand(frame.reference.broken || frame.reference.stored.size() == m_fromFrame,
           "what the table lists is in the frame");
    frame.reference.TakeOver(m_seen, m_fromFrame);
}

// Vanished by a fault, refused, or pulled out: nothing of it is seen any more.
void Life::AfterUnplug() {
    if (m_plugged < 0)
        return;
    if (!m_program->Bus().Frame(*m_service).IsGone())
        m_program->Bus().Unplug(*m_service);
    store::FinishTransfer();
    Plugged().flash = PluggedFlash();
    m_plugged = -1;
    m_seen.clear();
    ++m_tally.unplugged;
    Demand(!fuzz::IsOnline(), "an unplugged frame is not online");
}

// A download ended, well or not.
void Life::AfterDownload(Frame& frame, const Bytes& flash, bool done) {
    ++m_tally.downloads;
    const bool wasBroken = frame.reference.broken;
    if (done) {
        Pictures surplus = m_seen;
        const Pictures onFlash = OnFlash(flash);
        Demand(onFlash.size() == m_seen.size() && TakeAll(surplus, onFlash),
               "a download that is done has put the list on the frame");
        Demand(wasBroken || onFlash == m_seen, "in the list's order");
        m_seen = onFlash;
        m_fromFrame = m_seen.size();
        frame.reference.AfterDownload(onFlash);
        return;
    }
    ++m_tally.failedDownloads;
    Note("  failed");
    if (Online() && &frame == &Plugged()) {
        const Pictures listed = Listed();
        Pictures surplus = listed;
        Demand(surplus.size() == m_seen.size() && TakeAll(surplus, m_seen), "a download loses no picture");
        // One that was to mend a broken-off one has put the list into its old order.
        Demand(wasBroken || listed == m_seen, "nor the order");
        m_seen = listed;
    }
    frame.reference.AfterFailedDownload(m_seen);
}

void Life::Forget(std::size_t index) {
    Plugged().reference.Forget(m_seen, index, m_fromFrame);
    m_fromFrame -= index < m_fromFrame ? 1 : 0;
    m_seen.erase(m_seen.begin() + static_cast<std::ptrdiff_t>(index));
}

void Life::Attach() {
    if (m_plugged >= 0)
        return;
    PlugIn(static_cast<int>(Random(2)), SomeFaults());
    m_program->Settle();
    ExpectList();
}

void Life::AttachAndUnplugAtOnce() {
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

void Life::Detach() {
    if (m_plugged < 0)
        return;
    Note("unplug");
    AfterUnplug();
}

void Life::Add() {
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
        Plugged().reference.waiting.push_back(stream);
    } else {
        const int limit = Plugged().limit;
        Demand((limit != 0 && static_cast<int>(m_seen.size()) >= limit) || free < 4096,
               "a picture that fits is taken");
    }
}

// The batch's own task, and the plug pulled meanwhile.
void Life::AddBatchAndUnplug() {
    if (!Online() || !store::StartTransfer())
        return;
    Note("add a batch and unplug");
    std::vector<Path> files;
    for (unsigned count = 1 + Random(4); count > 0; --count)
        files.push_back(Source(Random(kSources)));
    Plugged().reference.perhaps = files.size();
    platform::Task task([&files] { picture::ProcessMorePic(files); });
    std::this_thread::sleep_for(std::chrono::microseconds(Random(3000)));
    m_program->Bus().Unplug(*m_service);
    task.Join();
    AfterUnplug();
}

void Life::Delete() {
    if (!Online() || m_seen.empty())
        return;
    const unsigned position = Random(static_cast<unsigned>(m_seen.size()) + 1);  // 0: none is selected
    Note("delete " + std::to_string(position));
    store::Store().gmyCurrentSelectItem = static_cast<int>(position);
    store::DeletePictures();
    Forget(position == 0 ? m_seen.size() - 1 : position - 1);
}

void Life::DeleteAll() {
    if (!Online())
        return;
    Note("delete all");
    store::Store().gmyDeleteAll = true;
    store::DeletePictures();
    store::Store().gmyDeleteAll = false;
    while (!m_seen.empty())
        Forget(m_seen.size() - 1);
}

void Life::Download() {
    if (!Online())
        return;
    Note("download");
    const bool done = fuzz::DownloadNow(m_program->Bus());
    AfterDownload(Plugged(), PluggedFlash(), done);
    if (!Online())
        AfterUnplug();
}

// The frame vanishes with one command of many half done.
void Life::DownloadBrokenOff() {
    if (!Online())
        return;
    const unsigned command = 1 + Random(45);
    Note("after " + std::to_string(command) + " commands the frame vanishes");
    m_program->Bus().Order(*m_service, {command, vframe::FaultKind::Half});
    m_program->Bus().Order(*m_service, {command + 1, vframe::FaultKind::Unplug});
    Download();
}

void Life::DownloadAndUnplug() {
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

void Life::Save() {
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
void Life::OtherFrame() {
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
void Life::Restart() {
    Note("restart");
    if (m_plugged >= 0)
        Plugged().flash = PluggedFlash();
    m_plugged = -1;
    m_seen.clear();
    m_program.reset();
    m_program.emplace(m_home, StateFolder());
}

void Life::Check() {
    for (int i = 0; i < 2; ++i) {
        const Bytes flash = i == m_plugged ? PluggedFlash() : m_frames[static_cast<std::size_t>(i)].flash;
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

}  // namespace lumato::lives
