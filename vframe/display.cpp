#include "vframe/display.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "jpeg/decoder.h"
#include "vframe/device_information.h"

namespace lumato::vframe {
namespace {

// As many as are decoded of a frame that is connected; no display of a frame has nearly as many.
constexpr std::int64_t kMostPixels = std::int64_t{20} << 20;
constexpr std::size_t kTableSize = 4096;
constexpr std::string_view kTableMark = "ABFS";
constexpr std::size_t kAtFirstSlot = 16;
constexpr std::size_t kSlotSize = 8;
constexpr std::size_t kSlots = (kTableSize - kAtFirstSlot) / kSlotSize;
constexpr std::uint8_t kStored = 1;

struct Area {
    std::uint64_t begin = 0;  // the table's address
    std::uint64_t end = 0;
};

tl::unexpected<Error> NoFrame(const char* why) {
    return Fail(ErrorKind::Unsupported, Phrase("", "no frame's flash: {0}", why));
}

bool Holds(ByteSpan bytes, std::size_t at, std::string_view text) {
    return std::equal(text.begin(), text.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

bool HasFirmware(ByteSpan flash) {
    return Holds(flash, kAtFirmwareMark, kFirmwareMark) &&
           Sum16(flash.subspan(kAtFirmwareMark, kFirmwareMark.size() + 1)) % 0x100 == 0;
}

// None when the firmware header leads out of the flash.
std::optional<std::uint32_t> TableAddress(ByteSpan flash) {
    if (!HasFirmware(flash))
        return GetLe24(flash.subspan(kAtTableAddress));
    const std::uint32_t pointer = GetLe24(flash.subspan(kAtFirmwarePointer));
    if (pointer < kFirmwareRecordBack || pointer - kFirmwareRecordBack + kFirmwareRecordSize > flash.size())
        return std::nullopt;
    return RoundUpToBlock(GetLe24(flash.subspan(pointer - kFirmwareRecordBack + kAtFirmwareEnd)));
}

bool IsTable(ByteSpan table) {
    return Holds(table, 0, kTableMark) && table[kTableSize - 2] == 0x55 && table[kTableSize - 1] == 0xAA;
}

std::vector<ByteSpan> StreamsOf(ByteSpan flash, Area area) {
    const ByteSpan table = flash.subspan(area.begin, kTableSize);
    std::vector<ByteSpan> streams;
    if (!IsTable(table))
        return streams;
    for (std::size_t i = 0; i < kSlots; ++i) {
        const ByteSpan slot = table.subspan(kAtFirstSlot + i * kSlotSize, kSlotSize);
        const std::uint64_t begin = GetLe24(slot.subspan(1));
        const std::uint64_t length = GetLe24(slot.subspan(5));
        if (slot[0] == kStored && begin >= area.begin && begin + length <= area.end)
            streams.push_back(flash.subspan(begin, length));
    }
    return streams;
}

Screen ToScreen(const jpeg::DecodedPicture& picture) {
    Screen screen{picture.width, picture.height, {}};
    screen.pixels.reserve(static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height) *
                          3);
    for (int y = 0; y < picture.height; ++y) {
        const std::uint8_t* pixel = picture.pixels.data() + static_cast<std::size_t>(y) *
                                                                static_cast<std::size_t>(picture.stride) * 3;
        for (int x = 0; x < picture.width; ++x, pixel += 3)
            screen.pixels.insert(screen.pixels.end(), {pixel[2], pixel[1], pixel[0]});
    }
    return screen;
}

}  // namespace

Display::Display(int width, int height, std::vector<ByteSpan> streams)
    : m_width(width), m_height(height), m_streams(std::move(streams)) {}

Result<Display> Display::PowerOn(ByteSpan flash) {
    if (flash.size() < 2 * kBlock)
        return NoFrame("too short");
    const int width = GetLe16(flash.subspan(kAtLcdWidth));
    const int height = GetLe16(flash.subspan(kAtLcdHeight));
    if (width == 0 || height == 0)
        return NoFrame("it has no LCD size");
    if (std::int64_t{width} * height > kMostPixels)
        return NoFrame("its LCD has more pixels than can be shown here");
    const std::optional<std::uint32_t> table = TableAddress(flash);
    const std::uint64_t end = std::min<std::uint64_t>(GetLe24(flash.subspan(kAtFlashSize)), flash.size());
    if (!table || *table % kBlock != 0 || *table < kBlock || std::uint64_t{*table} + kBlock > end)
        return NoFrame("its picture table lies outside");
    return Display(width, height, StreamsOf(flash, {*table, end}));
}

std::size_t Display::Count() const {
    return static_cast<std::size_t>(std::count_if(
        m_streams.begin(), m_streams.end(),
        [this](ByteSpan stream) { return jpeg::DecodeStream(stream, m_width, m_height).has_value(); }));
}

Result<Screen> Display::Show(std::size_t position) const {
    std::size_t shown = 0;
    for (const ByteSpan stream : m_streams) {
        const auto picture = jpeg::DecodeStream(stream, m_width, m_height);
        if (picture && ++shown == position)
            return ToScreen(*picture);
    }
    return Fail(ErrorKind::NotFound, "no picture at position " + std::to_string(position) +
                                         ": the frame has " + std::to_string(shown));
}

}  // namespace lumato::vframe
