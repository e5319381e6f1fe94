#include "import/picture_builder.h"

#include <algorithm>
#include <new>

#include <sys/mman.h>

#include "base/bytes.h"
#include "import/messages.h"

namespace lumato::picture {
namespace {

// Memory that is written for the first time costs a tenth of an import in pages of 4 KB. What this asks for
// may be denied without harm.
void AskForLargePages(std::uint8_t* memory, std::size_t size) {
    constexpr std::uintptr_t kPage = 65536;  // of no system larger
    const std::uintptr_t begin = (reinterpret_cast<std::uintptr_t>(memory) + kPage - 1) / kPage * kPage;
    const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(memory) + size) / kPage * kPage;
    if (begin < end)
        ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
}

}  // namespace

Size PictureBuilder::Least(Size stored, Orientation orientation) const {
    if (SwapsSides(orientation))
        return LeastHeld(stored.Swapped(), m_scaleNeeded).Swapped();
    return LeastHeld(stored, m_scaleNeeded);
}

// That of what is held, from that of what is decoded: at its right and bottom edges.
Overhang PictureBuilder::OverhangOf(const Coming& coming) const {
    const auto beyond = [&](int stored, int decoded, int held) {
        return held - (coming.step > 0 ? stored / coming.step : decoded) / m_divisor;
    };
    const double x = beyond(coming.stored.width, coming.decoded.width, m_held.width);
    const double y = beyond(coming.stored.height, coming.decoded.height, m_held.height);
    const Axes axes = AxesOf(m_asStored ? Orientation::Upright : coming.orientation);
    const double across = axes.swapped ? y : x;
    const double down = axes.swapped ? x : y;
    const bool isAtLeft = axes.swapped ? axes.backwardsY : axes.backwardsX;
    const bool isAtTop = (axes.swapped ? axes.backwardsX : axes.backwardsY) != m_flipRows;
    return {isAtLeft ? across : 0, isAtTop ? down : 0, isAtLeft ? 0 : across, isAtTop ? 0 : down};
}

Result<void> PictureBuilder::Begin(const Coming& coming) {
    const auto& [stored, decoded, orientation, step, colours, keptOnly] = coming;
    m_rowsTaken = 0;
    m_rowsPlaced = 0;
    m_reducer.reset();
    m_divisor = HeldDivisor(decoded, Least(stored, orientation));
    m_held = DividedUp(decoded, m_divisor);
    m_coming = keptOnly ? m_held : decoded;
    m_placement = PlacementFor(m_asStored ? Orientation::Upright : orientation, m_held, m_flipRows);
    if (m_held != m_coming)
        m_reducer.emplace(m_coming, m_divisor);

    const Size own = SwapsSides(orientation) ? stored.Swapped() : stored;
    const Size shown = SwapsSides(orientation) && !m_asStored ? m_held.Swapped() : m_held;
    m_info.width = static_cast<std::uint32_t>(own.width);
    m_info.height = own.height;
    m_info.heldWidth = shown.width;
    m_info.heldHeight = shown.height;
    m_info.bytesPerRow = static_cast<std::uint32_t>(shown.width) * 4;
    m_info.dataSize = static_cast<std::uint32_t>(shown.Pixels() * 4);
    m_info.overhang = OverhangOf(coming);
    m_info.orientation = m_asStored ? orientation : Orientation::Upright;
    m_info.colours = colours;
    try {
        if (m_taker != nullptr)
            m_taker->Begin(m_info);
        else
            MakeRoom();
    } catch (const std::bad_alloc&) {
        return Fail(ErrorKind::TooLarge, kBeyondMemory);
    }
    return {};
}

void PictureBuilder::MakeRoom() {
    m_info.pixels = {};
    m_info.pixels.reserve(m_info.dataSize);
    AskForLargePages(m_info.pixels.data(), m_info.dataSize);
    m_info.pixels.resize(m_info.dataSize);
}

void PictureBuilder::AddRow(const std::uint8_t* rgb) {
    if (Complete())
        return;
    ++m_rowsTaken;
    if (!m_reducer)
        Place(rgb);
    else if (m_reducer->Add(rgb))
        Place(m_reducer->Row());
}

std::uint8_t* PictureBuilder::NextRow() {
    ++m_rowsTaken;
    return RowToPlace();
}

std::uint8_t* PictureBuilder::RowToPlace() {
    if (m_taker != nullptr)
        return m_taker->NextRow();
    return m_info.pixels.data() + (m_placement.start + m_rowsPlaced++ * m_placement.stepY) * 4;
}

void PictureBuilder::Place(const std::uint8_t* rgb) {
    const std::ptrdiff_t step = m_placement.stepX * 4;
    std::uint8_t* const row = RowToPlace();
    for (std::ptrdiff_t x = 0; x < m_held.width; ++x, rgb += 3) {
        const std::uint32_t colour = rgb[0] | std::uint32_t{rgb[1]} << 8 | std::uint32_t{rgb[2]} << 16;
        PutLe32(MutableByteSpan(row + x * step, 4), colour << 8 | 0xFF);
    }
}

}  // namespace lumato::picture
