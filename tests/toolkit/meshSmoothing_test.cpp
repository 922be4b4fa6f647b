// Smoothing as a command needs it: what moves and what does not, what is told of it, that units make no difference, and that a
// cancelled run changes nothing.

#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "toolkit/meshMeasuring.h"
#include "toolkit/meshSmoothing.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>

using koGeom::BitVector;
using koGeom::CompactMesh;
using trimora::SmoothOptions;
using trimora::SmoothOutcome;

namespace {

BitVector allTriangles(CompactMesh const& mesh) {
    BitVector triangles(mesh.getNumTriangles());
    triangles.setAllBits();
    return triangles;
}

SmoothOptions laplacian(int passes, bool keepBorders = false) {
    SmoothOptions options;
    options.passes = passes;
    options.keepBorders = keepBorders;
    return options;
}

SmoothOptions bilateral(int passes, double sigma) {
    SmoothOptions options;
    options.method = SmoothOptions::Method::Bilateral;
    options.passes = passes;
    options.sigma = sigma;
    return options;
}

SmoothOutcome smooth(CompactMesh& mesh, SmoothOptions const& options) {
    koUtil::Progress progress;
    return trimora::smoothMesh(mesh, allTriangles(mesh), options, progress);
}

CompactMesh scaled(CompactMesh mesh, float scale) {
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] *= scale;
    return mesh;
}

/// An octahedron with finely cut faces, and noise along the rays from its middle.
CompactMesh roughOctahedron(double noise) {
    CompactMesh mesh = support::sphere(5);
    support::Random random(7);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        koGeom::MeshVertex& p = mesh.getVertices()[v];
        float const size = std::abs(p.x) + std::abs(p.y) + std::abs(p.z);
        float const factor = static_cast<float>(1.0 + random.real(-noise, noise)) / size;
        p.set(p.x * factor, p.y * factor, p.z * factor);
    }
    return mesh;
}

double rmsFromOctahedron(CompactMesh const& mesh) {
    double sum = 0.0;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        koLinear::Point const p = mesh.getVertices()[v].asPoint();
        double const off = (std::abs(p.x) + std::abs(p.y) + std::abs(p.z) - 1.0) / std::sqrt(3.0);
        sum += off * off;
    }
    return std::sqrt(sum / mesh.getNumVertices());
}

}  // namespace

//   6 - 7 - 8       vertex 4 stands one up; its neighbours are all but 2 and 6
//   | / | / |
//   3 - 4 - 5
//   | / | / |
//   0 - 1 - 2
TEST_CASE("aPeakFallsToTheMeanOfItsNeighbours") {
    CompactMesh mesh = support::grid(2, 2);
    mesh.getVertices()[4].z = 1.0f;
    auto expected = support::coordinatesOf(mesh);
    expected[14] = 0.0f;
    support::ModificationCounter const counter(mesh);
    SmoothOutcome const outcome = smooth(mesh, laplacian(1, true));
    CHECK(outcome.refusal.empty());
    CHECK(support::coordinatesOf(mesh) == expected);
    CHECK(outcome.passes == 1);
    CHECK(outcome.free == 1);
    CHECK(outcome.fixed == 8);
    CHECK(outcome.moved == 1);
    CHECK(outcome.largest == 1.0);
    CHECK(outcome.rms == 1.0);
    CHECK(!outcome.volumeBefore);
    REQUIRE(counter.total() == 1);
    CHECK(counter.type(0) == koGeom::MeshModification::Geometry);
}

TEST_CASE("onlyCornersOfTheSelectionMove") {
    CompactMesh mesh = support::terrain(12, 12, 3);
    BitVector triangles(mesh.getNumTriangles());
    for (int t = 100; t < 140; ++t)
        triangles.setBit(t);
    std::vector<char> isCorner(static_cast<std::size_t>(mesh.getNumVertices()), 0);
    for (int t = 100; t < 140; ++t)
        for (int const v : mesh.getTriangles()[t].vertices)
            isCorner[static_cast<std::size_t>(v)] = 1;
    for (SmoothOptions const& options : {laplacian(3), bilateral(3, 2.0)}) {
        CompactMesh edited = mesh;
        koUtil::Progress progress;
        SmoothOutcome const outcome = trimora::smoothMesh(edited, triangles, options, progress);
        int numMoved = 0;
        for (int v = 0; v < mesh.getNumVertices(); ++v) {
            bool const isSame =
                mesh.getVertices()[v].asPoint() == edited.getVertices()[v].asPoint();
            CHECK((isSame || isCorner[static_cast<std::size_t>(v)] != 0));
            numMoved += isSame ? 0 : 1;
        }
        CHECK(numMoved == outcome.moved);
        CHECK(outcome.moved > 0);
        CHECK(outcome.free == std::count(isCorner.begin(), isCorner.end(), 1));
        CHECK(outcome.free + outcome.fixed == mesh.getNumVertices());
        CHECK(outcome.rms <= outcome.largest);
        CHECK(support::trianglesOf(edited) == support::trianglesOf(mesh));
    }
}

TEST_CASE("theLaplacianShrinksAndTheBilateralFilterKeepsEdges") {
    CompactMesh const rough = roughOctahedron(0.005);
    double const noise = rmsFromOctahedron(rough);
    CompactMesh rounded = rough;
    CompactMesh kept = rough;
    SmoothOutcome const laplace = smooth(rounded, laplacian(3));
    koUtil::Progress progress;
    double const edge = trimora::measureMesh(rough, false, progress).whole.meanEdge;
    SmoothOutcome const filter = smooth(kept, bilateral(3, edge));
    REQUIRE(laplace.volumeBefore);
    REQUIRE(laplace.volumeAfter);
    CHECK(*laplace.volumeBefore == doctest::Approx(4.0 / 3.0).epsilon(0.01));
    CHECK(*laplace.volumeAfter < 0.997 * *laplace.volumeBefore);
    CHECK(*filter.volumeAfter == doctest::Approx(*filter.volumeBefore).epsilon(0.002));
    CHECK(rmsFromOctahedron(kept) < noise);
    CHECK(rmsFromOctahedron(kept) < 0.5 * rmsFromOctahedron(rounded));
}

TEST_CASE("unitsMakeNoDifference") {
    for (SmoothOptions options : {laplacian(2), bilateral(2, 0.1)}) {
        CompactMesh mesh = roughOctahedron(0.005);
        SmoothOutcome const outcome = smooth(mesh, options);
        CHECK(outcome.moved > mesh.getNumVertices() / 2);
        double const sigma = options.sigma;
        for (float const scale : {0x1p-60f, 0x1p-9f, 0x1p20f, 0x1p100f}) {
            CAPTURE(scale);
            CompactMesh other = scaled(roughOctahedron(0.005), scale);
            options.sigma = sigma * double(scale);
            SmoothOutcome const otherOutcome = smooth(other, options);
            CHECK(support::coordinatesOf(other) == support::coordinatesOf(scaled(mesh, scale)));
            CHECK(otherOutcome.largest == outcome.largest * double(scale));
        }
    }
}

TEST_CASE("whatIsEvenOrTooWideApartStays") {
    CompactMesh flat = support::grid(5, 5);
    CHECK(smooth(flat, bilateral(3, 1.5)).moved == 0);
    CompactMesh rough = support::terrain(8, 8, 1);
    auto const before = support::coordinatesOf(rough);
    support::ModificationCounter const counter(rough);
    for (double const sigma : {1e-300, 1e-3})
        CHECK(smooth(rough, bilateral(3, sigma)).moved == 0);
    CHECK(support::coordinatesOf(rough) == before);
    CHECK(counter.total() == 0);
    SmoothOutcome const wide = smooth(rough, bilateral(1, 1e300));
    CHECK(wide.moved > 0);
    CHECK(std::isfinite(wide.largest));
}

TEST_CASE("normalsOfItsOwnGoWhenTheSurfaceMoves") {
    CompactMesh mesh = support::sphere(2);
    mesh.allocNormalArray();
    mesh.allocUVArray();
    SmoothOutcome const outcome = smooth(mesh, laplacian(1));
    CHECK(outcome.dropped == std::vector<std::string>{"normals"});
    CHECK(mesh.getNormals() == nullptr);
    CHECK(mesh.getUVs() != nullptr);
}

TEST_CASE("aCancelledRunAndARefusalChangeNothing") {
    CompactMesh mesh = support::terrain(40, 40, 2);
    auto const before = support::coordinatesOf(mesh);
    for (double const when : {0.0, 0.3, 0.8}) {
        koUtil::Progress progress;
        progress.setListener([&](double value, char const*) {
            if (value >= when)
                progress.cancel();
        });
        CHECK(trimora::smoothMesh(mesh, allTriangles(mesh), laplacian(10), progress).cancelled);
        CHECK(support::coordinatesOf(mesh) == before);
    }
    mesh.getVertices()[50].x = std::numeric_limits<float>::infinity();
    SmoothOutcome const refused = smooth(mesh, laplacian(1));
    CHECK(refused.refusal.find("NaN or infinite") != std::string::npos);
    CHECK(refused.isNonfinite);
}

TEST_CASE("anyMeshComesThroughFinite") {
    for (auto& [name, mesh] : support::zoo()) {
        CAPTURE_BINDING(name);
        for (SmoothOptions const& options : {laplacian(2), laplacian(2, true), bilateral(2, 1.0)}) {
            CompactMesh edited = mesh;
            SmoothOutcome const outcome = smooth(edited, options);
            CHECK(outcome.refusal.empty());
            CHECK(support::faultOf(edited).empty());
            for (float const x : support::coordinatesOf(edited))
                CHECK(std::isfinite(x));
        }
    }
    CompactMesh point = support::meshOf({1, 2, 3}, {0, 0, 0});  // no neighbour to go to
    CHECK(smooth(point, laplacian(1)).free == 0);
    CHECK(support::coordinatesOf(point) == std::vector<float>{1, 2, 3});
}
