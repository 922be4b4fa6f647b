#include "trimora/spatial/scanConverters.h"

#include "trimora/contract/koUtil/saturatingInt.h"
#include "trimora/planar/isPointInTriangle.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

namespace koGeom {

using koUtil::saturatingInt;

namespace {

int lastOf(int count) {
    return std::max(count, 0) - 1;
}

float cellOf(int last, float border) {
    return 1.0f / (static_cast<float>(last) + 2.0f * border);
}

int floorOf(float value) {
    return saturatingInt(std::floor(value));
}

int ceilOf(float value) {
    return saturatingInt(std::ceil(value));
}

bool isLower(Point2Flt const& p, Point2Flt const& q) {
    return p.y < q.y || (p.y == q.y && p.x < q.x);
}

/// Grid range of a segment along one axis, from its start to its end, rounded outwards.
std::pair<int, int> gridRange(int last, float from, float to) {
    float const start = static_cast<float>(last) * from;
    float const end = static_cast<float>(last) * to;
    bool const rises = to > from;
    int const first = rises ? floorOf(start) : ceilOf(start);
    int const second = rises ? ceilOf(end) : floorOf(end);
    return {std::clamp(first, 0, last), std::clamp(second, 0, last)};
}

}  // namespace

namespace detail {

SampleGrid::SampleGrid(int width, int height, float border)
    : maxX(lastOf(width)),
      maxY(lastOf(height)),
      scaleX(cellOf(maxX, border)),
      offsetX(scaleX * border),
      scaleY(cellOf(maxY, border)),
      offsetY(scaleY * border) {}

}  // namespace detail

MeshScanConverter::MeshScanConverter(int width, int height, float border)
    : grid_(width, height, border) {}

void MeshScanConverter::setPointSampleCB(PointSampleCB callback, void* user) {
    sampleCB_ = callback;
    sampleUser_ = user;
}

void MeshScanConverter::setTriangleCB(TriangleCB callback, void* user) {
    triangleCB_ = callback;
    triangleUser_ = user;
}

int MeshScanConverter::scanTriangle(MeshVertex const& a, MeshVertex const& b, MeshVertex const& c) {
    Point2Flt p[3] = {{a.x, a.y}, {b.x, b.y}, {c.x, c.y}};
    for (int i : {0, 1, 0})
        if (isLower(p[i + 1], p[i]))
            std::swap(p[i], p[i + 1]);
    float const xMin = std::min({p[0].x, p[1].x, p[2].x});
    float const xMax = std::max({p[0].x, p[1].x, p[2].x});
    if (grid_.isEmpty() || p[0].y > 1.0f || p[2].y < 0.0f || xMin > 1.0f || xMax < 0.0f)
        return 0;

    std::copy(p, p + 3, corners_);
    auto const width = static_cast<float>(grid_.maxX), height = static_cast<float>(grid_.maxY);
    int const xFirst = std::max(floorOf(width * xMin), 0);
    int const xLast = std::min(ceilOf(width * xMax), grid_.maxX);
    int const yFirst = std::max(floorOf(height * p[0].y), 0);
    int const yLast = std::min(ceilOf(height * p[2].y), grid_.maxY);
    if (triangleCB_ != nullptr)
        triangleCB_(triangleUser_, xLast - xFirst + 1, yLast - yFirst + 1);

    // Row by row: that of the middle corner is one like the others.
    int numSamples = 0;
    for (int y = yFirst; y <= std::max(yFirst, yLast); ++y)
        numSamples += scanSpan(corners_[0], corners_[1], corners_[2], xFirst, xLast, y);
    return numSamples;
}

int MeshScanConverter::scanSpan(Point2Flt const& a, Point2Flt const& b, Point2Flt const& c,
                                int xFirst, int xLast, int y) {
    int numSamples = 0;
    for (std::int64_t x = xFirst; x <= xLast; ++x) {
        float u, v;
        int const column = static_cast<int>(x);
        if (isPointInTriangleDefinitive(grid_.at(column, y), a, b, c, u, v)) {
            if (sampleCB_ != nullptr)
                sampleCB_(sampleUser_, column, y, u, v);
            ++numSamples;
        } else if (numSamples > 0) {
            break;  // a triangle's row is one run
        }
    }
    return numSamples;
}

LineScanConverter::LineScanConverter(int width, int height, float border, LineCB callback,
                                     void* user)
    : grid_(width, height, border), callback_(callback), user_(user) {}

int LineScanConverter::scanLine(MeshVertex const& a, MeshVertex const& b) {
    if (grid_.isEmpty())
        return 0;

    Point const start(double(a.x), double(a.y), 0.0);
    line_ = ParamLine(start, Point(double(b.x), double(b.y), 0.0) - start);
    auto const [x0, x1] = gridRange(grid_.maxX, a.x, b.x);
    auto const [y0, y1] = gridRange(grid_.maxY, a.y, b.y);
    return bresenhams(x0, y0, x1, y1);
}

int LineScanConverter::bresenhams(int x0, int y0, int x1, int y1) {
    bool const isSteep = std::abs(std::int64_t(y1) - y0) > std::abs(std::int64_t(x1) - x0);
    if (isSteep) {
        std::swap(x0, y0);
        std::swap(x1, y1);
    }
    bool const isReversed = x0 > x1;
    if (isReversed) {
        std::swap(x0, x1);
        std::swap(y0, y1);
    }

    std::int64_t const dx = std::int64_t(x1) - x0, dy = std::abs(std::int64_t(y1) - y0);
    int const step = y0 < y1 ? 1 : -1;
    std::int64_t error = 0;
    std::int64_t y = y0;  // one step beyond the end at last
    for (std::int64_t x = x0; x <= x1; ++x) {
        int const column = static_cast<int>(isSteep ? y : x);
        int const row = static_cast<int>(isSteep ? x : y);
        Point2Flt const at = grid_.at(column, row);
        double const param =
            std::clamp(projectParam(Point(double(at.x), double(at.y), 0.0), line_), 0.0, 1.0);
        if (callback_ != nullptr)
            callback_(user_, column, row, static_cast<double>(static_cast<float>(param)),
                      isReversed);
        error += 2 * dy;
        if (error >= dx) {
            y += step;
            error -= 2 * dx;
        }
    }
    return saturatingInt(static_cast<double>(dx + 1));
}

}  // namespace koGeom
