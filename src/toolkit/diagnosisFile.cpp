// What is wrong with the data, before any surface is looked at: what did not get out of the file, what is no number, what
// names vertices that are not there, and vertices that nothing uses or that lie in one place.

#include "toolkit/detail/diagnosis.h"
#include "toolkit/meshCounts.h"

#include "trimora/assembly/meshCompact.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koLinear::Point;
using Severity = Finding::Severity;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

bool isFinitePoint(Point const& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

std::string joined(std::vector<std::string> const& parts) {
    std::string text;
    for (std::string const& part : parts)
        text += (text.empty() ? "" : ", ") + part;
    return text;
}

void addCount(std::vector<std::string>& parts, std::int64_t count, std::string const& words) {
    if (count > 0)
        parts.push_back(std::to_string(count) + " " + words);
}

/// The first things that the reader stumbled over, as a sentence.
std::string firstProblems(ReadReport const& report) {
    constexpr std::size_t most = 3;
    std::string text;
    for (std::size_t i = 0; i < std::min(report.problems.size(), most); ++i) {
        ReadReport::Problem const& problem = report.problems[i];
        std::string const place = problem.byte >= 0 ? "byte " + std::to_string(problem.byte)
                                                    : "line " + std::to_string(problem.line);
        text += (text.empty() ? " First: " : "; ") + place + ": " + problem.text;
    }
    if (report.numProblems > std::int64_t(std::min(report.problems.size(), most)) && !text.empty())
        text += "; of " + std::to_string(report.numProblems) + " in all";
    return text.empty() ? text : text + ".";
}

void diagnoseEnd(DiagnosisRun& run) {
    ReadReport const& report = run.report;
    if (report.cutShort.empty())
        return;
    std::int64_t missing = 0;
    for (ReadReport::CutShort const& kind : report.cutShort) {
        std::int64_t const room = std::numeric_limits<std::int64_t>::max() - missing;
        missing += std::min(room, std::max<std::int64_t>(kind.announced - kind.whole, 1));
    }
    std::int64_t const badCountAt = report.badCountAt();
    Finding& finding =
        run.add("cutShort", Severity::Fatal, missing,
                (badCountAt < 0 ? "The file was cut short: "
                                : "The file makes no sense from byte " +
                                      std::to_string(badCountAt) + " on: ") +
                    report.cutShortInWords(),
                "The rest of the surface is missing, and what follows tells of the beginning "
                "alone." +
                    firstProblems(report));
    finding.advice = badCountAt < 0
                         ? "Copy or download the file again, or write it again with the program "
                           "that it came from."
                         : "The file was badly written: write it again with the program that it "
                           "came from.";
}

void diagnoseDoubts(DiagnosisRun& run) {
    std::vector<std::string> const& doubts = run.report.doubts;
    if (doubts.empty())
        return;
    std::string meaning;
    for (std::string const& doubt : doubts)
        meaning += (meaning.empty() ? "The file " : " It ") + doubt + ".";
    Finding& finding = run.add("doubtfulFile", Severity::Moderate, std::int64_t(doubts.size()),
                               "The file may hold another surface than this one",
                               meaning + " Nothing else tells whether this is all of it.");
    finding.advice = "Compare the number of triangles with the program that it came from, or write "
                     "it again there.";
}

void diagnoseFaces(DiagnosisRun& run) {
    ReadReport::DroppedFaces const& dropped = run.report.dropped;
    std::int64_t const lost = dropped.total() - dropped.nonfinite;
    if (lost > 0) {
        std::vector<std::string> reasons;
        addCount(reasons, dropped.tooFewCorners, "with fewer than three corners");
        addCount(reasons, dropped.notANumber, "with a corner that is no number");
        addCount(reasons, dropped.outOfRange, "with a corner that names no vertex of the file");
        Finding& finding =
            run.add("unreadableFaces", Severity::Fatal, lost,
                    countInWords(lost, "face") + " of the file could not be read",
                    "They are not in the surface, which has holes there: " + joined(reasons) + "." +
                        firstProblems(run.report));
        finding.advice = "The file was badly written: write it again with the program that it came "
                         "from.";
    }
    if (dropped.nonfinite > 0)
        run.add("leftOutFaces", Severity::Note, dropped.nonfinite,
                countInWords(dropped.nonfinite, "face") + " left out, as asked",
                "They have corners that are NaN or infinite (--drop-nonfinite).");
}

void diagnoseUnread(DiagnosisRun& run) {
    ReadReport const& report = run.report;
    if (report.incompleteVertices > 0) {
        Finding& finding =
            run.add("incompleteVertices", Severity::Severe, report.incompleteVertices,
                    countInWords(report.incompleteVertices, "vertex", "vertices") +
                        " of the file without all coordinates",
                    "What is absent was taken as 0, what is no number as NaN: the surface is "
                    "somewhere else there." +
                        firstProblems(report));
        finding.advice = "Write the file again with the program that it came from.";
    }
    std::vector<std::string> ignored;
    addCount(ignored, report.unknownLines, "lines of no known kind");
    addCount(ignored, report.otherElements, "points, lines or other elements");
    addCount(ignored, report.verticesWithMore,
             "vertices with values behind the third, weights or colours");
    addCount(ignored, report.textureCoordinates.kept ? 0 : report.textureCoordinates.lines,
             "texture coordinates that are not one a vertex");
    addCount(ignored, report.normals.kept ? 0 : report.normals.lines,
             "normals that are not one a vertex");
    addCount(ignored, report.colours.kept ? 0 : report.colours.lines,
             "colours that are not one a vertex");
    addCount(ignored, std::int64_t(report.ignoredProperties.size()),
             "properties (" + joined(report.ignoredProperties) + ")");
    if (!ignored.empty())
        run.add("ignoredContent", Severity::Note, std::int64_t(ignored.size()),
                "The file holds more than was read",
                "Passed over: " + joined(ignored) + ". The surface does not need them.");
    if (report.isShifted())
        run.add("shifted", Severity::Note, 1, "The mesh was moved to the origin for reading",
                "Its coordinates have more digits than a mesh can hold; " +
                    positionInWords(Point(report.shift[0], report.shift[1], report.shift[2])) +
                    " was taken off and is put back on writing. Places are told as in the file.");
}

void diagnoseIndices(DiagnosisRun& run) {
    if (run.of.outOfRange.empty())
        return;
    auto const count = std::int64_t(run.of.outOfRange.size());
    Finding& finding = run.add(
        "badIndices", Severity::Fatal, count,
        countInWords(count, "triangle names", "triangles name") + " vertices that are not there",
        "Whatever reads such a mesh may crash. They are left out of everything below.");
    finding.advice = "Remove these triangles, or give the mesh the vertices that they ask for.";
    std::vector<int> items = run.of.outOfRange;
    run.addPlaces(finding, items, std::less<>(), [&run](int t) {
        return run.place({{t}, {}, {}});
    });
}

void diagnoseNonfinite(DiagnosisRun& run) {
    CompactMesh const& mesh = run.of.inRange;
    std::vector<char> isBad(at(mesh.getNumVertices()), 0);
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        isBad[at(v)] = !isFinitePoint(mesh.getVertices()[v].asPoint());
    std::vector<int> triangles;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        int const* const c = mesh.getTriangles()[t].vertices;
        if (std::any_of(c, c + 3, [&isBad](int v) { return isBad[at(v)] != 0; }))
            triangles.push_back(run.of.numberInRange[at(t)]);
    }
    if (triangles.empty())
        return;
    auto const count = std::int64_t(triangles.size());
    Finding& finding = run.add(
        "nonfiniteTriangles", Severity::Fatal, count,
        countInWords(count, "triangle has", "triangles have") + " corners that are NaN or infinite",
        "They are nowhere: nothing can be measured, drawn or mended there, and most edits refuse "
        "the whole mesh.");
    finding.remedy = "trimora convert IN OUT --drop-nonfinite";
    run.addPlaces(finding, triangles, std::less<>(), [&](int t) {
        PlaceElements elements{{t}, {}, {}};
        for (int const v : run.of.asRead.getTriangles()[t].vertices)
            if (isBad[at(v)] == 0)
                elements.vertices.push_back(v);
        return run.place(std::move(elements));
    });
}

void diagnoseUnused(DiagnosisRun& run) {
    CompactMesh const& mesh = run.of.inRange;
    std::vector<char> isUsed(at(mesh.getNumVertices()), 0);
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int const v : mesh.getTriangles()[t].vertices)
            isUsed[at(v)] = 1;
    std::vector<int> unused;
    int numNonfinite = 0;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        if (isUsed[at(v)] != 0)
            continue;
        unused.push_back(v);
        numNonfinite += isFinitePoint(mesh.getVertices()[v].asPoint()) ? 0 : 1;
    }
    if (unused.empty() || mesh.getNumTriangles() == 0)
        return;
    auto const count = std::int64_t(unused.size());
    Finding& finding = run.add(
        "unusedVertices", Severity::Slight, count,
        countInWords(count, "vertex is", "vertices are") + " used by no triangle",
        "They take memory, and widen the box of the mesh for programs that look at all "
        "vertices." +
            (numNonfinite > 0 ? " Of them " + std::to_string(numNonfinite) + " are NaN or infinite."
                              : std::string()));
    run.addPlaces(finding, unused, std::less<>(), [&run](int v) {
        return run.place({{}, {v}, {}});
    });
}

/// Vertices that `trimora weld` would remove: those in one place that agree in the normals and texture coordinates that it heeds.
int numWeldable(CompactMesh const& mesh) {
    bool const hasNormals = mesh.getNormals() != nullptr && !mesh.getNormalsComputed();
    CompactMesh copy(mesh.getNumVertices(), mesh.getVertices(),
                     hasNormals ? mesh.getNormals() : nullptr, mesh.getUVs(), nullptr);
    koUtil::Progress unwatched;
    koGeom::meshCompact(copy, unwatched);
    return mesh.getNumVertices() - copy.getNumVertices();
}

struct Coincidence {
    std::vector<int> vertices;
    bool isAtSeam;
};

/// Groups of vertices in one place, those at open seams first, then by their lowest vertex.
std::vector<Coincidence> coincidences(DiagnosisSurface const& of) {
    std::vector<char> isAtSeam(at(of.inRange.getNumVertices()), 0);
    for (auto const& [from, to] : of.seams)
        isAtSeam[at(from)] = isAtSeam[at(to)] = 1;
    std::vector<std::pair<int, int>> places;  // after the weld, and the vertex
    for (int v = 0; v < of.inRange.getNumVertices(); ++v)
        if (of.isCoincidenceTold[at(v)] == 0)
            places.emplace_back(of.weld(v), v);
    std::sort(places.begin(), places.end());
    std::vector<Coincidence> groups;
    for (std::size_t i = 0; i < places.size();) {
        std::size_t end = i;
        Coincidence group{{}, false};
        for (; end < places.size() && places[end].first == places[i].first; ++end) {
            group.vertices.push_back(places[end].second);
            group.isAtSeam |= isAtSeam[at(places[end].second)] != 0;
        }
        if (end - i > 1)
            groups.push_back(std::move(group));
        i = end;
    }
    return groups;
}

bool isOfCornersAlone(std::string const& format) {
    return format == "stl";
}

void addSoup(DiagnosisRun& run, int numWeld) {
    int const count = run.of.coincidentVertices;
    bool const isOfFormat = isOfCornersAlone(run.report.format);
    bool const isMeant = isOfFormat || numWeld == 0;
    Finding& finding = run.add(
        "triangleSoup", isMeant ? Severity::Note : Severity::Severe, count,
        "Triangles do not share vertices: " + std::to_string(run.of.inRange.getNumVertices()) +
            " vertices where " + std::to_string(run.of.inRange.getNumVertices() - count) +
            " would do",
        std::string(isOfFormat ? "The format of the file gives each triangle corners of its own. "
                               : "The triangles lie side by side and nothing holds them together: "
                                 "nearly every edge counts as an open border. ") +
            "All that follows is told of the surface once welded, in the numbers of the file.");
    if (numWeld > 0)
        finding.remedy = "trimora weld IN OUT";
    else
        finding.advice = "Normals or texture coordinates keep the vertices apart: if these are not "
                         "needed, write the file without them and weld it.";
}

void diagnoseCoincident(DiagnosisRun& run) {
    DiagnosisSurface const& of = run.of;
    if (of.coincidentVertices == 0)
        return;
    int const numWeld = numWeldable(of.asRead);
    if (of.isSoup) {
        addSoup(run, numWeld);
        return;
    }
    if (of.coincidentApart == 0)
        return;
    std::vector<Coincidence> groups = coincidences(of);
    bool const isOpen = !of.seams.empty();
    std::string meaning =
        isOpen
            ? "The surface is open along " + countInWords(std::int64_t(of.seams.size()), "edge") +
                  " where its two sides lie on each other: it looks closed and is not."
            : "No border would be closed by welding them: surfaces touch there, and are apart.";
    int const numDiffering = std::min(of.coincidentVertices - numWeld, of.coincidentApart);
    if (numDiffering > 0)
        meaning +=
            " Of them " + std::to_string(numDiffering) +
            " differ in their normals or texture coordinates, as is usual where a texture has "
            "its seam.";
    bool const isMeant = !isOpen || numWeld == 0;
    Finding& finding = run.add("coincidentVertices", isMeant ? Severity::Note : Severity::Moderate,
                               of.coincidentApart,
                               countInWords(of.coincidentApart, "vertex lies", "vertices lie") +
                                   " exactly where another one is",
                               meaning);
    run.addPlaces(
        finding, groups,
        [](Coincidence const& a, Coincidence const& b) {
            return a.isAtSeam != b.isAtSeam ? a.isAtSeam : a.vertices < b.vertices;
        },
        [&run](Coincidence const& group) {
            return run.place({{}, group.vertices, {}});
        });
}

}  // namespace

void diagnoseFile(DiagnosisRun& run) {
    diagnoseEnd(run);
    diagnoseFaces(run);
    diagnoseDoubts(run);
    diagnoseUnread(run);
    diagnoseIndices(run);
    if (run.of.asRead.getNumTriangles() == 0) {
        Finding& finding = run.add(
            "noTriangles", Severity::Fatal, 1, "There are no triangles",
            "The file holds no surface" +
                (run.of.asRead.getNumVertices() > 0
                     ? ", but " + countInWords(run.of.asRead.getNumVertices(), "vertex", "vertices")
                     : std::string()) +
                ".");
        finding.advice =
            "Points alone have to be made a surface by the program that measured them.";
    }
}

void diagnoseVertices(DiagnosisRun& run) {
    diagnoseNonfinite(run);
    diagnoseCoincident(run);
    diagnoseUnused(run);
}

}  // namespace trimora
