#include "toolkit/meshSubdivision.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/meshCounts.h"

#include "trimora/topology/computeSubdivMesh.h"
#include "trimora/topology/meshTwin.h"

#include <cmath>
#include <memory>
#include <stdexcept>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshTriangle;
using koGeom::TopoMesh;
using koGeom::TopoMeshEdge;
using koGeom::TopoMeshFace;
using koGeom::TopoMeshVertex;
using koLinear::Point;

constexpr double shareOfQuads = 0.8;  // of the time: the levels, then the mesh that is made of them

std::vector<Point> pointsOf(CompactMesh const& mesh) {
    std::vector<Point> points(static_cast<std::size_t>(mesh.getNumVertices()));
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        points[static_cast<std::size_t>(v)] = mesh.getVertices()[v].asPoint();
    return points;
}

/// The corners of all faces one after the other, and where each face begins.
struct FaceCorners {
    std::vector<int> corners;
    std::vector<std::size_t> starts;  // one a face, and the end
    std::size_t numFaces() const { return starts.size() - 1; }
};

FaceCorners joinFans(CompactMesh const& mesh, std::vector<int> const& trianglePolygon) {
    FaceCorners faces;
    int polygon = -1;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle const& corners = mesh.getTriangles()[t];
        int const itsPolygon =
            trianglePolygon.empty() ? t : trianglePolygon[static_cast<std::size_t>(t)];
        if (itsPolygon != polygon || t == 0) {
            faces.starts.push_back(faces.corners.size());
            faces.corners.insert(faces.corners.end(), {corners[0], corners[1]});
        }
        faces.corners.push_back(corners[2]);
        polygon = itsPolygon;
    }
    faces.starts.push_back(faces.corners.size());
    return faces;
}

/// That joinFans makes, counted without it.
int numFacesOf(CompactMesh const& mesh, std::vector<int> const& trianglePolygon) {
    if (trianglePolygon.empty())
        return mesh.getNumTriangles();
    int count = 1;
    for (std::size_t t = 1; t < trianglePolygon.size(); ++t)
        count += trianglePolygon[t] != trianglePolygon[t - 1] ? 1 : 0;
    return count;
}

/// The number of corners that all faces have, or 0.
std::size_t commonSides(FaceCorners const& faces) {
    std::size_t const sides = faces.numFaces() > 0 ? faces.starts[1] : 0;
    for (std::size_t f = 0; f < faces.numFaces(); ++f) {
        if (faces.starts[f + 1] - faces.starts[f] != sides)
            return 0;
    }
    return sides;
}

void allocOneByOne(TopoMesh& topoMesh, std::vector<Point> const& points, FaceCorners const& faces) {
    std::vector<TopoMeshVertex> vertices;
    vertices.reserve(points.size());
    for (Point const& point : points)
        vertices.push_back(topoMesh.allocVertex(point));
    ko::vector<TopoMeshVertex> ring;
    for (std::size_t f = 0; f < faces.numFaces(); ++f) {
        ring.clear();
        for (std::size_t i = faces.starts[f]; i < faces.starts[f + 1]; ++i)
            ring.push_back(vertices[static_cast<std::size_t>(faces.corners[i])]);
        topoMesh.allocFace(ring);
    }
}

/// A manifold keeps its Euler number, components and borders. Polygons beside no triangles are not what was subdivided.
SurfaceFault faultOfQuads(CompactMesh const& mesh, bool isOfTriangles, CompactMesh const& result) {
    bool const isWhole = isOfTriangles && mesh.getNumTriangles() > 0;
    MeshState const source = stateOf(mesh, isWhole ? depthFor(mesh) : InvariantDepth::Arrays);
    Expectation expected = Expectation::ofKeptTopology(source);
    expected.spreadsNonfinite = true;
    return faultOfMade(source, result, expected);
}

SurfaceFault faultOfLevels(CompactMesh const& mesh, std::vector<int> const& trianglePolygon,
                           int levels) {
    int const numFaces = numFacesOf(mesh, trianglePolygon);
    if (levels >= 1 &&
        numSubdividedQuads(mesh.getNumTriangles(), numFaces, levels) <= maxSubdividedQuads)
        return {};
    return {"levels of subdivision have to be 1 or more, and not more quads than 500 million", {}};
}

/// Of all levels, the part of the quads that the first ones make.
double shareOfLevels(int first, int all) {
    return (std::pow(4.0, first) - 1.0) / (std::pow(4.0, all) - 1.0);
}

}  // namespace

// Triangles of one face follow each other as a fan from its first corner.
SurfaceFault faultOfFaces(CompactMesh const& mesh, std::vector<int> const& trianglePolygon) {
    if (trianglePolygon.empty())
        return {};
    if (trianglePolygon.size() != static_cast<std::size_t>(mesh.getNumTriangles()))
        return {"the faces of another number of triangles", {}};
    MeshTriangle const* const triangles = mesh.getTriangles();
    for (int t = 1; t < mesh.getNumTriangles(); ++t) {
        auto const i = static_cast<std::size_t>(t);
        bool const isOfSame = trianglePolygon[i] == trianglePolygon[i - 1];
        if (!isOfSame ||
            (triangles[t][0] == triangles[t - 1][0] && triangles[t][1] == triangles[t - 1][2]))
            continue;
        Point const p = mesh.getVertices()[triangles[t][0]].asPoint();
        return {"triangle " + std::to_string(t) + " does not go on with the fan of its face, at " +
                    positionInWords(p),
                {{p.x, p.y, p.z}}};
    }
    return {};
}

int fillTopoMesh(TopoMesh& topoMesh, CompactMesh const& mesh,
                 std::vector<int> const& trianglePolygon) {
    requireSoundMesh(mesh);
    if (SurfaceFault const fault = faultOfFaces(mesh, trianglePolygon))
        throw std::invalid_argument(fault.text);
    std::vector<Point> const points = pointsOf(mesh);
    FaceCorners const faces = joinFans(mesh, trianglePolygon);
    int const numFaces = static_cast<int>(faces.numFaces());
    int const sides = static_cast<int>(commonSides(faces));
    if (sides > 0)
        topoMesh.allocFaces(mesh.getNumVertices(), points.data(), numFaces, sides,
                            faces.corners.data());
    else
        allocOneByOne(topoMesh, points, faces);
    koGeom::meshTwin(topoMesh);
    return numFaces;
}

CompactMesh polygonMesh(TopoMesh const& topoMesh) {
    ko::hash<TopoMeshVertex> const rank;  // the order of creation, which is the order of the list
    CompactMesh mesh;
    mesh.resizeVertexArray(topoMesh.numVertices());
    std::vector<int> numberOf;
    int numVertices = 0;
    for (TopoMeshVertex v = topoMesh.firstVertex(); v; v = v.nextInList()) {
        koLinear::PointFlt const narrow(v.point());
        mesh.getVertices()[numVertices].set(narrow.x, narrow.y, narrow.z);
        numberOf.resize(rank(v) + 1, -1);
        numberOf[rank(v)] = numVertices++;
    }
    mesh.polys.resize(topoMesh.numEdges(), topoMesh.numFaces());
    int* corner = mesh.polys.points.data();
    int* length = mesh.polys.lengths.data();
    for (TopoMeshFace f = topoMesh.firstFace(); f; f = f.nextInList()) {
        int const* const begin = corner;
        TopoMeshEdge e = f.edge();
        do {
            *corner++ = numberOf[rank(e.origin())];
            e = e.next();
        } while (e != f.edge());
        *length++ = static_cast<int>(corner - begin);
    }
    return mesh;
}

double numSubdividedQuads(int numTriangles, int numFaces, int levels) {
    double const numCorners = double(numTriangles) + 2.0 * numFaces;
    return numCorners * std::pow(4.0, levels - 1);
}

SubdivideOutcome subdivideMesh(CompactMesh const& mesh, std::vector<int> const& trianglePolygon,
                               int levels, koUtil::Progress& progress) {
    SubdivideOutcome outcome;  // the one that is returned: no copy of the mesh
    if (isRefused(outcome, mesh))
        return outcome;
    SurfaceFault fault = faultOfFaces(mesh, trianglePolygon);
    if (!fault)
        fault = faultOfLevels(mesh, trianglePolygon, levels);
    if (fault) {
        refuse(outcome, fault);
        return outcome;
    }
    if (isCancelled(outcome, &progress))
        return outcome;
    auto current = std::make_unique<TopoMesh>();
    fillTopoMesh(*current, mesh, trianglePolygon);
    for (int level = 0; level < levels; ++level) {
        progress.set(shareOfQuads * shareOfLevels(level, levels));
        if (isCancelled(outcome, &progress))
            return outcome;
        current.reset(koGeom::computeSubdivMesh(*current));
    }
    progress.set(shareOfQuads);
    if (isCancelled(outcome, &progress))
        return outcome;
    CompactMesh result = polygonMesh(*current);
    if (isCancelled(outcome, &progress))
        return outcome;
    if (SurfaceFault const broken = faultOfQuads(mesh, trianglePolygon.empty(), result)) {
        refuse(outcome, broken);
        return outcome;
    }
    if (isCancelled(outcome, &progress))
        return outcome;
    outcome.mesh.swap(result);
    progress.set(1.0);
    return outcome;
}

}  // namespace trimora
