// trimora doctor IN: everything that can be wrong with a surface, in words, worst first, and what mends it.

#include "commands.h"
#include "files.h"
#include "numbers.h"
#include "pictures.h"
#include "reports.h"
#include "toolkit/diagnosisPage.h"
#include "toolkit/diagnosisPaint.h"
#include "toolkit/meshDiagnosis.h"
#include "toolkit/pendingOutput.h"
#include "toolkit/writeText.h"

#include <limits>
#include <map>

namespace app {

namespace {

using trimora::Diagnosis;
using trimora::Finding;
using trimora::FindingPlace;

constexpr std::size_t lineWidth = 96;

struct DoctorArguments {
    std::string input;
    std::string repaired;
    double angle = 15.0;
    std::string needles;
    std::size_t places = 50;
    bool noIntersections = false;
    std::string picture;
    std::string page;
};

/// A word for a shell.
std::string quoted(std::string const& word) {
    bool const isPlain = !word.empty() && word.find_first_not_of(
                                              "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                              "0123456789_-+./,:=@%") == std::string::npos;
    if (isPlain)
        return word;
    std::string text = "'";
    for (char const c : word)
        text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return text + "'";
}

/// With the file's name, so that it can be copied; what came from standard input has none.
std::string withInput(std::string remedy, std::string const& input) {
    std::size_t const place = remedy.find(" IN");
    if (place == std::string::npos || input == "-")
        return remedy;
    return remedy.replace(place, 3, " " + quoted(input[0] == '-' ? "./" + input : input));
}

/// Lines of words, each indented.
std::string wrapped(std::string const& text, std::string const& indent) {
    std::string lines;
    std::string line;
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t const end = std::min(text.find(' ', begin), text.size());
        std::string const word = text.substr(begin, end - begin);
        if (!line.empty() && line.size() + 1 + word.size() + indent.size() > lineWidth) {
            lines += indent + line + "\n";
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
        begin = end + 1;
    }
    return line.empty() ? lines : lines + indent + line + "\n";
}

/// As in the file.
std::array<double, 3> inFile(std::array<double, 3> p, Diagnosis const& diagnosis) {
    for (std::size_t k = 0; k < 3; ++k)
        p[k] += diagnosis.shift[k];
    return p;
}

std::string positionOf(std::array<double, 3> const& p, Diagnosis const& diagnosis) {
    std::array<double, 3> const q = inFile(p, diagnosis);
    if (q == p)
        return trimora::positionInWords(koLinear::Point(p[0], p[1], p[2]));
    char text[96];  // the digits that a mesh cannot hold
    std::snprintf(text, sizeof text, "%.12g %.12g %.12g", q[0], q[1], q[2]);
    return text;
}

template <class Number>
std::string listed(std::vector<Number> const& numbers, char const* singular, char const* plural) {
    constexpr std::size_t most = 4;
    if (numbers.empty())
        return {};
    std::string text = numbers.size() == 1 ? singular : plural;
    for (std::size_t i = 0; i < std::min(most, numbers.size()); ++i)
        text += (i == 0 ? " " : ", ") + std::to_string(numbers[i]);
    return numbers.size() > most ? text + " ..." : text;
}

std::string elementsInWords(FindingPlace const& place) {
    if (place.edges.size() == 1)
        return "edge " + std::to_string(place.edges[0][0]) + "-" +
               std::to_string(place.edges[0][1]);
    if (!place.edges.empty()) {
        std::string text = "vertices";
        for (std::size_t i = 0; i < std::min<std::size_t>(4, place.edges.size()); ++i)
            text += (i == 0 ? " " : "-") + std::to_string(place.edges[i][0]);
        return place.edges.size() > 4 ? text + " ..." : text;
    }
    if (!place.vertices.empty() && place.triangles.size() != 1)
        return listed(place.vertices, "vertex", "vertices");
    return listed(place.triangles, "triangle", "triangles");
}

std::string placeLine(FindingPlace const& place, Diagnosis const& diagnosis) {
    std::string const elements = elementsInWords(place);
    std::string line = "    at " + positionOf(place.centre, diagnosis);
    if (!elements.empty())
        line += ": " + elements;
    if (!place.note.empty())
        line += " (" + place.note + ")";
    return line + "\n";
}

std::string findingText(Finding const& finding, std::string const& input,
                        Diagnosis const& diagnosis) {
    constexpr std::size_t mostLines = 3;
    std::string text = "\n" + std::string(trimora::nameOfSeverity(finding.severity)) + ": " +
                       onOneLine(finding.title) + "\n" + wrapped(finding.meaning, "    ");
    for (std::size_t i = 0; i < std::min(mostLines, finding.places.size()); ++i)
        text += placeLine(finding.places[i], diagnosis);
    if (std::int64_t const rest = finding.count - std::int64_t(mostLines);
        rest > 0 && finding.places.size() > mostLines)
        text += "    and at " + trimora::countInWords(rest, "more place") + "; --json tells " +
                (std::int64_t(finding.places.size()) < finding.count
                     ? std::to_string(finding.places.size())
                     : "all") +
                "\n";
    if (!finding.remedy.empty())
        text += "  > " + withInput(finding.remedy, input) + "\n";
    if (!finding.advice.empty())
        text += wrapped(finding.advice, "    ");
    return text;
}

std::string severitiesInWords(Diagnosis const& diagnosis) {
    std::map<Finding::Severity, int> counts;
    for (Finding const& finding : diagnosis.findings)
        ++counts[finding.severity];
    std::string text;
    for (auto const& [severity, count] : counts) {
        std::string const name = trimora::nameOfSeverity(severity);
        text += (text.empty() ? "" : ", ") + (severity == Finding::Severity::Note
                                                  ? trimora::countInWords(count, "note")
                                                  : std::to_string(count) + " " + name);
    }
    return text.empty() ? "nothing found" : text;
}

std::string summaryLine(std::string const& path, Diagnosis const& diagnosis) {
    return path + ": " + (diagnosis.isSound() ? "sound" : "not sound") + " (" +
           severitiesInWords(diagnosis) + "); " +
           trimora::countInWords(diagnosis.vertices, "vertex", "vertices") + ", " +
           trimora::countInWords(diagnosis.triangles, "triangle") + ", " +
           trimora::countInWords(diagnosis.parts, "part") + ", " +
           trimora::countInWords(diagnosis.boundaries, "border") + "\n";
}

std::string diagnosisText(std::string const& path, Diagnosis const& diagnosis) {
    std::string text = summaryLine(path, diagnosis);
    if (!diagnosis.findings.empty())
        text += "  triangles and vertices are numbered from 0, in the order of the file\n";
    for (Finding const& finding : diagnosis.findings)
        text += findingText(finding, path, diagnosis);
    return text;
}

/// What was found before and after, kind by kind.
std::string comparisonText(Diagnosis const& before, DoctorArguments const& arguments,
                           Diagnosis const& after) {
    std::string text = "\n" + summaryLine(arguments.repaired, after);
    auto const countOf = [](Diagnosis const& diagnosis, std::string const& kind) {
        for (Finding const& finding : diagnosis.findings)
            if (finding.kind == kind)
                return finding.count;
        return std::int64_t(0);
    };
    auto const line = [&](Finding const& finding) {
        char row[160];
        std::snprintf(row, sizeof row, "  %-22s %10lld -> %lld\n", finding.kind.c_str(),
                      static_cast<long long>(countOf(before, finding.kind)),
                      static_cast<long long>(countOf(after, finding.kind)));
        text += row;
    };
    for (Finding const& finding : before.findings)
        line(finding);
    for (Finding const& finding : after.findings)
        if (countOf(before, finding.kind) == 0)
            line(finding);
    return text;
}

Json placeJson(FindingPlace const& place, Diagnosis const& diagnosis) {
    return {{"triangles", place.triangles},
            {"vertices", place.vertices},
            {"edges", place.edges},
            {"centre", inFile(place.centre, diagnosis)},
            {"lowest", inFile(place.lowest, diagnosis)},
            {"highest", inFile(place.highest, diagnosis)},
            {"measure", place.measure ? Json(*place.measure) : Json(nullptr)},
            {"note", place.note}};
}

Json findingJson(Finding const& finding, Diagnosis const& diagnosis) {
    Json json = {{"kind", finding.kind},
                 {"severity", trimora::nameOfSeverity(finding.severity)},
                 {"title", finding.title},
                 {"meaning", finding.meaning},
                 {"remedy", finding.remedy.empty() ? Json(nullptr) : Json(finding.remedy)},
                 {"sure", finding.isSure},
                 {"advice", finding.advice.empty() ? Json(nullptr) : Json(finding.advice)},
                 {"count", finding.count},
                 {"unit", finding.unit},
                 {"places", Json::array()}};
    for (FindingPlace const& place : finding.places)
        json["places"].push_back(placeJson(place, diagnosis));
    return json;
}

Json diagnosisJson(std::string const& path, Diagnosis const& diagnosis,
                   trimora::ReadReport const& report) {
    Json json = {{"file", path},
                 {"sound", diagnosis.isSound()},
                 {"vertices", diagnosis.vertices},
                 {"triangles", diagnosis.triangles},
                 {"parts", diagnosis.parts},
                 {"boundaries", diagnosis.boundaries},
                 {"area", diagnosis.area},
                 {"volume", diagnosis.volume ? Json(*diagnosis.volume) : Json(nullptr)},
                 {"box",
                  {{"lowest", inFile(diagnosis.lowest, diagnosis)},
                   {"highest", inFile(diagnosis.highest, diagnosis)}}},
                 {"numbering", 0},
                 {"findings", Json::array()},
                 {"read", toJson(report)}};
    for (Finding const& finding : diagnosis.findings)
        json["findings"].push_back(findingJson(finding, diagnosis));
    return json;
}

/// A mesh and what is wrong with it.
struct Patient {
    LoadedMesh loaded;
    Diagnosis diagnosis;
};

void examine(Session& session, std::string const& path, trimora::DiagnosisOptions const& options,
             Patient& patient) {
    loadMesh(session, path, doctorBytesPerTriangle, patient.loaded);
    session.beginPhase("diagnosing", true);
    patient.diagnosis = trimora::diagnoseMesh(patient.loaded.mesh, patient.loaded.report, options,
                                              session.progress());
    session.throwIfCancelled();
}

void drawFindings(Session& session, DoctorArguments const& arguments, Patient const& patient) {
    trimora::PaintedDiagnosis const painted =
        trimora::paintDiagnosis(patient.loaded.mesh, patient.diagnosis);
    storePicture(session, arguments.picture,
                 drawPicture(session, arguments.input, {{&painted.mesh, &painted.paint, {}}},
                             findingsLook()));
}

/// A picture shows all of what was found; this is what the other forms show.
void shorten(Diagnosis& diagnosis, std::size_t mostPlaces, std::size_t mostElements) {
    for (Finding& finding : diagnosis.findings) {
        finding.places.resize(std::min(finding.places.size(), mostPlaces));
        for (FindingPlace& place : finding.places) {
            place.triangles.resize(std::min(place.triangles.size(), mostElements));
            place.vertices.resize(std::min(place.vertices.size(), mostElements));
            place.edges.resize(std::min(place.edges.size(), mostElements));
        }
    }
}

void storePage(Session& session, DoctorArguments const& arguments, Patient const& patient,
               Patient const* repaired) {
    session.beginPhase("writing the page", false);
    trimora::DiagnosisPage page;
    page.title = arguments.input;
    page.mesh = &patient.loaded.mesh;
    page.diagnosis = &patient.diagnosis;
    if (repaired != nullptr) {
        page.repairedTitle = arguments.repaired;
        page.repaired = &repaired->loaded.mesh;
        page.repairedDiagnosis = &repaired->diagnosis;
    }
    if (trimora::FileOutcome const outcome =
            trimora::writeText(arguments.page, trimora::writeDiagnosisPage(page));
        !outcome)
        throw Failure{CannotWrite, outcome.message, arguments.page};
}

void requireOutputs(Session& session, DoctorArguments const& arguments) {
    if (!arguments.picture.empty())
        requirePictureOutput(session, arguments.picture);
    if (arguments.page.empty())
        return;
    requireSeparateOutputs(session, arguments.page);
    requireOutputFolder(arguments.page);
    for (std::string const& other : {arguments.input, arguments.repaired, arguments.picture})
        if (other == arguments.page)
            throw Failure{UsageError, "the page would replace " + other};
}

ExitCode doctor(Session& session, DoctorArguments const& arguments) {
    requireOutputs(session, arguments);
    if (arguments.input == "-" && arguments.repaired == "-")
        throw Failure{UsageError, "only one of IN and --repaired can be standard input"};
    trimora::DiagnosisOptions options;
    options.foldAngle = arguments.angle;
    options.mostPlaces = arguments.places;
    options.testIntersections = !arguments.noIntersections;
    if (!arguments.needles.empty())
        options.needleRatio = *parseFraction(arguments.needles);
    Patient patient;
    trimora::DiagnosisOptions all = options;
    if (!arguments.picture.empty())
        all.mostPlaces = all.mostElements = std::numeric_limits<std::size_t>::max();
    examine(session, arguments.input, all, patient);
    std::optional<Patient> repaired;
    if (!arguments.repaired.empty())
        examine(session, arguments.repaired, options, repaired.emplace());
    if (!arguments.picture.empty()) {
        drawFindings(session, arguments, patient);
        shorten(patient.diagnosis, options.mostPlaces, options.mostElements);
    }
    if (!arguments.page.empty())
        storePage(session, arguments, patient, repaired ? &*repaired : nullptr);
    session.finish();
    if (session.options().json) {
        Json json = diagnosisJson(arguments.input, patient.diagnosis, patient.loaded.report);
        json["picture"] = arguments.picture.empty() ? Json(nullptr) : Json(arguments.picture);
        json["page"] = arguments.page.empty() ? Json(nullptr) : Json(arguments.page);
        json["repaired"] = repaired ? diagnosisJson(arguments.repaired, repaired->diagnosis,
                                                    repaired->loaded.report)
                                    : Json(nullptr);
        printOut(toText(json));
    } else {
        printReport(session, diagnosisText(arguments.input, patient.diagnosis) +
                                 (repaired ? comparisonText(patient.diagnosis, arguments,
                                                            repaired->diagnosis)
                                           : std::string()));
    }
    return patient.diagnosis.isSound() ? Done : DefectsFound;
}

}  // namespace

void addDoctor(CLI::App& app, Invocation& invocation) {
    CLI::App* const command = addSubcommand(
        app, invocation, "doctor",
        "tell in words what is wrong with a mesh, worst first, and the commands that mend it");
    auto const arguments = std::make_shared<DoctorArguments>();
    command->add_option("IN", arguments->input, "mesh file, or - for standard input")->required();
    command->add_option("--repaired", arguments->repaired,
                        "mesh file: the same surface mended, to be told beside it");
    command
        ->add_option("--angle", arguments->angle,
                     "degrees; edges that open by less are folds (default 15)")
        ->check(faultOfAngle);
    command
        ->add_option("--needles", arguments->needles,
                     "triangles of less height, as a part of their longest edge, are needles "
                     "(default 0.001)")
        ->check([](std::string const& text) {
            return parseFraction(text) ? std::string()
                                       : "takes a part like 0.001 or 0.1%, not '" + text + "'";
        });
    command
        ->add_option("--places", arguments->places,
                     "most places to tell of each finding, for --json and --html (default 50)")
        ->check(CLI::Range(1, 1000000));
    command->add_flag("--no-intersections", arguments->noIntersections,
                      "leave out the intersection test");
    command->add_option("--picture", arguments->picture, "PNG file: a picture of what was found");
    command->add_option(
        "--html", arguments->page,
        "HTML file: the findings beside the surface in 3D, in one page that needs no "
        "network");
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return doctor(session, *arguments); };
    });
}

}  // namespace app
