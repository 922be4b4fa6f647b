#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

#include <cstdint>
#include <limits>
#include <new>

/// What the shapes in primitives.h and linePrimitives.h have in common.
namespace koGeom::detail {

/// Where the in-plane coordinates and the height of a flat shape go: first, second and height are a right-handed frame, turned
/// cyclically so that the height lies along the axis.
struct ShapeAxes {
    int first;
    int second;
    int height;

    /// 0, 1 or 2; other numbers count modulo 3, so that no coordinate lies outside the record.
    explicit ShapeAxes(int axis)
        : first(wrapped(axis + std::int64_t(1))),
          second(wrapped(axis + std::int64_t(2))),
          height(wrapped(axis)) {}

    void place(float* xyz, float firstValue, float secondValue, float heightValue) const {
        xyz[first] = firstValue;
        xyz[second] = secondValue;
        xyz[height] = heightValue;
    }

private:
    static int wrapped(std::int64_t axis) { return static_cast<int>((axis % 3 + 3) % 3); }
};

/// A number of vertices: negative ones are 0, more than a set of three floats each can hold are std::bad_alloc. Asked before anything
/// is resized, since sets of fewer floats could take more.
inline int shapeVertexCount(std::int64_t count) {
    if (count > std::numeric_limits<int>::max() / 3)
        throw std::bad_alloc();
    return count < 0 ? 0 : static_cast<int>(count);
}

/// Points on a circle in a plane at right angles to an axis.
class ShapeCircle {
public:
    ShapeCircle(Point const& center, float radius, int axis)
        : axes_(axis), radius_(radius), center_{center.x, center.y, center.z} {}

    /// Sine and cosine are in single precision, the sum with the centre in double.
    void place(MeshVertex& vertex, float cosine, float sine) const {
        axes_.place(&vertex.x, static_cast<float>(cosine * radius_ + center_[axes_.first]),
                    static_cast<float>(sine * radius_ + center_[axes_.second]),
                    static_cast<float>(center_[axes_.height]));
    }
    int axis() const { return axes_.height; }

private:
    ShapeAxes axes_;
    float radius_;
    double center_[3];
};

/// The texture coordinate of a direction: the unit circle in the unit square.
inline MeshUV circleUV(float cosine, float sine) {
    return {cosine * 0.5f + 0.5f, sine * 0.5f + 0.5f};
}

/// Angle between the corners of a regular polygon; 0 without corners.
inline float circleStep(int numSegments) {
    constexpr double turn = 6.283185307179586476925;
    return numSegments > 0 ? static_cast<float>(turn / numSegments) : 0.0f;
}

}  // namespace koGeom::detail
