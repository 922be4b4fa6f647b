#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/planar/triangulatePolygon.h"
#include "trimora/topology/detail/MeshCutImpl.h"

#include <algorithm>
#include <iterator>
#include <unordered_set>

/// Faces of more than three corners become triangles. No edge may come twice, since the mesh that takes the triangles back
/// would then hold an edge with four of them.
namespace koGeom::detail {

namespace {

/// The best triangulation takes time with the cube of the corners and memory with their square: ears are cut off down to
/// this many first.
constexpr std::size_t mostCorners = 1000;

class FaceTriangulator {
public:
    FaceTriangulator(TopoMesh& mesh, TopoMeshFace face);
    void run();

private:
    struct Ring {
        ko::vector<TopoMeshVertex> corners;
        ko::vector<Point> points;
    };

    bool hasRepeatedCorner() const;
    bool isJoinedElsewhere(std::size_t i, std::size_t j) const;
    bool cutEar();
    bool isEar(std::size_t i, Vector const& normal) const;
    bool triangulate();
    bool forbidJoined(BitVector& forbidden) const;
    void draw(ko::vector<int> const& triangles);

    std::size_t size() const { return ring_.corners.size(); }

    TopoMesh& mesh_;
    TopoMeshFace const face_;
    Ring ring_;
    std::size_t nextEar_ = 0;
};

FaceTriangulator::FaceTriangulator(TopoMesh& mesh, TopoMeshFace face) : mesh_(mesh), face_(face) {
    TopoMeshEdge e = face.edge();
    do {
        ring_.corners.push_back(e.origin());
        ring_.points.push_back(e.origin().point());
        e = e.next();
    } while (e != face.edge());
}

void FaceTriangulator::run() {
    if (size() <= 3)
        return;
    bool done = !hasRepeatedCorner();
    while (done && size() > mostCorners)
        done = cutEar();
    if (!done || !triangulate())
        mesh_.subdivideFace(face_, face_.centroid());
}

bool FaceTriangulator::hasRepeatedCorner() const {
    std::unordered_set<TopoMeshVertex, ko::hash<TopoMeshVertex>> const distinct(
        ring_.corners.begin(), ring_.corners.end());
    return distinct.size() < size();
}

bool FaceTriangulator::isJoinedElsewhere(std::size_t i, std::size_t j) const {
    return TopoMesh::findEdge(ring_.corners[i], ring_.corners[j]) ||
           TopoMesh::findEdge(ring_.corners[j], ring_.corners[i]);
}

/// Marks the diagonals that exist already, in both directions; false if there is none.
bool FaceTriangulator::forbidJoined(BitVector& forbidden) const {
    std::size_t const n = size();
    bool any = false;
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = i + 2; j < n; ++j) {
            if ((i == 0 && j == n - 1) || !isJoinedElsewhere(i, j))
                continue;
            if (!any)
                forbidden.resize(static_cast<int>(n * n));
            any = true;
            forbidden.setBit(static_cast<int>(n * i + j));
            forbidden.setBit(static_cast<int>(n * j + i));
        }
    }
    return any;
}

bool FaceTriangulator::triangulate() {
    BitVector forbidden;
    bool const hasForbidden = forbidJoined(forbidden);
    ko::vector<int> triangles;
    triangulatePolygon(ring_.points, triangles, hasForbidden ? &forbidden : nullptr, nullptr);
    int const n = static_cast<int>(size());
    for (std::size_t t = 0; hasForbidden && t < triangles.size(); t += 3)
        for (std::size_t k = 0; k < 3; ++k)
            if (forbidden.isBitSet(n * triangles[t + k] + triangles[t + (k + 1) % 3]))
                return false;
    draw(triangles);
    return true;
}

void FaceTriangulator::draw(ko::vector<int> const& triangles) {
    ko::vector<TopoMeshFace> parts{face_};
    for (std::size_t t = 0; t < triangles.size(); t += 3) {
        for (std::size_t k = 0; k < 3; ++k) {
            TopoMeshVertex const a = ring_.corners[static_cast<std::size_t>(triangles[t + k])];
            TopoMeshVertex const b =
                ring_.corners[static_cast<std::size_t>(triangles[t + (k + 1) % 3])];
            if (TopoMesh::findEdge(a, b))
                continue;
            auto const part = std::find_if(parts.begin(), parts.end(), [a, b](TopoMeshFace f) {
                return f.adjacent(a) && f.adjacent(b);
            });
            TopoMeshEdge const diagonal =
                part != parts.end() ? mesh_.subdivideFace(*part, a, b) : TopoMeshEdge();
            if (diagonal)
                parts.push_back(diagonal.twin().face());
        }
    }
}

/// Newell's normal, twice the area long.
Vector normalOf(ko::vector<Point> const& points) {
    Vector sum;
    for (std::size_t i = 1; i + 1 < points.size(); ++i)
        sum += cross(points[i] - points[0], points[i + 1] - points[0]);
    return sum;
}

double signedArea(Point const& a, Point const& b, Point const& c, Vector const& normal) {
    return dot(cross(b - a, c - a), normal);
}

/// A corner that sticks out, with no other corner in its triangle, whose diagonal is free.
bool FaceTriangulator::isEar(std::size_t i, Vector const& normal) const {
    std::size_t const n = size();
    std::size_t const before = (i + n - 1) % n;
    std::size_t const after = (i + 1) % n;
    Point const& a = ring_.points[before];
    Point const& b = ring_.points[i];
    Point const& c = ring_.points[after];
    if (!(signedArea(a, b, c, normal) > 0.0) || isJoinedElsewhere(before, after))
        return false;
    for (std::size_t k = 0; k < n; ++k) {
        Point const& p = ring_.points[k];
        if (k != before && k != i && k != after && signedArea(a, b, p, normal) >= 0.0 &&
            signedArea(b, c, p, normal) >= 0.0 && signedArea(c, a, p, normal) >= 0.0)
            return false;
    }
    return true;
}

/// The search goes on past the last ear, so that ears come from all round.
bool FaceTriangulator::cutEar() {
    Vector const normal = normalOf(ring_.points);
    std::size_t const n = size();
    for (std::size_t step = 0; step < n; ++step) {
        std::size_t const i = (nextEar_ + step) % n;
        if (!isEar(i, normal))
            continue;
        // The face keeps what is left of it: the half-edge past the ear runs along the larger part.
        if (!mesh_.subdivideFace(face_, ring_.corners[(i + n - 1) % n], ring_.corners[(i + 1) % n]))
            return false;
        auto const place = static_cast<std::ptrdiff_t>(i);
        ring_.corners.erase(ring_.corners.begin() + place);
        ring_.points.erase(ring_.points.begin() + place);
        nextEar_ = i + 1;
        return true;
    }
    return false;
}

}  // namespace

void triangulateFace(TopoMesh& mesh, TopoMeshFace face) {
    FaceTriangulator(mesh, face).run();
}

void MeshCut::triangulateFaces() {
    std::vector<TopoMeshFace> faces(touched_.begin(), touched_.end());
    if (!hadTrianglesOnly_) {
        faces.clear();
        for (TopoMeshFace f = mesh_.firstFace(); f; f = f.nextInList())
            faces.push_back(f);
    }
    for (TopoMeshFace face : faces)
        triangulateFace(mesh_, face);
}

}  // namespace koGeom::detail
