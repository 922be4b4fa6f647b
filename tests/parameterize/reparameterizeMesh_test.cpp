#include "support/builders.h"
#include "support/checks.h"
#include "support/corpus.h"
#include "support/oracles.h"
#include "surfaces.h"

#include "trimora/assembly/meshReadObj.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koLinear/ranges.h"
#include "trimora/contract/koOS/AppOutput.h"
#include "trimora/contract/koOS/Filename.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/parameterize/reparameterizeMesh.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <doctest/doctest.h>
#include <filesystem>
#include <limits>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

using namespace koGeom;
using support::NamedMesh;

namespace {

/// Collects what the user is told while it lives.
class OutputCapture {
public:
    OutputCapture() {
        koOS::AppOutput::getInstance().setSink([this](char const* text) { info += text; },
                                               [this](char const* text) { error += text; });
    }
    ~OutputCapture() { koOS::AppOutput::getInstance().setSink(nullptr); }

    std::string info;
    std::string error;
};

bool flatten(CompactMesh& mesh) {
    return reparameterizeMesh(mesh).flatten();
}

CompactMesh scaled(CompactMesh const& mesh, double factor) {
    return surfaces::mapped(mesh,
                            [factor](Point const& p) { return (p.asVector() * factor).asPoint(); });
}

std::vector<float> uvsOf(CompactMesh const& mesh) {
    if (mesh.getUVsRaw() == nullptr)
        return {};
    return {mesh.getUVsRaw(), mesh.getUVsRaw() + 2 * mesh.getNumVertices()};
}

Point uvOf(CompactMesh const& mesh, int v) {
    MeshUV const& uv = mesh.getUVs()[v];
    return {static_cast<double>(uv.u), static_cast<double>(uv.v), 0.0};
}

/// Twice the area of a triangle in the plane, signed.
double uvArea(CompactMesh const& mesh, int t) {
    MeshTriangle const& triangle = mesh.getTriangles()[t];
    Point const a = uvOf(mesh, triangle[0]);
    return cross(uvOf(mesh, triangle[1]) - a, uvOf(mesh, triangle[2]) - a).z;
}

/// Empty, or what is wrong with the box of the coordinates.
std::string faultOfBox(CompactMesh const& mesh, bool fillsIt = true) {
    if (mesh.getUVs() == nullptr)
        return "no coordinates";
    float lowest[2] = {2.0f, 2.0f}, highest[2] = {-1.0f, -1.0f};
    for (int i = 0; i < 2 * mesh.getNumVertices(); ++i) {
        float const x = mesh.getUVsRaw()[i];
        if (!(x >= 0.0f && x <= 1.0f))
            return "a coordinate of " + std::to_string(x);
        lowest[i % 2] = std::min(lowest[i % 2], x);
        highest[i % 2] = std::max(highest[i % 2], x);
    }
    if (!fillsIt)
        return "";
    if (lowest[0] != 0.0f || lowest[1] != 0.0f)
        return "it does not begin at 0";
    if (std::abs(std::max(highest[0], highest[1]) - 1.0f) > 1e-6f)
        return "neither range reaches 1";
    return "";
}

/// The largest deviation of an edge's length, in coordinates by in space, from the mean of this ratio; relative to it.
double strainOf(CompactMesh const& mesh) {
    std::vector<double> ratios;
    double sum = 0.0;
    for (auto const& [edge, triangles] : support::edgeTable(mesh)) {
        double const length =
            distance(mesh.getVertices()[edge[0]].asPoint(), mesh.getVertices()[edge[1]].asPoint());
        ratios.push_back(distance(uvOf(mesh, edge[0]), uvOf(mesh, edge[1])) / length);
        sum += ratios.back();
    }
    double const mean = sum / static_cast<double>(ratios.size());
    double worst = 0.0;
    for (double const ratio : ratios)
        worst = std::max(worst, std::abs(ratio / mean - 1.0));
    return worst;
}

int numFlipped(CompactMesh const& mesh) {
    int count = 0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        count += uvArea(mesh, t) <= 0.0;
    return count;
}

/// How far each vertex is from the least of stretch minus area, by the cotangent formula; relative to the largest coordinate.
std::vector<double> residualsOf(CompactMesh const& mesh) {
    std::vector<Vector> sums(static_cast<std::size_t>(mesh.getNumVertices()));
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int corner = 0; corner < 3; ++corner) {
            MeshTriangle const& triangle = mesh.getTriangles()[t];
            int const i = triangle[corner], j = triangle[(corner + 1) % 3],
                      k = triangle[(corner + 2) % 3];
            auto const cotangentAt = [&](int at, int a, int b) {
                Point const p = mesh.getVertices()[at].asPoint();
                Vector const d = mesh.getVertices()[a].asPoint() - p;
                Vector const e = mesh.getVertices()[b].asPoint() - p;
                return dot(d, e) / cross(d, e).length();
            };
            Vector const across = uvOf(mesh, k) - uvOf(mesh, j);
            sums[static_cast<std::size_t>(i)] +=
                cotangentAt(k, i, j) * (uvOf(mesh, i) - uvOf(mesh, j)) +
                cotangentAt(j, k, i) * (uvOf(mesh, i) - uvOf(mesh, k)) +
                Vector(across.y, -across.x, 0.0);
        }
    std::vector<double> residuals;
    for (Vector const& sum : sums)
        residuals.push_back(sum.length());
    return residuals;
}

/// A smooth open surface of a size of about 100, taller than wide, with one lowest and one highest vertex.
CompactMesh wavySheet(int size = 12) {
    return surfaces::mapped(support::grid(size, size), [size](Point const& p) {
        double const x = p.x / size, y = p.y / size;
        double const bulge = 1.0 - 0.1 * (x - 0.4) * (x - 0.4);
        return Point(80.0 * x, 100.0 * bulge * (y - 0.5),
                     12.0 * std::sin(5.0 * x + 1.0) * std::cos(4.0 * y));
    });
}

}  // namespace

TEST_CASE("aSquareKeepsItsShape") {
    CompactMesh mesh = scaled(support::grid(20, 20), 5.0);
    support::ModificationCounter counter(mesh);
    REQUIRE(flatten(mesh));
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        MeshVertex const& p = mesh.getVertices()[v];
        CHECK(std::abs(mesh.getUVs()[v].u - p.x / 100.0f) < 1e-5f);
        CHECK(std::abs(mesh.getUVs()[v].v - p.y / 100.0f) < 1e-5f);
    }
    REQUIRE(counter.total() == 1);
    CHECK(counter.type(0) == MeshModification::Attributes);
}

TEST_CASE("developableSurfacesUnrollWithoutStretch") {
    double const quarter = 0.5 * std::numbers::pi;
    auto const quarterCylinder = [&](Point const& p) {
        double const angle = quarter * p.x / 16.0;
        return Point(60.0 * std::cos(angle), 60.0 * std::sin(angle), 6.0 * p.y);
    };
    auto const cone = [&](Point const& p) {
        double const angle = 3.0 * quarter * p.x / 16.0, along = 20.0 + 6.0 * p.y;
        return Point(0.6 * along * std::cos(angle), 0.6 * along * std::sin(angle), 0.8 * along);
    };
    auto const tilted = [](Point const& p) {
        Vector const turned =
            rotate(p.asVector(), Normal(Vector(1.0, 2.0, 3.0)), 1.1) + Vector(300.0, -200.0, 50.0);
        return turned.asPoint();
    };
    CompactMesh const grid = support::grid(16, 12);
    for (auto const& [name, flat] :
         {NamedMesh{"square", scaled(grid, 6.0)},
          NamedMesh{"quarter cylinder", surfaces::mapped(grid, quarterCylinder)},
          NamedMesh{"cone", surfaces::mapped(grid, cone)}})
        for (bool const isTilted : {false, true}) {
            CompactMesh mesh = isTilted ? surfaces::mapped(flat, tilted) : flat;
            mesh = support::shuffled(mesh, 3);
            CAPTURE(name);
            CAPTURE(isTilted);
            REQUIRE(flatten(mesh));
            CHECK(strainOf(mesh) < 1e-4);
            CHECK(numFlipped(mesh) == 0);
            CHECK(faultOfBox(mesh) == "");
        }
}

TEST_CASE("onlyTheTwoPinnedVerticesAreOffBalance") {
    for (std::uint64_t seed = 1; seed <= 4; ++seed) {
        CompactMesh mesh = support::shuffled(wavySheet(), seed);
        REQUIRE(flatten(mesh));
        CHECK(faultOfBox(mesh) == "");
        CHECK(numFlipped(mesh) == 0);
        std::vector<double> residuals = residualsOf(mesh);
        std::sort(residuals.rbegin(), residuals.rend());
        CHECK(residuals[1] > 1e-4);
        CHECK(residuals[2] < 1e-5);
    }
}

TEST_CASE("aHoleOfThreeEdgesIsClosedByItsTriangle") {
    CompactMesh const whole = wavySheet();
    for (int const missing : {26, 131, 257}) {
        CompactMesh mesh = whole;
        mesh.getTriangles()[missing] = mesh.getTriangles()[mesh.getNumTriangles() - 1];
        mesh.resizeTriangleArray(mesh.getNumTriangles() - 1);
        REQUIRE(flatten(mesh));
        CompactMesh closed = mesh;
        int const count = closed.getNumTriangles();
        closed.resizeTriangleArray(count + 1);
        closed.getTriangles()[count] = whole.getTriangles()[missing];
        std::vector<double> residuals = residualsOf(closed);
        std::sort(residuals.rbegin(), residuals.rend());
        CHECK(residuals[2] < 1e-5);
    }
}

//        2
//      / 3 \       a steep pyramid over a triangle: all angles are acute, and two of the rim's three vertices are pinned, so
//     0-----1      that the matrix is one for the incomplete factor
TEST_CASE("aSteepPyramidIsSolvedByTheFactor") {
    CompactMesh mesh =
        support::meshOf({0, 0, 0, 100, 0, 0, 50, 80, 0, 50, 27, 70}, {0, 1, 3, 1, 2, 3, 2, 0, 3});
    REQUIRE(flatten(mesh));
    std::vector<double> residuals = residualsOf(mesh);
    std::sort(residuals.rbegin(), residuals.rend());
    CHECK(residuals[1] > 1e-3);
    CHECK(residuals[2] < 1e-5);
    CHECK(numFlipped(mesh) == 0);
}

TEST_CASE("mirroredSurfacesGiveMirroredCoordinates") {
    CompactMesh mesh = wavySheet();
    CompactMesh mirrored =
        surfaces::mapped(mesh, [](Point const& p) { return Point(-p.x, p.y, p.z); });
    for (int t = 0; t < mirrored.getNumTriangles(); ++t)
        std::swap(mirrored.getTriangles()[t][1], mirrored.getTriangles()[t][2]);
    REQUIRE(flatten(mesh));
    REQUIRE(flatten(mirrored));
    double sum = 0.0, mirroredSum = 0.0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        sum += uvArea(mesh, t);
        mirroredSum += uvArea(mirrored, t);
    }
    // Turned back by the reversed triangles: each of them keeps its share of the area, and each edge its length.
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        CHECK(uvArea(mirrored, t) / mirroredSum ==
              doctest::Approx(uvArea(mesh, t) / sum).epsilon(1e-3));
    double const scale = std::sqrt(mirroredSum / sum);
    Vector const side = uvOf(mesh, 12) - uvOf(mesh, 0);
    Vector const diagonal = uvOf(mesh, 168) - uvOf(mesh, 0);
    Vector const mirroredSide = uvOf(mirrored, 12) - uvOf(mirrored, 0);
    Vector const mirroredDiagonal = uvOf(mirrored, 168) - uvOf(mirrored, 0);
    CHECK(dot(mirroredSide, mirroredDiagonal) ==
          doctest::Approx(scale * scale * dot(side, diagonal)).epsilon(1e-3));
    CHECK(cross(mirroredSide, mirroredDiagonal).z ==
          doctest::Approx(-scale * scale * cross(side, diagonal).z).epsilon(1e-3));
}

TEST_CASE("holesOfADiskAreClosedInTheSystemAlone") {
    // Laid out in a plane, so that the result is known; renumbered, so that a hole comes before the outer border.
    for (auto const& holes : {std::vector<std::pair<int, int>>{{5, 5}},
                              std::vector<std::pair<int, int>>{{3, 3}, {7, 8}}})
        for (std::uint64_t seed = 0; seed < 4; ++seed) {
            CompactMesh mesh = scaled(surfaces::holedGrid(12, holes), 8.0);
            if (seed > 0)
                mesh = support::shuffled(mesh, seed);
            CompactMesh const before = mesh;
            REQUIRE(flatten(mesh));
            CHECK(support::trianglesOf(mesh) == support::trianglesOf(before));
            CHECK(strainOf(mesh) < 1e-4);
            CHECK(faultOfBox(mesh) == "");
        }
}

TEST_CASE("ofEqualBoundariesTheFirstIsTheOuterOne") {
    // A tube: its first ring becomes the rim, the other one lies inside.
    constexpr int numSteps = 24;
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int ring = 0; ring < 4; ++ring)
        for (int i = 0; i < numSteps; ++i) {
            double const angle = 2.0 * std::numbers::pi * i / numSteps;
            coordinates.insert(coordinates.end(),
                               {static_cast<float>(50.0 * std::cos(angle)),
                                static_cast<float>(50.0 * std::sin(angle)), 10.0f * ring});
            int const a = ring * numSteps + i, b = ring * numSteps + (i + 1) % numSteps;
            if (ring < 3)
                triangles.insert(triangles.end(),
                                 {a, b, b + numSteps, a, b + numSteps, a + numSteps});
        }
    CompactMesh mesh = support::meshOf(coordinates, triangles);
    REQUIRE(flatten(mesh));
    auto const farthest = [&](int ring) {
        double most = 0.0;
        for (int i = 0; i < numSteps; ++i)
            most = std::max(most, distance(uvOf(mesh, ring * numSteps + i), Point(0.5, 0.5, 0.0)));
        return most;
    };
    CHECK(farthest(0) > farthest(1));
    CHECK(farthest(1) > farthest(2));
    CHECK(farthest(2) > farthest(3));
}

TEST_CASE("closedSurfacesAreCutOrRefused") {
    for (auto const& [name, closed] :
         {NamedMesh{"sphere", scaled(support::sphere(2), 50.0)},
          NamedMesh{"torus", scaled(support::torus(12, 8), 20.0)},
          NamedMesh{"genus 3", scaled(surfaces::genusThree(), 15.0)}}) {
        CAPTURE(name);
        CompactMesh mesh = closed;
        support::ModificationCounter counter(mesh);
        OutputCapture output;
        reparameterizeMesh refusing(mesh);
        refusing.enableMeshCutSurface(false);
        CHECK_FALSE(refusing.flatten());
        CHECK(counter.total() == 0);
        CHECK(mesh.getUVs() == nullptr);
        int const genus = (2 - support::eulerNumber(mesh)) / 2;
        CHECK(output.info.ends_with("- - - MeshReparameterize: genus = " + std::to_string(genus) +
                                    "\n"));

        REQUIRE(flatten(mesh));
        CHECK(counter.total() == 1);
        // The seam's other copies may be what fills the square.
        CHECK(faultOfBox(mesh, false) == "");
        CHECK(support::trianglesOf(mesh) == support::trianglesOf(closed));
    }
}

TEST_CASE("tellsWhatItFindsOnTheWay") {
    CompactMesh mesh = scaled(support::grid(1, 1), 100.0);
    OutputCapture output;
    REQUIRE(flatten(mesh));
    CHECK(output.info ==
          "getMeshGenus: numBoundaries 1 \n"
          "getMeshGenus: numBoundaryEdges 4 \n"
          "getMeshGenus: numVertices 4 \n"
          "getMeshGenus: numTriangles 2 \n"
          "getMeshGenus: numEdges 5 \n"
          "getMeshGenus: chi = 1 + 4 + 2 - 5 = 2 \n"
          "getMeshGenus: genus = ( 2 - 2 ) / 2 = 0 \n"
          "- - - MeshReparameterize: genus = 0\n"
          "Parameterization: calculated planeNormal is good.  Using orthogonal component.\n"
          "Parameterization: CG finished, code = 1\n");
    CHECK(output.error.empty());

    CompactMesh larger = wavySheet();
    output.info.clear();
    REQUIRE(flatten(larger));
    // 334 unknowns: told at every 16th step.
    CHECK(output.info.find("Parameterization   5.0% complete\n"
                           "Parameterization   9.3% complete\n"
                           "Parameterization  13.6% complete\n") != std::string::npos);
}

TEST_CASE("theSolversOutcomeCanBeAskedFor") {
    CompactMesh mesh = wavySheet();
    reparameterizeMesh flattening(mesh);
    CHECK(flattening.solverOutcome().iterations == 0);
    OutputCapture output;
    REQUIRE(flattening.flatten());
    auto const [code, iterations] = flattening.solverOutcome();
    CHECK(output.info.ends_with("CG finished, code = " + std::to_string(code) + "\n"));
    CHECK(iterations > 30);
    CHECK(iterations <= 2 * mesh.getNumVertices() - 4);
}

TEST_CASE("refusalsSayWhy") {
    auto const refusal = [](CompactMesh mesh, std::string* error = nullptr) {
        support::ModificationCounter counter(mesh);
        OutputCapture output;
        CHECK_FALSE(flatten(mesh));
        CHECK(counter.total() == 0);
        CHECK(mesh.getUVs() == nullptr);
        if (error != nullptr)
            *error = output.error;
        else
            CHECK(output.error.empty());
        return output.info;
    };
    std::string error;
    CHECK(refusal(support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0}, {0, 1, 2, 1, 3, 1}),
                  &error) == "getMeshGenus: testDegenerate == true\n"
                             "- - - MeshReparameterize: genus = -1\n");
    // Welded vertices come in the order of their positions, unwelded ones stay.
    CHECK(error == "Found degenerate triangle 1 (1,3,1), mesh not changed. \n");

    CHECK(refusal(support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, -1, 0, 0, 0, -1, 0},
                                  {0, 1, 2, 0, 3, 4})) == "getMeshGenus: numBoundaries 2 \n"
                                                          "getMeshGenus: boundary length < 3 \n"
                                                          "- - - MeshReparameterize: genus = -1\n");

    CHECK(refusal(support::joined(support::tetrahedron(), support::tetrahedron(), 9.0f)) ==
          "getMeshGenus: numBoundaries 0 \n"
          "getMeshGenus: numBoundaryEdges 0 \n"
          "getMeshGenus: numVertices 8 \n"
          "getMeshGenus: numTriangles 8 \n"
          "getMeshGenus: numEdges 12 \n"
          "getMeshGenus: chi = 0 + 8 + 8 - 12 = 4 \n"
          "getMeshGenus: genus = ( 2 - 4 ) / 2 = -1 \n"
          "getMeshGenus: genus = -1 \n"
          "- - - MeshReparameterize: genus = -1\n");

    std::string const info =
        refusal(support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2, 0, 2, 1}), &error);
    CHECK(info.ends_with("getMeshGenus: genus = ( 2 - 2 ) / 2 = 0 \n"
                         "- - - MeshReparameterize: outerBoundary = -1\n"));
    CHECK(error == "There must be a boundary for the disk, none found. No changes made.\n");

    // A boundary without any extent.
    CHECK(refusal(support::meshOf({1, 1, 1, 1, 1, 1, 1, 1, 1}, {0, 1, 2}), &error) != "");
}

TEST_CASE("thePlaneIsChosenByTheBorder") {
    OutputCapture output;
    auto const goodness = [&output](CompactMesh mesh) {
        output.info.clear();
        REQUIRE(flatten(mesh));
        CHECK(std::none_of(mesh.getUVsRaw(), mesh.getUVsRaw() + 2 * mesh.getNumVertices(),
                           [](float x) { return !std::isfinite(x); }));
        std::size_t const begin = output.info.find("Parameterization: ");
        return output.info.substr(begin, output.info.find('\n', begin) - begin + 1);
    };
    // A tent over a loop that runs to and fro on a line: along x, and along z, where the pins meet in the plane.
    std::vector<int> const tent = {0, 1, 4, 1, 2, 4, 2, 3, 4, 3, 0, 4};
    for (std::vector<float> const& line :
         {std::vector<float>{0, 0, 0, 30, 0, 0, 90, 0, 0, 50, 0, 0, 40, 40, 40},
          std::vector<float>{0, 0, 0, 0, 0, 30, 0, 0, 90, 0, 0, 50, 40, 40, 40}})
        CHECK(goodness(support::meshOf(line, tent)) ==
              "Parameterization: failed to calculateD planeNormal.  Choosing Z-axis instead.\n");

    // A half turn about z maps the loop to itself, so its normal is z, and so is the way from its lowest to its highest vertex.
    CHECK(goodness(support::meshOf(
              {10, 0, 100, 10, 0, -100, 0, 30, 0, -10, 0, 100, -10, 0, -100, 0, -30, 0, 0, 0, 0},
              {0, 1, 6, 1, 2, 6, 2, 3, 6, 3, 4, 6, 4, 5, 6, 5, 0, 6})) ==
          "Parameterization: calculated planeNormal is (anti-)parallel to the vector between the "
          "fixed vertices of the 3D-boundary.  Choosing a random orthogonal vector instead.\n");
}

TEST_CASE("verticesWithoutATriangleKeepTheirPlace") {
    CompactMesh const square = scaled(support::grid(8, 8), 10.0);
    std::vector<float> coordinates = support::coordinatesOf(square);
    std::vector<int> triangles = support::trianglesOf(square);
    SUBCASE("unused") {
        coordinates.insert(coordinates.end(), {35.0f, 45.0f, 7.0f});
    }
    SUBCASE("used by a triangle without an area") {
        coordinates.insert(coordinates.end(), {35.0f, 0.0f, 0.0f});
        triangles.insert(triangles.end(), {4, 3, 81});
    }
    CompactMesh mesh = support::meshOf(coordinates, triangles);
    REQUIRE(flatten(mesh));
    CHECK(faultOfBox(mesh, false) == "");
    CompactMesh plain = square;
    REQUIRE(flatten(plain));
    std::vector<float> const uvs = uvsOf(mesh), plainUvs = uvsOf(plain);
    // The guess may be the mirror image of the square, and so beyond it: compare shapes.
    double const scale = distance(uvOf(mesh, 0), uvOf(mesh, 8));
    for (int v = 0; v < plain.getNumVertices(); ++v)
        CHECK(distance(uvOf(mesh, v), uvOf(mesh, 0)) / scale ==
              doctest::Approx(distance(uvOf(plain, v), uvOf(plain, 0))).epsilon(1e-4));
}

TEST_CASE("theWeldIsTakenBackWhenItClosesABorder") {
    // A sheet rolled up until its sides meet, vertex upon vertex.
    constexpr int numSteps = 16;
    CompactMesh const tube = surfaces::mapped(support::grid(numSteps, 5), [](Point const& p) {
        double const angle = 2.0 * std::numbers::pi * (p.x == numSteps ? 0.0 : p.x / numSteps);
        return Point(30.0 * std::cos(angle), 30.0 * std::sin(angle), 10.0 * p.y);
    });
    OutputCapture output;
    CompactMesh open = tube;
    reparameterizeMesh careful(open);
    careful.enableMeshCompact(false);
    REQUIRE(careful.flatten());
    CHECK(output.info.starts_with("prepareMesh: numBoundaries o = 1, c = 2\n"
                                  "prepareMesh: compacting changed topology, reverting\n"
                                  "getMeshGenus: numBoundaries 1 \n"));
    CHECK(strainOf(open) < 1e-4);  // unrolled along its seam

    CompactMesh closed = tube;
    output.info.clear();
    REQUIRE(flatten(closed));
    CHECK(output.info.starts_with("getMeshGenus: numBoundaries 2 \n"));
    for (int row = 0; row <= 5; ++row) {
        int const first = row * (numSteps + 1);
        CHECK(distance(uvOf(closed, first), uvOf(closed, first + numSteps)) == 0.0);
    }

    CompactMesh sheet = scaled(support::grid(3, 3), 30.0);
    output.info.clear();
    reparameterizeMesh checked(sheet);
    checked.enableMeshCompact(false);
    REQUIRE(checked.flatten());
    CHECK(output.info.starts_with("prepareMesh: numBoundaries o = 1, c = 1\n"
                                  "getMeshGenus: numBoundaries 1 \n"));
}

TEST_CASE("doubledVerticesGetTheSameCoordinates") {
    CompactMesh const whole = wavySheet(6);
    CompactMesh mesh = support::soup(whole);
    REQUIRE(flatten(mesh));
    for (int t = 0; t < whole.getNumTriangles(); ++t)
        for (int u = 0; u < t; ++u)
            for (int i = 0; i < 3; ++i)
                for (int k = 0; k < 3; ++k)
                    if (whole.getTriangles()[t][i] == whole.getTriangles()[u][k])
                        CHECK(distance(uvOf(mesh, 3 * t + i), uvOf(mesh, 3 * u + k)) == 0.0);
    CHECK(numFlipped(mesh) == 0);
}

TEST_CASE("onlyTextureCoordinatesAreTouched") {
    CompactMesh mesh = wavySheet(6);
    mesh.allocNormalArray();
    mesh.allocUVArray();
    mesh.allocAttributes("mine", 1);
    mesh.getAttributes("mine")->asFloat()[5] = 7.0f;
    std::vector<float> const positions = support::coordinatesOf(mesh);
    REQUIRE(flatten(mesh));
    CHECK(support::coordinatesOf(mesh) == positions);
    CHECK(mesh.getNormals() != nullptr);
    REQUIRE(mesh.getAttributes("mine") != nullptr);
    CHECK(mesh.getAttributes("mine")->asFloat()[5] == 7.0f);
    CHECK(mesh.getUVs()[8].u != 0.0f);
}

TEST_CASE("reportsItsPhases") {
    CompactMesh mesh = wavySheet(6);
    koUtil::Progress progress;
    std::vector<std::pair<std::string, double>> captions;
    double last = 0.0;
    progress.setListener([&](double value, char const* caption) {
        CHECK(value >= last);
        last = value;
        if (captions.empty() || captions.back().first != caption)
            captions.emplace_back(caption, value);
    });
    REQUIRE(reparameterizeMesh(mesh).flatten(progress));
    std::vector<std::pair<std::string, double>> const expected = {
        {"Copying Mesh", 0.0},
        {"Finding Mesh Boundaries", 0.025},
        {"Getting Extreme Vertices", 0.125},
        {"Creating Plane", 0.15},
        {"Filling Mesh Holes", 0.2},
        {"Solving", 0.225},
        {"Applying to Mesh", 0.975}};
    REQUIRE(captions.size() == expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        CHECK(captions[i].first == expected[i].first);
        CHECK(captions[i].second == doctest::Approx(expected[i].second));
    }
    CHECK(last == 1.0);
}

TEST_CASE("cancelledAtAnyReportTheMeshStays") {
    for (CompactMesh const& original :
         {wavySheet(4), scaled(surfaces::holedGrid(6, {{3, 3}}), 16.0),
          scaled(support::octahedron(), 50.0)}) {
        int numCancelled = 0;
        for (bool isDone = false; !isDone; ++numCancelled) {
            CompactMesh mesh = original;
            support::ModificationCounter counter(mesh);
            koUtil::Progress progress;
            int numReports = 0;
            bool isWriting = false;
            progress.setListener([&](double, char const* caption) {
                isWriting = std::string(caption) == "Applying to Mesh";
                if (numReports++ == numCancelled)
                    progress.cancel();
            });
            isDone = reparameterizeMesh(mesh).flatten(progress);
            CHECK(isDone == isWriting);
            CHECK(counter.total() == (isDone ? 1 : 0));
            CHECK((mesh.getUVs() != nullptr) == isDone);
        }
        CHECK(numCancelled > 20);
    }
    CompactMesh mesh = wavySheet(4);
    koUtil::Progress progress;
    progress.cancel();
    CHECK_FALSE(reparameterizeMesh(mesh).flatten(progress));
}

TEST_CASE("resultsDoNotDependOnThreads") {
    std::vector<float> first;
    support::withPools([&first](int numThreads) {
        CAPTURE(numThreads);
        CompactMesh mesh = scaled(support::soup(support::torus(10, 6)), 20.0);
        REQUIRE(flatten(mesh));
        if (first.empty())
            first = uvsOf(mesh);
        CHECK(uvsOf(mesh) == first);
    });
}

TEST_CASE("brokenMeshesAreSafe") {
    std::vector<NamedMesh> meshes = support::zoo();
    for (std::uint64_t seed = 1; seed <= 40; ++seed)
        meshes.push_back({"soup " + std::to_string(seed),
                          support::latticeSoup(10 + static_cast<int>(seed), 30, seed)});
    float const nan = std::numeric_limits<float>::quiet_NaN();
    float const infinity = std::numeric_limits<float>::infinity();
    meshes.push_back({"nan inside", wavySheet(4)});
    meshes.back().mesh.getVertices()[12].set(nan, 1.0f, 2.0f);
    meshes.push_back({"nan on the border", wavySheet(4)});
    meshes.back().mesh.getVertices()[0].set(nan, nan, nan);
    meshes.push_back({"infinite", wavySheet(4)});
    meshes.back().mesh.getVertices()[3].set(infinity, 0.0f, -infinity);
    meshes.push_back({"huge", scaled(wavySheet(4), 1e35)});
    meshes.push_back({"tiny", scaled(wavySheet(4), 1e-30)});
    OutputCapture const output;
    for (auto const& [name, original] : meshes)
        for (int flags = 0; flags < 4; ++flags) {
            CAPTURE(name);
            CompactMesh mesh = original;
            support::ModificationCounter counter(mesh);
            reparameterizeMesh flattening(mesh);
            flattening.enableMeshCompact((flags & 1) != 0);
            flattening.enableMeshCutSurface((flags & 2) != 0);
            bool const isFlattened = flattening.flatten();
            CHECK(counter.total() == (isFlattened ? 1 : 0));
            CHECK(support::trianglesOf(mesh) == support::trianglesOf(original));
            CHECK(support::faultOf(mesh) == "");
            flattening.flatten();  // no second run is meant, but none may fail badly either
            if (mesh.getNumVertices() > 0)
                mesh.resizeVertexArray(mesh.getNumVertices() + 5);
            flattening.flatten();
        }
}

TEST_CASE("realMeshesGoIntoTheUnitSquare") {
    constexpr int mostTriangles = 20000;
    constexpr int mostClosed =
        2500;  // what is cut along all of its vertices takes as many steps as it has unknowns
    OutputCapture const output;
    for (std::string const& path : support::corpus()) {
        if (std::filesystem::file_size(path) > 1000000)
            continue;
        CompactMesh mesh;
        meshReadObj(mesh,
                    koOS::Filename(koString::IString(path.c_str(), koString::Encoding::Native)));
        mesh = surfaces::filtered(mesh, [](MeshTriangle const&) { return true; });
        int const numLoops = SimpleMeshCache().getBoundaries(mesh)->size();
        int const numTriangles = mesh.getNumTriangles();
        if (numTriangles == 0 || numTriangles > (numLoops > 0 ? mostTriangles : mostClosed) ||
            support::numComponents(mesh) != 1)
            continue;
        CAPTURE(path);
        Range3d box;
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            box.include(mesh.getVertices()[v].asPoint());
        mesh = scaled(mesh, 100.0 / box.size().length());
        bool const isDisk = numLoops > 0 && support::eulerNumber(mesh) + numLoops == 2;
        bool const isFlattened = flatten(mesh);
        if (isDisk)
            CHECK(isFlattened);
        if (isFlattened)
            CHECK(faultOfBox(mesh, isDisk) == "");
    }
}
