// trimora cut IN OUT: opens a mesh along a plane or along drawn curves.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "numbers.h"
#include "reports.h"
#include "toolkit/meshCutting.h"
#include "toolkit/meshDistance.h"
#include "toolkit/meshParts.h"
#include "toolkit/surfaceCurve.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koLinear/ranges.h"
#include "trimora/contract/koOS/StopWatch.h"

#include <algorithm>
#include <cmath>

namespace app {

namespace {

using koGeom::CompactMesh;
using trimora::countInWords;
using trimora::SurfaceCurves;

constexpr double leastAreaChange = 1e-3;  // of the area: less comes of slivers alone

struct CutArguments {
    std::string input;
    std::string output;
    std::string plane;
    std::string curve;
    bool split = false;
    bool noMeasure = false;
    int maxParts = 1000;
};

struct CutResult {
    double tolerance = 0.0;
    int numCurves = 0;
    int numClosed = 0;
    std::optional<double> farthest;  // of a drawn point from the surface
    trimora::MeshCounts before;
    trimora::MeshCounts after;
    trimora::CutOutcome outcome;
    std::optional<trimora::MeshDistance> measured;  // of what the cut replaced from what it left
    double seconds = 0.0;
    StoredParts stored;
};

int countClosed(CompactMesh const& mesh, SurfaceCurves const& curves) {
    auto const isClosed = [&mesh](auto const& curve) {
        auto const* const vertices = mesh.getVertices();
        auto const* const triangles = mesh.getTriangles();
        return curve.size() > 2 && curve.front().evaluate(vertices, triangles) ==
                                       curve.back().evaluate(vertices, triangles);
    };
    return static_cast<int>(std::count_if(curves.begin(), curves.end(), isClosed));
}

/// How far the corners of the triangles lie above a plane.
koLinear::Range1d heightsOf(CompactMesh const& mesh, trimora::SectionPlane const& plane) {
    auto const& [x, y, z, d] = plane.coefficients;
    koLinear::Range1d heights;
    heights.setUnbounded();
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        for (int const v : mesh.getTriangles()[t].vertices) {
            koGeom::Point const p = mesh.getVertices()[v].asPoint();
            double const height = x * p.x + y * p.y + z * p.z + d;
            if (std::isfinite(height))
                heights.include(height);
        }
    }
    return heights;
}

// Why there is nothing to cut, and where the plane would have to lie, in the numbers that were typed.
std::string missText(koLinear::Range1d const& heights, double tolerance,
                     std::vector<double> const& numbers) {
    if (heights.lower >= -tolerance && heights.upper <= tolerance)
        return "the whole mesh lies in the plane, which parts nothing there; turn the plane";
    double const scale = std::hypot(numbers[0], numbers[1], numbers[2]);
    double const low = numbers[3] - scale * heights.upper;
    double const high = numbers[3] - scale * heights.lower;
    std::string const advice = std::isfinite(low) && std::isfinite(high)
                                   ? "; with the same a, b and c take d between " +
                                         numberInWords(low) + " and " + numberInWords(high) +
                                         ", not " + numberInWords(numbers[3])
                                   : "; move it";
    if (heights.lower > tolerance || heights.upper < -tolerance)
        return "the plane misses the mesh, which lies on one side of it" + advice;
    if (heights.lower >= -tolerance || heights.upper <= tolerance)
        return "the plane only touches the mesh, which lies on one side of it" + advice;
    return "the plane passes between parts of the mesh and meets no triangle" + advice;
}

SurfaceCurves sectionOf(Session& session, CutArguments const& arguments, CompactMesh const& mesh,
                        double tolerance) {
    auto const numbers = parseNumbers(arguments.plane, 4);
    trimora::SectionPlane plane;
    plane.set({numbers[0], numbers[1], numbers[2], numbers[3]});
    session.beginPhase("cutting with the plane", true);
    trimora::SectionOutcome section =
        trimora::planeSection(mesh, plane, tolerance, session.progress());
    session.throwIfCancelled();
    throwIfRefused(session, {arguments.input, section.refusal, section.problemPoint});
    if (section.curves.empty())
        throwIfRefused(session,
                       {arguments.input, missText(heightsOf(mesh, plane), tolerance, numbers), {}});
    return std::move(section.curves);
}

SurfaceCurves layCurves(Session& session, CutArguments const& arguments, CompactMesh const& mesh,
                        CutResult& result) {
    std::vector<trimora::Polyline> polylines;
    throwIfFailed(trimora::readPolylines(arguments.curve, polylines, session.maxBytes()),
                  arguments.curve);
    for (trimora::Polyline& polyline : polylines)
        for (koLinear::Point& point : polyline)
            point = {point.x - session.shift()[0], point.y - session.shift()[1],
                     point.z - session.shift()[2]};
    session.beginPhase("laying the curves", true);
    koGeom::SimpleMeshCache cache;
    trimora::LaidCurves laid =
        trimora::laySurfaceCurves(mesh, cache, polylines, result.tolerance, session.progress());
    session.throwIfCancelled();
    koLinear::Point const place = laid.problemPoint;
    if (!laid.refusal.empty())
        throwIfRefused(session, {arguments.curve,
                                 laid.refusal + " (near " + trimora::positionInWords(place) + ")",
                                 {{place.x, place.y, place.z}}});
    result.farthest = laid.farthest;
    return std::move(laid.curves);
}

void requireFewParts(Session const& session, CutArguments const& arguments,
                     CutResult const& result) {
    if (arguments.split && result.after.components > arguments.maxParts)
        throwIfRefused(session, {arguments.input,
                                 "the result has " + countInWords(result.after.components, "part") +
                                     ", each for a file of its own, and the limit is " +
                                     std::to_string(arguments.maxParts) +
                                     "; weld the mesh first, or raise it with --max-parts",
                                 {}});
}

/// How far the surface moved: only what the cut replaced can have.
void measure(Session& session, CutArguments const& arguments, koGeom::CompactMesh const& mesh,
             CutResult& result) {
    session.beginPhase("measuring the deviation", true);
    result.measured = trimora::measureDistance(result.outcome.regionBefore,
                                               result.outcome.regionAfter, session.progress());
    result.measured->diagonal = trimora::diagonalOf(mesh);
    session.throwIfCancelled();
    throwIfRefused(session,
                   {arguments.input, result.measured->refusal, result.measured->problemPoint});
}

void cutLoaded(Session& session, CutArguments const& arguments, trimora::ReadReport const& report,
               CompactMesh& mesh, CutResult& result) {
    if (mesh.getNumTriangles() == 0)
        throwIfRefused(session, {arguments.input, "holds no triangles to cut", {}});
    result.tolerance = trimora::cutTolerance(mesh);
    result.before = trimora::countMesh(mesh);
    SurfaceCurves const curves = arguments.plane.empty()
                                     ? layCurves(session, arguments, mesh, result)
                                     : sectionOf(session, arguments, mesh, result.tolerance);
    result.numCurves = static_cast<int>(curves.size());
    result.numClosed = countClosed(mesh, curves);
    session.beginPhase("cutting", true);
    koOS::StopWatch watch;
    watch.start();
    result.outcome = trimora::cutMesh(mesh, curves, result.tolerance, session.progress());
    result.seconds = watch.clear();
    session.throwIfCancelled();
    bool const isOfCurve = result.outcome.isOfCurves && !arguments.curve.empty();
    throwIfRefused(session, {isOfCurve ? arguments.curve : arguments.input, result.outcome.refusal,
                             result.outcome.problemPoint, result.outcome.isNonfinite});
    result.after = trimora::countMesh(mesh);
    requireFloatRange(session, arguments.input, report, mesh);
    requireFewParts(session, arguments, result);
    session.throwIfCancelled();
    if (!arguments.noMeasure)
        measure(session, arguments, mesh, result);
}

/// The farthest that a vertex that was there lies from the result, or one of the result from what was there.
double farthestMoved(CutResult const& result) {
    return result.measured
               ? std::max(result.measured->fromFirst.largest, result.measured->fromSecond.largest)
               : 0.0;
}

std::string percentOf(double length, trimora::MeshDistance const& measured) {
    return numberInWords(100.0 * measured.relative(length)) + " % of the diagonal";
}

std::vector<std::string> warningsOf(CutResult const& result) {
    std::vector<std::string> warnings;
    double const moved = farthestMoved(result);
    if (moved > result.tolerance)
        warnings.push_back("the surface moved by up to " + numberInWords(moved) + " (" +
                           percentOf(moved, *result.measured) +
                           ") beside the cut, where slivers were taken away; subdivide a coarse "
                           "mesh first to keep its shape");
    double const areaChange = std::abs(result.outcome.areaAfter - result.outcome.areaBefore);
    if (result.outcome.closedFolds > 0 && areaChange > leastAreaChange * result.outcome.areaBefore)
        warnings.push_back(
            "the area changed from " + numberInWords(result.outcome.areaBefore) + " to " +
            numberInWords(result.outcome.areaAfter) +
            ", since triangles lay back to back beside the cut; 'trimora repair --angle 3' takes "
            "such triangles away first");
    if (result.outcome.addedNullTriangles > 0)
        warnings.push_back(countInWords(result.outcome.addedNullTriangles, "triangle") +
                           " without area came up beside the cut, where there were some before; "
                           "repair the mesh first, with 'trimora repair'");
    if (result.outcome.openedLength == 0.0)
        warnings.push_back("nothing was opened: the curves run along a border that is there "
                           "already, or there and back; the mesh is written as it was");
    for (std::string const& warning : warningsOf(result.stored))
        warnings.push_back(warning);
    return warnings;
}

Json cutJson(CutArguments const& arguments, CutResult const& result,
             trimora::ReadReport const& report) {
    return {{"file", arguments.input},
            {"output", arguments.split ? Json(nullptr) : Json(arguments.output)},
            {"parts", toJson(result.stored)},
            {"otherParts", result.stored.others},
            {"curves", result.numCurves},
            {"closedCurves", result.numClosed},
            {"farthestPoint", result.farthest ? Json(*result.farthest) : Json(nullptr)},
            {"tolerance", result.tolerance},
            {"curveLength", result.outcome.curveLength},
            {"openedLength", result.outcome.openedLength},
            {"before", toJson(result.before)},
            {"after", toJson(result.after)},
            {"areaBefore", result.outcome.areaBefore},
            {"areaAfter", result.outcome.areaAfter},
            {"removedVertices", result.outcome.removedVertices},
            {"closedFolds", result.outcome.closedFolds},
            {"measured", result.measured ? toJson(*result.measured) : Json(nullptr)},
            {"seconds", result.seconds},
            {"droppedVertexSets", result.outcome.dropped},
            {"warnings", warningsOf(result)},
            {"read", toJson(report)}};
}

std::string curvesInWords(CutResult const& result) {
    if (result.numClosed == result.numCurves)
        return countInWords(result.numCurves, "closed curve");
    std::string const all = countInWords(result.numCurves, "curve");
    return result.numClosed == 0
               ? all
               : all + ", " + std::to_string(result.numClosed) + " of them closed";
}

std::string cutText(CutArguments const& arguments, CutResult const& result) {
    trimora::CutOutcome const& outcome = result.outcome;
    std::string text = arguments.input + ": cut along " + curvesInWords(result) + "; " +
                       secondsInWords(result.seconds) + "\n" +
                       countsTable(result.before, result.after) + "  opened " +
                       numberInWords(outcome.openedLength) + " of " +
                       numberInWords(outcome.curveLength) + " in length; area " +
                       numberInWords(outcome.areaBefore) + " before, " +
                       numberInWords(outcome.areaAfter) + " after\n";
    if (outcome.removedVertices > 0)
        text += "  " + countInWords(outcome.removedVertices, "vertex", "vertices") +
                " of the mesh went with slivers beside the cut\n";
    if (result.measured && result.measured->fromFirst.vertices > 0)
        text += "  distance of what was beside the cut from the result: largest " +
                numberInWords(result.measured->fromFirst.largest) + ", mean " +
                numberInWords(result.measured->fromFirst.mean) + " (" +
                percentOf(result.measured->fromFirst.mean, *result.measured) + ")\n";
    if (result.farthest && *result.farthest > result.tolerance)
        text += "  the curves lay up to " + numberInWords(*result.farthest) +
                " away from the surface\n";
    text += droppedLine(outcome.dropped);
    for (std::string const& warning : warningsOf(result))
        text += warningLine(warning);
    for (StoredPart const& part : result.stored.parts)
        text += "  " + countInWords(part.triangles, "triangle") + " written to " + part.path + "\n";
    return arguments.split ? text : text + "  written to " + nameOfOutput(arguments.output) + "\n";
}

ExitCode cut(Session& session, CutArguments const& arguments) {
    if (arguments.plane.empty() == arguments.curve.empty())
        throw Failure{UsageError,
                      "cut takes exactly one of --plane and --curve; 'trimora cut --help' "
                      "explains them"};
    if (arguments.split && arguments.output == "-")
        throw Failure{UsageError, "--split writes several files; name OUT, not -"};
    if (arguments.plane.empty())
        requireSecondInput(arguments.input, arguments.curve, arguments.output, "curve");
    requireOutput(session, arguments.output);
    LoadedMesh loaded;
    loadMesh(session, arguments.input, cutBytesPerTriangle, loaded);
    CutResult result;
    cutLoaded(session, arguments, loaded.report, loaded.mesh, result);
    if (arguments.split)
        result.stored = storeParts(session, arguments.input, arguments.output,
                                   trimora::splitIntoParts(loaded.mesh), PartNumbers::Plain);
    else
        storeMesh(session, arguments.output, loaded.mesh);
    finishWith(session, cutJson(arguments, result, loaded.report), cutText(arguments, result),
               arguments.output);
    return Done;
}

std::string faultOfPlane(std::string const& text) {
    auto const numbers = parseNumbers(text, 4);
    trimora::SectionPlane plane;
    return !numbers.empty() && plane.set({numbers[0], numbers[1], numbers[2], numbers[3]})
               ? std::string()
               : "takes a,b,c,d of the plane a x + b y + c z + d = 0, not '" + text + "'";
}

}  // namespace

void addCut(CLI::App& app, Invocation& invocation) {
    CLI::App* const command =
        addSubcommand(app, invocation, "cut", "cut a mesh open along a plane or drawn curves");
    auto const arguments = std::make_shared<CutArguments>();
    addInputAndOutput(*command, arguments->input, arguments->output);
    command
        ->add_option("--plane", arguments->plane,
                     "a,b,c,d: cut where a x + b y + c z + d = 0 meets the surface")
        ->check(faultOfPlane);
    command->add_option("--curve", arguments->curve,
                        "file of polylines to lay on the surface: OBJ lines, or points x y z one a "
                        "line and an empty line between curves; - is standard input");
    command->add_flag("--split", arguments->split,
                      "write each connected part to a file of its own: OUT-1.obj, OUT-2.obj ...");
    command->add_flag("--no-measure", arguments->noMeasure,
                      "do not measure how far the surface moved beside the cut");
    command
        ->add_option("--max-parts", arguments->maxParts,
                     "refuse to write more files than this (default 1000)")
        ->check(CLI::Range(1, 1000000));
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return cut(session, *arguments); };
    });
}

}  // namespace app
