#include "operationTable.h"

#include "support/builders.h"
#include "toolkit/checkedRepair.h"
#include "toolkit/collarSampling.h"
#include "toolkit/flatPicture.h"
#include "toolkit/meshCheck.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshCutting.h"
#include "toolkit/meshDeviation.h"
#include "toolkit/meshDistance.h"
#include "toolkit/meshExtrusion.h"
#include "toolkit/meshFlattening.h"
#include "toolkit/meshHoleFilling.h"
#include "toolkit/meshMeasuring.h"
#include "toolkit/meshMerging.h"
#include "toolkit/meshOffsetting.h"
#include "toolkit/meshParts.h"
#include "toolkit/meshReduction.h"
#include "toolkit/meshSmoothing.h"
#include "toolkit/meshSplitting.h"
#include "toolkit/meshStitching.h"
#include "toolkit/meshStrips.h"
#include "toolkit/meshSubdivision.h"
#include "toolkit/meshVerification.h"
#include "toolkit/meshWelding.h"
#include "toolkit/partsOutward.h"
#include "toolkit/planeSection.h"
#include "toolkit/renderMesh.h"
#include "toolkit/silhouetteCurves.h"
#include "toolkit/surfaceCurve.h"
#include "toolkit/surfacePaint.h"
#include "toolkit/vertexCurvature.h"
#include "unwatched.h"

#include "trimora/connectivity/SimpleMeshCache.h"

#include <limits>
#include <numeric>
#include <stdexcept>

namespace operations {

namespace {

using koGeom::BitVector;
using koGeom::CompactMesh;
using koUtil::Progress;

template <typename Outcome>
Result resultOf(Outcome const& outcome) {
    Result result;
    if constexpr (requires { outcome.refusal; })
        result.refusal = outcome.refusal;
    if constexpr (requires { outcome.problemPoint.has_value(); }) {
        result.place = outcome.problemPoint;
        result.tellsPlaces = true;
    }
    if constexpr (requires { outcome.cancelled; })
        result.cancelled = outcome.cancelled;
    return result;
}

/// Of calls that want nothing but the mesh and a progress.
template <typename Call>
std::function<Run(CompactMesh const&)> plain(Call const& call) {
    return [call](CompactMesh const&) {
        return [call](CompactMesh& mesh, Progress& progress) {
            return resultOf(call(mesh, progress));
        };
    };
}

/// Of calls without an outcome.
template <typename Call>
std::function<Run(CompactMesh const&)> query(Call call) {
    return [call](CompactMesh const&) {
        return [call](CompactMesh& mesh, Progress&) {
            static_cast<void>(call(mesh));
            return Result();
        };
    };
}

CompactMesh damagedBall() {
    return support::flipped(support::holed(support::soup(support::sphere(1)), 0.9, 3), 0.2, 5);
}

CompactMesh ballInsideOut() {
    CompactMesh mesh = support::sphere(1);
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        std::swap(mesh.getTriangles()[t][0], mesh.getTriangles()[t][1]);
    return mesh;
}

CompactMesh holedBall() {
    return support::holed(support::sphere(2), 0.93, 2);
}

/// A sphere without a cap, and a strip beside a strip.
CompactMesh bowl() {
    CompactMesh mesh = support::sphere(2);
    std::vector<int> kept;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        int const* const corners = mesh.getTriangles()[t].vertices;
        float const height = mesh.getVertices()[corners[0]].z + mesh.getVertices()[corners[1]].z +
                             mesh.getVertices()[corners[2]].z;
        if (height < 1.5f)
            kept.insert(kept.end(), corners, corners + 3);
    }
    return support::meshOf(support::coordinatesOf(mesh), kept);
}

CompactMesh twoStrips() {
    CompactMesh const strip = support::grid(12, 2);
    return support::joined(strip, strip, 0.0f, 2.05f, 0.0f);
}

CompactMesh shortStrips() {
    CompactMesh const strip = support::grid(4, 1);
    return support::joined(strip, strip, 0.0f, 1.05f, 0.0f);
}

CompactMesh slice() {
    return support::terrain(6, 5, 5);
}

CompactMesh ball() {
    return support::sphere(1);
}

BitVector firstTriangles(CompactMesh const& mesh, int count) {
    BitVector selection(mesh.getNumTriangles());
    for (int t = 0; t < std::min(count, mesh.getNumTriangles()); ++t)
        selection.setBit(t);
    return selection;
}

BitVector allTriangles(CompactMesh const& mesh) {
    return firstTriangles(mesh, mesh.getNumTriangles());
}

std::vector<int> allOf(std::vector<trimora::MeshHole> const& holes) {
    std::vector<int> chosen(holes.size());
    std::iota(chosen.begin(), chosen.end(), 0);
    return chosen;
}

trimora::SectionPlane middlePlane(CompactMesh const& mesh) {
    trimora::SectionPlane plane;
    double middle = 0.0;
    int count = 0;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        double const x = mesh.getVertices()[v].x;
        if (x > -1e6 && x < 1e6) {
            middle += x;
            ++count;
        }
    }
    plane.set({1.0, 0.123, 0.077, count > 0 ? -middle / count - 0.01 : 0.0});
    return plane;
}

auto reduction(trimora::ReduceMethod method, double value) {
    return plain([=](CompactMesh& mesh, Progress& progress) {
        return trimora::reduceMesh(mesh, {method, value}, progress);
    });
}

auto repair(bool withAll) {
    return plain([=](CompactMesh& mesh, Progress& progress) {
        trimora::RepairOptions options;
        options.selfIntersections = withAll;
        if (withAll) {
            options.foldAngle = 10.0;
            options.dustShare = 0.001;
            options.dropUnused = true;
        }
        return trimora::repairMesh(mesh, options, progress);
    });
}

std::function<Run(CompactMesh const&)> smoothing(trimora::SmoothOptions::Method method) {
    return [method](CompactMesh const& sound) {
        return [method, selection = allTriangles(sound)](CompactMesh& mesh, Progress& progress) {
            trimora::SmoothOptions options;
            options.method = method;
            options.passes = 2;
            options.sigma = 1.5;
            return resultOf(trimora::smoothMesh(mesh, selection, options, progress));
        };
    };
}

auto offset(bool shellOnly) {
    return plain([=](CompactMesh& mesh, Progress& progress) {
        trimora::OffsetOptions options;
        options.distance = 0.05;
        options.shellOnly = shellOnly;
        return trimora::offsetMesh(mesh, options, progress);
    });
}

std::function<Run(CompactMesh const&)> filling(koGeom::HoleQuality quality) {
    return [quality](CompactMesh const& sound) {
        auto const holes = unwatched::findHoles(sound);
        return [quality, holes](CompactMesh& mesh, Progress& progress) {
            trimora::FillOptions options;
            options.quality = quality;
            return resultOf(trimora::fillHoles(mesh, holes, allOf(holes), options, progress));
        };
    };
}

Run stitching(CompactMesh const& sound) {
    auto const holes = unwatched::findHoles(sound);
    return [holes](CompactMesh& mesh, Progress& progress) {
        trimora::StitchOptions options;
        options.distance = 0.1;
        return resultOf(trimora::stitchMesh(mesh, holes, allOf(holes), options, progress));
    };
}

Run proposing(CompactMesh const& sound) {
    auto const holes = unwatched::findHoles(sound);
    return [holes](CompactMesh& mesh, Progress& progress) {
        trimora::proposeStitchDistance(mesh, holes, allOf(holes), {}, progress);
        return Result();
    };
}

Run cutting(CompactMesh const& sound) {
    double const tolerance = trimora::cutTolerance(sound);
    auto const curves = unwatched::planeSection(sound, middlePlane(sound), tolerance);
    return [=](CompactMesh& mesh, Progress& progress) {
        return resultOf(trimora::cutMesh(mesh, curves, tolerance, progress));
    };
}

Run extruding(CompactMesh const& sound) {
    return [selection = firstTriangles(sound, 7)](CompactMesh& mesh, Progress& progress) {
        trimora::ExtrudeOptions options;
        options.distance = 0.3;
        return resultOf(trimora::extrudeMesh(mesh, selection, options, progress));
    };
}

auto flattening(trimora::SeamForm seams) {
    return plain([=](CompactMesh& mesh, Progress& progress) {
        return trimora::flattenMesh(mesh, {true, seams}, progress);
    });
}

Run sampling(CompactMesh const& sound) {
    auto const holes = unwatched::findHoles(sound);
    return [holes](CompactMesh& mesh, Progress&) {
        if (holes.empty())
            return Result();
        return resultOf(trimora::sampleCollar(mesh, holes.front(), {}));
    };
}

Run laying(CompactMesh const& sound) {
    trimora::Polyline line;
    for (int v = 0; v < std::min(sound.getNumVertices(), 3); ++v)
        line.push_back(sound.getVertices()[v].asPoint());
    return [line](CompactMesh& mesh, Progress& progress) {
        koGeom::SimpleMeshCache cache;
        std::vector<trimora::Polyline> lines;
        if (!line.empty())
            lines.push_back(line);
        trimora::LaidCurves const laid =
            trimora::laySurfaceCurves(mesh, cache, lines, 1e-6, progress);
        Result result;
        result.refusal = laid.refusal;
        result.cancelled = laid.cancelled;
        return result;
    };
}

Run deviating(CompactMesh const& sound) {
    return [reference = sound](CompactMesh& mesh, Progress& progress) {
        return resultOf(trimora::measureDeviation(mesh, reference, {}, progress));
    };
}

Run deviatingFrom(CompactMesh const& sound) {
    return [measured = sound](CompactMesh& mesh, Progress& progress) {
        return resultOf(trimora::measureDeviation(measured, mesh, {}, progress));
    };
}

auto splitting(trimora::SplitOptions::By by) {
    return plain([=](CompactMesh& mesh, Progress& progress) {
        trimora::SplitOptions options;
        options.by = by;
        options.maxVertices = 12;
        return trimora::splitMesh(mesh, options, progress);
    });
}

auto strips(std::optional<int> cacheSize) {
    return plain([=](CompactMesh& mesh, Progress& progress) {
        trimora::StripOptions options;
        options.maxLength = 20;
        options.cacheSize = cacheSize;
        CompactMesh result;
        return trimora::makeStrips(mesh, options, result, progress);
    });
}

auto merging() {
    return plain([](CompactMesh& mesh, Progress& progress) {
        ko::list<koGeom::MeshPlacement> placed;
        placed.push_back({koGeom::AffineMatrixFlt::Identity, &mesh});
        CompactMesh result;
        return trimora::mergeMeshes(placed, 0.001, result, progress);
    });
}

CompactMesh mapped() {
    CompactMesh mesh = slice();
    mesh.allocUVArray();
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        mesh.getUVs()[v] = {0.1f * mesh.getVertices()[v].x, 0.1f * mesh.getVertices()[v].y};
    return mesh;
}

Run measuringMap(CompactMesh const& sound) {
    auto const corners = trimora::cornersOf(sound).corners;
    return [corners](CompactMesh& mesh, Progress&) {
        return resultOf(trimora::measureMap(mesh, corners));
    };
}

Run measuringMaps(CompactMesh const& sound) {
    auto const corners = trimora::cornersOf(sound).corners;
    std::vector<int> groups(corners.size() / 3, 1);
    return [corners, groups](CompactMesh& mesh, Progress&) {
        return resultOf(trimora::measureMaps(mesh, corners, groups, 2));
    };
}

Run drawingMap(CompactMesh const& sound) {
    auto const corners = trimora::cornersOf(sound).corners;
    return [corners](CompactMesh& mesh, Progress&) {
        return resultOf(trimora::drawFlatMap(mesh, corners));
    };
}

Run distantFrom(CompactMesh const& sound) {
    return [first = sound](CompactMesh& mesh, Progress& progress) {
        return resultOf(trimora::measureDistance(first, mesh, progress));
    };
}

auto rendering(bool shadow) {
    return plain([shadow](CompactMesh& mesh, Progress& progress) {
        trimora::RenderOptions options;
        options.width = 24;
        options.height = 16;
        options.samples = 2;
        options.shadow = shadow;
        return trimora::renderMeshes({{&mesh, nullptr, "ball"}}, options, progress);
    });
}

std::vector<Operation> edits() {
    using trimora::ReduceMethod;
    using trimora::SeamForm;
    using Method = trimora::SmoothOptions::Method;
    return {
        {"weld", true, true, damagedBall, plain([](CompactMesh& mesh, Progress& progress) {
             return trimora::weldMesh(mesh, progress);
         })},
        {"repair", true, false, damagedBall, repair(false)},
        {"repair all", true, false, [] { return support::joined(ball(), ball(), 0.7f); },
         repair(true)},
        {"turn outward", true, true,
         [] { return support::joined(ballInsideOut(), ballInsideOut(), 3.0f); },
         plain([](CompactMesh& mesh, Progress& progress) {
             return trimora::turnPartsOutward(mesh, progress);
         })},
        {"reduce by fraction", true, false, slice, reduction(ReduceMethod::Fraction, 0.4)},
        {"reduce by tolerance", true, false, slice, reduction(ReduceMethod::Tolerance, 0.2)},
        {"reduce by collapse", true, false, slice, reduction(ReduceMethod::Collapse, 0.4)},
        {"smooth", true, true, slice, smoothing(Method::Laplacian)},
        {"smooth bilaterally", true, true, slice, smoothing(Method::Bilateral)},
        {"offset", true, true, bowl, offset(false)},
        {"offset shell", true, true, bowl, offset(true)},
        {"fill flat", true, false, holedBall, filling(koGeom::HoleQualityFlat)},
        {"fill fair", true, false, bowl, filling(koGeom::HoleQualityFair)},
        {"stitch", true, true, twoStrips, stitching},
        {"cut", true, true, ball, cutting},
        {"extrude", true, true, ball, extruding},
        {"flatten", true, true, bowl, flattening(SeamForm::Split)},
        {"flatten closed", true, true, ball, flattening(SeamForm::Keep)},
    };
}

std::vector<Operation> queries() {
    using By = trimora::SplitOptions::By;
    return {
        {"check", false, true, ball, plain([](CompactMesh& mesh, Progress& progress) {
             return trimora::checkMesh(mesh, {}, progress);
         })},
        {"count", false, true, ball, query(trimora::countMesh)},
        {"find holes", false, true, bowl, plain([](CompactMesh& mesh, Progress& progress) {
             return trimora::findHoles(mesh, progress);
         })},
        {"find parts", false, true, ball, query(trimora::findParts)},
        {"measure", false, true, [] { return support::joined(ball(), ball(), 3.0f); },
         plain([](CompactMesh& mesh, Progress& progress) {
             return trimora::measureMesh(mesh, true, progress);
         })},
        {"curvature", false, true, ball, plain([](CompactMesh& mesh, Progress& progress) {
             return trimora::measureCurvature(mesh, koGeom::MeanCurvature, progress);
         })},
        {"deviation", false, true, ball, deviating},
        {"deviation from it", false, true, ball, deviatingFrom},
        {"distance", false, true, ball, plain([](CompactMesh& mesh, Progress& progress) {
             return trimora::measureDistance(mesh, support::cube(), progress);
         })},
        {"distance from it", false, true, ball, distantFrom},
        {"propose a distance", false, true, shortStrips, proposing},
        {"collar", false, true, bowl, sampling},
        {"lay curves", false, true, slice, laying},
        {"plane section", false, true, ball, plain([](CompactMesh& mesh, Progress& progress) {
             return trimora::planeSection(mesh, middlePlane(support::sphere(1)), 1e-6, progress);
         })},
        {"silhouette", false, true, ball, plain([](CompactMesh& mesh, Progress& progress) {
             return trimora::silhouetteCurves(mesh, {true, {0.3, 0.4, 0.8}}, progress);
         })},
        {"merge", false, true, damagedBall, merging()},
        {"split by components", false, true, [] { return support::joined(ball(), ball(), 3.0f); },
         splitting(By::Components)},
        {"split by vertices", false, true, ball, splitting(By::Vertices)},
        {"strips", false, true, ball, strips({})},
        {"strips for a cache", false, true, ball, strips(8)},
        {"subdivide", false, true, ball, plain([](CompactMesh& mesh, Progress& progress) {
             return trimora::subdivideMesh(mesh, {}, 2, progress);
         })},
        {"verify", false, true, ball, plain([](CompactMesh& mesh, Progress& progress) {
             return trimora::verifyMesh(mesh, {}, progress);
         })},
        {"corners", false, true, mapped,
         plain([](CompactMesh& mesh, Progress&) { return trimora::cornersOf(mesh); })},
        {"distortion", false, true, mapped, measuringMap},
        {"distortion of groups", false, true, mapped, measuringMaps},
        {"draw a map", false, true, mapped, drawingMap},
        {"render", false, true, ball, rendering(false)},
        {"render a shadow", false, true, ball, rendering(true), true},
        {"paint curvature", false, true, ball, query(trimora::paintCurvature)},
        {"paint components", false, true, ball, query(trimora::paintComponents)},
    };
}

}  // namespace

std::vector<Operation> const& all() {
    static std::vector<Operation> const table = [] {
        std::vector<Operation> both = edits();
        std::vector<Operation> const more = queries();
        both.insert(both.end(), more.begin(), more.end());
        return both;
    }();
    return table;
}

Result outcomeOf(Run const& run, CompactMesh& mesh, Progress& progress) {
    try {
        return run(mesh, progress);
    } catch (std::invalid_argument const& error) {
        Result refused;
        refused.refusal = error.what();
        refused.isThrown = true;
        return refused;
    }
}

}  // namespace operations
