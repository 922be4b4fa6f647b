#include "support/builders.h"
#include "support/checks.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/measure/meshSmoothBilateral.h"
#include "trimora/measure/meshSmoothLaplacian.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <doctest/doctest.h>
#include <functional>
#include <map>
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

/// The surface of the cube from -1 to 1, each side n x n squares.
CompactMesh fineCube(int n) {
    std::map<std::array<int, 3>, int> numbers;
    std::vector<float> coordinates;
    std::vector<int> triangles;
    auto const numberOf = [&](std::array<int, 3> const& at) {
        auto const [found, isNew] = numbers.try_emplace(at, static_cast<int>(numbers.size()));
        for (int k = 0; isNew && k < 3; ++k)
            coordinates.push_back(2.0f * static_cast<float>(at[static_cast<std::size_t>(k)]) /
                                      static_cast<float>(n) -
                                  1.0f);
        return found->second;
    };
    for (std::size_t axis = 0; axis < 3; ++axis)
        for (int const side : {0, n})
            for (int i = 0; i < n * n; ++i) {
                auto const corner = [&](int u, int v) {
                    std::array<int, 3> at = {};
                    at[axis] = side;
                    at[(axis + (side == 0 ? 2 : 1)) % 3] = i % n + u;
                    at[(axis + (side == 0 ? 1 : 2)) % 3] = i / n + v;
                    return numberOf(at);
                };
                int const a = corner(0, 0), b = corner(1, 0), c = corner(1, 1), d = corner(0, 1);
                triangles.insert(triangles.end(), {a, b, c, a, c, d});
            }
    return support::meshOf(coordinates, triangles);
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

TEST_CASE("bilateralKeepsTheEdgesOfANoisyCubeThatTheLaplacianRounds") {
    CompactMesh const clean = fineCube(20);
    CompactMesh const rough = prepared(noisy(clean, 0.01, 1), all);
    // Root mean square distance from the cube, of the vertices that were on its edges or of the others.
    auto const error = [&](CompactMesh const& of, bool onEdges) {
        double squares = 0.0;
        int count = 0;
        for (int v = 0; v < of.getNumVertices(); ++v) {
            MeshVertex const& at = clean.getVertices()[v];
            int const numExtreme =
                (std::abs(at.x) == 1.0f) + (std::abs(at.y) == 1.0f) + (std::abs(at.z) == 1.0f);
            if ((numExtreme > 1) != onEdges)
                continue;
            MeshVertex const& p = of.getVertices()[v];
            double const size = std::max({std::abs(p.x), std::abs(p.y), std::abs(p.z)});
            squares += (size - 1.0) * (size - 1.0);
            ++count;
        }
        return std::sqrt(squares / count);
    };
    CompactMesh const kept = smoothed(rough, bilateral(0.105), 3);  // edges are 0.1 long
    CompactMesh const rounded = smoothed(rough, meshSmoothLaplacian, 3);
    CHECK(error(kept, true) < 0.4 * error(rounded, true));
    CHECK(error(kept, false) < 0.6 * error(rough, false));
    CHECK(error(kept, false) < 0.4 * error(rounded, false));
}

//   1 above 0, the others beside it: one at height h and three at 0. Distances are 1, the mean is h / 4, the variance
//   3 h^2 / 16, so that h^2 / (2 variance) = 8 / 3.
TEST_CASE("bilateralOfOneVertexIsWhatOneWorksOutByHand") {
    auto const moved = [](float h, double sigma) {
        CompactMesh mesh = support::meshOf({0, 0, 0, 1, 0, h, 0, 1, 0, -1, 0, 0, 0, -1, 0},
                                           {0, 1, 2, 0, 2, 3, 0, 3, 4, 0, 4, 1});
        if (h == 1.0f)
            mesh.getVertices()[1].x = 0.0f;  // a distance of 1 to the last bit
        mesh.allocNormalArray();
        mesh.getNormalsRaw()[2] = 2.0f;  // heights are by the unit normal, the way by this one
        mesh.getSelectedVertices().resize(5);
        mesh.getSelectedVertices().setBit(0);
        Tables const tables(mesh);
        koUtil::Progress progress;
        meshSmoothBilateral(mesh, tables.vertices, sigma, progress);
        return static_cast<double>(mesh.getVertices()[0].z);
    };
    double const weight = std::exp(-8.0 / 3.0);
    CHECK(moved(1.0f, 1.0) == doctest::Approx(2.0 * weight / (weight + 3.0)));
    CHECK(moved(1.0f, 0.999) == 0.0);  // sigma itself is within
    CHECK(moved(1e-5f, 2.0) == doctest::Approx(2e-5 * weight / (weight + 3.0)));
    CHECK(moved(1e-6f, 2.0) == 0.0);  // a variance below epsilonTol
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
            if (poll == 0) {  // asked for also while no vertex is selected
                mesh.clearSelection();
                smoother(mesh, tables.vertices, progress);
                CHECK(counter.total() == 0);
            }
            for (int v = 0; v < mesh.getNumVertices(); ++v)
                CHECK(sameBytes(mesh, before, v));
        }
    }
}
