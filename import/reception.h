// Takes one picture from a reader, message by message, and holds each against what may come: a reader may
// have been taken over by the file that it reads.
//
// One picture per object, one thread at a time.
#pragma once

#include <memory>
#include <optional>

#include "import/colour.h"
#include "import/held_size.h"
#include "import/picture_builder.h"
#include "import/reader_bounds.h"
#include "reader/messages.h"

namespace lumato::picture {

class Reception {
  public:
    // `memory`: where rows come, kMemorySize bytes that may change at any time. Requires: both outlive this.
    Reception(PictureBuilder& builder, ByteSpan memory, std::int64_t fileSize)
        : m_builder(builder), m_memory(memory), m_fileSize(fileSize) {}

    enum class Next {
        Wait,      // for more
        Go,        // after Bounds() were set, say Answer(), and wait for more
        Say,       // Answer(), and wait for more
        Ended,     // Outcome() is the picture's
        Left,      // the same, and Answer() is to be said
        Nonsense,  // no reader says that: it is to be ended
    };
    [[nodiscard]] Next Take(ByteSpan packet);

    [[nodiscard]] const reader::ToReader& Answer() const { return m_answer; }
    [[nodiscard]] const ReaderBounds& Bounds() const { return m_bounds; }
    // Errors: Damaged, TooLarge, Unsupported.
    [[nodiscard]] const Result<void>& Outcome() const { return m_outcome; }
    // After that, without an error: where in the file the picture lies, none: it was taken. Inside of the
    // file.
    [[nodiscard]] const std::optional<reader::Preview>& Preview() const { return m_preview; }

  private:
    Next TakeFound(const reader::Found& found);
    Next TakeComing(const reader::Coming& coming);
    Next TakeRows(std::int32_t count);
    Next TakeEnd(const reader::End& end);
    Next TakeLine(const reader::Line& line);
    Next TakePreview(const reader::Preview& preview);
    Next Leave(Error error);
    [[nodiscard]] bool TakesProfile(std::size_t size);
    [[nodiscard]] int MostShrink() const;

    enum class State { Begun, Found, Rows, Preview };

    PictureBuilder& m_builder;
    const ByteSpan m_memory;
    const std::int64_t m_fileSize;
    State m_state = State::Begun;
    Size m_stored;
    Size m_kept;
    Orientation m_orientation = Orientation::Upright;
    std::shared_ptr<const ColourConverter> m_colours;
    int m_mostShrink = 1;
    std::int64_t m_rowsLeft = 0;
    std::size_t m_half = 0;
    int m_lines = 0;
    reader::ToReader m_answer;
    ReaderBounds m_bounds;
    Result<void> m_outcome;
    std::optional<reader::Preview> m_preview;
};

}  // namespace lumato::picture
