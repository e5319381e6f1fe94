// Takes the rows of a picture from a reader, reduces them to the size to be held and puts them where they
// belong, so that an import holds the kept pixels and a few rows, nothing else; or hands them on to somebody
// who needs each row once.
//
// One picture per object, one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "import/bitmap_info.h"
#include "import/held_size.h"
#include "import/orientation.h"
#include "import/row_taker.h"
#include "reader/box_reducer.h"

namespace lumato::picture {

class PictureBuilder {
  public:
    // The rows go to `taker`, if there is one, as they are stored, and `info` gets no pixels then. Requires:
    // what is passed outlives the builder.
    PictureBuilder(BitmapInfo& info, bool flipRows, const ScaleNeeded& scaleNeeded, Held held = Held::AsShown,
                   RowTaker* taker = nullptr)
        : m_info(info),
          m_flipRows(flipRows),
          m_scaleNeeded(scaleNeeded),
          m_asStored(held == Held::AsStored || taker != nullptr),
          m_taker(taker) {}

    // The smallest size in which a reader may decode a picture stored in the size `stored`.
    [[nodiscard]] Size Least(Size stored, Orientation orientation) const;

    // Whether rows of red, green and blue may come in the file's own colours.
    [[nodiscard]] bool LeavesColours() const { return m_asStored; }

    // The picture is stored in the size `stored`; its rows will come in the size `decoded`, between
    // Least() and `stored`. A reader that failed may begin anew. Errors: TooLarge (no memory).
    struct Coming {
        Size stored;
        Size decoded;
        Orientation orientation = Orientation::Upright;
        // Stored pixels to a decoded one along both sides, which were rounded up; 0: `decoded` is the picture
        // exactly.
        double step = 0;
        std::shared_ptr<const ColourConverter> colours{};  // that are left to whoever draws
        bool keptOnly = false;                             // rows come as they are to be held
    };
    [[nodiscard]] Result<void> Begin(const Coming& coming);
    // Since then: what is held, in the order of storage, and what `decoded` is divided by for it.
    [[nodiscard]] Size Held() const { return m_held; }
    [[nodiscard]] int Divisor() const { return m_divisor; }

    // What people should know of how the file is read.
    void Note(const Words& words) {
        if (m_info.note != Phrase(words))
            m_info.note = Joined(std::move(m_info.note), kSemicolon, words);
    }

    // Whether decoded rows are held as they come: then NextRow() is where the next one belongs, in the held
    // pixels' layout, and takes AddRow()'s place.
    [[nodiscard]] bool KeepsRows() const { return !m_reducer && m_placement.stepX == 1; }
    // Requires: KeepsRows(). Those of the next rows that are looked at.
    [[nodiscard]] Columns Needed() const {
        return m_taker != nullptr ? m_taker->Needed() : Columns{0, m_coming.width};
    }
    [[nodiscard]] std::uint8_t* NextRow();

    // The next decoded row, in the order of storage: red, green, blue. Rows beyond the last are ignored.
    void AddRow(const std::uint8_t* rgb);

    [[nodiscard]] bool Complete() const { return m_rowsTaken == m_coming.height; }

  private:
    [[nodiscard]] Overhang OverhangOf(const Coming& coming) const;
    void Place(const std::uint8_t* rgb);
    [[nodiscard]] std::uint8_t* RowToPlace();
    void MakeRoom();

    BitmapInfo& m_info;
    bool m_flipRows;
    const ScaleNeeded& m_scaleNeeded;
    const bool m_asStored;
    RowTaker* const m_taker;
    Size m_coming;
    Size m_held;
    int m_divisor = 1;
    Placement m_placement;
    std::optional<BoxReducer> m_reducer;  // none: rows are kept as they come
    int m_rowsTaken = 0;
    int m_rowsPlaced = 0;
};

}  // namespace lumato::picture
