#include "holeFillMeshes.h"
#include "holeFillOracle.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/oracles.h"

#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/repair/meshHoleFill.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <doctest/doctest.h>
#include <future>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

/// Where hole filling ends that might go on, and what it refuses: degenerate rims, fins, cancels.

using namespace holes;

namespace {

MeshBoundaries boundariesOf(std::vector<int> const& loop) {
    MeshSequence sequence;
    sequence.points.setSize(static_cast<int>(loop.size()));
    sequence.lengths.setSize(1);
    sequence.lengths[0] = static_cast<int>(loop.size());
    for (std::size_t i = 0; i < loop.size(); ++i)
        sequence.points[static_cast<int>(i)] = loop[i];
    return MeshBoundaries(sequence);
}

/// Fills the one hole that the loop names, flat.
int fillLoop(CompactMesh& mesh, std::vector<int> const& loop) {
    Tables const tables(mesh);
    koUtil::Progress progress;
    return meshHoleFill(mesh, tables.adjTris, tables.adjVertices, boundariesOf(loop), {0},
                        HoleQualityFlat, progress);
}

/// A band of two rings of vertices through the same places.
CompactMesh doubledBand(std::vector<Point> const& places) {
    int const n = static_cast<int>(places.size());
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int i = 0; i < 2 * n; ++i) {
        Point const& p = places[static_cast<std::size_t>(i % n)];
        for (double const coordinate : {p.x, p.y, p.z})
            coordinates.push_back(static_cast<float>(coordinate));
    }
    for (int i = 0; i < n; ++i) {
        int const next = (i + 1) % n;
        triangles.insert(triangles.end(), {i, i + n, next, next, i + n, next + n});
    }
    return meshOf(coordinates, triangles);
}

}  // namespace

TEST_CASE("refinementEndsWhereItsSplitsDoNotHelp") {
    struct Sample {
        char const* name;
        CompactMesh mesh;
        int hole;
        int numNewVertices;
    };
    // One, three and five vertices of a rim in three places: those in the middle of a run have no edge of any length.
    Point const a(0.792998731, -0.195452347, 0.811354935);
    Point const b(-0.599746287, -0.225224227, -0.48203367);
    Point const c(0.608835757, 0.614013255, 0.288862795);
    Point const d(1.0, 1.0, 0.5), o(0.0, 0.0, 0.0), x(1.0, 0.0, 0.0), y(0.0, 1.0, 0.0);
    Sample const samples[] = {
        {"runs in one place", doubledBand({a, b, b, b, c, c, c, c, c}), 0, 1},
        {"a triangle between runs in three places", doubledBand({d, d, d, d, y, o, x, x}), 0, 0},
        {"two runs in two places", doubledBand({a, a, a, b, b, b}), 0, 0},
        {"a rim of which each pass splits a triangle or two",
         support::holed(support::grid(20, 20), 0.8, 48), 1, 91},
        {"a rim of which each pass splits more", support::holed(support::grid(16, 16), 0.8, 204), 0,
         232},
    };
    for (Sample const& sample : samples) {
        CAPTURE(sample.name);
        for (HoleQuality const quality : {HoleQualityRefined, HoleQualityFair}) {
            CompactMesh mesh = sample.mesh;
            CompactMesh slow = sample.mesh;
            CHECK(fill(mesh, {sample.hole}, quality) == 1);
            CHECK(mesh.getNumVertices() == sample.mesh.getNumVertices() + sample.numNewVertices);
            CHECK(support::faultOf(mesh).empty());
            CHECK(support::fillHolesSlowly(slow, {sample.hole}, quality) == 1);
            CHECK(bytesOf(mesh) == bytesOf(slow));
        }
    }
}

TEST_CASE("keepsClearOfEdgesInEveryFan") {
    // Behind the frame two triangles share a diagonal of the hole; they touch the frame in two vertices alone.
    for (bool const isRising : {true, false}) {
        CAPTURE(isRising);
        Frame frame;
        frame.addBridge(isRising ? lowerLeft : lowerRight, isRising ? upperRight : upperLeft);
        for (bool const comesFirst : {false, true}) {
            // The fan of the bridge is the vertex's own, or the other one is.
            std::vector<int> triangles = frame.triangles;
            if (comesFirst)
                std::rotate(triangles.begin(), triangles.end() - 6, triangles.end());
            CompactMesh mesh = meshOf(frame.coordinates, triangles);
            CHECK(fillLoop(mesh, {lowerLeft, upperLeft, upperRight, lowerRight}) == 1);
            CHECK(support::area(mesh) > 16.0);
            for (auto const& [edge, around] : support::edgeTable(mesh))
                CHECK(around.size() <= 2);
        }
    }
}

TEST_CASE("pointsMeetWithinTheTolerance") {
    // Two fins and a wedge of three triangles hang into the hole; their tips are so near that each meets the next, but the first
    // does not meet the third. A tip that was taken away is not compared with what comes behind it, and one that stays is.
    struct Sample {
        double wedge;
        double left;
        double upper;
        int numRemoved;
    };
    double const step = 0.7e-12;
    Sample const samples[] = {
        {step, 0.0, 2.0 * step, 2},
        {0.0, step, 2.0 * step, 1},
        {0.0, 2.0 * step, step, 1},
        {0.0, 2.0 * step, 4.0 * step, 0},
    };
    for (Sample const& sample : samples) {
        CAPTURE(sample.wedge);
        CAPTURE(sample.left);
        Frame frame;
        for (float& coordinate : frame.coordinates)
            coordinate -= 2.0f;
        for (std::size_t i = 2; i < frame.coordinates.size(); i += 3)
            frame.coordinates[i] = 0.0f;
        frame.addFin(lowerRight, lowerLeft, 0.0f, -0.5f);
        int const middle = 16;
        int const tip = 17;
        frame.coordinates.insert(frame.coordinates.end(),
                                 {static_cast<float>(sample.wedge), 0.0f, 0.0f});
        frame.triangles.insert(frame.triangles.end(),
                               {middle, lowerRight, tip, lowerLeft, middle, tip});
        frame.addFin(lowerLeft, upperLeft, static_cast<float>(sample.left), 0.0f);
        frame.addFin(upperLeft, upperRight, static_cast<float>(sample.upper), 0.0f);
        CompactMesh mesh = frame.mesh();
        CHECK(fill(mesh, {holeAt(mesh, Point(-1, -1, 0))}, HoleQualityFlat) == 1);
        CHECK(mesh.getNumVertices() == 20 - sample.numRemoved);
    }
}

TEST_CASE("refusesALoopOnWhichALooseTriangleMeetsTheRim") {
    // A triangle hangs in the hole by one corner; it touches the corner across with its tip, and the third vertex would be left
    // loose without it. The loops are those of a walk that begins at the frame, and at the triangle.
    Frame frame;
    int const loose = 16;
    int const tip = 17;
    frame.coordinates.insert(frame.coordinates.end(), {2.0f, 1.5f, 0.0f, 3.0f, 3.0f, 0.0f});
    for (bool const turned : {false, true}) {
        CAPTURE(turned);
        std::vector<int> triangles = frame.triangles;
        if (turned)
            triangles.insert(triangles.end(), {lowerLeft, tip, loose});
        else
            triangles.insert(triangles.end(), {lowerLeft, loose, tip});
        CompactMesh const mesh = meshOf(frame.coordinates, triangles);
        int const first = turned ? tip : loose;
        int const second = turned ? loose : tip;
        for (std::vector<int> const& loop :
             {std::vector<int>{upperLeft, upperRight, lowerRight, lowerLeft, first, second},
              {first, second, lowerLeft, upperLeft, upperRight, lowerRight}}) {
            CompactMesh work = mesh;
            CHECK(fillLoop(work, loop) == 0);
            CHECK(bytesOf(work) == bytesOf(mesh));
        }
    }
}

TEST_CASE("refusesALoopThatNamesAFinTwice") {
    Frame frame;
    frame.addFin(lowerRight, lowerLeft, 2.0f, 2.0f);
    CompactMesh mesh = frame.mesh();
    auto const before = bytesOf(mesh);
    CHECK(fillLoop(mesh, {lowerLeft, upperLeft, upperRight, lowerRight, 16, 16}) == 0);
    CHECK(bytesOf(mesh) == before);
}

TEST_CASE("linksThePatchOfEachHoleOnce") {
    CompactMesh mesh =
        without(support::sphere(4), [](Point const& p) { return std::abs(p.z) > 0.8; });
    auto const numMessages = [](std::string const& text) {
        int count = 0;
        for (std::size_t at = text.find("meshTwin:"); at != std::string::npos;
             at = text.find("meshTwin:", at + 1))
            ++count;
        return count;
    };
    CompactMesh refused = mesh;
    support::DebugCapture withoutPatch;
    CHECK(fill(refused, {-1}, HoleQualityFlat) == 0);
    int const numOfExtract = numMessages(withoutPatch.text());
    {
        support::DebugCapture withPatches;
        CHECK(fill(mesh, {0, 1, 0}, HoleQualityFlat) == 2);
        CHECK(numMessages(withPatches.text()) == numOfExtract + 2);
    }
}

TEST_CASE("theSharesOfAHoleDependOnTheQuality") {
    CompactMesh const holed = without(support::sphere(4), [](Point const& p) { return p.z > 0.8; });
    Tables const tables(holed);
    double const share = 1.0 / tables.boundaries.getLength(0);
    auto const valuesAt = [&](HoleQuality quality) {
        CompactMesh mesh = holed;
        koUtil::Progress progress;
        std::vector<double> values;
        progress.setListener([&](double value, char const*) { values.push_back(value / share); });
        CHECK(meshHoleFill(mesh, tables.adjTris, tables.adjVertices, tables.boundaries, {0},
                           quality, progress) == 1);
        return values;
    };
    auto const holds = [](std::vector<double> const& values, double value) {
        return std::any_of(values.begin(), values.end(),
                           [value](double v) { return std::abs(v - value) < 1e-9; });
    };
    CHECK(valuesAt(HoleQualityFlat).back() == doctest::Approx(1.0));
    CHECK(valuesAt(HoleQualityRefined).back() == doctest::Approx(0.95));
    std::vector<double> const fair = valuesAt(HoleQualityFair);
    CHECK(holds(fair, 0.85));
    CHECK(fair.back() == doctest::Approx(1.0));
}

TEST_CASE("aCancelAtARefusedHoleMergesNothing") {
    CompactMesh const holed =
        without(support::sphere(4), [](Point const& p) { return p.z > 0.6 || p.z < -0.9; });
    Tables const tables(holed);
    for (ko::list<int> const& list :
         {ko::list<int>{0, -1}, {0, 1, 99}, {0, 0}, {-1, 0}, {1, 0, 1, -1}}) {
        for (std::size_t when = 1; when <= list.size(); ++when) {
            CAPTURE(when);
            CompactMesh mesh = holed;
            std::string const last =
                "Filling hole " + std::to_string(when) + " of " + std::to_string(list.size());
            koUtil::Progress progress;
            progress.setListener([&](double, char const* caption) {
                if (caption == last)
                    progress.cancel();
            });
            CHECK(meshHoleFill(mesh, tables.adjTris, tables.adjVertices, tables.boundaries, list,
                               HoleQualityFlat, progress) == 0);
            CHECK(bytesOf(mesh) == bytesOf(holed));
        }
    }
}

TEST_CASE("triangulationAndSolverStopWhenTheyAskNext") {
    // The cancel comes with a report of one of them, and both report as often as they ask.
    std::vector<Point> circle;
    for (int i = 0; i < 100; ++i)
        circle.emplace_back(std::cos(0.02 * std::numbers::pi * i),
                            std::sin(0.02 * std::numbers::pi * i), 0.0);
    CompactMesh const band = doubledBand(circle);
    CompactMesh const cap = without(support::sphere(5), [](Point const& p) { return p.z > 0.3; });
    auto const check = [](CompactMesh const& holed, HoleQuality quality, double share) {
        Tables const tables(holed);
        CompactMesh mesh = holed;
        koUtil::Progress progress;
        int numLateReports = 0;
        progress.setListener([&](double value, char const*) {
            numLateReports += progress.cancelled();
            if (value > share / tables.boundaries.getLength(0))
                progress.cancel();
        });
        CHECK(meshHoleFill(mesh, tables.adjTris, tables.adjVertices, tables.boundaries, {0},
                           quality, progress) == 0);
        CHECK(progress.cancelled());
        CHECK(numLateReports == 0);
        CHECK(bytesOf(mesh) == bytesOf(holed));
    };
    check(band, HoleQualityFlat, 0.0);
    check(cap, HoleQualityFair, 0.8500001);
}

TEST_CASE("aCancelEndsARefinementAtItsNextPass") {
    // A triangular hole; each of its corners has thousands of neighbours close by, so that it takes seconds to refine.
    constexpr int numSpokes = 3000;
    std::vector<float> coordinates = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    std::vector<int> triangles;
    for (int corner = 0; corner < 3; ++corner) {
        int const next = (corner + 1) % 3;
        int const first = static_cast<int>(coordinates.size() / 3);
        for (int i = 0; i < numSpokes; ++i) {
            coordinates.push_back(coordinates[static_cast<std::size_t>(3 * corner)]);
            coordinates.push_back(coordinates[static_cast<std::size_t>(3 * corner + 1)]);
            coordinates.push_back(-1e-6f * static_cast<float>(i + 1));
        }
        for (int i = 0; i + 1 < numSpokes; ++i)
            triangles.insert(triangles.end(), {corner, first + i, first + i + 1});
        triangles.insert(triangles.end(), {corner, first + numSpokes - 1, next});
    }
    CompactMesh const holed = meshOf(coordinates, triangles);
    CompactMesh mesh = holed;
    Tables const tables(mesh);
    koUtil::Progress progress;
    std::promise<void> hasBegun;
    bool isTriangulated = false;
    progress.setListener([&](double value, char const*) {
        if (value > 0.0 && !isTriangulated) {
            isTriangulated = true;
            hasBegun.set_value();
        }
    });
    std::clock_t cancelTime = 0;
    std::thread user([&] {
        hasBegun.get_future().wait();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        cancelTime = std::clock();
        progress.cancel();
    });
    CHECK(meshHoleFill(mesh, tables.adjTris, tables.adjVertices, boundariesOf({0, 2, 1}), {0},
                       HoleQualityRefined, progress) == 0);
    std::clock_t const end = std::clock();
    user.join();
    CHECK(static_cast<double>(end - cancelTime) / CLOCKS_PER_SEC < 1.0);
    CHECK(bytesOf(mesh) == bytesOf(holed));
}
