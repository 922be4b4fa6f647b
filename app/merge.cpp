// trimora merge OUT IN1 IN2 ...: places meshes and welds them into one.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "numbers.h"
#include "reports.h"
#include "toolkit/meshMerging.h"
#include "toolkit/meshTidying.h"

#include <algorithm>
#include <charconv>
#include <list>

namespace app {

namespace {

using trimora::MeshCounts;

struct MergeArguments {
    std::string output;
    std::vector<std::string> inputs;
    std::string tolerance = "0";
    std::vector<std::string> matrices;
};

struct MergeRun {
    std::list<LoadedMesh> meshes;
    ko::list<koGeom::MeshPlacement> placements;
    double tolerance = 0.0;
    std::vector<std::string> dropped;
    MeshCounts before;  // of all inputs
    MeshCounts after;
    trimora::MergeOutcome outcome;
    koGeom::CompactMesh result;
};

/// An input's number from 1, and where it goes: four rows of three numbers.
struct Placing {
    std::size_t input = 0;
    std::vector<double> matrix;
};

std::optional<Placing> parsePlacing(std::string const& text) {
    Placing placing;
    char const* const end = text.data() + text.size();
    auto const [colon, error] = std::from_chars(text.data(), end, placing.input);
    if (error != std::errc() || colon == end || *colon != ':' || placing.input == 0)
        return std::nullopt;
    placing.matrix = parseNumbers(std::string(colon + 1, end), 12);
    return placing.matrix.empty() ? std::nullopt : std::optional(placing);
}

std::string faultOfPlacing(std::string const& text) {
    return parsePlacing(text) ? std::string()
                              : "takes N:m1,...,m12, the number of an input and four rows of three "
                                "numbers, not '" +
                                    text + "'";
}

bool isZero(std::string const& text) {
    auto const numbers = parseNumbers(text, 1);
    return !numbers.empty() && numbers[0] == 0.0;
}

std::string faultOfWeldTolerance(std::string const& text) {
    return isZero(text) || parseLength(text)
               ? std::string()
               : "takes 0, a length, or like 0.01% of the diagonal, not '" + text + "'";
}

void requireArguments(Session const& session, MergeArguments const& arguments) {
    requireOutput(session, arguments.output);
    if (std::count(arguments.inputs.begin(), arguments.inputs.end(), "-") > 1)
        throw Failure{UsageError,
                      "only one input can come from standard input; name files for the others"};
    for (std::string const& input : arguments.inputs)
        requireSecondInput({}, input, arguments.output, "input");
    std::vector<char> isPlaced(arguments.inputs.size(), 0);
    for (std::string const& text : arguments.matrices) {
        std::size_t const input = parsePlacing(text)->input;
        std::string const number = std::to_string(input);
        if (input > arguments.inputs.size())
            throw Failure{UsageError,
                          "--matrix: there is no input " + number + "; they are numbered from 1"};
        if (isPlaced[input - 1] != 0)
            throw Failure{UsageError, "--matrix: input " + number + " has two of them"};
        isPlaced[input - 1] = 1;
    }
}

void add(MeshCounts& sum, MeshCounts const& counts) {
    sum.vertices += counts.vertices;
    sum.triangles += counts.triangles;
    sum.components += counts.components;
    sum.boundaries += counts.boundaries;
}

void loadInputs(Session& session, MergeArguments const& arguments, MergeRun& run) {
    double triangles = 0.0;
    for (std::string const& input : arguments.inputs) {
        LoadedMesh& loaded = run.meshes.emplace_back();
        loadMesh(session, input, mergeBytesPerTriangle, loaded);
        triangles +=
            std::max<double>(loaded.mesh.getNumTriangles(), 0.5 * loaded.mesh.getNumVertices());
        session.requireMemory(mergeBytesPerTriangle * triangles, input,
                              "with the inputs before it");
        for (std::string const& name : trimora::dropVertexSets(loaded.mesh)) {
            if (std::find(run.dropped.begin(), run.dropped.end(), name) == run.dropped.end())
                run.dropped.push_back(name);
        }
        add(run.before, trimora::countMesh(loaded.mesh));
        run.placements.emplace_back().mesh = &loaded.mesh;
    }
    for (std::string const& text : arguments.matrices) {
        auto const placing = parsePlacing(text);
        auto const placement =
            std::next(run.placements.begin(), static_cast<std::ptrdiff_t>(placing->input - 1));
        std::transform(placing->matrix.begin(), placing->matrix.end(), placement->matrix.m,
                       [](double number) { return static_cast<float>(number); });
    }
    if (!isZero(arguments.tolerance))
        run.tolerance = parseLength(arguments.tolerance)->of(trimora::diagonalOf(run.placements));
}

void mergeLoaded(Session& session, MergeArguments const& arguments, MergeRun& run) {
    session.beginPhase("merging", true);
    run.outcome =
        trimora::mergeMeshes(run.placements, run.tolerance, run.result, session.progress());
    session.throwIfCancelled();
    bool const isOfOne = run.outcome.mesh >= 0;
    throwIfRefused(
        session,
        {isOfOne ? arguments.inputs[static_cast<std::size_t>(run.outcome.mesh)] : arguments.output,
         run.outcome.refusal, run.outcome.problemPoint, run.outcome.isNonfinite});
    run.after = trimora::countMesh(run.result);
}

Json mergeJson(MergeArguments const& arguments, MergeRun const& run) {
    Json json = {{"output", arguments.output}, {"inputs", Json::array()}};
    auto placement = run.placements.begin();
    for (LoadedMesh const& loaded : run.meshes) {
        json["inputs"].push_back({{"file", loaded.path},
                                  {"vertices", loaded.mesh.getNumVertices()},
                                  {"triangles", loaded.mesh.getNumTriangles()},
                                  {"matrix", placement->matrix.m},
                                  {"read", toJson(loaded.report)}});
        ++placement;
    }
    json["tolerance"] = run.tolerance;
    json["verticesMerged"] = run.outcome.verticesMerged;
    json["degenerateTriangles"] = run.outcome.degenerateTriangles;
    json["before"] = toJson(run.before);
    json["after"] = toJson(run.after);
    json["seconds"] = run.outcome.seconds;
    json["droppedVertexSets"] = run.dropped;
    return json;
}

std::string mergeText(MergeArguments const& arguments, MergeRun const& run) {
    int const merged = run.outcome.verticesMerged;
    int const degenerate = run.outcome.degenerateTriangles;
    std::string text = trimora::countInWords(std::int64_t(run.meshes.size()), "mesh", "meshes") +
                       " merged within " + numberInWords(run.tolerance) + "; " +
                       secondsInWords(run.outcome.seconds) + "\n" +
                       countsTable(run.before, run.after) + "  " +
                       trimora::countInWords(merged, "vertex", "vertices") + " merged\n";
    if (degenerate > 0)
        text += warningLine(trimora::countInWords(degenerate, "triangle") +
                            " became degenerate; 'trimora repair' takes them out");
    return text + droppedLine(run.dropped) + "  written to " + nameOfOutput(arguments.output) +
           "\n";
}

ExitCode merge(Session& session, MergeArguments const& arguments) {
    requireArguments(session, arguments);
    MergeRun run;
    loadInputs(session, arguments, run);
    mergeLoaded(session, arguments, run);
    storeMesh(session, arguments.output, run.result);
    finishWith(session, mergeJson(arguments, run), mergeText(arguments, run), arguments.output);
    return Done;
}

}  // namespace

void addMerge(CLI::App& app, Invocation& invocation) {
    CLI::App* const command =
        addSubcommand(app, invocation, "merge", "put meshes into one and weld them");
    auto const arguments = std::make_shared<MergeArguments>();
    command->add_option("OUT", arguments->output, "mesh file, or - for standard output")
        ->required();
    command
        ->add_option("IN", arguments->inputs, "mesh files; one of them may be - for standard input")
        ->required();
    command
        ->add_option("--tolerance", arguments->tolerance,
                     "weld vertices whose coordinates are all this near, a length or like 0.01% of "
                     "the diagonal of all (default: 0, equal positions)")
        ->check(faultOfWeldTolerance);
    command
        ->add_option(
            "--matrix", arguments->matrices,
            "N:m1,...,m12: place the N-th input, from 1, by four rows of three numbers: where "
            "the x, the y and the z axis go, and the origin; once for each input to place")
        ->allow_extra_args(false)
        ->check(faultOfPlacing);
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return merge(session, *arguments); };
    });
}

}  // namespace app
