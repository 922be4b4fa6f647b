#include "trimora/spatial/clipTriangle.h"

#include <algorithm>
#include <utility>

// One pass a face, each from one polygon into another, round the edges from the last vertex to the first:
//
//        p ---------- c         p kept, c not: the cut is added
//              |                c kept, p not: the cut, then c
//        inside | beyond        both kept: c
//
// Faces that no vertex lies beyond are left out.

namespace koGeom {

namespace {

constexpr int numComponents = 16;
constexpr int capacity = 10;

struct Face {
    int axis;
    double sign;  // -1 at a lower bound, 1 at an upper one
    double bound;

    bool isBeyond(ClipVert const& v) const {
        double const limit = bound * v[3];
        return sign < 0.0 ? limit > v[axis] : v[axis] > limit;
    }
    /// Above 0 beyond the face.
    double height(ClipVert const& v) const { return sign * v[axis] - sign * bound * v[3]; }
};

void add(ClipPolygon& polygon, ClipVert const& vertex) {
    if (polygon.count < capacity)
        polygon.vertices[polygon.count++] = vertex;
}

void addCut(ClipPolygon& polygon, ClipVert const& p, ClipVert const& c, double t) {
    if (polygon.count >= capacity)
        return;
    ClipVert& cut = polygon.vertices[polygon.count++];
    for (int i = 0; i < numComponents; ++i)
        if ((polygon.mask >> i & 1u) != 0)
            cut[i] = p[i] + (c[i] - p[i]) * t;
}

void cutAtFace(Face const& face, ClipPolygon const& from, ClipPolygon& to) {
    to.count = 0;
    ClipVert const* p = &from.vertices[from.count - 1];
    double heightP = face.height(*p);
    for (int i = 0; i < from.count; ++i) {
        ClipVert const* const c = &from.vertices[i];
        double const heightC = face.height(*c);
        if ((heightP <= 0.0) != (heightC <= 0.0))
            addCut(to, *p, *c, heightP / (heightP - heightC));
        if (heightC <= 0.0)
            add(to, *c);
        p = c;
        heightP = heightC;
    }
}

}  // namespace

IntersectionResult clipTriangle(ClipPolygon& polygon, ClipBox const& box) {
    polygon.count = std::clamp(polygon.count, 0, capacity);
    Face const faces[] = {{0, -1.0, box.minX}, {0, 1.0, box.maxX},  {1, -1.0, box.minY},
                          {1, 1.0, box.maxY},  {2, -1.0, box.minZ}, {2, 1.0, box.maxZ}};
    int numBeyond[6];
    bool isInside = true, isOutside = false;
    for (int k = 0; k < 6; ++k) {
        numBeyond[k] = 0;
        for (int i = 0; i < polygon.count; ++i)
            numBeyond[k] += faces[k].isBeyond(polygon.vertices[i]) ? 1 : 0;
        isInside = isInside && numBeyond[k] == 0;
        isOutside = isOutside || numBeyond[k] == polygon.count;
    }
    if (isInside)
        return IntersectionInside;

    ClipPolygon other;
    other.mask = polygon.mask;
    ClipPolygon* from = &polygon;
    ClipPolygon* to = &other;
    for (int k = 0; k < 6 && !isOutside; ++k) {
        if (numBeyond[k] == 0)
            continue;
        cutAtFace(faces[k], *from, *to);
        std::swap(from, to);
        isOutside = from->count == 0;
    }
    if (isOutside) {
        polygon.count = 0;
        return IntersectionOutside;
    }
    if (from == &other) {
        std::copy(other.vertices, other.vertices + other.count, polygon.vertices);
        polygon.count = other.count;
    }
    return IntersectionClipped;
}

}  // namespace koGeom
