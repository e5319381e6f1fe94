#include "picture/pixel_coverage.h"

#include <algorithm>
#include <cmath>

namespace lumato::picture {
namespace {

// No part of a pixel is farther from its middle.
constexpr double kHalfDiagonal = 0.70711;

struct Point {
    double column = 0, row = 0;
};

// A convex polygon: a square cut by four lines has at most eight corners.
struct Polygon {
    std::array<Point, 8> corner{};
    std::size_t count = 0;

    void Add(Point point) {
        if (count < corner.size())
            corner[count++] = point;
    }
    [[nodiscard]] double Area() const {
        double twice = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const Point& a = corner[i];
            const Point& b = corner[(i + 1) % count];
            twice += a.column * b.row - b.column * a.row;
        }
        return std::abs(twice) / 2;
    }
};

// The part of the polygon at a distance of 0 or more (Sutherland and Hodgman, 1974).
template <class Distance>
Polygon Clip(const Polygon& polygon, const Distance& distance) {
    Polygon kept;
    for (std::size_t i = 0; i < polygon.count; ++i) {
        const Point& a = polygon.corner[i];
        const Point& b = polygon.corner[(i + 1) % polygon.count];
        const double da = distance(a);
        const double db = distance(b);
        if (da >= 0)
            kept.Add(a);
        if ((da >= 0) != (db >= 0)) {
            const double t = da / (da - db);
            kept.Add({a.column + t * (b.column - a.column), a.row + t * (b.row - a.row)});
        }
    }
    return kept;
}

}  // namespace

PixelCoverage::PixelCoverage(const PicturePlacement& p, double halfU, double halfV) {
    const double determinant = std::abs(p.columnPerU * p.rowPerV - p.columnPerV * p.rowPerU);
    // The edges across u run along the image of v, and the other way round.
    const double alongV = std::hypot(p.columnPerV, p.rowPerV);
    const double alongU = std::hypot(p.columnPerU, p.rowPerU);
    MakeEdges(p.rowPerV / alongV, -p.columnPerV / alongV, p.centerColumn, p.centerRow,
              halfU * determinant / alongV, &m_edges[0]);
    MakeEdges(p.rowPerU / alongU, -p.columnPerU / alongU, p.centerColumn, p.centerRow,
              halfV * determinant / alongU, &m_edges[2]);
}

void PixelCoverage::MakeEdges(double normalColumn, double normalRow, double centerColumn, double centerRow,
                              double distance, HalfPlane edges[2]) {
    const double center = normalColumn * centerColumn + normalRow * centerRow;
    edges[0] = {normalColumn, normalRow, distance - center};
    edges[1] = {-normalColumn, -normalRow, distance + center};
}

float PixelCoverage::Of(int column, int row) const {
    double nearest = kHalfDiagonal;
    for (const HalfPlane& edge : m_edges)
        nearest = std::min(nearest, edge.Distance(column + 0.5, row + 0.5));
    if (nearest >= kHalfDiagonal)
        return 1;
    return nearest <= -kHalfDiagonal ? 0 : static_cast<float>(ClippedArea(column, row));
}

// Leaves the columns whose middles are at a distance of more than `distance` from every edge, to the inside.
void PixelCoverage::Narrow(int row, double distance, int& begin, int& end) const {
    for (const HalfPlane& edge : m_edges) {
        // a * column >= least
        const double least = distance - edge.Distance(0.5, row + 0.5);
        if (edge.a == 0) {
            if (least > 0)
                end = begin;
            continue;
        }
        const double limit = std::clamp(least / edge.a, begin - 1.0, end + 1.0);
        if (edge.a > 0)
            begin = std::max(begin, static_cast<int>(std::ceil(limit)));
        else
            end = std::min(end, static_cast<int>(std::floor(limit)) + 1);
    }
    end = std::max(begin, end);
}

PixelCoverage::RowPart PixelCoverage::InRow(int row, int width) const {
    constexpr double kMargin = 1e-3;  // for what the divisions round
    RowPart part{0, width, 0, 0};
    Narrow(row, -kHalfDiagonal - kMargin, part.begin, part.end);
    part.wholeBegin = part.begin;
    part.wholeEnd = part.end;
    Narrow(row, kHalfDiagonal + kMargin, part.wholeBegin, part.wholeEnd);
    return part;
}

double PixelCoverage::ClippedArea(int column, int row) const {
    Polygon polygon;
    polygon.Add({column + 0.0, row + 0.0});
    polygon.Add({column + 1.0, row + 0.0});
    polygon.Add({column + 1.0, row + 1.0});
    polygon.Add({column + 0.0, row + 1.0});
    for (const HalfPlane& edge : m_edges)
        polygon = Clip(polygon, [&edge](const Point& p) { return edge.Distance(p.column, p.row); });
    return std::min(polygon.Area(), 1.0);
}

}  // namespace lumato::picture
