// trimora generate SHAPE OUT: simple shapes, refined spheres and scans, by name.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "reports.h"
#include "toolkit/meshCheck.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshGeneration.h"

#include "trimora/contract/koOS/StopWatch.h"

#include <map>

namespace app {

namespace {

using trimora::countInWords;
using trimora::Shape;
using trimora::ShapeParameter;
using trimora::ShapeParameterKind;
using trimora::ShapeValues;

struct GenerateArguments {
    std::string shape;
    std::string output;
    bool list = false;
    trimora::ShapeTexts texts;             // of every parameter that there is
    std::map<std::string, bool> switches;  // likewise
};

struct GenerateResult {
    trimora::GeneratedShape made;
    int coincidentVertices = 0;
    double seconds = 0.0;

    /// As they stand in the file: a closed chain names its first point twice.
    std::size_t numVertices() const {
        std::size_t count = 0;
        for (trimora::Polyline const& chain : made.lines)
            count += chain.size() - (isClosed(chain) ? 1 : 0);
        return made.lines.empty() ? static_cast<std::size_t>(made.mesh.getNumVertices()) : count;
    }
    std::size_t numLines() const {
        std::size_t count = 0;
        for (trimora::Polyline const& chain : made.lines)
            count += chain.size() - 1;
        return count;
    }
    static bool isClosed(trimora::Polyline const& chain) {
        return chain.size() > 2 && chain.front() == chain.back();
    }
};

Shape const& shapeNamed(std::string const& name) {
    if (name.empty())
        throw Failure{UsageError,
                      "generate takes SHAPE and OUT; 'trimora generate --list' lists the shapes"};
    if (Shape const* const shape = trimora::findShape(name))
        return *shape;
    std::string const meant(trimora::suggestShape(name));
    throw Failure{UsageError, "there is no shape '" + name + "'; " +
                                  (meant.empty() ? "" : "is it '" + meant + "'? ") +
                                  "'trimora generate --list' lists them"};
}

/// What was given, without what was not.
trimora::ShapeTexts givenTexts(GenerateArguments const& arguments) {
    trimora::ShapeTexts given;
    for (auto const& [name, texts] : arguments.texts) {
        if (!texts.empty())
            given[name] = texts;
    }
    for (auto const& [name, isOn] : arguments.switches) {
        if (isOn)
            given[name] = {};
    }
    return given;
}

ShapeValues valuesOf(Shape const& shape, GenerateArguments const& arguments) {
    trimora::ShapeTexts const texts = givenTexts(arguments);
    if (auto const fault = trimora::findShapeFault(shape, texts))
        throw Failure{UsageError, "--" + fault->parameter + ": " + fault->what +
                                      "; 'trimora generate --list' tells what there is"};
    return trimora::shapeValues(shape, texts);
}

// The list of shapes.

std::string defaultOf(ShapeParameter const& parameter) {
    return parameter.kind == ShapeParameterKind::Switch ? "off" : std::string(parameter.preset);
}

std::string listText(std::vector<Shape const*> const& listed) {
    std::string text;
    for (Shape const* const shape : listed) {
        text += std::string(shape->name) + ": " + std::string(shape->meaning) +
                (shape->isLines ? "; lines\n" : "\n");
        for (ShapeParameter const& parameter : shape->parameters) {
            std::string line = "  --" + std::string(parameter.name);
            line.resize(std::max<std::size_t>(line.size() + 1, 16), ' ');
            text += line + std::string(parameter.meaning) + " (" + defaultOf(parameter) + ")\n";
        }
    }
    return text;
}

Json listJson(std::vector<Shape const*> const& listed) {
    Json json = {{"shapes", Json::array()}};
    for (Shape const* const shape : listed) {
        Json parameters = Json::array();
        for (ShapeParameter const& parameter : shape->parameters)
            parameters.push_back({{"name", parameter.name},
                                  {"default", defaultOf(parameter)},
                                  {"meaning", parameter.meaning}});
        json["shapes"].push_back({{"name", shape->name},
                                  {"meaning", shape->meaning},
                                  {"lines", shape->isLines},
                                  {"parameters", parameters}});
    }
    return json;
}

ExitCode listShapes(Session& session, GenerateArguments const& arguments) {
    if (!arguments.output.empty())
        throw Failure{UsageError, "--list writes no mesh; leave OUT or --list away"};
    std::vector<Shape const*> listed;
    if (!arguments.shape.empty())
        listed.push_back(&shapeNamed(arguments.shape));
    for (Shape const& shape : trimora::shapes()) {
        if (arguments.shape.empty())
            listed.push_back(&shape);
    }
    finishWith(session, listJson(listed), listText(listed));
    return Done;
}

// The report.

Json valueJson(ShapeParameter const& parameter, ShapeValues const& values) {
    if (parameter.kind == ShapeParameterKind::Switch)
        return values.has(parameter.name);
    std::vector<double> const& numbers = values.all(parameter.name);
    if (parameter.kind == ShapeParameterKind::Axis)
        return std::string(1, "xyz"[values.whole(parameter.name)]);
    if (parameter.kind == ShapeParameterKind::WholeNumber)
        return static_cast<std::int64_t>(numbers[0]);
    return numbers.size() > 1 ? Json(numbers) : Json(numbers[0]);
}

Json generateJson(GenerateArguments const& arguments, Shape const& shape, ShapeValues const& values,
                  GenerateResult const& result) {
    Json parameters = Json::object();
    for (ShapeParameter const& parameter : shape.parameters)
        parameters[std::string(parameter.name)] = valueJson(parameter, values);
    koGeom::CompactMesh const& mesh = result.made.mesh;
    return {{"shape", shape.name},
            {"output", arguments.output},
            {"parameters", parameters},
            {"vertices", result.numVertices()},
            {"triangles", mesh.getNumTriangles()},
            {"polygons", mesh.getNumPolys()},
            {"chains", result.made.lines.size()},
            {"lines", result.numLines()},
            {"coincidentVertices", result.coincidentVertices},
            {"box", boxJson(mesh)},
            {"seconds", result.seconds}};
}

std::string facesInWords(GenerateResult const& result) {
    if (!result.made.lines.empty())
        return countInWords(std::int64_t(result.numLines()), "line") + " in " +
               countInWords(std::int64_t(result.made.lines.size()), "chain");
    koGeom::CompactMesh const& mesh = result.made.mesh;
    return mesh.getNumPolys() > 0 ? countInWords(mesh.getNumPolys(), "polygon")
                                  : countInWords(mesh.getNumTriangles(), "triangle");
}

/// What people would stumble over in the next command.
std::string seamsInWords(GenerateResult const& result) {
    if (result.coincidentVertices == 0)
        return {};
    return "  " +
           countInWords(result.coincidentVertices, "vertex coincides with another",
                        "vertices coincide with others") +
           ": faces have corners of their own there and do not hang together" +
           (result.made.mesh.getNormals() != nullptr ? ", as their normals differ\n"
                                                     : "; weld joins them\n");
}

std::string generateText(GenerateArguments const& arguments, Shape const& shape,
                         GenerateResult const& result) {
    double low[3];
    double high[3];
    trimora::boxOfVertices(result.made.mesh, low, high);
    return std::string(shape.name) + ": " +
           countInWords(std::int64_t(result.numVertices()), "vertex", "vertices") + ", " +
           facesInWords(result) + "; " + secondsInWords(result.seconds) + "\n  box from " +
           trimora::positionInWords({low[0], low[1], low[2]}) + " to " +
           trimora::positionInWords({high[0], high[1], high[2]}) + "\n" + seamsInWords(result) +
           "  written to " + nameOfOutput(arguments.output) + "\n";
}

ExitCode generate(Session& session, GenerateArguments const& arguments) {
    if (arguments.list)
        return listShapes(session, arguments);
    Shape const& shape = shapeNamed(arguments.shape);
    ShapeValues const values = valuesOf(shape, arguments);
    if (arguments.output.empty())
        throw Failure{UsageError, "generate takes SHAPE and OUT; name a mesh file, or - for "
                                  "standard output"};
    requireSeparateOutputs(session, arguments.output);
    if (shape.isLines)
        requireLineOutput(arguments.output);
    else
        requireWritableOutput(arguments.output);
    std::string const name(shape.name);
    session.requireMemory(shape.bytes != nullptr ? shape.bytes(values) : 0.0, name);
    session.beginPhase("generating", false);
    GenerateResult result;
    koOS::StopWatch watch;
    watch.start();
    result.made = trimora::generateShape(shape, values);
    result.seconds = watch.clear();
    throwIfRefused(session, {name, result.made.refusal, {}});
    if (!shape.isLines)
        result.coincidentVertices = trimora::numCoincidentVertices(result.made.mesh);
    session.throwIfCancelled();
    if (shape.isLines)
        storePolylines(session, arguments.output, result.made.lines);
    else
        storeMesh(session, arguments.output, result.made.mesh);
    finishWith(session, generateJson(arguments, shape, values, result),
               generateText(arguments, shape, result), arguments.output);
    return Done;
}

/// "of arc, circle and sphere", for the help of an option that several shapes have.
std::string shapesWith(std::string_view parameterName) {
    std::string names;
    for (Shape const& shape : trimora::shapes()) {
        for (ShapeParameter const& parameter : shape.parameters) {
            if (parameter.name == parameterName)
                names += (names.empty() ? "of " : ", ") + std::string(shape.name);
        }
    }
    return names;
}

void addParameter(CLI::App& command, ShapeParameter const& parameter,
                  GenerateArguments& arguments) {
    std::string const name(parameter.name);
    std::string const option = name == "centre" ? "--centre,--center" : "--" + name;
    std::string const help = shapesWith(name);
    if (parameter.kind == ShapeParameterKind::Switch)
        command.add_flag(option, arguments.switches[name], help);
    else
        command.add_option(option, arguments.texts[name], help)->allow_extra_args(false);
}

}  // namespace

void addGenerate(CLI::App& app, Invocation& invocation) {
    CLI::App* const command =
        addSubcommand(app, invocation, "generate", "make a simple shape, a sphere or a scan");
    auto const arguments = std::make_shared<GenerateArguments>();
    command->add_option("SHAPE", arguments->shape, "its name; --list lists them");
    command->add_option("OUT", arguments->output,
                        "mesh file (OBJ file for shapes of lines), or - for standard output");
    command->add_flag("--list", arguments->list,
                      "tell the shapes, or the one that is named, with parameters and defaults");
    for (Shape const& shape : trimora::shapes()) {
        for (ShapeParameter const& parameter : shape.parameters) {
            std::string const name(parameter.name);
            if (arguments->texts.count(name) + arguments->switches.count(name) == 0)
                addParameter(*command, parameter, *arguments);
        }
    }
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return generate(session, *arguments); };
    });
}

}  // namespace app
