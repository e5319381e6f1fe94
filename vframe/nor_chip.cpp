#include "vframe/nor_chip.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "base/diagnostics.h"

namespace lumato::vframe {
namespace {

// What a failure of the image's disk becomes.
Sense Failure(Sense sense, const Error& error) {
    sense.detail = error.message.English();
    Diagnose(sense.detail);
    return sense;
}

}  // namespace

NorChip::NorChip(FlashImage image) : m_image(std::move(image)) {}

void NorChip::WriteEnable() {
    m_status |= kStatusWriteEnabled;
}

void NorChip::WriteStatus(std::uint8_t value) {
    if (ConsumeLatch())
        m_status = value & (kStatusBlockProtection | kStatusRegisterLock);
}

Reply NorChip::Erase(std::size_t unit, std::uint32_t address, Extent extent) {
    const std::size_t begin = address - address % unit;
    if (!OnChip(begin, unit))
        return Refuse(kOutOfRange);
    if (!ConsumeLatch() || Protected(begin, unit))
        return 0;
    return Store(begin, std::vector<std::uint8_t>(extent == Extent::Whole ? unit : unit / 2, 0xFF));
}

Reply NorChip::Program(std::uint32_t address, ByteSpan data) {
    if (!OnChip(address, data.size()))
        return Refuse(kOutOfRange);
    if (!ConsumeLatch() || Protected(address, data.size()))
        return data.size();
    std::vector<std::uint8_t> cells(data.size());
    if (Reply before = Read(address, cells); !before)
        return before;
    std::transform(cells.begin(), cells.end(), data.begin(), cells.begin(),
                   [](std::uint8_t cell, std::uint8_t wanted) -> std::uint8_t { return wanted & cell; });
    return Store(address, cells);
}

Reply NorChip::Read(std::uint32_t address, MutableByteSpan data) const {
    std::size_t from = address % m_image.Size();
    for (MutableByteSpan left = data; !left.empty(); from = 0) {
        const std::size_t length = std::min(left.size(), m_image.Size() - from);
        if (const auto read = m_image.Read(from, left.first(length)); !read)
            return Refuse(Failure(kReadError, read.error()));
        left = left.subspan(length);
    }
    return data.size();
}

tl::expected<std::uint16_t, Sense> NorChip::Sum(std::uint32_t address, std::size_t length) const {
    std::vector<std::uint8_t> cells(length);
    if (const Reply read = Read(address, cells); !read)
        return Refuse(read.error());
    return Sum16(cells);
}

bool NorChip::OnChip(std::uint64_t address, std::uint64_t length) const {
    return address + length <= m_image.Size();
}

bool NorChip::ConsumeLatch() {
    const bool enabled = (m_status & kStatusWriteEnabled) != 0;
    m_status &= static_cast<std::uint8_t>(~kStatusWriteEnabled);
    return enabled;
}

// The usual table of the data sheets: 7 protects all, 6 the upper half, 5 the upper quarter, ... 0 nothing.
bool NorChip::Protected(std::uint64_t address, std::uint64_t length) const {
    const int level = (m_status & kStatusBlockProtection) >> 2;
    if (level == 0)
        return false;
    const std::uint64_t firstProtected = m_image.Size() - (m_image.Size() >> (7 - level));
    return address + length > firstProtected;
}

Reply NorChip::Store(std::size_t address, ByteSpan bytes) {
    if (const auto written = m_image.Write(address, bytes); !written)
        return Refuse(Failure(kWriteError, written.error()));
    return bytes.size();
}

}  // namespace lumato::vframe
