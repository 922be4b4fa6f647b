// trimora collar IN --boundary N: samples along a border, each with a normal and a direction for a band to be grown from there.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "numbers.h"
#include "reports.h"
#include "toolkit/collarSampling.h"
#include "toolkit/meshCounts.h"

#include <cstdio>
#include <iostream>
#include <limits>
#include <sstream>

namespace app {

namespace {

using trimora::CollarSample;
using trimora::countInWords;

struct CollarArguments {
    std::string input;
    std::string boundary;
    std::string points;  // empty: one a vertex
    bool curvature = false;
};

struct CollarRun {
    int boundary = 0;  // from 0
    trimora::MeshHole hole;
    trimora::CollarOutcome outcome;
};

std::string faultOfSampleCount(std::string const& text) {
    auto const count = parseCount(text);
    return count && *count >= 1 && *count <= std::numeric_limits<int>::max()
               ? std::string()
               : "takes a number from 1 on, not '" + text + "'";
}

/// Takes what is printed on std::cout while it lives: the library prints each curvature there, where the report is to stand.
class CapturedOutput {
public:
    CapturedOutput() : former_(std::cout.rdbuf(text_.rdbuf())) {}
    ~CapturedOutput() { std::cout.rdbuf(former_); }
    CapturedOutput(CapturedOutput const&) = delete;
    CapturedOutput& operator=(CapturedOutput const&) = delete;

    std::string text() const { return text_.str(); }

private:
    std::ostringstream text_;
    std::streambuf* former_;
};

void findBoundary(Session& session, CollarArguments const& arguments,
                  koGeom::CompactMesh const& mesh, CollarRun& run) {
    auto const holes = holesOf(session, arguments.input, mesh, "finding the boundaries");
    auto const count = static_cast<std::int64_t>(holes.size());
    std::int64_t const number = *parseCount(arguments.boundary);
    if (number > count)
        throw Failure{UsageError, "--boundary: there is no boundary " + std::to_string(number) +
                                      "; the mesh has " +
                                      countInWords(count, "boundary", "boundaries") +
                                      (count > 0 ? ", numbered from 1; 'trimora fill --list' "
                                                   "shows them"
                                                 : "")};
    run.boundary = static_cast<int>(number) - 1;
    run.hole = holes[static_cast<std::size_t>(run.boundary)];
}

void sampleLoaded(Session& session, CollarArguments const& arguments,
                  koGeom::CompactMesh const& mesh, CollarRun& run) {
    findBoundary(session, arguments, mesh, run);
    trimora::CollarOptions options;
    options.curvature = arguments.curvature;
    if (!arguments.points.empty())
        options.samples = static_cast<int>(*parseCount(arguments.points));
    double const samples = options.samples > 0 ? options.samples : run.hole.numEdges();
    session.requireMemory(collarBytesPerTriangle * mesh.getNumTriangles() +
                              collarBytesPerSample * samples,
                          arguments.input, "with " + numberInWords(samples) + " points");
    session.beginPhase("sampling", false);
    CapturedOutput printed;
    run.outcome = trimora::sampleCollar(mesh, run.hole, options);
    if (session.options().debug)
        session.tell(printed.text());
    session.throwIfCancelled();
    throwIfRefused(session, {arguments.input, run.outcome.refusal, run.outcome.problemPoint});
}

Json collarJson(CollarArguments const& arguments, CollarRun const& run,
                trimora::ReadReport const& report) {
    Json json = {{"file", arguments.input},
                 {"boundary", run.boundary + 1},
                 {"edges", run.hole.numEdges()},
                 {"length", run.outcome.length},
                 {"points", Json::array()}};
    for (CollarSample const& sample : run.outcome.samples) {
        Json point = {{"position", sample.position}, {"distance", sample.distance},
                      {"edge", sample.edge},         {"normal", sample.normal},
                      {"outward", sample.outward},   {"direction", sample.direction}};
        if (arguments.curvature)
            point["curvature"] = sample.curvature;
        json["points"].push_back(std::move(point));
    }
    json["seconds"] = run.outcome.seconds;
    json["read"] = toJson(report);
    return json;
}

/// A table that programs can read too: one line a sample under a line of names.
std::string collarText(CollarArguments const& arguments, CollarRun const& run) {
    std::string text = "# " + arguments.input + ": boundary " + std::to_string(run.boundary + 1) +
                       ", " + countInWords(run.hole.numEdges(), "edge") + ", length " +
                       numberInWords(run.outcome.length) + "\n# distance position(3) normal(3) " +
                       "outward(3) direction(3)" + (arguments.curvature ? " curvature" : "") + "\n";
    char word[40];
    auto const add = [&](double number) {
        std::snprintf(word, sizeof word, " %.7g", number + 0.0);  // no -0
        text += word;
    };
    for (CollarSample const& sample : run.outcome.samples) {
        add(sample.distance);
        for (auto const* const triple :
             {&sample.position, &sample.normal, &sample.outward, &sample.direction})
            for (double const number : *triple)
                add(number);
        if (arguments.curvature)
            add(sample.curvature);
        text += '\n';
    }
    return text;
}

ExitCode collar(Session& session, CollarArguments const& arguments) {
    LoadedMesh loaded;
    loadMesh(session, arguments.input, collarBytesPerTriangle, loaded);
    CollarRun run;
    sampleLoaded(session, arguments, loaded.mesh, run);
    if (session.options().json)
        finishWith(session, collarJson(arguments, run, loaded.report), {});
    else
        finishWith(session, {}, collarText(arguments, run));
    return Done;
}

}  // namespace

void addCollar(CLI::App& app, Invocation& invocation) {
    CLI::App* const command = addSubcommand(
        app, invocation, "collar", "points along a border, with what a band needs to grow there");
    auto const arguments = std::make_shared<CollarArguments>();
    command->add_option("IN", arguments->input, "mesh file, or - for standard input")->required();
    command->add_option("--boundary", arguments->boundary, "its number in 'trimora fill --list'")
        ->required()
        ->check(faultOfSampleCount);
    command
        ->add_option("--points", arguments->points,
                     "how many, at equal steps round the border, the first one on its first vertex "
                     "(default: as many as it has vertices)")
        ->check(faultOfSampleCount);
    command->add_flag("--curvature", arguments->curvature,
                      "also how the surface bends across the border, in the plane of normal and "
                      "direction");
    command->footer(
        "Each point has its distance along the border, the border edge it stands on, the normal of "
        "the surface, 'outward' and\n'direction'. outward leads off the surface, at right angles "
        "to "
        "border and normal. direction is where the triangles lean\naway to: on flat borders the "
        "same as outward, but on curved ones it follows the triangulation and may even run along\n"
        "the border. Curvatures there tell as much of the triangulation as of the surface.");
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return collar(session, *arguments); };
    });
}

}  // namespace app
