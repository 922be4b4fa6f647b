#include "support/TemporaryFolder.h"
#include "support/builders.h"
#include "support/corpus.h"

#include "trimora/assembly/meshReadObj.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/measure/MeshSilhouette.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <doctest/doctest.h>
#include <map>
#include <utility>
#include <vector>

using namespace koGeom;

namespace {

using Segments = std::vector<std::pair<int, int>>;  // by vertex number

CompactMesh withNormals(CompactMesh mesh) {
    meshComputeNormals(mesh);
    return mesh;
}

/// Where an end lies, told so that both triangles of an edge tell the same: the corners with weight.
std::pair<int, int> place(CompactMesh const& mesh, MeshCoord const& coord) {
    std::vector<int> corners;
    for (int k = 0; k < 3; ++k)
        if (coord.weights[k] != 0.0)
            corners.push_back(mesh.getTriangles()[coord.triangle][k]);
    REQUIRE((corners.size() == 1 || corners.size() == 2));
    return {std::min(corners.front(), corners.back()), std::max(corners.front(), corners.back())};
}

/// Value of the view at a place, from the interpolated position and normal, and the slope that the
/// tolerance allows for.
void checkValues(CompactMesh const& mesh, std::deque<MeshCoord> const& ends, Point const& eye,
                 double tolerance) {
    for (MeshCoord const& coord : ends) {
        double value = 0.0, size = 0.0;
        for (int k = 0; k < 3; ++k) {
            int const v = mesh.getTriangles()[coord.triangle][k];
            Vector const sight = eye - mesh.getVertices()[v].asPoint();
            value += coord.weights[k] * dot(mesh.getNormals()[v].asVector(), sight);
            size = std::max(size, sight.length() + eye.asVector().length());
        }
        CHECK(std::abs(value) <= tolerance + 1e-6 * size);
    }
}

/// As many segments lead to each place as lead away from it.
void checkClosed(CompactMesh const& mesh, std::deque<MeshCoord> const& ends) {
    std::map<std::pair<int, int>, int> balance;
    for (std::size_t i = 0; i + 1 < ends.size(); i += 2) {
        ++balance[place(mesh, ends[i])];
        --balance[place(mesh, ends[i + 1])];
    }
    for (auto const& entry : balance)
        CHECK_MESSAGE(entry.second == 0, "between ", entry.first.first, " and ",
                      entry.first.second);
}

/// The line form says the same as the form on the mesh.
void checkLines(CompactMesh const& mesh, ko::Reference<CompactMesh> const& lines,
                std::deque<MeshCoord> const& ends) {
    REQUIRE(lines->getNumVertices() == static_cast<int>(ends.size()));
    REQUIRE(2 * lines->getNumLineStrips() == lines->getNumVertices());
    for (int i = 0; i < lines->getNumVertices(); ++i) {
        CHECK(lines->getLineStripPoints()[i] == i);
        CHECK(lines->getLineStripLengths()[i / 2] == 2);
        Point const at =
            ends[static_cast<std::size_t>(i)].evaluate(mesh.getVertices(), mesh.getTriangles());
        CHECK(distance(at, lines->getVertices()[i].asPoint()) <=
              1e-6 * (1.0 + at.asVector().length()));
    }
}

void checkFrom(MeshSilhouette& silhouette, CompactMesh const& mesh, Point const& eye) {
    std::deque<MeshCoord> ends(3);  // is emptied first
    silhouette.computePerspOnMesh(PointFlt(eye), ends);
    checkClosed(mesh, ends);
    checkValues(mesh, ends, Point(PointFlt(eye)), 0.0);
    checkLines(mesh, silhouette.computePersp(PointFlt(eye)), ends);
}

/// Two triangles on the edge 0-1, seen from above (0, 0, 1); the values are the z of the normals.
///
///     2        (0, 1, 2) and, on the other side, (1, 0, 3)
///    / \       .
///   0---1
///    \ /
///     3
struct Pair {
    CompactMesh mesh = support::meshOf({0, 0, 0, 2, 0, 0, 1, 1, 0, 1, -1, 0}, {0, 1, 2, 1, 0, 3});
    MeshAdjTris adjTris;

    explicit Pair(std::vector<float> const& values) {
        if (values.size() > 4) {  // and a third triangle on the edge
            mesh = support::meshOf({0, 0, 0, 2, 0, 0, 1, 1, 0, 1, -1, 0, 1, 0, 1},
                                   {0, 1, 2, 1, 0, 3, 0, 1, 4});
        }
        mesh.allocNormalArray();
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            mesh.getNormalsRaw()[3 * v + 2] = values[static_cast<std::size_t>(v)];
        meshAdjTris(mesh, adjTris);
    }

    Segments segments(bool withTable, ko::list<int>* zeros = nullptr) const {
        MeshSilhouette silhouette(mesh, 0.25f);
        if (withTable)
            silhouette.setAdjacentTrianglesForDuplicateEdgeDetection(adjTris);
        silhouette.setZeroCrossingTriangleList(zeros);
        std::deque<MeshCoord> ends;
        silhouette.computeOrthoOnMesh({0, 0, 1}, ends);  // leaves nothing behind for the next call
        if (zeros == nullptr)
            silhouette.computeOrthoOnMesh({0, 0, 1}, ends);
        Segments found;
        for (std::size_t i = 0; i + 1 < ends.size(); i += 2)
            found.emplace_back(place(mesh, ends[i]).first, place(mesh, ends[i + 1]).second);
        return found;
    }
};

}  // namespace

TEST_CASE("silhouetteOfASphereIsTheCircleOfItsTangents") {
    CompactMesh mesh = support::sphere(5);
    mesh.allocNormalArray();
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        Vector const n = mesh.getVertices()[v].asPoint().asVector();
        mesh.getNormals()[v] = Normal(n);
    }
    MeshSilhouette silhouette(mesh, 0.0f);
    ko::Reference<CompactMesh> const lines = silhouette.computePersp({3.0f, 4.0f, 0.5f});
    Vector const axis(3.0, 4.0, 0.5);
    REQUIRE(lines->getNumVertices() > 100);
    double length = 0.0;
    for (int i = 0; i < lines->getNumVertices(); i += 2) {
        Point const p = lines->getVertices()[i].asPoint(),
                    q = lines->getVertices()[i + 1].asPoint();
        CHECK(dot(p.asVector(), axis) == doctest::Approx(1.0).epsilon(1e-3));
        // with the eye's side on the left: counter-clockwise seen from the eye
        CHECK(dot(cross(p.asVector(), q.asVector()), axis) > 0.0);
        length += distance(p, q);
    }
    double const circle = 2.0 * 3.14159265 * std::sqrt(1.0 - 1.0 / axis.length2());
    CHECK(length == doctest::Approx(circle).epsilon(2e-3));
}

TEST_CASE("silhouettesAreClosedLoopsAtRightAnglesToTheSight") {
    std::vector<CompactMesh> meshes = {support::sphere(4), support::torus(60, 30),
                                       support::shuffled(support::torus(31, 17), 4)};
    for (char const* const name : {"nefertiti.obj", "fandisk.obj", "rocker_arm.obj"}) {
        std::string const file = support::corpusFile(name);
        meshes.emplace_back();
        if (!file.empty())
            meshReadObj(meshes.back(), support::nameOf(file));
    }
    support::Random random(5);
    for (CompactMesh const& source : meshes) {
        CompactMesh const mesh = withNormals(source);
        MeshSilhouette silhouette(mesh, 0.0f);
        double size = 1.0;
        for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
            size = std::max(size, std::abs(static_cast<double>(mesh.getVerticesRaw()[i])));
        for (int view = 0; view < 8; ++view) {
            Vector direction(random.real(-1, 1), random.real(-1, 1), random.real(-1, 1));
            checkFrom(silhouette, mesh, Point::origin + (5.0 * size) * direction);
            std::deque<MeshCoord> ends;
            silhouette.computeOrthoOnMesh(VectorFlt(direction), ends);
            checkClosed(mesh, ends);
            checkLines(mesh, silhouette.computeOrtho(VectorFlt(direction)), ends);
        }
    }
}

TEST_CASE("eachCaseOfTheBandGivesItsSegment") {
    // an edge at 0 between the sides, once with the table, else once from each triangle
    CHECK(Pair({0, 0, 1, -1}).segments(true) == Segments{{0, 1}});
    CHECK(Pair({0, 0, 1, -1}).segments(false) == Segments{{0, 1}, {0, 1}});
    CHECK(Pair({0, 0, -1, 1}).segments(true) == Segments{{1, 0}});
    // both third corners on one side: no silhouette, but two without the table
    CHECK(Pair({0, 0, 1, 1}).segments(true).empty());
    CHECK(Pair({0, 0, 1, 1}).segments(false) == Segments{{0, 1}, {1, 0}});
    // an edge at the border has no other side
    CHECK(Pair({1, 0, 0, 1}).segments(true).empty());
    CHECK(Pair({1, 0, 0, 1}).segments(false) == Segments{{1, 2}});
    // the tolerance itself is within the band
    CHECK(Pair({0.25f, -0.25f, 1, -1}).segments(true) == Segments{{0, 1}});
    CHECK(Pair({0.25f, 0.25f, 1, 1}).segments(false) == Segments{{0, 1}, {1, 0}});
    CHECK(Pair({-0.25f, -0.25f, -1, -1}).segments(false) == Segments{{1, 0}, {0, 1}});
    // three triangles on the edge: the first two settle it, in whichever order their sides are
    CHECK(Pair({0, 0, 1, -1, -1}).segments(true) == Segments{{0, 1}});
    CHECK(Pair({0, 0, 1, 1, -1}).segments(true).empty());
    // one corner at 0: nothing, where the others are on one side
    CHECK(Pair({0, 1, 1, 1}).segments(false).empty());
    // through a corner: the positive side on the left
    CHECK(Pair({-1, 1, 0, -1}).segments(false) == Segments{{2, 1}, {0, 3}});
    CHECK(Pair({1, -1, 0, 1}).segments(false) == Segments{{0, 2}, {1, 1}});
}

TEST_CASE("trianglesAtZeroGiveTheirEdgesOrGoToTheList") {
    Pair const flat({0, 0, 0, 1});
    CHECK(flat.segments(false) == Segments{{0, 1}, {1, 2}, {2, 0}, {1, 0}});
    CHECK(flat.segments(true) == Segments{{0, 1}, {1, 2}, {2, 0}});
    ko::list<int> zeros = {7};
    CHECK(flat.segments(true, &zeros).empty());
    CHECK(zeros == ko::list<int>{7, 0});
}

TEST_CASE("withoutNormalsOrTrianglesThereIsNoSilhouette") {
    for (CompactMesh const& mesh :
         {support::sphere(2), CompactMesh(), withNormals(support::meshOf({1, 2, 3}, {}))}) {
        MeshSilhouette silhouette(mesh, 0.1f);
        MeshSilhouette copy(silhouette);
        CHECK(copy.computePersp({9, 9, 9})->getNumVertices() == 0);
        CHECK(silhouette.computeOrtho({0, 0, 1})->getNumLineStrips() == 0);
    }
}
