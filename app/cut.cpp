// trimora cut IN OUT: opens a mesh along a plane or along drawn curves.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "numbers.h"
#include "reports.h"
#include "toolkit/meshCutting.h"
#include "toolkit/surfaceCurve.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koOS/StopWatch.h"

#include <algorithm>
#include <cmath>

namespace app {

namespace {

using koGeom::CompactMesh;
using trimora::SurfaceCurves;

struct CutArguments {
    std::string input;
    std::string output;
    std::string plane;
    std::string curve;
    bool split = false;
};

struct CutResult {
    int numCurves = 0;
    int numClosed = 0;
    std::optional<double> farthest;  // of a drawn point from the surface
    trimora::MeshCounts before;
    trimora::MeshCounts after;
    trimora::CutOutcome outcome;
    double seconds = 0.0;
    std::vector<StoredPart> parts;
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

// Where the plane would have to lie to meet the mesh, in the numbers that were typed.
std::string missText(CompactMesh const& mesh, std::vector<double> const& plane) {
    double low = HUGE_VAL;
    double high = -HUGE_VAL;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        koGeom::Point const p = mesh.getVertices()[v].asPoint();
        double const height = plane[0] * p.x + plane[1] * p.y + plane[2] * p.z;
        low = std::min(low, height);
        high = std::max(high, height);
    }
    return "the plane does not pass through the surface; with the same a, b and c it may for d "
           "from " +
           numberInWords(0.0 - high) + " to " + numberInWords(0.0 - low) + ", and d is " +
           numberInWords(plane[3]);
}

SurfaceCurves sectionOf(Session& session, CutArguments const& arguments, CompactMesh const& mesh,
                        double tolerance) {
    auto const numbers = parseNumbers(arguments.plane, 4);
    trimora::SectionPlane plane;
    plane.set({numbers[0], numbers[1], numbers[2], numbers[3]});
    session.beginPhase("cutting with the plane", false);
    SurfaceCurves curves = trimora::planeSection(mesh, plane, tolerance);
    if (curves.empty() && mesh.getNumTriangles() > 0)
        throw Failure{Refused, arguments.input + ": " + missText(mesh, numbers)};
    return curves;
}

SurfaceCurves layCurves(Session& session, CutArguments const& arguments, CompactMesh const& mesh,
                        double tolerance, CutResult& result) {
    std::vector<trimora::Polyline> polylines;
    throwIfFailed(trimora::readPolylines(arguments.curve, polylines, session.maxBytes()));
    session.beginPhase("laying the curves", true);
    koGeom::SimpleMeshCache cache;
    trimora::LaidCurves laid =
        trimora::laySurfaceCurves(mesh, cache, polylines, tolerance, session.progress());
    session.throwIfCancelled();
    if (!laid.refusal.empty())
        throw Failure{Refused, arguments.curve + ": " + laid.refusal + " (near " +
                                   trimora::positionInWords(laid.problemPoint) + ")"};
    result.farthest = laid.farthest;
    return std::move(laid.curves);
}

void cutLoaded(Session& session, CutArguments const& arguments, CompactMesh& mesh,
               CutResult& result) {
    double const tolerance = trimora::cutTolerance(mesh);
    result.before = trimora::countMesh(mesh);
    SurfaceCurves const curves = arguments.plane.empty()
                                     ? layCurves(session, arguments, mesh, tolerance, result)
                                     : sectionOf(session, arguments, mesh, tolerance);
    result.numCurves = static_cast<int>(curves.size());
    result.numClosed = countClosed(mesh, curves);
    session.beginPhase("cutting", false);
    koOS::StopWatch watch;
    watch.start();
    result.outcome = trimora::cutMesh(mesh, curves, tolerance);
    result.seconds = watch.clear();
    if (!result.outcome.refusal.empty())
        throw Failure{Refused, arguments.input + ": " + result.outcome.refusal};
    result.after = trimora::countMesh(mesh);
    session.throwIfCancelled();
}

Json cutJson(CutArguments const& arguments, CutResult const& result,
             trimora::ReadReport const& report) {
    Json json = {{"file", arguments.input},
                 {"output", arguments.split ? Json(nullptr) : Json(arguments.output)},
                 {"curves", result.numCurves},
                 {"closedCurves", result.numClosed},
                 {"farthestPoint", result.farthest ? Json(*result.farthest) : Json(nullptr)},
                 {"before", toJson(result.before)},
                 {"after", toJson(result.after)},
                 {"areaBefore", result.outcome.areaBefore},
                 {"areaAfter", result.outcome.areaAfter},
                 {"seconds", result.seconds},
                 {"dropped", result.outcome.dropped},
                 {"read", toJson(report)}};
    for (StoredPart const& part : result.parts)
        json["parts"].push_back(
            {{"output", part.path}, {"vertices", part.vertices}, {"triangles", part.triangles}});
    return json;
}

std::string cutText(CutArguments const& arguments, CutResult const& result) {
    std::string text = arguments.input + ": cut along " + std::to_string(result.numCurves) +
                       (result.numCurves == 1 ? " curve, " : " curves, ") +
                       std::to_string(result.numClosed) + " of them closed; " +
                       secondsInWords(result.seconds) + "\n" +
                       countsTable(result.before, result.after) + "  area " +
                       numberInWords(result.outcome.areaBefore) + " before, " +
                       numberInWords(result.outcome.areaAfter) + " after\n";
    if (result.farthest)
        text += "  the curves lay up to " + numberInWords(*result.farthest) +
                " away from the surface\n";
    text += droppedLine(result.outcome.dropped);
    for (StoredPart const& part : result.parts)
        text += "  " + std::to_string(part.triangles) + " triangles written to " + part.path + "\n";
    return arguments.split ? text : text + "  written to " + nameOfOutput(arguments.output) + "\n";
}

ExitCode cut(Session& session, CutArguments const& arguments) {
    if (arguments.plane.empty() == arguments.curve.empty())
        throw Failure{UsageError, "cut takes exactly one of --plane and --curve"};
    if (arguments.split && arguments.output == "-")
        throw Failure{UsageError, "--split writes several files; name OUT, not -"};
    if (arguments.input == "-" && arguments.curve == "-")
        throw Failure{UsageError,
                      "the mesh and the curve cannot both come from standard input; name a file "
                      "for one of them"};
    requireOutput(session, arguments.output);
    LoadedMesh loaded;
    loadMesh(session, arguments.input, cutBytesPerTriangle, loaded);
    CutResult result;
    cutLoaded(session, arguments, loaded.mesh, result);
    if (arguments.split)
        result.parts = storeParts(session, arguments.output, loaded.mesh);
    else
        storeMesh(session, arguments.output, loaded.mesh);
    session.finish();
    if (session.options().json)
        printOut(toText(cutJson(arguments, result, loaded.report)));
    else
        printReport(session, cutText(arguments, result), arguments.output);
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
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return cut(session, *arguments); };
    });
}

}  // namespace app
