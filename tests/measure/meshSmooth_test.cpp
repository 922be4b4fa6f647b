#include "support/builders.h"
#include "support/checks.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/measure/meshSmoothBilateral.h"
#include "trimora/measure/meshSmoothLaplacian.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <doctest/doctest.h>
#include <functional>
#include <vector>

using namespace koGeom;

namespace {

struct Tables {
    MeshAdjTris tris;
    MeshAdjVertices vertices;

    explicit Tables(CompactMesh const& mesh) {
        meshAdjTris(mesh, tris);
        meshAdjVertices(mesh, tris, vertices);
    }
};

using Smoother =
    std::function<void(CompactMesh& mesh, MeshAdjVertices const& table, koUtil::Progress&)>;

Smoother bilateral(double sigma) {
    return [sigma](CompactMesh& mesh, MeshAdjVertices const& table, koUtil::Progress& progress) {
        meshSmoothBilateral(mesh, table, sigma, progress);
    };
}

/// Normals, and the vertices chosen that the predicate wants.
CompactMesh prepared(CompactMesh mesh, std::function<bool(int)> const& isChosen) {
    meshComputeNormals(mesh);
    mesh.getSelectedVertices().resize(mesh.getNumVertices());
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        if (isChosen(v))
            mesh.getSelectedVertices().setBit(v);
    return mesh;
}

bool all(int) {
    return true;
}

CompactMesh smoothed(CompactMesh mesh, Smoother const& smoother, int numPasses = 1) {
    Tables const tables(mesh);
    koUtil::Progress progress;
    for (int pass = 0; pass < numPasses; ++pass) {
        meshComputeNormals(mesh);
        smoother(mesh, tables.vertices, progress);
    }
    return mesh;
}

bool sameBytes(CompactMesh const& a, CompactMesh const& b, int vertex) {
    return std::memcmp(a.getVertices() + vertex, b.getVertices() + vertex, sizeof(MeshVertex)) == 0;
}

CompactMesh noisy(CompactMesh mesh, double size, std::uint64_t seed) {
    support::Random random(seed);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        MeshVertex& p = mesh.getVertices()[v];
        double const by = 1.0 + random.real(-size, size);
        double const to[3] = {p.x * by, p.y * by, p.z * by};
        p.set(to);
    }
    return mesh;
}

/// Root mean square of a vertex figure about its mean.
double spread(CompactMesh const& mesh, std::function<double(MeshVertex const&)> const& figure) {
    double sum = 0.0, squares = 0.0;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        double const value = figure(mesh.getVertices()[v]);
        sum += value, squares += value * value;
    }
    double const mean = sum / mesh.getNumVertices();
    return std::sqrt(squares / mesh.getNumVertices() - mean * mean);
}

double radius(MeshVertex const& p) {
    return p.asPoint().asVector().length();
}

/// The filter by its definition: neighbours are spread from the vertex until nothing is added.
Point filtered(CompactMesh const& mesh, MeshAdjVertices const& table, double sigma, int vertex) {
    Point const p = mesh.getVertices()[vertex].asPoint();
    Vector const normal = mesh.getNormals()[vertex].asVector();
    auto const at = [&](int v) { return mesh.getVertices()[v].asPoint(); };
    std::vector<int> found = {vertex};
    for (std::size_t i = 0; i < found.size(); ++i)
        for (int k = 0; k < table.numNeighbours(found[i]); ++k) {
            int const next = table.neighbours(found[i])[k];
            if (distance(at(next), p) <= sigma &&
                std::find(found.begin(), found.end(), next) == found.end())
                found.push_back(next);
        }
    found.erase(found.begin());
    double mean = 0.0, variance = 0.0, sum = 0.0, weights = 0.0;
    auto const height = [&](int v) { return dot(Normal(normal), at(v) - p); };
    for (int const v : found)
        mean += height(v) / static_cast<double>(found.size());
    for (int const v : found)
        variance += std::pow(height(v) - mean, 2) / static_cast<double>(found.size());
    if (found.empty() || variance < 1e-12)
        return p;
    for (int const v : found) {
        double const weight = std::exp(-distance2(at(v), p) / (2.0 * sigma * sigma) -
                                       height(v) * height(v) / (2.0 * variance));
        sum += weight * height(v), weights += weight;
    }
    return weights > 1e-12 ? p + sum / weights * normal : p;
}

}  // namespace

//    3
//   /|\      0 in the middle of 1, 2, 3: it goes to their mean, whether they are selected or not;
//  / 0 \     all places are taken before the first moves.
// 1-----2
TEST_CASE("laplacianTakesTheMeanOfTheNeighbours") {
    CompactMesh const mesh = prepared(
        support::meshOf({5, 5, 5, 0, 0, 0, 3, 0, 0, 0, 6, 3}, {0, 1, 2, 0, 2, 3, 0, 3, 1}), all);
    CompactMesh const after = smoothed(mesh, meshSmoothLaplacian);
    CHECK(after.getVertices()[0].asPoint() == Point(1, 2, 1));
    CHECK(after.getVertices()[1].asPointFlt() == PointFlt(8.0f / 3.0f, 11.0f / 3.0f, 8.0f / 3.0f));
    CompactMesh const isolated = prepared(support::meshOf({1, 2, 3}, {}), all);
    CHECK(std::isnan(smoothed(isolated, meshSmoothLaplacian).getVertices()[0].x));
}

TEST_CASE("onlySelectedVerticesMove") {
    for (Smoother const& smoother : {Smoother(meshSmoothLaplacian), bilateral(3.0)}) {
        CompactMesh const mesh =
            prepared(support::terrain(40, 40, 2), [](int v) { return v % 3 == 0; });
        CompactMesh const after = smoothed(mesh, smoother);
        int numMoved = 0;
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            numMoved += !sameBytes(mesh, after, v);
            if (v % 3 != 0)
                CHECK(sameBytes(mesh, after, v));
        }
        CHECK(numMoved > 500);
    }
}

TEST_CASE("flatPatchStaysAsItIs") {
    auto const isInside = [](int v) { return v % 9 % 8 != 0 && v > 8 && v < 72; };
    CompactMesh const mesh = prepared(support::grid(8, 8), isInside);
    for (Smoother const& smoother : {Smoother(meshSmoothLaplacian), bilateral(2.5)})
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            CHECK(sameBytes(smoothed(mesh, smoother, 3), mesh, v));
}

TEST_CASE("noiseOnASphereFallsByTheRootOfSix") {
    CompactMesh const mesh = prepared(noisy(support::sphere(5), 0.01, 3), all);
    double const before = spread(mesh, radius);
    double const clean =
        spread(smoothed(prepared(support::sphere(5), all), meshSmoothLaplacian), radius);
    double const after = spread(smoothed(mesh, meshSmoothLaplacian), radius);
    CHECK(clean < 0.1 * before);
    CHECK(after / before == doctest::Approx(1.0 / std::sqrt(6.0)).epsilon(0.05));
}

TEST_CASE("bilateralIsTheFilterByItsDefinition") {
    for (double const sigma : {0.12, 0.3, 1.5}) {
        CompactMesh const mesh = prepared(noisy(support::sphere(3), 0.05, 7), all);
        CompactMesh const after = smoothed(mesh, bilateral(sigma));
        Tables const tables(mesh);
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            CHECK(equivalent(after.getVertices()[v].asPoint(),
                             filtered(mesh, tables.vertices, sigma, v), 1e-6));
    }
}

TEST_CASE("bilateralKeepsEdgesThatTheLaplacianRounds") {
    // an octahedron of many triangles, sharp edges along theirs
    CompactMesh mesh = support::sphere(5);
    auto const norm1 = [](MeshVertex const& p) {
        return static_cast<double>(std::abs(p.x) + std::abs(p.y) + std::abs(p.z));
    };
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        MeshVertex& p = mesh.getVertices()[v];
        double const by = 1.0 / norm1(p);
        double const to[3] = {p.x * by, p.y * by, p.z * by};
        p.set(to);
    }
    CompactMesh const rough = prepared(noisy(mesh, 0.005, 1), all);
    auto const error = [&](CompactMesh const& of) {
        double squares = 0.0;
        for (int v = 0; v < of.getNumVertices(); ++v)
            squares += std::pow(norm1(of.getVertices()[v]) - 1.0, 2);
        return std::sqrt(squares / of.getNumVertices());
    };
    double const kept = error(smoothed(rough, bilateral(0.045), 3));
    double const rounded = error(smoothed(rough, meshSmoothLaplacian, 3));
    CHECK(kept < 0.7 * error(rough));
    CHECK(kept < 0.2 * rounded);
    // wider than an edge of the mesh it rounds too, but less
    CHECK(error(smoothed(rough, bilateral(0.08), 3)) < 0.5 * rounded);
}

TEST_CASE("bilateralWithoutNormalsOrNeighboursMovesNothing") {
    CompactMesh const mesh = prepared(noisy(support::sphere(2), 0.1, 7), all);
    CompactMesh bare = mesh;
    bare.deleteNormals();
    Tables const tables(bare);
    koUtil::Progress progress;
    meshSmoothBilateral(bare, tables.vertices, 1.0, progress);
    CompactMesh const small = smoothed(mesh, bilateral(0.01));
    CompactMesh const zero = smoothed(mesh, bilateral(0.0));
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        CHECK((sameBytes(bare, mesh, v) && sameBytes(small, mesh, v) && sameBytes(zero, mesh, v)));
}

TEST_CASE("oneNoticeOfGeometryAndNormalsStay") {
    for (Smoother const& smoother : {Smoother(meshSmoothLaplacian), bilateral(0.5)})
        for (bool const isSelected : {true, false}) {
            CompactMesh mesh =
                prepared(support::sphere(2), [isSelected](int) { return isSelected; });
            Tables const tables(mesh);
            support::ModificationCounter counter(mesh);
            koUtil::Progress progress;
            smoother(mesh, tables.vertices, progress);
            REQUIRE(counter.total() == 1);
            CHECK(counter.type(0) == MeshModification::Geometry);
            CHECK(mesh.getNormalsComputed());
            CHECK(mesh.getNormals() != nullptr);
            CHECK(progress.getValue() > 0.0);
        }
}

TEST_CASE("cancelledAtAnyPollNothingMovesAndNothingIsSent") {
    for (Smoother const& smoother : {Smoother(meshSmoothLaplacian), bilateral(0.1)}) {
        CompactMesh const before = prepared(support::sphere(4), all);  // 1026 vertices, 2 polls
        for (int poll = 0; poll < 2; ++poll) {
            CompactMesh mesh = before;
            Tables const tables(mesh);
            support::ModificationCounter counter(mesh);
            koUtil::Progress progress;
            if (poll == 0)
                progress.cancel();
            progress.setListener([&](double, char const*) { progress.cancel(); });
            smoother(mesh, tables.vertices, progress);
            CHECK(counter.total() == 0);
            for (int v = 0; v < mesh.getNumVertices(); ++v)
                CHECK(sameBytes(mesh, before, v));
        }
    }
}
