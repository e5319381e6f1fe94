#include "import/reception.h"

#include <algorithm>
#include <new>
#include <utility>

#include "base/diagnostics.h"
#include "import/messages.h"

namespace lumato::picture {
namespace {

static_assert(kMaxSide * 3 <= std::int64_t{reader::kHalf});

ErrorKind KindOf(reader::Outcome outcome) {
    switch (outcome) {
        case reader::Outcome::Damaged:
            return ErrorKind::Damaged;
        case reader::Outcome::TooLarge:
            return ErrorKind::TooLarge;
        default:
            return ErrorKind::Unsupported;
    }
}

// Decoders that shrink by themselves round to either side.
bool IsShrunk(int stored, int decoded, int most) {
    return decoded <= stored && decoded >= stored / most;
}

}  // namespace

Reception::Next Reception::Take(ByteSpan packet) {
    const auto message = reader::ParseFromReader(packet);
    if (!message)
        return Next::Nonsense;
    try {
        if (const auto* found = std::get_if<reader::Found>(&*message))
            return TakeFound(*found);
        if (const auto* coming = std::get_if<reader::Coming>(&*message))
            return TakeComing(*coming);
        if (const auto* rows = std::get_if<reader::Rows>(&*message))
            return TakeRows(rows->count);
        if (const auto* end = std::get_if<reader::End>(&*message))
            return TakeEnd(*end);
        if (const auto* line = std::get_if<reader::Line>(&*message))
            return TakeLine(*line);
        if (const auto* preview = std::get_if<reader::Preview>(&*message))
            return TakePreview(*preview);
    } catch (const std::bad_alloc&) {
        m_outcome = Fail(ErrorKind::TooLarge, kBeyondMemory);
    }
    return Next::Nonsense;
}

Reception::Next Reception::Leave(Error error) {
    m_outcome = tl::unexpected(std::move(error));
    m_answer = reader::Leave{};
    return Next::Left;
}

Reception::Next Reception::TakeFound(const reader::Found& found) {
    if (m_state != State::Begun)
        return Next::Nonsense;
    auto size = CheckedSize(found.width, found.height);
    if (!size)
        return Leave(std::move(size).error());
    m_stored = *size;
    m_orientation = OrientationOf(found.orientation);
    m_mostShrink = MostShrink();
    auto bounds = BoundsFor(found, m_fileSize, m_mostShrink);
    if (!bounds)
        return Leave(std::move(bounds).error());
    m_state = State::Found;
    m_bounds = *bounds;
    m_answer = reader::Go{m_mostShrink, TakesProfile(found.profileBytes)};
    return Next::Go;
}

// Copied before it is looked into.
bool Reception::TakesProfile(std::size_t size) {
    if (size == 0 || !m_builder.LeavesColours())
        return false;
    auto colours = ColourConverter::For(
        PixelLayout::Held, {m_memory.begin(), m_memory.begin() + static_cast<std::ptrdiff_t>(size)});
    if (colours->IgnoresProfile())
        m_builder.Note(kProfileUnusable);
    if (!colours->IsIdentity())
        m_colours = std::move(colours);
    return true;
}

int Reception::MostShrink() const {
    const Size least = m_builder.Least(m_stored, m_orientation);
    return std::max(1, std::min(m_stored.width / least.width, m_stored.height / least.height));
}

Reception::Next Reception::TakeComing(const reader::Coming& coming) {
    const Size decoded{coming.width, coming.height};
    const bool isPossible =
        coming.divisor > 0 ? coming.divisor <= m_mostShrink && decoded == DividedUp(m_stored, coming.divisor)
                           : IsShrunk(m_stored.width, decoded.width, m_mostShrink) &&
                                 IsShrunk(m_stored.height, decoded.height, m_mostShrink);
    if (m_state != State::Found || !isPossible)
        return Next::Nonsense;
    m_state = State::Rows;
    m_outcome = m_builder.Begin({.stored = m_stored,
                                 .decoded = decoded,
                                 .orientation = m_orientation,
                                 .step = static_cast<double>(coming.divisor),
                                 .colours = m_colours,
                                 .keptOnly = true});
    if (!m_outcome)
        return Next::Nonsense;
    m_kept = m_builder.Held();
    m_rowsLeft = m_kept.height;
    m_answer = reader::Keep{m_builder.Divisor()};
    return Next::Say;
}

Reception::Next Reception::TakeRows(std::int32_t count) {
    if (m_state != State::Rows || count > m_rowsLeft || count > reader::RowsPerHalf(m_kept.width))
        return Next::Nonsense;
    const auto rowBytes = static_cast<std::size_t>(m_kept.width) * 3;
    const std::uint8_t* row = m_memory.data() + m_half * reader::kHalf;
    for (std::int32_t i = 0; i < count; ++i, row += rowBytes)
        m_builder.AddRow(row);
    m_rowsLeft -= count;
    m_half = 1 - m_half;
    m_answer = reader::Taken{};
    return Next::Say;
}

Reception::Next Reception::TakePreview(const reader::Preview& preview) {
    if (m_state != State::Begun || preview.offset < 0 || preview.length <= 0 || preview.length > m_fileSize ||
        preview.offset > m_fileSize - preview.length)
        return Next::Nonsense;
    m_state = State::Preview;
    m_preview = preview;
    return Next::Wait;
}

Reception::Next Reception::TakeEnd(const reader::End& end) {
    const bool isWhyNot = end.reason != reader::Reason::None && !reader::IsNote(end.reason);
    if (end.outcome == reader::Outcome::Stopped || (end.outcome == reader::Outcome::Done) == isWhyNot)
        return Next::Nonsense;
    if (reader::IsNote(end.reason))
        m_builder.Note(reader::kReasons[static_cast<std::size_t>(end.reason)]);
    if (end.outcome != reader::Outcome::Done)
        m_outcome = Fail(KindOf(end.outcome),
                         Phrase(reader::kReasons[static_cast<std::size_t>(end.reason)], end.value));
    else if (m_rowsLeft > 0 || (m_state != State::Rows && m_state != State::Preview))
        return Next::Nonsense;
    return Next::Ended;
}

// Libraries have a word at most; a reader that talks without end is none.
Reception::Next Reception::TakeLine(const reader::Line& line) {
    constexpr int kMostLines = 16;
    if (++m_lines > kMostLines)
        return Next::Nonsense;
    Diagnose(line.text);
    return Next::Wait;
}

}  // namespace lumato::picture
