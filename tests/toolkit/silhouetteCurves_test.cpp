// Silhouettes as chains: closed on closed surfaces from any side, of the right length and sense, where units make no difference.

#include "support/TemporaryFolder.h"
#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/corpus.h"
#include "toolkit/readMesh.h"
#include "toolkit/silhouetteCurves.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <numbers>

using koGeom::CompactMesh;
using koLinear::Point;
using koLinear::Vector;
using trimora::Polyline;
using trimora::SilhouetteOutcome;

namespace {

SilhouetteOutcome from(CompactMesh const& mesh, Point const& eye) {
    koUtil::Progress progress;
    return trimora::silhouetteCurves(mesh, {false, {eye.x, eye.y, eye.z}}, progress);
}

SilhouetteOutcome along(CompactMesh const& mesh, Vector const& direction) {
    koUtil::Progress progress;
    return trimora::silhouetteCurves(mesh, {true, {direction.x, direction.y, direction.z}},
                                     progress);
}

Vector randomDirection(support::Random& random) {
    Vector const v(random.real(-1.0, 1.0), random.real(-1.0, 1.0), random.real(-1.0, 1.0));
    return v.length() > 0.1 ? v / v.length() : Vector(0.6, 0.0, 0.8);
}

bool isClosed(Polyline const& curve) {
    return curve.size() > 3 && curve.front() == curve.back();
}

/// Twice the area that a curve runs round counter-clockwise, seen from where the direction points.
double turnAbout(Polyline const& curve, Vector const& direction) {
    Vector sum;
    for (std::size_t i = 1; i < curve.size(); ++i)
        sum += cross(curve[i - 1].asVector(), curve[i].asVector());
    return dot(sum, direction);
}

CompactMesh scaled(CompactMesh mesh, float scale) {
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] *= scale;
    return mesh;
}

}  // namespace

// Seen along an axis the silhouette runs through four vertices, along the edges between them.
TEST_CASE("anOctahedronShowsItsFourEdges") {
    CompactMesh const mesh = support::octahedron();
    for (double const side : {1.0, -1.0}) {
        SilhouetteOutcome const outcome = along(mesh, {0.0, 0.0, side * 5.0});
        REQUIRE(outcome.curves.size() == 1);
        CHECK(outcome.numClosed == 1);
        CHECK(outcome.curves[0].size() == 5);
        CHECK(outcome.length == doctest::Approx(4.0 * std::sqrt(2.0)));
        CHECK(outcome.alongSight == 0);
        CHECK(turnAbout(outcome.curves[0], {0, 0, side}) == doctest::Approx(4.0));
    }
}

TEST_CASE("aSphereShowsOneCircle") {
    CompactMesh const ball = support::sphere(5);
    support::Random random(5);
    for (int i = 0; i < 40; ++i) {
        Vector const way = randomDirection(random);
        double const away = i % 2 == 0 ? 0.0 : random.real(1.2, 50.0);  // 0: a direction
        CAPTURE(i);
        SilhouetteOutcome const outcome =
            away == 0.0 ? along(ball, way) : from(ball, Point() + way * away);
        REQUIRE(outcome.curves.size() == 1);
        CHECK(isClosed(outcome.curves[0]));
        CHECK(outcome.numClosed == 1);
        double const height = away == 0.0 ? 0.0 : 1.0 / away;
        double const radius = std::sqrt(1.0 - height * height);
        CHECK(outcome.length == doctest::Approx(2.0 * std::numbers::pi * radius).epsilon(0.01));
        double farthest = 0.0;
        for (Point const& p : outcome.curves[0])
            farthest = std::max(farthest, std::abs(dot(p.asVector(), way) - height));
        CHECK(farthest < 0.01);  // the mesh's normals are not quite those of the sphere
        CHECK(turnAbout(outcome.curves[0], way) > 0.0);
    }
}

TEST_CASE("aTorusShowsTwoLoopsFromItsAxis") {
    CompactMesh const ring = support::torus(60, 32);
    SilhouetteOutcome const outcome = along(ring, {0.0, 0.0, 1.0});
    CHECK(outcome.curves.size() == 2);
    CHECK(outcome.numClosed == 2);
    CHECK(outcome.length == doctest::Approx(2.0 * std::numbers::pi * 4.0).epsilon(0.01));
    REQUIRE(outcome.curves.size() == 2);
    double const turns[] = {turnAbout(outcome.curves[0], {0, 0, 1}),
                            turnAbout(outcome.curves[1], {0, 0, 1})};
    CHECK(std::min(turns[0], turns[1]) < 0.0);  // the hole runs the other way
    CHECK(std::max(turns[0], turns[1]) > 0.0);
}

TEST_CASE("silhouettesOfClosedSurfacesAreClosed") {
    support::Random random(9);
    std::vector<CompactMesh> meshes = {
        support::torus(37, 19), support::sphere(4),
        support::joined(support::torus(30, 20), support::sphere(3), 0.0f, 0.0f, 2.0f)};
    if (std::string const path = support::corpusFile("rocker_arm.obj"); !path.empty()) {
        trimora::ReadReport report;
        REQUIRE(trimora::readMesh(path, meshes.emplace_back(), report));
    }
    for (CompactMesh const& mesh : meshes) {
        CAPTURE(mesh.getNumTriangles());
        for (int i = 0; i < 25; ++i) {
            SilhouetteOutcome const outcome = along(mesh, randomDirection(random));
            CHECK(!outcome.curves.empty());
            CHECK(outcome.numClosed == static_cast<int>(outcome.curves.size()));
        }
    }
}

TEST_CASE("openSurfacesShowOpenCurvesAndSheetsNone") {
    CHECK(along(support::grid(3, 3), {0.0, 0.0, 1.0}).curves.empty());
    SilhouetteOutcome const edgeOn = along(support::grid(3, 3), {1.0, 0.5, 0.0});
    CHECK(edgeOn.curves.empty());
    CHECK(edgeOn.alongSight == 18);
    SilhouetteOutcome const hills = along(support::terrain(20, 20, 4), {1.0, 0.0, 0.05});
    CHECK(!hills.curves.empty());
    CHECK(hills.numClosed < static_cast<int>(hills.curves.size()));
}

TEST_CASE("unitsMakeNoDifferenceToASilhouette") {
    CompactMesh const ring = support::torus(37, 19);
    Point const eye(3.0, 4.0, 2.5);
    SilhouetteOutcome const one = from(ring, eye);
    for (float const scale : {0x1p-60f, 0x1p-5f, 0x1p70f}) {
        CAPTURE(scale);
        SilhouetteOutcome const other =
            from(scaled(ring, scale), Point() + eye.asVector() * double(scale));
        REQUIRE(other.curves.size() == one.curves.size());
        CHECK(other.numClosed == one.numClosed);
        CHECK(other.length == doctest::Approx(one.length * double(scale)));
    }
}

TEST_CASE("normalsOfItsOwnAreTaken") {
    CompactMesh sheet = support::grid(4, 4);  // flat, with normals as of a cylinder along y
    sheet.allocNormalArray();
    for (int v = 0; v < sheet.getNumVertices(); ++v) {
        koGeom::MeshNormal& normal = sheet.getNormals()[v];
        normal.x = 3.0f * (sheet.getVertices()[v].x - 1.75f);
        normal.z = 3.0f;
    }
    SilhouetteOutcome const outcome = along(sheet, {1.0, 0.0, 0.0});
    REQUIRE(outcome.curves.size() == 1);
    CHECK(outcome.numClosed == 0);
    CHECK(outcome.length == doctest::Approx(4.0).epsilon(0.01));
    for (Point const& p : outcome.curves[0])
        CHECK(p.x == doctest::Approx(1.75).epsilon(0.02));
}

TEST_CASE("silhouetteRefusesInWords") {
    CompactMesh broken = support::cube();
    broken.getVertices()[3].x = std::numeric_limits<float>::quiet_NaN();
    SilhouetteOutcome const nonfinite = along(broken, {1.0, 0.0, 0.0});
    CHECK(nonfinite.isNonfinite);
    CHECK(nonfinite.curves.empty());
    CHECK(from(support::cube(), {1e300, 0.0, 0.0}).refusal.find("million") != std::string::npos);
    for (auto const& [name, mesh] : support::zoo()) {
        CAPTURE_BINDING(name);
        CHECK(along(mesh, {1.0, 0.3, 0.2}).refusal.empty());
        CHECK(from(mesh, {10.0, 3.0, 2.0}).refusal.empty());
    }
}

TEST_CASE("polylinesReadBackAsTheyWereWritten") {
    support::TemporaryFolder const folder;
    std::vector<Polyline> const polylines = {
        {{0.0, 0.0, 0.0}, {1.0, 0.5, -2.25}},
        {{0.0, 0.0, 1.0}, {1.0, 0.0, 1.0}, {0.0, 1.0, 1.0}, {0.0, 0.0, 1.0}},
        {{0.125, 1e10, 7.0}, {0.0, 0.0, 1.0}, {0.125, 1e10, 7.0}}};
    REQUIRE(trimora::writePolylines(folder.path("lines.obj"), polylines));
    std::vector<Polyline> read;
    REQUIRE(trimora::readPolylines(folder.path("lines.obj"), read));
    CHECK(read == polylines);
    CHECK(!trimora::writePolylines(folder.path("none/lines.obj"), polylines));

    REQUIRE(trimora::writePolylines(folder.path("lines.PLY"), polylines));
    CHECK(folder.read("lines.PLY") ==
          "ply\nformat ascii 1.0\nelement vertex 7\nproperty float x\nproperty float y\n"
          "property float z\nelement edge 6\nproperty int vertex1\nproperty int vertex2\n"
          "end_header\n0 0 0\n1 0.5 -2.25\n0 0 1\n1 0 1\n0 1 1\n0.125 1e+10 7\n0 0 1\n"
          "0 1\n2 3\n3 4\n4 2\n5 6\n6 5\n");
    REQUIRE(trimora::writePolylines(folder.path("far.ply"), {{{0.25, 1, 2}, {1, 1, 2}}},
                                    {4321000, 0, 0}));
    std::string const far = folder.read("far.ply");
    CHECK(far.find("property double x\n") != std::string::npos);
    CHECK(far.find("end_header\n4321000.25 1 2\n4321001 1 2\n0 1\n") != std::string::npos);
}
