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

AreaReducer::AreaReducer(Size full, Size kept)
    : m_full(full),
      m_kept(kept),
      m_across(static_cast<std::size_t>(kept.width) * 3),
      m_sums(m_across.size()),
      m_row(m_across.size()) {}

// Lengths across are counted in units of 1/kept.width of a full pixel: a full pixel is kept.width long, a
// kept one full.width. The sums stay below 255 * full.width, which fits for any side that we accept.
void AreaReducer::SumAcross(const std::uint8_t* rgb) {
    const auto pixelLength = static_cast<std::uint32_t>(m_kept.width);
    const auto keptLength = static_cast<std::uint32_t>(m_full.width);
    std::uint32_t* sum = m_across.data();
    std::uint32_t red = 0, green = 0, blue = 0, covered = 0;
    for (int x = 0; x < m_full.width; ++x, rgb += 3) {
        const std::uint32_t inside = std::min(pixelLength, keptLength - covered);
        red += rgb[0] * inside;
        green += rgb[1] * inside;
        blue += rgb[2] * inside;
        covered += inside;
        if (covered < keptLength)
            continue;
        sum[0] = red;
        sum[1] = green;
        sum[2] = blue;
        sum += 3;
        covered = pixelLength - inside;
        red = rgb[0] * covered;
        green = rgb[1] * covered;
        blue = rgb[2] * covered;
    }
}

void AreaReducer::Accumulate(std::int64_t weight) {
    const auto factor = static_cast<std::uint64_t>(weight);
    std::uint64_t* const sums = m_sums.data();
    const std::uint32_t* const across = m_across.data();
    const std::size_t size = m_sums.size();
#pragma GCC unroll 8
    for (std::size_t i = 0; i < size; ++i)
        sums[i] += across[i] * factor;
    m_covered += weight;
}

void AreaReducer::Emit() {
    // Whole numbers are divided slowly. With the half between two of them added no quotient is closer to a
    // whole one than half a part, a 2^31st at the least, and doubles of up to 255 are exact to a 2^44th.
    const auto area = m_full.Pixels();
    const double half = static_cast<double>(area / 2) + 0.5, part = 1.0 / static_cast<double>(area);
    for (std::size_t i = 0; i < m_sums.size(); ++i)
        m_row[i] = static_cast<std::uint8_t>(
            static_cast<int>((static_cast<double>(static_cast<std::int64_t>(m_sums[i])) + half) * part));
    std::fill(m_sums.begin(), m_sums.end(), 0);
    m_covered = 0;
}

bool AreaReducer::Add(const std::uint8_t* rgb) {
    SumAcross(rgb);
    const std::int64_t inside = std::min<std::int64_t>(m_kept.height, m_full.height - m_covered);
    Accumulate(inside);
    if (m_covered < m_full.height)
        return false;
    Emit();
    Accumulate(m_kept.height - inside);
    return true;
}

Size PictureBuilder::Least(Size stored, Orientation orientation) const {
    if (SwapsSides(orientation))
        return LeastHeld(stored.Swapped(), m_scaleNeeded).Swapped();
    return LeastHeld(stored, m_scaleNeeded);
}

// That of what is held, from that of what is decoded: at its right and bottom edges.
Overhang PictureBuilder::OverhangOf(const Coming& coming) const {
    if (coming.eighths == 0)
        return {};
    const auto beyond = [&](int stored, int decoded, int held) {
        return (decoded - stored * coming.eighths / 8.0) * held / decoded;
    };
    const double x = beyond(coming.stored.width, m_decoded.width, m_held.width);
    const double y = beyond(coming.stored.height, m_decoded.height, m_held.height);
    const Axes axes = AxesOf(m_asStored ? Orientation::Upright : coming.orientation);
    const double across = axes.swapped ? y : x;
    const double down = axes.swapped ? x : y;
    const bool isAtLeft = axes.swapped ? axes.backwardsY : axes.backwardsX;
    const bool isAtTop = (axes.swapped ? axes.backwardsX : axes.backwardsY) != m_flipRows;
    return {isAtLeft ? across : 0, isAtTop ? down : 0, isAtLeft ? 0 : across, isAtTop ? 0 : down};
}

Result<void> PictureBuilder::Begin(const Coming& coming) {
    const auto& [stored, decoded, orientation, eighths, colours] = coming;
    m_decoded = decoded;
    m_rowsTaken = 0;
    m_rowsPlaced = 0;
    m_reducer.clear();
    m_held = HeldSize(decoded, Least(stored, orientation));
    m_placement = PlacementFor(m_asStored ? Orientation::Upright : orientation, m_held, m_flipRows);
    if (m_held != m_decoded)
        m_reducer.emplace_back(m_decoded, m_held);

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
    if (m_reducer.empty())
        Place(rgb);
    else if (m_reducer.front().Add(rgb))
        Place(m_reducer.front().Row());
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
