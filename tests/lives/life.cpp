#include "tests/lives/life.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "jpeg/encoder.h"
#include "picture/bitmap_file.h"
#include "store/transfer.h"
#include "tests/support/picture_table.h"
#include "tests/support/temporary_folder.h"
#include "vframe/new_frame.h"

namespace lumato::lives {
namespace {

constexpr unsigned kFaultKinds = 6;
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

Life::Life(const Path& folder, unsigned seed, Tally& tally)
    : m_folder(folder / "life"), m_sources(folder), m_random(seed), m_tally(tally) {
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
    for (std::size_t home = 0; home < kHomes; ++home) {
        m_world.homes[home].folder = m_folder / ("home" + std::to_string(home));
        std::filesystem::create_directories(m_world.homes[home].folder, ignored);
    }
    MakeFrames();
    StartProgram(0);
}

std::string Life::Run() {
    constexpr void (Life::*kSteps[])() = {&Life::Attach,
                                          &Life::Attach,
                                          &Life::Attach,
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
                                          &Life::Clone,
                                          &Life::Restart,
                                          &Life::OtherHome,
                                          &Life::OtherHome,
                                          &Life::DownloadAndUnplug,
                                          &Life::DownloadAndKill,
                                          &Life::DownloadAndStop,
                                          &Life::DownloadBrokenOff,
                                          &Life::DownloadBrokenOff,
                                          &Life::AttachAndUnplugAtOnce,
                                          &Life::AddBatchAndUnplug};
    ++m_tally.lives;
    for (unsigned left = 10 + Random(30); left > 0 && m_fault.empty(); --left) {
        ++m_tally.steps;
        (this->*kSteps[Random(std::size(kSteps))])();
        if (m_plugged && !Online())
            AfterUnplug();
        Check();
    }
    m_tally.overwritten += m_world.overwritten;
    return m_fault;
}

void Life::MakeSources(const Path& folder) {
    std::mt19937 random(7);
    for (unsigned number = 0; number < kSources; ++number) {
        const int side = number % 2 == 0 ? 8 : 16;
        Bytes pixels(static_cast<std::size_t>(side * side * 3));
        for (std::uint8_t& byte : pixels)
            byte = static_cast<std::uint8_t>(random() % (20 * number + 1));
        const auto made =
            picture::SaveBmpFile(pixels, side, side, folder / ("source" + std::to_string(number) + ".bmp"));
        if (!made)
            std::abort();
    }
}

void Life::Demand(bool kept, const std::string& promise) {
    if (!kept && m_fault.empty())
        m_fault = promise + ", after:\n" + m_steps;
}

Path Life::NewImage(std::size_t number, const Bytes& flash) {
    const Path image = m_folder / ("frame" + std::to_string(number));
    test::PutBytes(image, flash);
    return image;
}

Frame Life::MakeFrame(std::uint32_t flashSize) {
    constexpr std::array<std::uint32_t, 3> kErases{0x20, 0x52, 0xD8};
    Frame frame;
    vframe::NewFrame options;
    frame.lcd = Random(2) == 0 ? 8 : 16;
    frame.limit = Random(3) == 0 ? 3 : 0;
    options.lcdWidth = options.lcdHeight = static_cast<std::uint32_t>(frame.lcd);
    options.pictureLimit = static_cast<std::uint32_t>(frame.limit);
    options.flashSize = flashSize + 0x8000 * Random(2);
    options.eraseInstruction = kErases[Random(3)];
    frame.flash = vframe::MakeFlash(options).value();
    for (std::size_t at = 1024; at < kTable; ++at)
        frame.flash[at] = static_cast<std::uint8_t>(at * at >> 4);
    return frame;
}

// Two twins, as a rule, with the same pictures or each with its own, or as they left the factory.
void Life::MakeFrames() {
    m_world.frames = {MakeFrame(0x28000), MakeFrame(0x38000)};
    if (Random(4) > 0)
        m_world.frames[1] = m_world.frames[0];
    else
        m_world.frames[1].model = 1;
    for (Frame& frame : m_world.frames) {
        // Often the next pictures share a block with stored ones, or the stored ones lie across two
        // blocks.
        Pictures stored;
        for (unsigned count = Random(4); count > 0; --count)
            stored.push_back(MakeStream(frame.lcd, m_random));
        PutPictures(frame.flash, stored, Random(3) == 0 ? kArea : 0x20000 - Random(2000));
        Append(m_world.everyPicture, stored);
    }
    if (m_world.frames[1].model == 0 && Random(2) == 0)
        m_world.frames[1] = m_world.frames[0];
    m_lastHome.assign(m_world.frames.size(), 0);
    for (std::size_t i = 0; i < m_world.frames.size(); ++i) {
        Frame& frame = m_world.frames[i];
        frame.firmware.assign(frame.flash.begin(), frame.flash.begin() + kTable);
        frame.on.fill(m_world.Unknown(frame.flash));
        frame.image = NewImage(i, frame.flash);
    }
}

// None, single ones, which a second attempt mends, or a row of them, which outlasts all attempts. Of lies no
// row: zeros and their sum of zero pass for what the frame holds.
std::vector<vframe::Fault> Life::SomeFaults() {
    if (Random(2) == 0)
        return {};
    const auto kind = static_cast<vframe::FaultKind>(Random(kFaultKinds));
    const bool single = Random(2) == 0 || kind == vframe::FaultKind::Lie;
    const unsigned length = single ? 1 : 10 + Random(30);
    const unsigned first = 1 + Random(160);
    Note("  " + std::to_string(length) + " commands from " + std::to_string(first) +
         " on will go wrong, kind " + std::to_string(static_cast<int>(kind)));
    std::vector<vframe::Fault> faults;
    for (unsigned command = first; command < first + length; ++command)
        faults.push_back({command, kind});
    return faults;
}

void Life::PlugIn(std::size_t frame, std::vector<vframe::Fault> faults) {
    Note("plug in frame " + std::to_string(frame));
    m_plugged = m_lastFrame = frame;
    m_service = m_program->Bus().Plug(Plugged().image, {.faults = std::move(faults), .pace = 0}).value();
    m_tally.homeChanges += std::exchange(m_lastHome[frame], m_home) == m_home ? 0 : 1;
    m_tally.twins += m_world.Foreign(frame, m_home).empty() ? 0 : 1;
}

// What follows a plug-in: the list is the one that this frame must show, or the frame was refused.
void Life::ExpectList() {
    Frame& frame = Plugged();
    Demand(PluggedFlash() == frame.flash, "connecting changes no byte");
    if (!Online())
        return AfterUnplug();
    Reference& reference = PluggedReference();
    const Pictures foreign = m_world.Foreign(*m_plugged, m_home);
    m_seen = Listed();
    Demand(reference.Explains(m_seen, foreign), "a frame that comes online shows what is its own");
    m_tally.recovered += reference.broken ? 1 : 0;
    m_fromFrame = InFrame();
    m_tally.waitingBack += m_fromFrame < m_seen.size() ? 1 : 0;
    Demand(reference.broken || reference.unknown || m_fromFrame == reference.stored.size() ||
               OnFlash(frame.flash).empty(),
           "what the table lists is in the frame");
    reference.TakeOver(m_seen, m_fromFrame, foreign);
    // What a download that was taken for failed has put under a whole table, the next journal may be without.
    if (reference.broken)
        Append(reference.onlyOnFrame, OnFlash(frame.flash));
}

std::size_t Life::InFrame() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(Records(), [](const store::FileData* record) { return record->inFrame == 1; }));
}

// Vanished by a fault, refused, or pulled out: nothing of it is seen any more.
void Life::AfterUnplug() {
    if (!m_plugged)
        return;
    if (!m_program->Bus().Frame(*m_service).IsGone())
        m_program->Bus().Unplug(*m_service);
    store::FinishTransfer();
    Plugged().flash = PluggedFlash();
    m_plugged.reset();
    m_seen.clear();
    ++m_tally.unplugged;
    Demand(!fuzz::IsOnline(), "an unplugged frame is not online");
}

// A download ended, well or not. `before`: the flash when it began.
void Life::AfterDownload(std::size_t index, const Bytes& before, bool done) {
    ++m_tally.downloads;
    Frame& frame = m_world.frames[index];
    Reference& reference = frame.on[m_home];
    if (frame.flash != before)
        m_world.AfterChange(index, m_home);
    const bool wasBroken = reference.broken;
    if (done) {
        Pictures surplus = m_seen;
        const Pictures onFlash = OnFlash(frame.flash);
        Demand(onFlash.size() == m_seen.size() && TakeAll(surplus, onFlash),
               "a download that is done has put the list on the frame");
        Demand(wasBroken || !reference.offered.empty() || onFlash == m_seen, "in the list's order");
        m_seen = onFlash;
        m_fromFrame = m_seen.size();
        m_world.AfterDownload(index, m_home, onFlash);
        return;
    }
    ++m_tally.failedDownloads;
    Note("  failed");
    if (Online() && index == *m_plugged) {
        const Pictures listed = Listed();
        Pictures surplus = listed;
        Demand(surplus.size() == m_seen.size() && TakeAll(surplus, m_seen), "a download loses no picture");
        // One that was to mend a broken-off one has put the list into its old order.
        Demand(wasBroken || !reference.offered.empty() || listed == m_seen, "nor the order");
        m_seen = listed;
    }
    reference.AfterFailedDownload(m_seen, m_fromFrame, frame.flash != before);
}

void Life::Forget(std::size_t index) {
    m_world.Deleted(m_seen[index]);
    PluggedReference().Forget(m_seen, index, m_fromFrame);
    m_fromFrame -= index < m_fromFrame ? 1 : 0;
    m_seen.erase(m_seen.begin() + static_cast<std::ptrdiff_t>(index));
}

// The program ends, as it stands, and another one begins.
void Life::StartProgram(std::size_t home) {
    if (m_plugged)
        Plugged().flash = PluggedFlash();
    m_plugged.reset();
    m_seen.clear();
    m_home = home;
    m_program.reset();
    m_program.emplace(m_world.homes[home].folder, m_world.homes[home].StateFolder());
}

void Life::Check() {
    if (m_plugged)
        Plugged().flash = PluggedFlash();
    for (const Frame& frame : m_world.frames)
        Demand(std::equal(frame.firmware.begin(), frame.firmware.end(), frame.flash.begin()),
               "firmware is never written");
    Demand(m_world.Lost() == 0, "no picture is lost");
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
               store.geometry.writableEnd - static_cast<std::int32_t>(kTable) - 4096 - used,
           "the free space is what no picture takes");
}

}  // namespace lumato::lives
