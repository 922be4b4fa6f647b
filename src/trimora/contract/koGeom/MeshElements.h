#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"

/// The records that mesh arrays are made of: no virtual operation, no padding, so that an array of
/// records and its raw view (float* or int*) are the same bytes. Indices are signed 32-bit numbers;
/// inside a mesh they are never negative.
namespace koGeom {

/// A position; raw stride 3.
struct MeshVertex {
    float x, y, z;

    void set(float newX, float newY, float newZ) {
        x = newX;
        y = newY;
        z = newZ;
    }
    /// From three consecutive numbers; doubles are narrowed.
    void set(float const* const xyz) { set(xyz[0], xyz[1], xyz[2]); }
    void set(double const* const xyz) {
        set(static_cast<float>(xyz[0]), static_cast<float>(xyz[1]), static_cast<float>(xyz[2]));
    }

    Point asPoint() const {
        return Point(static_cast<double>(x), static_cast<double>(y), static_cast<double>(z));
    }
    PointFlt asPointFlt() const { return PointFlt(x, y, z); }
};

/// A normal; raw stride 3. Unit length is the habit, not a promise.
struct MeshNormal {
    float x, y, z;

    Vector asVector() const {
        return Vector(static_cast<double>(x), static_cast<double>(y), static_cast<double>(z));
    }
    /// Narrows; an invalid normal gives zeros.
    MeshNormal& operator=(Normal const& normal) {
        x = static_cast<float>(normal.x);
        y = static_cast<float>(normal.y);
        z = static_cast<float>(normal.z);
        return *this;
    }
};

/// A texture coordinate; raw stride 2.
struct MeshUV {
    float u, v;

    void set(float newU, float newV) {
        u = newU;
        v = newV;
    }
    void set(double const& newU, double const& newV) {
        set(static_cast<float>(newU), static_cast<float>(newV));
    }
};

/// Three vertex indices in winding order (counter-clockwise seen from outside); raw stride 3.
struct MeshTriangle {
    int vertices[3];

    int& operator[](int corner) { return vertices[corner]; }
    int const& operator[](int corner) const { return vertices[corner]; }
};

/// A line segment, start then end; raw stride 2.
struct MeshLine {
    int vertices[2];

    int& operator[](int end) { return vertices[end]; }
    int const& operator[](int end) const { return vertices[end]; }
};

/// Elements of named attribute sets; raw stride 1 to 4.
struct MeshFloat1 {
    float values[1];
};
struct MeshFloat2 {
    float values[2];
};
struct MeshFloat3 {
    float values[3];
};
struct MeshFloat4 {
    float values[4];
};

/// A colour, components 0 to 1; a mesh holds them as the attribute set "colours" of dimension 4.
struct MeshColour {
    float red, green, blue, alpha;
};

}  // namespace koGeom
