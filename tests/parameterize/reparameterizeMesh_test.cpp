#include "literalFlattening.h"
#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "support/corpus.h"
#include "support/oracles.h"
#include "surfaces.h"

#include "trimora/assembly/meshReadObj.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/contract/koLinear/ranges.h"
#include "trimora/contract/koOS/AppOutput.h"
#include "trimora/contract/koOS/Filename.h"
#include "trimora/parameterize/reparameterizeMesh.h"

#include <doctest/doctest.h>
#include <filesystem>
#include <string>

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
    return {mesh.getUVsRaw(), mesh.getUVsRaw() + 2 * mesh.getNumVertices()};
}

Point uvOf(CompactMesh const& mesh, int v) {
    MeshUV const& uv = mesh.getUVs()[v];
    return {static_cast<double>(uv.u), static_cast<double>(uv.v), 0.0};
}

/// Whether all coordinates lie in the unit square and, if asked, begin at 0 and fill it in one direction.
bool isInBox(CompactMesh const& mesh, bool fillsIt = true) {
    Range3d box;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        Point const uv = uvOf(mesh, v);
        if (!(uv.x >= 0.0 && uv.x <= 1.0 && uv.y >= 0.0 && uv.y <= 1.0))
            return false;
        box.include(uv);
    }
    auto const size = box.size();
    return !fillsIt || std::abs(std::max(size.x, size.y) - 1.0) < 1e-6;
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
    REQUIRE(mean > 0.0);
    double worst = 0.0;
    for (double const ratio : ratios)
        if (double const strain = std::abs(ratio / mean - 1.0); !(strain <= worst))
            worst = strain;
    return worst;
}

int numFlipped(CompactMesh const& mesh) {
    int count = 0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle const& triangle = mesh.getTriangles()[t];
        Point const a = uvOf(mesh, triangle[0]);
        count += !(cross(uvOf(mesh, triangle[1]) - a, uvOf(mesh, triangle[2]) - a).z > 0.0);
    }
    return count;
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

/// A sheet rolled up until its sides meet, vertex upon vertex.
CompactMesh rolledUp() {
    return surfaces::mapped(support::grid(16, 5), [](Point const& p) {
        double const angle = p.x == 16.0 ? 0.0 : std::numbers::pi / 8.0 * p.x;
        return Point(30.0 * std::cos(angle), 30.0 * std::sin(angle), 10.0 * p.y);
    });
}

/// A soup in which no two vertices at one place have equal normals or texture coordinates.
CompactMesh dressedSoup(CompactMesh const& mesh) {
    CompactMesh soup = support::soup(mesh);
    soup.allocNormalArray();
    soup.allocUVArray();
    for (int v = 0; v < soup.getNumVertices(); ++v) {
        soup.getNormalsRaw()[3 * v] = static_cast<float>(v);
        soup.getUVs()[v].set(0.0, 0.5 * v);
    }
    return soup;
}

std::vector<NamedMesh> disks() {
    CompactMesh const grid = scaled(support::grid(8, 8), 10.0);
    CompactMesh sheared = grid;
    for (int v = 0; v < sheared.getNumVertices(); ++v)
        sheared.getVertices()[v].y += 0.3f * sheared.getVertices()[v].x;
    std::vector<int> const tent = {0, 1, 4, 1, 2, 4, 2, 3, 4, 3, 0, 4};
    std::vector<NamedMesh> meshes = {
        {"wavy", wavySheet()},
        {"sheared", sheared},
        // All angles are acute, and two of the rim's three vertices are pinned: a matrix for the incomplete factor.
        {"steep pyramid",
         support::meshOf({0, 0, 0, 100, 0, 0, 50, 80, 0, 50, 27, 70}, {0, 1, 3, 1, 2, 3, 2, 0, 3})},
        // A half turn about z maps the loop to itself, so its normal is z, and so is the way from its lowest to its highest vertex.
        {"normal along the chord",
         support::meshOf(
             {10, 0, 100, 10, 0, -100, 0, 30, 0, -10, 0, 100, -10, 0, -100, 0, -30, 0, 0, 0, 0},
             {0, 1, 6, 1, 2, 6, 2, 3, 6, 3, 4, 6, 4, 5, 6, 5, 0, 6})},
        // Over a loop that runs to and fro on a line: along x, and along z, where the pins meet in the plane.
        {"tent on x", support::meshOf({0, 0, 0, 30, 0, 0, 90, 0, 0, 50, 0, 0, 40, 40, 40}, tent)},
        {"tent on z", support::meshOf({0, 0, 0, 0, 0, 30, 0, 0, 90, 0, 0, 50, 40, 40, 40}, tent)},
        {"unused vertex", support::joined(grid, support::meshOf({35, 45, 7}, {}))},
        {"small", scaled(wavySheet(4), 0.01)},  // where the solver's stops are absolute
        {"tube of two equal rims", rolledUp()},
        {"dressed soup", dressedSoup(wavySheet(5))},
        {"two holes", scaled(surfaces::holedGrid(12, {{3, 3}, {7, 8}}), 8.0)},
    };
    // Uneven ground, its axes exchanged and its numbers small and whole, so that extents tie.
    support::Random random(1);
    for (int round = 0; round < 60; ++round) {
        int const size = 2 + round % 4, turn = random.index(3), slope = random.index(3);
        int const height = random.index(size + 2);
        // About where an area counts as none.
        double const unit = round % 5 == 0   ? 1e-6 * random.real(0.7, 1.3)
                            : round % 5 == 1 ? 1.0
                                             : 20.0;
        CompactMesh ground = surfaces::mapped(support::grid(size, size), [&](Point const& p) {
            double const z = random.index(height + 1);
            double const xyz[] = {unit * p.x, unit * (p.y + slope * p.x), unit * z};
            return Point(xyz[turn], xyz[(turn + 1) % 3], xyz[(turn + 2) % 3]);
        });
        if (size == 5)
            ground = surfaces::pierced(ground, {14});
        meshes.push_back(
            {"ground " + std::to_string(round), support::shuffled(ground, random.next())});
    }
    return meshes;
}

}  // namespace

TEST_CASE("hasTheBitsOfTheLiteralFlattening") {
    std::string const planes[] = {
        "Parameterization: calculated planeNormal is good.  Using orthogonal component.\n",
        "Parameterization: failed to calculateD planeNormal.  Choosing Z-axis instead.\n",
        "Parameterization: calculated planeNormal is (anti-)parallel to the vector between the "
        "fixed vertices of the 3D-boundary.  Choosing a random orthogonal vector instead.\n"};
    int numOfPlane[3] = {}, numOfCode[5] = {}, numFactored = 0;
    for (auto& [name, mesh] : disks()) {
        CAPTURE_BINDING(name);
        literal::Flattening const expected(mesh);
        OutputCapture output;
        reparameterizeMesh flattening(mesh);
        CHECK(flattening.solverOutcome().iterations == 0);
        REQUIRE(flattening.flatten());
        CHECK(uvsOf(mesh) == expected.uvs);  // which no NaN does
        CHECK(flattening.solverOutcome().code == expected.code);
        CHECK(flattening.solverOutcome().iterations == expected.iterations);
        CHECK(output.info.find(planes[expected.plane]) != std::string::npos);
        CHECK(isInBox(mesh, false));
        ++numOfPlane[expected.plane];
        ++numOfCode[expected.code];
        numFactored += expected.isMMatrix;
    }
    CHECK(std::count(numOfPlane, numOfPlane + 3, 0) == 0);
    CHECK(numOfCode[1] > 0);  // converged
    CHECK(numOfCode[3] > 0);  // broken off
    CHECK(numFactored > 0);
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
          NamedMesh{"cone", surfaces::mapped(grid, cone)},
          NamedMesh{"one hole", scaled(surfaces::holedGrid(12, {{5, 5}}), 8.0)},
          NamedMesh{"two holes", scaled(surfaces::holedGrid(12, {{3, 3}, {7, 8}}), 8.0)}})
        for (bool const isTilted : {false, true}) {
            // Renumbered, so that a hole may come before the outer border.
            CompactMesh mesh =
                support::shuffled(isTilted ? surfaces::mapped(flat, tilted) : flat, 3);
            CAPTURE_BINDING(name);
            CAPTURE(isTilted);
            REQUIRE(flatten(mesh));
            CHECK(strainOf(mesh) < 1e-4);
            CHECK(numFlipped(mesh) == 0);
            CHECK(isInBox(mesh));
        }
}

TEST_CASE("mirroredSurfacesGiveMirroredCoordinates") {
    CompactMesh mesh = wavySheet();
    CompactMesh mirrored =
        surfaces::mapped(mesh, [](Point const& p) { return Point(-p.x, p.y, p.z); });
    for (int t = 0; t < mirrored.getNumTriangles(); ++t)
        std::swap(mirrored.getTriangles()[t][1], mirrored.getTriangles()[t][2]);
    REQUIRE(flatten(mesh));
    REQUIRE(flatten(mirrored));
    CHECK(numFlipped(mesh) + numFlipped(mirrored) == 0);
    // Seen from one corner, each vertex lies as far from the way to the corner beside it, on the other side.
    auto const seen = [](CompactMesh const& m, int v) {
        Vector const axis = uvOf(m, 12) - uvOf(m, 0), way = uvOf(m, v) - uvOf(m, 0);
        return Vector(dot(axis, way), cross(axis, way).z, 0.0) * (1.0 / axis.length2());
    };
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        Vector const a = seen(mesh, v), b = seen(mirrored, v);
        CHECK((a - Vector(b.x, -b.y, 0.0)).length() < 1e-3);
    }
}

TEST_CASE("surfacesThatAreNoDisksAreCutOrRefused") {
    for (auto const& [name, original] :
         {NamedMesh{"sphere", scaled(support::sphere(2), 50.0)},
          NamedMesh{"torus", scaled(support::torus(12, 8), 20.0)},
          NamedMesh{"pierced torus", scaled(surfaces::pierced(support::torus(12, 8), {7}), 20.0)},
          NamedMesh{"genus 3", scaled(surfaces::pillow(3), 8.0)}}) {
        CAPTURE_BINDING(name);
        CompactMesh mesh = original;
        support::ModificationCounter counter(mesh);
        OutputCapture output;
        reparameterizeMesh refusing(mesh);
        refusing.enableMeshCutSurface(false);
        CHECK_FALSE(refusing.flatten());
        CHECK(counter.total() == 0);
        CHECK(mesh.getUVs() == nullptr);
        int const numLoops = SimpleMeshCache().getBoundaries(mesh)->size();
        int const genus = (2 - support::eulerNumber(mesh) - numLoops) / 2;
        CHECK(output.info.ends_with("- - - MeshReparameterize: genus = " + std::to_string(genus) +
                                    "\n"));

        REQUIRE(flatten(mesh));
        CHECK(counter.total() == 1);
        CHECK(uvsOf(mesh) == literal::Flattening(original).uvs);
        CHECK(isInBox(mesh, false));  // the seam's other copies may be what fills it
        CHECK(support::trianglesOf(mesh) == support::trianglesOf(original));
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

TEST_CASE("refusalsSayWhy") {
    auto const refuses = [](CompactMesh mesh, std::string const& infoEnd, std::string const& error,
                            bool compacts = true) {
        support::ModificationCounter counter(mesh);
        OutputCapture output;
        reparameterizeMesh flattening(mesh);
        flattening.enableMeshCompact(compacts);
        CHECK_FALSE(flattening.flatten());
        CHECK(counter.total() == 0);
        CHECK(mesh.getUVs() == nullptr);
        CHECK(output.error == error);
        CAPTURE(output.info);
        CHECK(output.info.ends_with(infoEnd));
    };
    // Welded vertices come in the order of their positions, unwelded ones stay.
    refuses(support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0}, {0, 1, 2, 1, 3, 1}),
            "getMeshGenus: testDegenerate == true\n"
            "- - - MeshReparameterize: genus = -1\n",
            "Found degenerate triangle 1 (1,3,1), mesh not changed. \n");
    refuses(support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, -1, 0, 0, 0, -1, 0}, {0, 1, 2, 0, 3, 4}),
            "getMeshGenus: numBoundaries 2 \n"
            "getMeshGenus: boundary length < 3 \n"
            "- - - MeshReparameterize: genus = -1\n",
            "");
    refuses(support::joined(support::tetrahedron(), support::tetrahedron(), 9.0f),
            "getMeshGenus: chi = 0 + 8 + 8 - 12 = 4 \n"
            "getMeshGenus: genus = ( 2 - 4 ) / 2 = -1 \n"
            "getMeshGenus: genus = -1 \n"
            "- - - MeshReparameterize: genus = -1\n",
            "");
    std::string const noBoundary =
        "There must be a boundary for the disk, none found. No changes made.\n";
    refuses(support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2, 0, 2, 1}),
            "getMeshGenus: genus = ( 2 - 2 ) / 2 = 0 \n"
            "- - - MeshReparameterize: outerBoundary = -1\n",
            noBoundary);
    // A boundary without any extent: the weld, which would join its vertices, is taken back.
    refuses(support::meshOf({1, 1, 1, 1, 1, 1, 1, 1, 1}, {0, 1, 2}),
            "getMeshGenus: genus = ( 2 - 2 ) / 2 = 0 \n"
            "- - - MeshReparameterize: genus = 0\n"
            "- - - MeshReparameterize: outerBoundary = -1\n",
            noBoundary, false);
}

TEST_CASE("whatFallsIntoOnePointGetsZeros") {
    CompactMesh mesh = support::meshOf({0, 0, 0, 0, 0, 10, 0, 0, 3}, {0, 1, 2});
    REQUIRE(flatten(mesh));
    CHECK(uvsOf(mesh) == std::vector<float>(6, 0.0f));
}

TEST_CASE("theWeldIsTakenBackWhenItClosesABorder") {
    auto const told = [](CompactMesh& mesh) {
        OutputCapture output;
        reparameterizeMesh careful(mesh);
        careful.enableMeshCompact(false);
        REQUIRE(careful.flatten());
        return output.info.substr(0, output.info.find("getMeshGenus: numBoundaryEdges"));
    };
    CompactMesh tube = rolledUp();
    CHECK(told(tube) == "prepareMesh: numBoundaries o = 1, c = 2\n"
                        "prepareMesh: compacting changed topology, reverting\n"
                        "getMeshGenus: numBoundaries 1 \n");
    CHECK(strainOf(tube) < 1e-4);  // unrolled along its seam
    CompactMesh soup = scaled(support::grid(3, 3), 30.0);
    CHECK(told(soup) == "prepareMesh: numBoundaries o = 1, c = 1\n"
                        "getMeshGenus: numBoundaries 1 \n");
}

TEST_CASE("onlyTextureCoordinatesAreTouched") {
    CompactMesh mesh = wavySheet(6);
    mesh.allocNormalArray();
    mesh.allocUVArray();
    mesh.allocAttributes("mine", 1);
    mesh.getAttributes("mine")->asFloat()[5] = 7.0f;
    static std::string notices;
    mesh.modificationSignal().addCallback(
        new koRTB::FunctionArgGlobal<EntityModification&>([](EntityModification& entity) {
            auto const& notice = static_cast<MeshModification&>(entity);
            notices += notice.getType() == MeshModification::Attributes ? "attributes" : "other";
            notices += notice.isModified(MeshModification::UVs) ? " uvs" : "";
        }));
    reparameterizeMesh flattening(mesh);
    mesh.resizeVertexArray(50);  // one more, which the copy lacks
    mesh.getUVs()[49].set(0.25, 0.5);
    std::vector<float> const positions = support::coordinatesOf(mesh);
    REQUIRE(flattening.flatten());
    CHECK(mesh.getUVs()[49].u == 0.25f);
    CHECK(notices == "attributes uvs");
    CHECK(support::coordinatesOf(mesh) == positions);
    CHECK(mesh.getNormals() != nullptr);
    REQUIRE(mesh.getAttributes("mine") != nullptr);
    CHECK(mesh.getAttributes("mine")->asFloat()[5] == 7.0f);
    CHECK(mesh.getUVs()[8].u != 0.0f);
}

TEST_CASE("reportsItsPhases") {
    CompactMesh mesh = wavySheet(6);
    koUtil::Progress progress;
    std::string captions, caption;
    std::vector<double> values = {0.0};
    progress.setListener([&](double value, char const* latest) {
        CHECK(value >= values.back());
        values.push_back(value);
        if (std::exchange(caption, latest) != latest)
            captions += caption + " " + std::to_string(value).substr(0, 5) + ", ";
    });
    REQUIRE(reparameterizeMesh(mesh).flatten(progress));
    CHECK(
        captions ==
        "Copying Mesh 0.000, Finding Mesh Boundaries 0.025, Getting Extreme Vertices 0.125, "
        "Creating Plane 0.150, Filling Mesh Holes 0.200, Solving 0.225, Applying to Mesh 0.975, ");
    auto const numWithin = [&](double low, double high) {
        return std::count_if(values.begin(), values.end(),
                             [&](double x) { return x > low - 1e-9 && x < high + 1e-9; });
    };
    CHECK(numWithin(0.226, 0.299) == mesh.getNumVertices() - 1);  // at each vertex but the first
    CHECK(numWithin(0.3, 0.3) > 0);
    CHECK(numWithin(0.301, 0.899) == 0);  // at every 100th step: the first
    CHECK(numWithin(0.9, 0.9) > 0);
    CHECK(values.back() == 1.0);
}

TEST_CASE("cancelledAtAnyReportTheMeshStays") {
    for (CompactMesh const& original :
         {wavySheet(4), scaled(surfaces::holedGrid(6, {{3, 3}}), 16.0),
          scaled(support::octahedron(), 50.0)}) {
        constexpr int tooMany = 1000;
        int numCancelled = 0;
        for (bool isDone = false; !isDone && numCancelled < tooMany; ++numCancelled) {
            CompactMesh mesh = original;
            support::ModificationCounter counter(mesh);
            koUtil::Progress progress;
            int numReports = 0, numUnheard = 0;
            bool isWriting = false;
            progress.setListener([&](double, char const* caption) {
                isWriting = std::string(caption) == "Applying to Mesh";
                numUnheard += progress.cancelled() && std::string(caption) == "Solving";
                if (numReports++ == numCancelled)
                    progress.cancel();
            });
            isDone = reparameterizeMesh(mesh).flatten(progress);
            CHECK(isDone == isWriting);
            CHECK(numUnheard <= 1);
            CHECK(counter.total() == (isDone ? 1 : 0));
            CHECK((mesh.getUVs() != nullptr) == isDone);
        }
        CHECK(numCancelled > 20);
        CHECK(numCancelled < tooMany);
    }
}

TEST_CASE("cancellationIsHeardAtTheNextStep") {
    CompactMesh mesh = wavySheet();
    koUtil::Progress progress;
    std::string info;
    koOS::AppOutput::getInstance().setSink([&](char const* text) {
        info += text;
        if (info.ends_with("complete\n"))
            progress.cancel();
    });
    reparameterizeMesh flattening(mesh);
    CHECK_FALSE(flattening.flatten(progress));
    CHECK(flattening.solverOutcome().iterations == 1);
    CHECK(info.ends_with("Parameterization   5.0% complete\n"));
    info.clear();
    CHECK_FALSE(flattening.flatten(progress));  // cancelled beforehand
    CHECK(info.empty());
    koOS::AppOutput::getInstance().setSink(nullptr);
}

TEST_CASE("brokenMeshesAreSafe") {
    std::vector<NamedMesh> meshes = support::zoo();
    for (std::uint64_t seed = 1; seed <= 40; ++seed)
        meshes.push_back({"soup " + std::to_string(seed),
                          support::latticeSoup(10 + static_cast<int>(seed), 30, seed)});
    for (int const v : {0, 12}) {  // on the border and inside
        meshes.push_back({"nan at " + std::to_string(v), wavySheet(4)});
        meshes.back().mesh.getVertices()[v].set(NAN, 1.0f, NAN);
        meshes.push_back({"infinite at " + std::to_string(v), wavySheet(4)});
        meshes.back().mesh.getVertices()[v].set(INFINITY, 0.0f, -INFINITY);
    }
    meshes.push_back({"huge", scaled(wavySheet(4), 1e35)});
    meshes.push_back({"tiny", scaled(wavySheet(4), 1e-30)});
    OutputCapture const output;
    for (auto const& [name, original] : meshes)
        for (int flags = 0; flags < 4; ++flags) {
            CAPTURE_BINDING(name);
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
    // What is cut along all of its vertices takes as many steps as it has unknowns.
    constexpr int mostClosed = 2500;
    OutputCapture const output;
    for (std::string const& path : support::corpus()) {
        if (std::filesystem::file_size(path) > 1000000)
            continue;
        CompactMesh mesh;
        meshReadObj(mesh,
                    koOS::Filename(koString::IString(path.c_str(), koString::Encoding::Native)));
        mesh = surfaces::pierced(mesh, {});
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
            CHECK(isInBox(mesh, isDisk));
    }
}
