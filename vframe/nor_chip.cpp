#include "vframe/nor_chip.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "base/diagnostics.h"

namespace lumato::vframe {

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
    std::vector<std::uint8_t> cells(data.begin(), data.end());
    const ByteSpan before = m_image.Bytes().subspan(address, data.size());
    std::transform(cells.begin(), cells.end(), before.begin(), cells.begin(),
                   [](std::uint8_t wanted, std::uint8_t cell) -> std::uint8_t { return wanted & cell; });
    return Store(address, cells);
}

void NorChip::Read(std::uint32_t address, MutableByteSpan data) const {
    const ByteSpan cells = m_image.Bytes();
    std::size_t from = address % cells.size();
    while (!data.empty()) {
        const std::size_t length = std::min(data.size(), cells.size() - from);
        std::copy_n(cells.begin() + static_cast<std::ptrdiff_t>(from), length, data.begin());
        data = data.subspan(length);
        from = 0;
    }
}

std::uint16_t NorChip::Sum(std::uint32_t address, std::size_t length) const {
    const ByteSpan cells = m_image.Bytes();
    std::size_t from = address % cells.size();
    std::uint16_t sum = 0;
    while (length > 0) {
        const std::size_t part = std::min(length, cells.size() - from);
        sum = static_cast<std::uint16_t>(sum + Sum16(cells.subspan(from, part)));
        length -= part;
        from = 0;
    }
    return sum;
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
    if (auto written = m_image.Write(address, bytes); !written) {
        Diagnose(written.error().message);
        Sense sense = kWriteError;
        sense.detail = written.error().message;
        return Refuse(sense);
    }
    return bytes.size();
}

}  // namespace lumato::vframe
