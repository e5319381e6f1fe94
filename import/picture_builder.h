// Takes the rows of a picture from a reader, reduces them to the size to be held and puts them where they
// belong, so that an import holds the kept pixels and a few rows, nothing else; or hands them on to somebody
// who needs each row once.
//
// One picture per object, one thread at a time.
#pragma once

#include <cstdint>
#include <vector>

#include "import/bitmap_info.h"
#include "import/held_size.h"
#include "import/orientation.h"
#include "import/row_taker.h"

namespace lumato::picture {

// Averages rows over areas. Every kept pixel is the exact mean of the part of the picture that it covers, so
// that the kept picture neither shifts nor stretches where the sizes do not divide.
class AreaReducer {
  public:
    // Requires: 1 <= kept <= full in each direction.
    AreaReducer(Size full, Size kept);

    // Takes the next full row of red, green, blue. True when it completed a kept row, which is then in Row().
    bool Add(const std::uint8_t* rgb);
    [[nodiscard]] const std::uint8_t* Row() const { return m_row.data(); }

  private:
    void SumAcross(const std::uint8_t* rgb);
    void Accumulate(std::int64_t weight);
    void Emit();

    Size m_full;
    Size m_kept;
    std::int64_t m_covered = 0;  // of the kept row in work, in units of 1/kept.height of a full row
    std::vector<std::uint32_t> m_across;
    std::vector<std::uint64_t> m_sums;
    std::vector<std::uint8_t> m_row;
};

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
        int eighths = 0;  // of `stored`, of which `decoded` is the next whole size; 0: it is that exactly
        std::shared_ptr<const ColourConverter> colours{};  // that are left to whoever draws
    };
    [[nodiscard]] Result<void> Begin(const Coming& coming);

    // What people should know of how the file is read.
    void Note(const Words& words) { m_info.note = words; }

    // Whether decoded rows are held as they come: then NextRow() is where the next one belongs, in the held
    // pixels' layout, and takes AddRow()'s place.
    [[nodiscard]] bool KeepsRows() const { return m_reducer.empty() && m_placement.stepX == 1; }
    // Requires: KeepsRows(). Those of the next rows that are looked at.
    [[nodiscard]] Columns Needed() const {
        return m_taker != nullptr ? m_taker->Needed() : Columns{0, m_decoded.width};
    }
    [[nodiscard]] std::uint8_t* NextRow();

    // The next decoded row, in the order of storage: red, green, blue. Rows beyond the last are ignored.
    void AddRow(const std::uint8_t* rgb);

    [[nodiscard]] bool Complete() const { return m_rowsTaken == m_decoded.height; }

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
    Size m_decoded;
    Size m_held;
    Placement m_placement;
    std::vector<AreaReducer> m_reducer;  // one, or none when rows are kept as they come
    int m_rowsTaken = 0;
    int m_rowsPlaced = 0;
};

}  // namespace lumato::picture
