// Offsets with their judgement: the surface stays to the last bit, copies are at their distance at any size, walls are solids, and
// what is left of folds is told.

#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "support/corpus.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshMeasuring.h"
#include "toolkit/meshOffsetting.h"
#include "toolkit/readMesh.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>

using koGeom::CompactMesh;
using koLinear::Point;
using trimora::OffsetOptions;
using trimora::OffsetOutcome;

namespace {

OffsetOptions by(double distance, bool shellOnly = false) {
    OffsetOptions options;
    options.distance = distance;
    options.shellOnly = shellOnly;
    return options;
}

OffsetOutcome offset(CompactMesh& mesh, OffsetOptions const& options) {
    koUtil::Progress progress;
    return trimora::offsetMesh(mesh, options, progress);
}

trimora::MeshMeasures measured(CompactMesh const& mesh) {
    koUtil::Progress progress;
    return trimora::measureMesh(mesh, false, progress).whole;
}

CompactMesh placed(CompactMesh mesh, double scale, double x, double y, double z) {
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        Point const p = mesh.getVertices()[v].asPoint();
        mesh.getVertices()[v].set(static_cast<float>(p.x * scale + x),
                                  static_cast<float>(p.y * scale + y),
                                  static_cast<float>(p.z * scale + z));
    }
    return mesh;
}

/// The surface's vertices come first, to the last bit.
bool beginsWith(CompactMesh const& wall, CompactMesh const& surface) {
    auto const all = support::coordinatesOf(wall);
    auto const own = support::coordinatesOf(surface);
    return all.size() >= own.size() && std::equal(own.begin(), own.end(), all.begin());
}

Point pointOf(CompactMesh const& mesh, int v) {
    return mesh.getVertices()[v].asPoint();
}

void refuses(CompactMesh mesh, OffsetOptions const& options, std::string const& words) {
    auto const coordinates = support::coordinatesOf(mesh);
    support::ModificationCounter const counter(mesh);
    OffsetOutcome const outcome = offset(mesh, options);
    CAPTURE(outcome.refusal);
    CHECK(outcome.refusal.find(words) != std::string::npos);
    CHECK(counter.total() == 0);
    CHECK(support::coordinatesOf(mesh).size() == coordinates.size());
}

}  // namespace

TEST_CASE("aSheetBecomesAPlateOnEitherSide") {
    CompactMesh const sheet = support::grid(2, 2);
    for (double const distance : {0.5, -0.5}) {
        CAPTURE(distance);
        CompactMesh plate = sheet;
        support::ModificationCounter const counter(plate);
        OffsetOutcome const outcome = offset(plate, by(distance));
        REQUIRE(outcome.refusal.empty());
        CHECK(counter.total() == 1);
        CHECK(outcome.copies == 9);
        CHECK(outcome.removed == 0);
        CHECK(outcome.nearer == 0);
        CHECK(outcome.nearest == doctest::Approx(0.5));
        CHECK(beginsWith(plate, sheet));
        REQUIRE(plate.getNumVertices() == 18);
        for (int v = 0; v < 9; ++v)
            CHECK(pointOf(plate, 9 + v) == pointOf(sheet, v) + koLinear::Vector(0, 0, -distance));
        auto const measures = measured(plate);
        CHECK(measures.enclosesVolume());
        CHECK(measures.volume == doctest::Approx(2.0));  // its normals out, not in
        CHECK(outcome.after.clean);

        CompactMesh shell = sheet;
        REQUIRE(offset(shell, by(distance, true)).refusal.empty());
        CHECK(shell.getNumVertices() == 9);
        CHECK(shell.getNumTriangles() == 8);
        for (int t = 0; t < 8; ++t) {
            auto const& corners = shell.getTriangles()[t];
            Point const a = pointOf(shell, corners[0]);
            CHECK(cross(pointOf(shell, corners[1]) - a, pointOf(shell, corners[2]) - a).z > 0.0);
        }
    }
}

TEST_CASE("cornersOfACubeComeNearerInsideAndNotOutside") {
    CompactMesh inside = support::cube();
    OffsetOutcome const inner = offset(inside, by(0.1));
    REQUIRE(inner.refusal.empty());
    CHECK(inner.removed == 0);
    CHECK(inner.nearer == 8);
    CHECK(inner.nearest == doctest::Approx(0.1 / std::sqrt(3.0)));
    double const side = 1.0 - 0.2 / std::sqrt(3.0);
    CHECK(measured(inside).volume == doctest::Approx(1.0 - side * side * side));

    CompactMesh outside = support::cube();
    OffsetOutcome const outer = offset(outside, by(-0.1, true));
    CHECK(outer.nearer == 0);
    CHECK(outer.nearest == doctest::Approx(0.1));
    double const wider = 1.0 + 0.2 / std::sqrt(3.0);
    CHECK(measured(outside).volume == doctest::Approx(wider * wider * wider));
}

TEST_CASE("copiesKeepTheirDistanceAtAnySizeAndPlace") {
    CompactMesh const ball = support::sphere(3);
    for (double const scale : {1e-20, 1e-3, 1.0, 3e4, 1e20}) {
        for (double const away : {0.0, 50.0}) {
            CAPTURE(scale);
            CAPTURE(away);
            Point const middle(scale * away, -scale * away, 0.0);
            CompactMesh const surface = placed(ball, scale, middle.x, middle.y, middle.z);
            for (double const distance : {0.2, -0.2}) {
                CompactMesh wall = surface;
                OffsetOutcome const outcome = offset(wall, by(scale * distance));
                REQUIRE(outcome.refusal.empty());
                CHECK(outcome.removed == 0);
                CHECK(outcome.newFolds() + outcome.newIntersections() == 0);
                CHECK(beginsWith(wall, surface));
                int const numOwn = surface.getNumVertices();
                REQUIRE(wall.getNumVertices() == 2 * numOwn);
                double worst = 0.0;
                for (int v = 0; v < numOwn; ++v)
                    worst = std::max(worst, std::abs(koLinear::distance(pointOf(wall, numOwn + v),
                                                                        pointOf(surface, v)) /
                                                         scale -
                                                     0.2));
                CHECK(worst < (away > 0.0 ? 1e-5 : 3e-7));
            }
        }
    }
}

TEST_CASE("whatIsTooNearGoesAndWhatIsLeftIsTold") {
    CompactMesh const ring = support::torus(48, 24);
    CompactMesh wall = ring;
    OffsetOutcome const outcome = offset(wall, by(0.7));  // the tube is 0.5 thick
    REQUIRE(outcome.refusal.empty());
    CHECK(outcome.removed > 0);
    CHECK(outcome.removed < outcome.copies);
    CHECK(wall.getNumVertices() == 2 * outcome.copies - outcome.removed);
    CHECK(beginsWith(wall, ring));
    CHECK(support::faultOf(wall).empty());
    CHECK(outcome.nearer > 0);
    CHECK(outcome.newIntersections() > 0);
    CHECK(outcome.after.closed);
    CHECK(outcome.after.nonManifoldEdges == 0);

    // Sizes do not change what goes.
    for (double const scale : {1e-3, 7.0}) {
        CompactMesh other = placed(ring, scale, 0.0, 0.0, 0.0);
        CHECK(offset(other, by(0.7 * scale)).removed ==
              doctest::Approx(outcome.removed).epsilon(0.02));
    }
}

TEST_CASE("soundSurfacesGiveSoundWalls") {
    for (auto const& [name, mesh] : support::manifoldZoo()) {
        CAPTURE_BINDING(name);
        for (double const share : {0.02, -0.02}) {
            for (bool const shellOnly : {false, true}) {
                CompactMesh result = mesh;
                OffsetOutcome const outcome =
                    offset(result, by(share * trimora::diagonalOf(mesh), shellOnly));
                if (!outcome.refusal.empty())
                    continue;
                CHECK(support::faultOf(result).empty());
                CHECK(outcome.after.nonManifoldEdges == 0);
                CHECK(outcome.after.oriented);
                CHECK(outcome.after.unusedVertices == 0);
                CHECK(outcome.after.closed == (shellOnly ? outcome.before.closed : true));
            }
        }
    }
}

TEST_CASE("verticesWithoutTrianglesDoNotGetAShell") {
    CompactMesh mesh =
        support::joined(support::grid(1, 1), support::meshOf({0, 0, 0}, {}), 0.4f, 0.4f, -0.1f);
    OffsetOutcome const outcome = offset(mesh, by(0.2));
    CHECK(outcome.refusal.empty());
    CHECK(outcome.copies == 4);
    CHECK(outcome.removed == 0);
    CHECK(mesh.getNumVertices() == 8);
}

TEST_CASE("offsetRefusesInWords") {
    CompactMesh broken = support::cube();
    broken.getVertices()[3].x = std::numeric_limits<float>::quiet_NaN();
    refuses(broken, by(0.1), "NaN or infinite");
    refuses(CompactMesh(), by(0.1), "no triangles");
    refuses(support::threeOnAnEdge(), by(0.1), "manifold");
    refuses(support::bowTie(), by(0.1), "manifold");
    refuses(support::moebius(12), by(0.1), "manifold");
    refuses(support::cube(), by(0.0), "is 0");
    refuses(support::cube(), by(std::numeric_limits<double>::quiet_NaN()), "is no number");
    refuses(support::cube(), by(1e300), "a thousand diagonals");
    refuses(support::cube(), by(1e-9), "lost in the rounding");
    refuses(support::meshOf({1, 1, 1, 1, 1, 1, 1, 1, 1}, {0, 1, 2}), by(0.1), "has no size");
    refuses(placed(support::cube(), 3e38, 0, 0, 0), by(-3e38), "range of floats");
}

TEST_CASE("aCancelledOffsetChangesNothing") {
    CompactMesh mesh = support::sphere(4);
    auto const before = support::coordinatesOf(mesh);
    for (double const when : {0.0, 0.2, 0.5, 0.6, 0.8}) {
        koUtil::Progress progress;
        progress.setListener([&](double value, char const*) {
            if (value >= when)
                progress.cancel();
        });
        CHECK(trimora::offsetMesh(mesh, by(0.1), progress).cancelled);
        CHECK(support::coordinatesOf(mesh) == before);
    }
}

TEST_CASE("realSurfacesBecomeClosedWalls") {
    for (char const* const name : {"rocker_arm.obj", "hand_open.obj", "homer.obj"}) {
        std::string const path = support::corpusFile(name);
        if (path.empty())
            continue;
        CompactMesh mesh;
        trimora::ReadReport report;
        REQUIRE(trimora::readMesh(path, mesh, report));
        for (double const share : {0.005, 0.02, 0.05, -0.005, -0.02, -0.05}) {
            CAPTURE(name);
            CAPTURE(share);
            CompactMesh wall = mesh;
            OffsetOptions options = by(share * trimora::diagonalOf(mesh));
            options.testIntersections = false;
            OffsetOutcome const outcome = offset(wall, options);
            CAPTURE(outcome.refusal);
            REQUIRE(outcome.refusal.empty());
            CHECK(beginsWith(wall, mesh));
            CHECK(outcome.after.closed);
            CHECK(outcome.after.nonManifoldEdges == 0);
            CHECK(!outcome.after.intersectingTriangles);
            CHECK(measured(wall).volume > 0.0);
        }
    }
}
