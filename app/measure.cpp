// trimora measure IN: area, volume, centroids, moments, box and edges of a surface.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "reports.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshInvariants.h"
#include "toolkit/meshMeasuring.h"

#include "trimora/contract/koOS/StopWatch.h"

#include <array>
#include <cstdio>

namespace app {

namespace {

using trimora::countInWords;
using trimora::MeshMeasures;
using Triple = std::array<double, 3>;

struct MeasureArguments {
    std::string input;
    bool components = false;
};

struct MeasureRun {
    trimora::MeasureOutcome outcome;
    double seconds = 0.0;
};

/// Why the volume and the moments mean nothing; or that they are those of the outside.
std::vector<std::string> warningsOf(MeshMeasures const& measures) {
    std::vector<std::string> warnings;
    std::string const noSolid = ", so volume and moments mean nothing definite; ";
    if (measures.openEdges > 0)
        warnings.push_back("the surface is open, with " +
                           countInWords(measures.openEdges, "open edge") + noSolid +
                           "'trimora fill' closes holes, 'trimora weld' joins what only "
                           "coincides");
    if (measures.nonManifoldEdges > 0)
        warnings.push_back(countInWords(measures.nonManifoldEdges, "edge has", "edges have") +
                           " more than two triangles" + noSolid + "'trimora repair' parts them");
    if (measures.turnedEdges > 0)
        warnings.push_back("the surface is not oriented, triangles are wound against one another "
                           "at " +
                           countInWords(measures.turnedEdges, "edge") + noSolid +
                           "'trimora repair' turns them");
    if (measures.enclosesVolume() && measures.volume < 0.0)
        warnings.push_back("the surface is inside out: its triangles run clockwise seen from "
                           "outside, so volume and moments are negative");
    return warnings;
}

Json orNull(std::optional<Triple> const& triple) {
    return triple ? Json(*triple) : Json(nullptr);
}

Json jsonOf(MeshMeasures const& measures) {
    bool const any = measures.triangles > 0;
    return {{"vertices", measures.vertices},
            {"triangles", measures.triangles},
            {"box", any ? Json{{"minimum", measures.low}, {"maximum", measures.high}} : Json()},
            {"edges", measures.edges},
            {"longestEdge", measures.longestEdge},
            {"meanEdge", measures.meanEdge},
            {"area", measures.area},
            {"surfaceCentroid", orNull(measures.surfaceCentroid)},
            {"enclosesVolume", measures.enclosesVolume()},
            {"openEdges", measures.openEdges},
            {"turnedEdges", measures.turnedEdges},
            {"nonManifoldEdges", measures.nonManifoldEdges},
            {"volume", measures.volume},
            {"centreOfMass", orNull(measures.centreOfMass)},
            {"firstMoments", measures.firstMoments},
            {"secondMoments", measures.secondMoments},
            {"centralSecondMoments", orNull(measures.centralMoments)},
            {"warnings", warningsOf(measures)}};
}

Json measureJson(MeasureArguments const& arguments, MeasureRun const& run,
                 trimora::ReadReport const& report) {
    Json json = {{"file", arguments.input}};
    json.update(jsonOf(run.outcome.whole));
    if (arguments.components) {
        json["components"] = Json::array();
        for (MeshMeasures const& component : run.outcome.components)
            json["components"].push_back(jsonOf(component));
    }
    json["seconds"] = run.seconds;
    json["read"] = toJson(report);
    return json;
}

std::string row(char const* label, std::string const& value) {
    char line[200];
    std::snprintf(line, sizeof line, "  %-24s %s\n", label, value.c_str());
    return line;
}

std::string inWords(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%.7g", number);
    return text;
}

std::string inWords(Triple const& triple) {
    return inWords(triple[0]) + " " + inWords(triple[1]) + " " + inWords(triple[2]);
}

std::string inWords(std::optional<Triple> const& triple) {
    return triple ? inWords(*triple) : "-";
}

std::string tableOf(MeshMeasures const& measures) {
    return row("vertices", std::to_string(measures.vertices)) +
           row("triangles", std::to_string(measures.triangles)) +
           (measures.triangles > 0 ? row("box, lowest corner", inWords(measures.low)) +
                                         row("box, highest corner", inWords(measures.high))
                                   : "") +
           row("edges", std::to_string(measures.edges)) +
           row("longest edge", inWords(measures.longestEdge)) +
           row("mean edge", inWords(measures.meanEdge)) + row("area", inWords(measures.area)) +
           row("centroid of the surface", inWords(measures.surfaceCentroid)) +
           row("volume", inWords(measures.volume)) +
           row("centre of mass", inWords(measures.centreOfMass)) +
           row("first moments", inWords(measures.firstMoments)) +
           row("second moments", inWords(measures.secondMoments)) +
           row("about centre of mass", inWords(measures.centralMoments));
}

std::string componentLine(std::size_t number, MeshMeasures const& measures) {
    return "  " + std::to_string(number) + ": " + countInWords(measures.triangles, "triangle") +
           ", area " + inWords(measures.area) + ", volume " + inWords(measures.volume) +
           (measures.enclosesVolume() ? "" : ", which is not closed or not oriented") + "\n";
}

std::string measureText(MeasureArguments const& arguments, MeasureRun const& run) {
    std::string text = arguments.input + ": measured; " + secondsInWords(run.seconds) + "\n" +
                       tableOf(run.outcome.whole);
    Listing components;
    for (std::size_t i = 0; i < run.outcome.components.size(); ++i)
        components.add(componentLine(i + 1, run.outcome.components[i]));
    if (arguments.components)
        text += "  " + countInWords(std::int64_t(run.outcome.components.size()), "component") +
                "\n" + components.text();
    for (std::string const& warning : warningsOf(run.outcome.whole))
        text += warningLine(warning);
    return text;
}

/// Of a soup each triangle is a component, which takes more memory than a triangle does.
void requireMemoryForComponents(Session const& session, MeasureArguments const& arguments,
                                koGeom::CompactMesh const& mesh) {
    if (trimora::faultOfMesh(mesh))
        return;  // the work refuses it and says why
    session.requireMemory(measureBytesPerTriangle * mesh.getNumTriangles() +
                              measureBytesPerComponent * trimora::countMesh(mesh).components,
                          arguments.input, "component by component");
}

ExitCode measure(Session& session, MeasureArguments const& arguments) {
    LoadedMesh loaded;
    loadMesh(session, arguments.input, measureBytesPerTriangle, loaded);
    if (arguments.components)
        requireMemoryForComponents(session, arguments, loaded.mesh);
    session.beginPhase("measuring", false);
    koOS::StopWatch watch;
    watch.start();
    MeasureRun run;
    run.outcome = trimora::measureMesh(loaded.mesh, arguments.components, session.progress());
    run.seconds = watch.clear();
    session.throwIfCancelled();
    throwIfRefused(session, {arguments.input, run.outcome.refusal, {}, run.outcome.isNonfinite});
    finishWith(session, measureJson(arguments, run, loaded.report), measureText(arguments, run));
    return Done;
}

}  // namespace

void addMeasure(CLI::App& app, Invocation& invocation) {
    CLI::App* const command = addSubcommand(
        app, invocation, "measure", "area, volume, centroids, moments, box and edges of a surface");
    auto const arguments = std::make_shared<MeasureArguments>();
    command->add_option("IN", arguments->input, "mesh file, or - for standard input")->required();
    command->add_flag("--components", arguments->components,
                      "also of each part that hangs together through shared vertices");
    command->footer(
        "Volume, centre of mass and moments (integrals of x, y, z and of their squares) are "
        "those of the solid inside,\nof density 1: of a closed surface whose triangles "
        "run counter-clockwise seen from outside.");
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return measure(session, *arguments); };
    });
}

}  // namespace app
