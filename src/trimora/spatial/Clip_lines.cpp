#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/spatial/Clip.h"
#include "trimora/spatial/detail/projectWhatShows.h"

#include <array>

// A segment is tried against the faces that one of its ends is beyond, and the end with the fewest of them is taken:
//
//             |             |             class 1: one axis, one face
//     class 2 |   class 1   | class 2     class 2: two faces, either may be where the segment comes in
//     --------+-------------+--------     class 3: three
//     class 1 |   class 0   | class 1     class 0: inside

namespace koGeom::Clip {

namespace {

struct OutcodeClass {
    int numAxes = 0;
    int axes = 0;  // both bits of each axis; 0 when all three are left
};

constexpr std::array<OutcodeClass, 64> outcodeClasses() {
    std::array<OutcodeClass, 64> classes{};
    for (int code = 0; code < 64; ++code) {
        OutcodeClass& each = classes[static_cast<std::size_t>(code)];
        for (int axisBits : {3, 12, 48})
            if ((code & axisBits) != 0) {
                ++each.numAxes;
                each.axes |= axisBits;
            }
        if (each.numAxes == 3)
            each.axes = 0;
    }
    return classes;
}

constexpr std::array<OutcodeClass, 64> classOf = outcodeClasses();
constexpr std::uint32_t lowerBits = 21;
constexpr float slack = 1.000001f;

HPoint widened(Vertex const& v) {
    return {double(v.x), double(v.y), double(v.z), double(v.w)};
}

}  // namespace

LineAlgorithm::LineAlgorithm() = default;
LineAlgorithm::LineAlgorithm(LineAlgorithm const&) = default;
LineAlgorithm& LineAlgorithm::operator=(LineAlgorithm const&) = default;
LineAlgorithm::~LineAlgorithm() = default;

void LineAlgorithm::setLineFunc(LineFunc callback, void* userData) {
    callback_ = callback;
    userData_ = userData;
    segment_ = -1;
}

bool LineAlgorithm::evaluateStrip(float const* xyz, int count, ProjMatrixFlt const& m) {
    Result const result = detail::projectWhatShows(xyz, count, m, vertices_, callback_ != nullptr);
    if (result == Outside)
        return false;
    if (result == Inside && callback_ == nullptr)
        return true;

    bool anyShows = false;
    for (int i = 1; i < count; ++i) {
        segment_ = i - 1;
        anyShows = evaluateSegment(i - 1, i) || anyShows;
        if (anyShows && callback_ == nullptr)
            break;
    }
    return anyShows;
}

bool LineAlgorithm::evaluateSegments(float const* xyz, int count, ProjMatrixFlt const& m) {
    Result const result = detail::projectWhatShows(xyz, count, m, vertices_, callback_ != nullptr);
    if (result == Outside)
        return false;
    if (result == Inside && callback_ == nullptr)
        return true;

    bool anyShows = false;
    for (int i = 0; i < count - 1; i += 2) {
        anyShows = evaluateSegment(i, i + 1) || anyShows;
        if (anyShows && callback_ == nullptr)
            break;
    }
    return anyShows;
}

bool LineAlgorithm::evaluateMesh(CompactMesh const& mesh, ProjMatrixFlt const& m) {
    Result const result = detail::projectWhatShows(mesh.getVerticesRaw(), mesh.getNumVertices(), m,
                                                   vertices_, callback_ != nullptr);
    if (result == Outside)
        return false;
    if (result == Inside && callback_ == nullptr)
        return true;

    bool anyShows = false;
    MeshTriangle const* const triangles = mesh.getTriangles();
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle const& corners = triangles[t];
        anyShows = evaluateSegment(corners[0], corners[1]) ||
                   evaluateSegment(corners[1], corners[2]) ||
                   evaluateSegment(corners[2], corners[0]) || anyShows;
        if (anyShows && callback_ == nullptr)
            break;
    }
    return anyShows;
}

bool LineAlgorithm::evaluateSegment(int a, int b) {
    auto const i = static_cast<std::size_t>(a), j = static_cast<std::size_t>(b);
    if (i >= vertices_.size() || j >= vertices_.size() || !shows(vertices_[i], vertices_[j]))
        return false;
    if (callback_ != nullptr)
        callback_(userData_, widened(vertices_[i]), widened(vertices_[j]));
    return true;
}

bool LineAlgorithm::shows(Vertex const& a, Vertex const& b) const {
    if ((a.outcode & b.outcode) != 0)
        return false;
    OutcodeClass const& ofA = classOf[a.outcode & 63u];
    OutcodeClass const& ofB = classOf[b.outcode & 63u];
    if (ofA.numAxes == 1) {
        if (callback_ == nullptr && ofB.numAxes == 1 && ofA.axes == ofB.axes)
            return true;  // from one face to the one across
        return intersectsFace(a, b, ofA.axes);
    }
    if (ofB.numAxes == 1)
        return intersectsFace(b, a, ofB.axes);
    if (ofA.numAxes == 2)
        return intersectsEdge(a, b, ofA.axes);
    if (ofB.numAxes == 2)
        return intersectsEdge(b, a, ofB.axes);
    return intersectsCorner(a, b);
}

bool LineAlgorithm::intersects(Vertex const& a, Vertex const& b, int axis, float sign) const {
    float const valuesA[3] = {a.x, a.y, a.z}, valuesB[3] = {b.x, b.y, b.z};
    int const across = axis == 0 || axis == 1 ? axis : 2;
    float const den = valuesA[across] - valuesB[across] - (a.w - b.w) * sign;
    if (den == 0.0f)
        return false;

    float const t = (valuesA[across] - a.w * sign) / den;
    float const bound = (t * b.w + (1.0f - t) * a.w) * slack;
    for (int other = 0; other < 3; ++other) {
        float const value = (1.0f - t) * valuesA[other] + t * valuesB[other];
        if (other != across && !(-bound < value && value < bound))
            return false;
    }
    return true;
}

bool LineAlgorithm::intersectsFace(Vertex const& a, Vertex const& b, int axes) const {
    int const axis = axes == 3 ? 0 : axes == 12 ? 1 : 2;
    bool const isBelow = (a.outcode & static_cast<std::uint32_t>(axes) & lowerBits) != 0;
    return intersects(a, b, axis, isBelow ? -1.0f : 1.0f);
}

bool LineAlgorithm::intersectsEdge(Vertex const& a, Vertex const& b, int axes) const {
    if (axes == 60)
        return intersectsFace(a, b, 12) || intersectsFace(a, b, 48);
    return intersectsFace(a, b, 3) ||
           intersectsFace(a, b, 12);  // for x and z as well, deliberately
}

bool LineAlgorithm::intersectsCorner(Vertex const& a, Vertex const& b) const {
    return intersectsFace(a, b, 3) || intersectsFace(a, b, 12) || intersectsFace(a, b, 48);
}

}  // namespace koGeom::Clip
