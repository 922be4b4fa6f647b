#include "reports.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace app {

namespace {

using trimora::countInWords;

std::string format(char const* pattern, ...) {
    char line[512];
    va_list arguments;
    va_start(arguments, pattern);
    std::vsnprintf(line, sizeof line, pattern, arguments);
    va_end(arguments);
    return line;
}

Json attributeJson(trimora::ReadReport::Attribute const& attribute) {
    return {{"lines", attribute.lines},
            {"kept", attribute.kept},
            {"seams", attribute.seams},
            {"missing", attribute.missing},
            {"badIndex", attribute.badIndex}};
}

Json optionalCount(std::optional<int> const& count) {
    return count ? Json(*count) : Json(nullptr);
}

std::string countOrDash(std::optional<int> const& count) {
    return count ? std::to_string(*count) : "-";
}

std::string offenceLine(trimora::Offence const& offence) {
    std::string numbers;
    for (int const element : offence.elements) {
        if (!numbers.empty())
            numbers += '-';
        numbers += std::to_string(element);
    }
    return format("      %-16s at %.6g %.6g %.6g\n", numbers.c_str(),
                  static_cast<double>(offence.position[0]),
                  static_cast<double>(offence.position[1]),
                  static_cast<double>(offence.position[2]));
}

/// Why texture coordinates and the like that a file has are not in the mesh.
std::string whyNotKept(trimora::ReadReport::Attribute const& attribute) {
    return attribute.seams > 0
               ? countInWords(attribute.seams, "vertex has", "vertices have") + " several"
           : attribute.missing > 0
               ? countInWords(attribute.missing, "vertex has", "vertices have") + " none"
               : std::string("no face names them");
}

std::string problemLine(trimora::ReadReport::Problem const& problem) {
    return format(problem.byte < 0 ? "line %lld: " : "byte %lld: ",
                  static_cast<long long>(problem.byte < 0 ? problem.line : problem.byte)) +
           onOneLine(problem.text);
}

Json cutShortJson(trimora::ReadReport const& report) {
    Json list = Json::array();
    for (trimora::ReadReport::CutShort const& kind : report.cutShort)
        list.push_back(
            {{"elements", kind.elements},
             {"whole", kind.whole},
             {"announced", kind.announced < 0 ? Json(nullptr) : Json(kind.announced)},
             {"badCountAt", kind.badCountAt < 0 ? Json(nullptr) : Json(kind.badCountAt)}});
    return list;
}

int numWelded(trimora::ReadReport const& report) {
    auto const last = std::max_element(report.weldedVertex.begin(), report.weldedVertex.end());
    return last == report.weldedVertex.end() ? 0 : *last + 1;
}

/// Of corners that were welded; null where none were.
Json weldJson(trimora::ReadReport const& report) {
    if (report.weldedVertex.empty())
        return nullptr;
    return {{"corners", report.weldedVertex.size()},
            {"vertices", numWelded(report)},
            {"vertexOfCorner", report.weldedVertex}};
}

class CheckTable {
public:
    explicit CheckTable(trimora::CheckResult const& result) : result_(result) {}

    void row(char const* label, std::string const& value) {
        text_ += format("  %-24s %s\n", label, value.c_str());
    }

    // A defect: its count, and where the first ones are.
    void defect(char const* label, char const* key, std::string const& value) {
        row(label, value);
        for (auto const& offences : result_.offences) {
            if (offences.defect != key)
                continue;
            for (trimora::Offence const& offence : offences.first)
                text_ += offenceLine(offence);
        }
    }

    std::string take() { return std::move(text_); }

private:
    trimora::CheckResult const& result_;
    std::string text_;
};

}  // namespace

Json toJson(trimora::ReadReport const& report) {
    Json json = {{"format", report.format},
                 {"variant", report.variant},
                 {"name", report.name},
                 {"notes", report.notes},
                 {"shift", report.shift},
                 {"bytes", report.bytes},
                 {"lines", report.lines},
                 {"vertices", report.vertices},
                 {"faces", report.faces},
                 {"polygons", report.polygons},
                 {"triangles", report.triangles},
                 {"dropped",
                  {{"total", report.dropped.total()},
                   {"tooFewCorners", report.dropped.tooFewCorners},
                   {"notANumber", report.dropped.notANumber},
                   {"outOfRange", report.dropped.outOfRange},
                   {"nonfinite", report.dropped.nonfinite}}},
                 {"cutShort", cutShortJson(report)},
                 {"doubts", report.doubts},
                 {"textureCoordinates", attributeJson(report.textureCoordinates)},
                 {"normals", attributeJson(report.normals)},
                 {"colours", attributeJson(report.colours)},
                 {"keptSets", report.keptSets},
                 {"ignoredProperties", report.ignoredProperties},
                 {"welded", weldJson(report)},
                 {"nonfiniteVertices", report.nonfiniteVertices},
                 {"incompleteVertices", report.incompleteVertices},
                 {"verticesWithMore", report.verticesWithMore},
                 {"otherElements", report.otherElements},
                 {"unknownLines", report.unknownLines},
                 {"numProblems", report.numProblems},
                 {"problems", Json::array()}};
    for (auto const& problem : report.problems)
        json["problems"].push_back(problem.byte < 0
                                       ? Json{{"line", problem.line}, {"text", problem.text}}
                                       : Json{{"byte", problem.byte}, {"text", problem.text}});
    return json;
}

Json toJson(trimora::CheckResult const& result) {
    Json json = {{"vertices", result.vertices},
                 {"triangles", result.triangles},
                 {"components", result.components},
                 {"boundaries", result.boundaries},
                 {"boundaryEdges", result.boundaryEdges},
                 {"eulerCharacteristic", result.eulerCharacteristic},
                 {"closed", result.closed},
                 {"unusedVertices", result.unusedVertices},
                 {"coincidentVertices", result.coincidentVertices},
                 {"duplicateTriangles", result.duplicateTriangles},
                 {"degenerateTriangles", result.degenerateTriangles},
                 {"nonManifoldEdges", result.nonManifoldEdges},
                 {"nonManifoldVertices", optionalCount(result.nonManifoldVertices)},
                 {"oriented", result.oriented},
                 {"intersectingTriangles", optionalCount(result.intersectingTriangles)},
                 {"foldedEdges", result.foldedEdges},
                 {"clean", result.clean},
                 {"first", Json::object()}};
    for (auto const& offences : result.offences) {
        Json& list = json["first"][offences.defect];
        for (auto const& offence : offences.first)
            list.push_back({{"elements", offence.elements}, {"position", offence.position}});
    }
    return json;
}

Json toJson(trimora::RepairStep const& step) {
    return {{"what", step.what},
            {"trianglesRemoved", step.trianglesRemoved},
            {"trianglesTurned", step.trianglesTurned},
            {"verticesRemoved", step.verticesRemoved},
            {"verticesSplit", step.verticesSplit},
            {"seconds", step.seconds}};
}

Json toJson(trimora::MeshCounts const& counts) {
    return {{"vertices", counts.vertices},
            {"triangles", counts.triangles},
            {"components", counts.components},
            {"boundaries", counts.boundaries}};
}

Json toJson(trimora::MeshDistance const& deviation) {
    auto const row = [&deviation](trimora::VertexDistances const& distances) {
        if (distances.vertices == 0)
            return Json(nullptr);
        return Json{{"vertices", distances.vertices},
                    {"largest", distances.largest},
                    {"mean", distances.mean},
                    {"rms", distances.rms},
                    {"largestRelative", deviation.relative(distances.largest)},
                    {"meanRelative", deviation.relative(distances.mean)},
                    {"rmsRelative", deviation.relative(distances.rms)},
                    {"largestAt", distances.where}};
    };
    return {{"diagonal", deviation.diagonal},
            {"inputToResult", row(deviation.fromFirst)},
            {"resultToInput", row(deviation.fromSecond)}};
}

Json boxJson(koGeom::CompactMesh const& mesh) {
    if (mesh.getNumVertices() == 0)
        return nullptr;
    double low[3];
    double high[3];
    trimora::boxOfVertices(mesh, low, high);
    double const diagonal = std::hypot(high[0] - low[0], high[1] - low[1], high[2] - low[2]);
    return {{"minimum", low}, {"maximum", high}, {"diagonal", diagonal}};
}

Json cancelJson(std::string const& message) {
    return {{"cancelled", message}};
}

std::string toText(Json const& json) {
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string checkTable(std::string const& path, trimora::CheckResult const& result) {
    CheckTable table(result);
    table.row("vertices", std::to_string(result.vertices));
    table.row("triangles", std::to_string(result.triangles));
    table.row("components", std::to_string(result.components));
    table.row("boundaries", std::to_string(result.boundaries) + " (" +
                                std::to_string(result.boundaryEdges) + " edges)");
    table.row("Euler characteristic", std::to_string(result.eulerCharacteristic));
    table.row("closed", result.closed ? "yes" : "no");
    table.row("unused vertices", std::to_string(result.unusedVertices));
    table.row("coincident vertices", std::to_string(result.coincidentVertices));
    table.defect("duplicate triangles", "duplicateTriangles",
                 std::to_string(result.duplicateTriangles));
    table.defect("degenerate triangles", "degenerateTriangles",
                 std::to_string(result.degenerateTriangles));
    table.defect("non-manifold edges", "nonManifoldEdges", std::to_string(result.nonManifoldEdges));
    table.defect("non-manifold vertices", "nonManifoldVertices",
                 countOrDash(result.nonManifoldVertices));
    table.defect("oriented", "oriented", result.oriented ? "yes" : "no");
    table.defect("intersecting triangles", "intersectingTriangles",
                 countOrDash(result.intersectingTriangles));
    table.defect("folded edges", "foldedEdges", std::to_string(result.foldedEdges));
    std::string text = path + ": " + (result.clean ? "clean" : "NOT clean") + "\n" + table.take();
    if (result.coincidentVertices > 0)
        text += "  vertices coincide: triangles that touch there do not hang together; weld to see "
                "them as one surface\n";
    return text;
}

std::string repairTable(trimora::RepairOutcome const& outcome) {
    std::string text;
    if (outcome.steps.empty())
        text += "  nothing to repair\n";
    for (trimora::RepairStep const& step : outcome.steps) {
        text += format("  %-46s", step.what.c_str());
        auto const count = [&text](int number, char const* singular, char const* plural,
                                   char const* what) {
            if (number > 0)
                text += " " + countInWords(number, singular, plural) + " " + what;
        };
        count(step.trianglesRemoved, "triangle", "triangles", "removed");
        count(step.trianglesTurned, "triangle", "triangles", "turned");
        count(step.verticesRemoved, "vertex", "vertices", "removed");
        count(step.verticesSplit, "vertex", "vertices", "split off");
        text += format(" (%.3f s)\n", step.seconds);
    }
    return text;
}

std::string readTable(trimora::ReadReport const& report) {
    std::string text =
        "  read as " + report.format + (report.variant.empty() ? "" : ", " + report.variant) +
        ": " + (report.lines > 0 ? countInWords(report.lines, "line") + ", " : "") +
        countInWords(report.vertices, "vertex", "vertices") + ", " +
        countInWords(report.faces, "face") + " (" + countInWords(report.polygons, "polygon") +
        "), " + countInWords(report.triangles, "triangle") + "\n";
    if (!report.name.empty())
        text += "  named " + onOneLine(report.name) + "\n";
    if (!report.cutShort.empty())
        text += (report.badCountAt() < 0 ? "  cut short: " : "  makes no sense behind: ") +
                onOneLine(report.cutShortInWords()) + "\n";
    for (std::string const& doubt : report.doubts)
        text += "  in doubt: the file " + onOneLine(doubt) + "\n";
    if (!report.weldedVertex.empty())
        text += "  welded: " +
                countInWords(static_cast<std::int64_t>(report.weldedVertex.size()), "corner") +
                " to " + countInWords(numWelded(report), "vertex", "vertices") + "\n";
    for (std::string const& name : report.keptSets)
        text += "  kept for each vertex: " + onOneLine(name) + "\n";
    for (std::string const& what : leftInFile(report))
        text += "  not kept: " + onOneLine(what) + "\n";
    auto const count = [&text](std::int64_t number, char const* singular, char const* plural) {
        if (number > 0)
            text += "  " + countInWords(number, singular, plural) + "\n";
    };
    count(report.incompleteVertices,
          "vertex with a coordinate that is absent (0) or no number (NaN)",
          "vertices with a coordinate that is absent (0) or no number (NaN)");
    count(report.nonfiniteVertices, "vertex that is NaN or infinite",
          "vertices that are NaN or infinite");
    count(report.unknownLines, "line that means nothing in the format",
          "lines that mean nothing in the format");
    count(report.dropped.total(), "face dropped", "faces dropped");
    for (auto const& problem : report.problems)
        text += "  " + problemLine(problem) + "\n";
    if (report.numProblems > static_cast<std::int64_t>(report.problems.size()))
        text += format("  %lld problems in all\n", static_cast<long long>(report.numProblems));
    return text;
}

std::vector<std::string> leftInFile(trimora::ReadReport const& report) {
    std::vector<std::string> left;
    auto const tell = [&left](char const* what, trimora::ReadReport::Attribute const& attribute) {
        if (attribute.lines > 0 && !attribute.kept)
            left.push_back(std::string(what) + ", since " + whyNotKept(attribute));
    };
    tell("texture coordinates", report.textureCoordinates);
    tell("normals", report.normals);
    tell("colours", report.colours);
    if (report.verticesWithMore > 0)
        left.push_back("values behind the third, weights or colours, of " +
                       countInWords(report.verticesWithMore, "vertex", "vertices"));
    if (report.otherElements > 0)
        left.push_back(countInWords(report.otherElements, "other element") +
                       ": points, lines or the like");
    left.insert(left.end(), report.ignoredProperties.begin(), report.ignoredProperties.end());
    return left;
}

std::string problemsInWords(trimora::ReadReport const& report) {
    if (report.problems.empty())
        return {};
    std::string const first = problemLine(report.problems.front());
    return report.numProblems == 1 ? first
                                   : countInWords(report.numProblems, "problem") +
                                         ", the first at " + first + "; `trimora info` lists them";
}

std::string countsTable(trimora::MeshCounts const& before, trimora::MeshCounts const& after) {
    std::string text = format("  %-12s %12s %12s\n", "", "before", "after");
    auto const row = [&text](char const* label, int first, int second) {
        text += format("  %-12s %12d %12d\n", label, first, second);
    };
    row("vertices", before.vertices, after.vertices);
    row("triangles", before.triangles, after.triangles);
    row("components", before.components, after.components);
    row("boundaries", before.boundaries, after.boundaries);
    return text;
}

std::string deviationTable(trimora::MeshDistance const& deviation) {
    std::string text = "  distance of vertices, and in % of the diagonal:\n";
    text +=
        format("  %-18s %10s %9s %10s %9s %10s %9s\n", "", "largest", "%", "mean", "%", "rms", "%");
    auto const row = [&](char const* label, trimora::VertexDistances const& distances) {
        if (distances.vertices == 0) {
            text += format("  %-18s nothing to measure\n", label);
            return;
        }
        text += format("  %-18s %10.4g %9.4g %10.4g %9.4g %10.4g %9.4g\n", label, distances.largest,
                       100.0 * deviation.relative(distances.largest), distances.mean,
                       100.0 * deviation.relative(distances.mean), distances.rms,
                       100.0 * deviation.relative(distances.rms));
    };
    row("input to result", deviation.fromFirst);
    row("result to input", deviation.fromSecond);
    return text + "  " + countInWords(deviation.turnedTriangles, "triangle") +
           " turned by more than 90 degrees\n";
}

std::string verifyTable(std::string const& path, trimora::VerifyOutcome const& outcome) {
    std::string text = path + ": " + (outcome.passed ? "sound" : "NOT sound") + "\n";
    for (trimora::VerifyCheck const& check : outcome.checks)
        text += format("  %-14s %-7s %s\n", check.name, check.passed ? "passed" : "FAILED",
                       check.meaning);
    text += "  " + countInWords(outcome.vertices, "vertex", "vertices") + ", " +
            countInWords(outcome.faces, "face") + ", " +
            countInWords(outcome.halfEdges, "half-edge") + ", " +
            std::to_string(outcome.openEdges) + " of them open\n";
    if (!outcome.passed)
        text += "  'trimora check' tells where, 'trimora repair' mends most of it\n";
    return text;
}

std::string droppedLine(std::vector<std::string> const& names) {
    std::string list;
    for (std::string const& name : names)
        list += (list.empty() ? "" : ", ") + name;
    return list.empty() ? list : "  not carried over: " + list + "\n";
}

std::string warningLine(std::string const& text) {
    return "  warning: " + text + "\n";
}

std::string onOneLine(std::string const& text) {
    std::string line;
    unsigned char former = 0;
    for (char const letter : text) {
        auto const byte = static_cast<unsigned char>(letter);
        bool const isWideControl = former == 0xc2 && byte >= 0x80 && byte < 0xa0;  // in UTF-8
        if (isWideControl)
            line.pop_back();
        if (byte < 0x20 || byte == 0x7f || isWideControl)
            line += format("\\x%02x", byte);
        else
            line += letter;
        former = byte;
    }
    return line;
}

std::string numberInWords(double number) {
    return format("%.4g", number);
}

std::string shiftInWords(std::array<double, 3> const& shift) {
    return format("%.0f %.0f %.0f", shift[0], shift[1], shift[2]);
}

std::string secondsInWords(double seconds) {
    return format("%.2f s", seconds);
}

}  // namespace app
