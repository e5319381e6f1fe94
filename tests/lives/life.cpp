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

// A picture's stream of some hundred bytes.
Bytes MakeStream(int side, std::mt19937& random) {
    constexpr int kMode = 3;
    Bytes pixels(static_cast<std::size_t>(side * side * 3));
    std::ranges::generate(pixels, [&] { return static_cast<std::uint8_t>(random()); });
    Bytes stream(jpeg::MaximumStreamSize(side, side, kMode));
    int size = 0;
    jpeg::CVaskJpegEncoder(90).CompressImage(pixels.data(), stream.data(), side, side, size, kMode);
    stream.resize(static_cast<std::size_t>(size));
    return stream;
}

// The pictures of the list, as their files have them.
Pictures Listed() {
    Pictures listed;
    for (const store::FileData& record : store::EachOf(store::Store().gmyPictureData))
        listed.push_back(ReadFile(store::StreamPath(record.fileName)).value_or(Bytes()));
    return listed;
}

}  // namespace

Life::Life(const Path& folder, unsigned seed, Tally& tally)
    : m_folder(folder / "life"), m_sources(folder), m_random(seed), m_tally(tally) {
    std::filesystem::remove_all(m_folder);
    std::filesystem::create_directories(m_folder / "home");
    for (std::size_t i = 0; i < m_frames.size(); ++i)
        m_frames[i] = MakeFrame(i);
    Begin(true);
}

std::string Life::Run() {
    static constexpr std::pair<int, void (Life::*)()> kSteps[] = {
        {4, &Life::Attach},
        {1, &Life::Detach},
        {4, &Life::Add},
        {1, &Life::Delete},
        {1, &Life::DeleteAll},
        {3, &Life::Download},
        {2, &Life::Restart},
        {1, &Life::DownloadAndUnplug},
        {1, &Life::DownloadAndKill},
        {1, &Life::DownloadAndStop},
        {2, &Life::DownloadBrokenOff},
        {1, &Life::AttachAndUnplugAtOnce},
        {1, &Life::AddBatchAndUnplug},
    };
    ++m_tally["lives"];
    for (unsigned left = 10 + Random(30); left > 0 && m_fault.empty(); --left) {
        ++m_tally["steps"];
        int choice = static_cast<int>(Random(23));
        const auto* step = std::begin(kSteps);
        while (choice >= step->first)
            choice -= (step++)->first;
        (this->*step->second)();
        if (m_plugged && !Online())
            AfterUnplug();
        Check();
    }
    // What is kept of a frame shows when it comes again.
    for (std::size_t frame = 0; frame < m_frames.size() && m_fault.empty(); ++frame) {
        Detach();
        PlugIn(frame, {});
        m_program->Settle();
        ExpectList();
        Demand(m_plugged.has_value(), "a frame without a fault comes online");
    }
    return m_fault;
}

void Life::MakeSources(const Path& folder) {
    std::mt19937 random(7);
    for (unsigned number = 0; number < kSources; ++number) {
        const int side = number % 2 == 0 ? 8 : 16;
        Bytes pixels(static_cast<std::size_t>(side * side * 3));
        std::ranges::generate(pixels,
                              [&] { return static_cast<std::uint8_t>(random() % (20 * number + 1)); });
        if (!picture::SaveBmpFile(pixels, side, side, folder / ("source" + std::to_string(number) + ".bmp")))
            std::abort();
    }
}

void Life::Demand(bool kept, const std::string& promise) {
    if (!kept && m_fault.empty())
        m_fault = promise + ", after:\n" + m_steps;
}

// Often the next pictures share a block with stored ones, or the stored ones lie across two blocks.
Frame Life::MakeFrame(std::size_t number) {
    constexpr std::array<std::uint32_t, 3> kErases{0x20, 0x52, 0xD8};
    Frame frame;
    vframe::NewFrame options;
    frame.lcd = Random(2) == 0 ? 8 : 16;
    frame.limit = Random(3) == 0 ? 3 : 0;
    options.lcdWidth = options.lcdHeight = static_cast<std::uint32_t>(frame.lcd);
    options.pictureLimit = static_cast<std::uint32_t>(frame.limit);
    options.flashSize = (number == 0 ? 0x28000 : 0x38000) + 0x8000 * Random(2);
    options.eraseInstruction = kErases[Random(3)];
    frame.flash = vframe::MakeFlash(options).value();
    for (std::size_t at = 1024; at < kTable; ++at)
        frame.flash[at] = static_cast<std::uint8_t>(at * at >> 4);
    frame.firmware.assign(frame.flash.begin(), frame.flash.begin() + kTable);
    test::PutTable(frame.flash, kTable);
    std::size_t address = Random(3) == 0 ? kTable + test::kTableBytes : 0x20000 - Random(2000);
    for (unsigned slot = 1, count = Random(4); slot <= count; ++slot)
        address = test::PutPicture(frame.flash, kTable, slot, MakeStream(frame.lcd, m_random), address);
    frame.reference.stored = OnFlash(frame.flash);
    frame.image = m_folder / ("frame" + std::to_string(number));
    test::PutBytes(frame.image, frame.flash);
    return frame;
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
}

// What follows a plug-in: the list is the one that this frame must show, or the frame was refused.
void Life::ExpectList() {
    Frame& frame = Plugged();
    Demand(PluggedFlash() == frame.flash, "connecting changes no byte");
    if (!Online())
        return AfterUnplug();
    Reference& reference = frame.reference;
    m_seen = Listed();
    Demand(reference.Explains(m_seen), "a frame that comes online shows what is its own");
    m_tally["connected after a failed download"] += reference.broken ? 1 : 0;
    m_fromFrame = InFrame();
    m_tally["connected while pictures wait"] += m_fromFrame < m_seen.size() ? 1 : 0;
    Demand(reference.broken || m_fromFrame == reference.stored.size() || OnFlash(frame.flash).empty(),
           "what the table lists is in the frame");
    reference.TakeOver(m_seen, m_fromFrame);
}

std::size_t Life::InFrame() const {
    return static_cast<std::size_t>(
        std::ranges::count(store::EachOf(store::Store().gmyPictureData), 1, &store::FileData::inFrame));
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
    ++m_tally["unplugged"];
    Demand(!fuzz::IsOnline(), "an unplugged frame is not online");
}

// A download ended, well or not.
void Life::AfterDownload(std::size_t index, bool done) {
    ++m_tally["downloads"];
    Frame& frame = m_frames[index];
    const bool wasBroken = frame.reference.broken;
    if (done) {
        Pictures surplus = m_seen;
        const Pictures onFlash = OnFlash(frame.flash);
        Demand(onFlash.size() == m_seen.size() && TakeAll(surplus, onFlash),
               "a download that is done has put the list on the frame");
        Demand(wasBroken || onFlash == m_seen, "in the list's order");
        m_seen = onFlash;
        m_fromFrame = m_seen.size();
        frame.reference.AfterDownload(onFlash);
        return;
    }
    ++m_tally["failed downloads"];
    Note("  failed");
    if (Online() && index == *m_plugged) {
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

// The program ends, as it stands, and another one begins.
void Life::Begin(bool first) {
    if (!first && m_plugged)
        Plugged().flash = PluggedFlash();
    m_plugged.reset();
    m_seen.clear();
    m_program.reset();
    m_program.emplace(m_folder / "home", m_folder / "home/state");
}

void Life::Check() {
    if (m_plugged)
        Plugged().flash = PluggedFlash();
    for (const Frame& frame : m_frames)
        Demand(std::equal(frame.firmware.begin(), frame.firmware.end(), frame.flash.begin()),
               "firmware is never written");
    if (!Online())
        return;
    const store::StoreState& store = store::Store();
    Demand(store.gmyPictureData->count == store.gmyTotalePictureNum && Listed() == m_seen,
           "each picture that is seen is in the list, with its own bytes");
    std::int32_t used = 0;
    for (const Bytes& picture : m_seen)
        used += static_cast<std::int32_t>(picture.size());
    Demand(store.TotolFlashSizeForPic ==
               store.geometry.writableEnd - static_cast<std::int32_t>(kTable + test::kTableBytes) - used,
           "the free space is what no picture takes");
}

}  // namespace lumato::lives
