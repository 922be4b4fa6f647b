#include "support/builders.h"
#include "support/topoBuilders.h"

#include "trimora/repair/MeshVerify.h"
#include "trimora/topology/meshTwin.h"

#include <cmath>
#include <doctest/doctest.h>
#include <map>
#include <set>
#include <string>

using namespace koGeom;
using support::listOf;
using support::ringOf;

namespace {

/// Which checks pass, one letter each in their order: "cdrfe", with '-' for one that fails.
using Verdict = std::string;

MeshVerify::Info only(int check) {
    MeshVerify::Info info;
    info.checkCorners = check == 0;
    info.checkDirectedEdges = check == 1;
    info.checkFaceRings = check == 2;
    info.checkVertexFans = check == 3;
    info.checkVertexEdges = check == 4;
    return info;
}

Verdict verdictOf(TopoMesh& mesh) {
    Verdict verdict = "cdrfe";
    bool all = true;
    for (int check = 0; check < 5; ++check)
        if (!MeshVerify()(mesh, only(check))) {
            verdict[static_cast<std::size_t>(check)] = '-';
            all = false;
        }
    CHECK(MeshVerify()(mesh, MeshVerify::Info()) == all);
    return verdict;
}

std::vector<TopoMeshEdge> starOf(TopoMeshVertex v) {
    std::vector<TopoMeshEdge> star;
    for (TopoMeshEdgeVertexIterator i = {v, v.edge(), 1}; i.edge; i.next())
        star.push_back(i.edge);
    return star;
}

bool plainCorners(TopoMesh const& mesh) {
    for (TopoMeshFace f : listOf(mesh.firstFace()))
        for (TopoMeshEdge e : ringOf(f)) {
            Point const o = e.origin().point();
            Normal const a(e.next().origin().point() - o), b(e.prev().origin().point() - o);
            if (std::abs(dot(a, b) - 1.0) <= epsilonTol)
                return false;
        }
    return true;
}

bool plainDirectedEdges(TopoMesh const& mesh) {
    std::set<std::pair<void const*, void const*>> seen;
    for (TopoMeshFace f : listOf(mesh.firstFace()))
        for (TopoMeshEdge e : ringOf(f))
            if (!seen.insert({e.origin().record(), e.next().origin().record()}).second)
                return false;
    return true;
}

bool plainFaceRings(TopoMesh const& mesh) {
    for (TopoMeshFace f : listOf(mesh.firstFace())) {
        std::set<void const*> corners;
        for (TopoMeshEdge e : ringOf(f)) {
            if (e.face() != f)
                return false;
            corners.insert(e.origin().record());
        }
        if (corners.size() != static_cast<std::size_t>(f.numVertices()))
            return false;
    }
    return true;
}

/// Every face with every later one.
bool plainVertexFans(TopoMesh const& mesh) {
    std::set<std::pair<void const*, void const*>> pairs;
    std::vector<TopoMeshFace> const faces = listOf(mesh.firstFace());
    for (TopoMeshFace f : faces)
        for (TopoMeshEdge e : ringOf(f))
            pairs.insert({f.record(), e.origin().record()});
    for (std::size_t f = 0; f < faces.size(); ++f)
        for (TopoMeshEdge corner : ringOf(faces[f]))
            for (std::size_t g = f + 1; g < faces.size(); ++g) {
                if (pairs.count({faces[g].record(), corner.origin().record()}) == 0)
                    continue;
                bool hasF = false;
                bool hasG = false;
                for (TopoMeshEdge e : starOf(corner.origin())) {
                    hasF = hasF || e.face() == faces[f];
                    hasG = hasG || e.face() == faces[g];
                }
                if (!hasF || !hasG)
                    return false;
            }
    return true;
}

bool plainVertexEdges(TopoMesh const& mesh) {
    std::map<void const*, std::size_t> counts;
    for (TopoMeshFace f : listOf(mesh.firstFace()))
        for (TopoMeshEdge e : ringOf(f))
            ++counts[e.origin().record()];
    for (TopoMeshVertex v : listOf(mesh.firstVertex()))
        if (starOf(v).size() != counts[v.record()])
            return false;
    return true;
}

Verdict plainVerdictOf(TopoMesh const& mesh) {
    bool const passes[] = {plainCorners(mesh), plainDirectedEdges(mesh), plainFaceRings(mesh),
                           plainVertexFans(mesh), plainVertexEdges(mesh)};
    Verdict verdict = "cdrfe";
    for (std::size_t check = 0; check < 5; ++check)
        if (!passes[check])
            verdict[check] = '-';
    return verdict;
}

}  // namespace

TEST_CASE("soundMeshesPassAllChecks") {
    TopoMesh empty;
    CHECK(verdictOf(empty) == "cdrfe");
    TopoMesh isolated;
    isolated.allocVertex(Point(1, 2, 3));
    CHECK(verdictOf(isolated) == "cdrfe");
    TopoMesh cube;
    support::fillQuadCube(cube);
    CHECK(verdictOf(cube) == "cdrfe");
    TopoMesh polygon;
    support::fillPolygon(polygon, 7);
    CHECK(verdictOf(polygon) == "cdrfe");
}

TEST_CASE("eachFaultFailsItsChecks") {
    TopoMesh mesh;
    auto const at = [&mesh](double x, double y) { return mesh.allocVertex(Point(x, y, 0)); };
    SUBCASE("closed corner") {
        // The tip lies on its own base.
        mesh.allocTriangle(at(0, 0), at(1, 0), at(2, 0));
        CHECK(verdictOf(mesh) == "-drfe");
    }
    SUBCASE("open corner of no more than the tolerance") {
        mesh.allocTriangle(at(0, 0), at(1, 0), at(2, 1e-8));
        CHECK(verdictOf(mesh) == "-drfe");
        mesh.setPoint(mesh.firstFace().edge().prev().origin(), Point(2, 1e-5, 0));
        CHECK(verdictOf(mesh) == "cdrfe");
    }
    SUBCASE("repeated vertex") {
        TopoMeshVertex const a = at(0, 0);
        mesh.allocTriangle(a, a, at(1, 0));
        CHECK(verdictOf(mesh) == "-d-f-");
    }
    SUBCASE("neighbours wound alike") {
        TopoMeshVertex const a = at(0, 0), b = at(1, 0);
        mesh.allocTriangle(a, b, at(0, 1));
        mesh.allocTriangle(a, b, at(0, -1));
        // Two fans at a and b, as no walk follows a twin that runs the same way.
        CHECK(verdictOf(mesh) == "c-r--");
        meshTwin(mesh);
        CHECK(verdictOf(mesh) == "c-r--");
    }
    SUBCASE("fans that touch") {
        TopoMeshVertex const a = at(0, 0);
        mesh.allocTriangle(a, at(1, 0), at(0, 1));
        mesh.allocTriangle(a, at(-1, 0), at(0, -1));
        CHECK(verdictOf(mesh) == "cdr--");
    }
    SUBCASE("edge of another face") {
        mesh.allocTriangle(at(0, 0), at(1, 0), at(0, 1));
        TopoMeshFace const other = mesh.allocTriangle(at(5, 0), at(6, 0), at(5, 1));
        mesh.firstFace().edge().record()->face = other.record();
        CHECK(verdictOf(mesh) == "cd-fe");
    }
}

TEST_CASE("brokenRingsFailWithoutEnd") {
    TopoMesh mesh;
    support::fill(mesh, support::grid(2, 2));
    TopoMeshEdge const e = mesh.firstFace().edge();
    TopoMeshEdgeRecord* const next = e.record()->next;
    for (int kind = 0; kind < 3; ++kind) {
        CAPTURE(kind);
        // Runs into a lasso; stops; loses a corner.
        TopoMeshVertexRecord* const origin = next->origin;
        if (kind == 0)
            next->next = next;
        else if (kind == 1)
            next->next = nullptr;
        else
            next->origin = nullptr;
        for (int check = 0; check < 5; ++check)
            CHECK_FALSE(MeshVerify()(mesh, only(check)));
        CHECK(MeshVerify()(mesh, only(-1)));
        next->next = e.prev().record();
        next->origin = origin;
    }
    // A link back that leads nowhere, to itself, or into another mesh.
    TopoMesh other;
    support::fill(other, support::grid(1, 1));
    TopoMeshVertex center = mesh.firstVertex();
    for (int v = 0; v < 4; ++v)
        center = center.nextInList();
    TopoMeshEdgeRecord* const middle = center.edge().record();
    TopoMeshEdgeRecord* const prev = middle->prev;
    for (TopoMeshEdgeRecord* const wrong :
         {static_cast<TopoMeshEdgeRecord*>(nullptr), middle, other.firstEdge().record()}) {
        middle->prev = wrong;
        for (int check = 0; check < 5; ++check)
            CHECK_FALSE(MeshVerify()(mesh, only(check)));
        middle->prev = prev;
    }
    CHECK(verdictOf(mesh) == "cdrfe");
}

TEST_CASE("agreesWithThePlainChecksOverTheZoo") {
    std::vector<support::NamedMesh> meshes = support::zoo();
    for (std::uint64_t seed = 1; seed <= 40; ++seed)
        meshes.push_back({"lattice soup", support::latticeSoup(8, 1 + int(seed) / 2, seed)});
    for (support::NamedMesh const& named : meshes) {
        INFO(named.name);
        CompactMesh const& source = named.mesh;
        TopoMesh mesh;
        support::fill(mesh, source);
        CHECK(verdictOf(mesh) == plainVerdictOf(mesh));
        meshTwin(mesh);
        CHECK(verdictOf(mesh) == plainVerdictOf(mesh));
    }
}

TEST_CASE("agreesWithThePlainChecksAfterDeletions") {
    support::Random random(13);
    TopoMesh mesh;
    support::fill(mesh, support::sphere(2));
    while (mesh.firstFace()) {
        std::vector<TopoMeshFace> const faces = listOf(mesh.firstFace());
        for (int k = 0; k < 9; ++k)
            mesh.deleteFace(faces[static_cast<std::size_t>(random.index(int(faces.size())))]);
        CHECK(verdictOf(mesh) == plainVerdictOf(mesh));
    }
}

TEST_CASE("infoAsksForAllChecksAndCanBeAssigned") {
    MeshVerify::Info info;
    CHECK((info.checkCorners && info.checkDirectedEdges && info.checkFaceRings &&
           info.checkVertexFans && info.checkVertexEdges));
    info = only(2);
    CHECK((info.checkFaceRings && !info.checkCorners));
    meshVerify(support::cube());
}
