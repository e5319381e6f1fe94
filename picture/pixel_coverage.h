// How much of each surface pixel a parallelogram covers, exactly.
//
// No state; callable from any thread.
#pragma once

#include <array>

#include "picture/picture_placement.h"

namespace lumato::picture {

class PixelCoverage {
  public:
    // The parallelogram of a picture that extends halfU and halfV held pixels from its centre.
    PixelCoverage(const PicturePlacement& placement, double halfU, double halfV);

    // The covered share of the pixel, 0..1.
    [[nodiscard]] float Of(int column, int row) const;

    // The columns of a surface row beyond which nothing is covered, and among them those that are covered
    // whole for certain.
    struct RowPart {
        int begin = 0, end = 0;
        int wholeBegin = 0, wholeEnd = 0;
    };
    [[nodiscard]] RowPart InRow(int row, int width) const;

  private:
    // The points with a * column + b * row + c >= 0; (a, b) has length 1.
    struct HalfPlane {
        double a = 0, b = 0, c = 0;
        [[nodiscard]] double Distance(double column, double row) const { return a * column + b * row + c; }
    };
    static void MakeEdges(double normalColumn, double normalRow, double centerColumn, double centerRow,
                          double distance, HalfPlane edges[2]);
    [[nodiscard]] double ClippedArea(int column, int row) const;
    void Narrow(int row, double distance, int& begin, int& end) const;

    std::array<HalfPlane, 4> m_edges;
};

}  // namespace lumato::picture
