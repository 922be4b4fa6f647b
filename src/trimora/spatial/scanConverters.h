#pragma once

#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/export.h"

namespace koGeom {

namespace detail {

/// Grid points over the unit square with a border of some cells around them.
///
/// Point (x, y), x from 0 to maxX, stands at (x scaleX + offsetX, y scaleY + offsetY). A grid of one point without a
/// border has no scale: its point stands nowhere (NaN), and is never inside.
struct SampleGrid {
    int maxX, maxY;  // -1: no points
    float scaleX, offsetX, scaleY, offsetY;

    SampleGrid(int width, int height, float border);
    bool isEmpty() const { return maxX < 0 || maxY < 0; }
    Point2Flt at(int x, int y) const {
        return {static_cast<float>(x) * scaleX + offsetX, static_cast<float>(y) * scaleY + offsetY};
    }
};

}  // namespace detail

/// Reports the grid points of the unit square that lie in a triangle.
///
/// Only x and y of the corners are read, both meant to lie within 0 to 1: texture or flattened coordinates. The rows and columns
/// that are looked at are those of a grid without a border, give or take one; with a border b they are up to b cells off towards the
/// middle, so that points there can be missed: scale the corners, or take a border below 1.
///
/// threads   an object holds the triangle at work: one thread at a time. Callbacks run on the caller's thread
/// cost      a test for each grid point of the triangle's box, row by row, up to the end of the row's run
/// order     rows upwards, columns upwards; each grid point at most once
class TRIMORA_API MeshScanConverter {
public:
    /// user, x and y of the grid point, weights of the second and of the third corner by height
    using PointSampleCB = void (*)(void*, int, int, float, float);
    /// user, width and height of the triangle's box in grid points
    using TriangleCB = void (*)(void*, int, int);

    /// width, height   of the grid in points; below 1 there are none
    /// border          cells between the grid and the edge of the unit square, >= 0
    MeshScanConverter(int width, int height, float border);

    /// The user's pointer is handed back as it is. Null: nothing is told.
    void setPointSampleCB(PointSampleCB callback, void* user);
    /// Called once for each triangle that meets the unit square, before its samples.
    void setTriangleCB(TriangleCB callback, void* user);

    /// Corners in any order and winding; they are sorted by y, then by x, and the weights are those of the sorted second and third one.
    ///
    /// returns   the number of samples told; 0 for degenerate triangles (see isPointInTriangleDefinitive)
    int scanTriangle(MeshVertex const& a, MeshVertex const& b, MeshVertex const& c);
    /// The first run of samples of the triangle in row y, from column xFirst to xLast.
    int scanSpan(Point2Flt const& a, Point2Flt const& b, Point2Flt const& c, int xFirst, int xLast,
                 int y);

private:
    detail::SampleGrid grid_;
    Point2Flt corners_[3];  // by y, then by x
    PointSampleCB sampleCB_ = nullptr;
    void* sampleUser_ = nullptr;
    TriangleCB triangleCB_ = nullptr;
    void* triangleUser_ = nullptr;
};

/// Reports the grid points of the unit square along a segment.
///
/// threads   as above
/// source    Bresenham 1965 [bresenham1965]
class TRIMORA_API LineScanConverter {
public:
    /// user, x and y of the grid point, its parameter along the segment from 0 to 1, and whether the walk goes from the segment's
    /// end to its start
    using LineCB = void (*)(void*, int, int, double, bool);

    /// As above; callback null: nothing is told.
    LineScanConverter(int width, int height, float border, LineCB callback, void* user);

    /// From a to b, rounded outwards to grid points and clamped to the grid.
    ///
    /// returns   the number of grid points told
    int scanLine(MeshVertex const& a, MeshVertex const& b);
    /// Walks from one grid point to another along the longer axis, always upwards, with the parameters of the segment scanned last.
    ///
    /// returns   the number of grid points, those outside of the grid among them
    int bresenhams(int x0, int y0, int x1, int y1);

private:
    detail::SampleGrid grid_;
    ParamLine line_;
    LineCB callback_;
    void* user_;
};

}  // namespace koGeom
