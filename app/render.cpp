// trimora render IN OUT: a shaded picture of a mesh, or of two side by side.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "numbers.h"
#include "pictures.h"
#include "reports.h"
#include "toolkit/elementSelection.h"
#include "toolkit/meshDeviation.h"

#include <algorithm>

namespace app {

namespace {

using trimora::SurfacePaint;

struct RenderArguments {
    std::string input;
    std::string output;
    std::string beside;
    std::string view = "30,20";
    std::string size = "1280x960";
    std::string up = "y";
    std::string shading = "smooth";
    std::string colorBy;
    bool defects = false;
    double angle = 15.0;
    bool noIntersections = false;
    bool noKey = false;
    trimora::RenderOptions options;
};

/// What a surface is colored by: a word, and behind a colon the file that some need.
struct ColorChoice {
    std::string kind;
    std::string file;

    explicit ColorChoice(std::string const& text)
        : kind(text.substr(0, text.find(':'))),
          file(text.find(':') == std::string::npos ? std::string()
                                                   : text.substr(text.find(':') + 1)) {}

    /// Against a reference, which the file holds.
    bool isMeasured() const { return kind == "deviation" || kind == "distance"; }
};

std::string faultOfColorBy(std::string const& text) {
    ColorChoice const choice(text);
    bool const needsFile = choice.isMeasured() || choice.kind == "selection";
    if (!needsFile && choice.kind != "curvature" && choice.kind != "component")
        return "takes curvature, component, deviation:FILE, distance:FILE or selection:FILE, not "
               "'" +
               text + "'";
    if (needsFile == choice.file.empty())
        return needsFile ? "needs a file, '" + choice.kind + ":FILE'"
                         : choice.kind + " takes no file";
    return {};
}

bool parseSize(std::string const& text, int& width, int& height) {
    std::size_t const times = text.find('x');
    if (times == std::string::npos)
        return false;
    auto const across = parseCount(std::string_view(text).substr(0, times));
    auto const down = parseCount(std::string_view(text).substr(times + 1));
    constexpr std::int64_t longest = 16384;
    if (!across || !down || *across < 1 || *down < 1 || *across > longest || *down > longest ||
        *across * *down > (std::int64_t(1) << 26))
        return false;
    width = static_cast<int>(*across);
    height = static_cast<int>(*down);
    return true;
}

std::string faultOfSize(std::string const& text) {
    int width = 0;
    int height = 0;
    return parseSize(text, width, height)
               ? std::string()
               : "takes WIDTHxHEIGHT, up to 16384 each and 67 million pixels in all, not '" + text +
                     "'";
}

std::string faultOfView(std::string const& text) {
    return trimora::parseView(text) ? std::string()
                                    : "takes front, back, left, right, top, bottom, iso or "
                                      "AZIMUTH,ELEVATION in degrees, the elevation "
                                      "from -90 to 90, not '" +
                                          text + "'";
}

SurfacePaint paintByDeviation(Session& session, koGeom::CompactMesh const& mesh,
                              koGeom::CompactMesh const& reference,
                              RenderArguments const& arguments) {
    trimora::DeviationOutcome outcome =
        trimora::measureDeviation(mesh, reference, {}, session.progress());
    session.throwIfCancelled();
    throwIfRefused(session, {arguments.input, outcome.refusal, {}, outcome.isNonfinite});
    return ColorChoice(arguments.colorBy).kind == "distance"
               ? trimora::paintDistance(std::move(outcome.values))
               : trimora::paintDeviation(std::move(outcome.values));
}

SurfacePaint paintBySelection(Session const& session, std::string const& file,
                              koGeom::CompactMesh const& mesh) {
    koGeom::BitVector selection;
    throwIfFailed(
        trimora::readTriangleSelection(file, mesh.getNumTriangles(), selection, session.maxBytes()),
        file);
    return trimora::paintSelection(mesh, selection);
}

/// The mesh is replaced by the one that the defects are painted on.
SurfacePaint paintByDefects(Session& session, RenderArguments const& arguments,
                            koGeom::CompactMesh& mesh) {
    trimora::CheckOptions options;
    options.foldAngle = arguments.angle;
    options.testIntersections = !arguments.noIntersections;
    DefectView view;
    viewDefects(session, arguments.input, mesh, options, true, view);
    mesh = std::move(view.mesh);
    return view.paint;
}

std::vector<SurfacePaint> paintAll(Session& session, RenderArguments const& arguments,
                                   std::vector<LoadedMesh>& meshes) {
    ColorChoice const choice(arguments.colorBy);
    LoadedMesh reference;
    if (choice.isMeasured())
        loadMesh(session, choice.file, deviationBytesPerTriangle, reference);
    std::vector<SurfacePaint> paints;
    for (LoadedMesh& loaded : meshes) {
        session.beginPhase("finding the colors", arguments.defects || choice.isMeasured());
        paints.push_back(arguments.defects ? paintByDefects(session, arguments, loaded.mesh)
                         : choice.kind == "curvature" ? trimora::paintCurvature(loaded.mesh)
                         : choice.kind == "component" ? trimora::paintComponents(loaded.mesh)
                         : choice.isMeasured()
                             ? paintByDeviation(session, loaded.mesh, reference.mesh, arguments)
                         : choice.kind == "selection"
                             ? paintBySelection(session, choice.file, loaded.mesh)
                             : SurfacePaint());
    }
    return paints;
}

/// Triangles that only touch have no neighbours to be curved by, and are components of their own.
std::vector<std::string> warningsAbout(RenderArguments const& arguments,
                                       std::vector<LoadedMesh> const& meshes) {
    std::vector<std::string> warnings;
    if (arguments.colorBy != "curvature" && arguments.colorBy != "component")
        return warnings;
    for (LoadedMesh const& loaded : meshes)
        if (int const count = trimora::numCoincidentVertices(loaded.mesh); count > 0)
            warnings.push_back(trimora::countInWords(count, "vertex coincides with another",
                                                     "vertices coincide with others") +
                               ": triangles that touch there do not hang together; weld first");
    return warnings;
}

void requireArguments(Session const& session, RenderArguments const& arguments) {
    if (arguments.defects && !arguments.colorBy.empty())
        throw Failure{UsageError, "render takes one of --defects and --color-by"};
    if ((arguments.noIntersections || arguments.angle != 15.0) && !arguments.defects)
        throw Failure{UsageError, "--angle and --no-intersections go with --defects; see 'trimora "
                                  "render --help'"};
    if (!arguments.beside.empty() && ColorChoice(arguments.colorBy).kind == "selection")
        throw Failure{UsageError,
                      "a selection is of one mesh; leave --beside or --color-by selection away"};
    if (!arguments.beside.empty() && arguments.input == "-" && arguments.beside == "-")
        throw Failure{UsageError, "only one of the meshes can be read from standard input"};
    requirePictureOutput(session, arguments.output);
}

Json renderJson(RenderArguments const& arguments, std::vector<LoadedMesh> const& meshes,
                std::vector<SurfacePaint> const& paints, std::vector<std::string> const& warnings,
                double seconds) {
    Json json = {{"file", arguments.input},
                 {"beside", arguments.beside.empty() ? Json(nullptr) : Json(arguments.beside)},
                 {"output", arguments.output},
                 {"width", arguments.options.width},
                 {"height", arguments.options.height},
                 {"samples", arguments.options.samples},
                 {"azimuth", arguments.options.view.azimuth},
                 {"elevation", arguments.options.view.elevation},
                 {"key", Json::array()},
                 {"warnings", warnings},
                 {"seconds", seconds},
                 {"read", Json::array()}};
    for (SurfacePaint const& paint : paints) {
        if (paint.isPlain())
            continue;
        Json key = {{"title", paint.title},
                    {"low", nullptr},
                    {"high", nullptr},
                    {"colors", Json::array()},
                    {"notes", Json::array()}};
        if (!paint.values.empty()) {
            key["low"] = paint.isZero ? 0.0 : paint.low;
            key["high"] = paint.isZero ? 0.0 : paint.high;
        }
        for (SurfacePaint::Aside const& aside : paint.asides)
            key["notes"].push_back(aside.label);
        for (SurfacePaint::Swatch const& swatch : paint.swatches)
            if (!swatch.label.empty())
                key["colors"].push_back(swatch.label);
        json["key"].push_back(key);
    }
    for (LoadedMesh const& loaded : meshes)
        json["read"].push_back(toJson(loaded.report));
    return json;
}

std::string paintInWords(RenderArguments const& arguments, SurfacePaint const& paint) {
    std::string text;
    if (paint.isZero)
        text += "  " + paint.title + " is 0 everywhere\n";
    else if (!paint.values.empty())
        text += "  " + paint.title + " from " + numberInWords(paint.low) + " to " +
                numberInWords(paint.high) + "; beyond that the colors stay\n";
    for (SurfacePaint::Swatch const& swatch : paint.swatches)
        if (arguments.defects)
            text += "  " + swatch.label + "\n";
    for (SurfacePaint::Aside const& aside : paint.asides)
        if (arguments.defects && !aside.color)
            text += "  " + aside.label + "\n";
    return text;
}

std::string renderText(RenderArguments const& arguments, std::vector<LoadedMesh> const& meshes,
                       std::vector<SurfacePaint> const& paints,
                       std::vector<std::string> const& warnings, double seconds) {
    std::string text = arguments.input + ": ";
    for (std::size_t i = 0; i < meshes.size(); ++i)
        text += (i == 0 ? "" : " and ") +
                trimora::countInWords(meshes[i].mesh.getNumTriangles(), "triangle");
    text += " drawn, " + std::to_string(arguments.options.width) + " x " +
            std::to_string(arguments.options.height) + " pixels; " + secondsInWords(seconds) + "\n";
    for (SurfacePaint const& paint : paints)
        text += paintInWords(arguments, paint);
    for (std::string const& warning : warnings)
        text += warningLine(warning);
    return text + "  written to " + nameOfOutput(arguments.output) + "\n";
}

ExitCode render(Session& session, RenderArguments& arguments) {
    requireArguments(session, arguments);
    arguments.options.view = *trimora::parseView(arguments.view);
    arguments.options.up = arguments.up == "z" ? trimora::UpAxis::Z : trimora::UpAxis::Y;
    arguments.options.flat = arguments.shading == "flat";
    arguments.options.key = !arguments.noKey;
    parseSize(arguments.size, arguments.options.width, arguments.options.height);

    std::vector<LoadedMesh> meshes(arguments.beside.empty() ? 1 : 2);
    double const bytes = arguments.defects ? checkBytesPerTriangle : renderBytesPerTriangle;
    loadMesh(session, arguments.input, bytes, meshes[0]);
    if (!arguments.beside.empty())
        loadMesh(session, arguments.beside, bytes, meshes[1]);
    auto const start = std::chrono::steady_clock::now();
    std::vector<SurfacePaint> paints = paintAll(session, arguments, meshes);
    trimora::shareScale(paints);
    std::vector<trimora::RenderPanel> panels;
    for (std::size_t i = 0; i < meshes.size(); ++i)
        panels.push_back({&meshes[i].mesh, &paints[i], {}});
    storePicture(session, arguments.output,
                 drawPicture(session, arguments.input, panels, arguments.options));
    double const seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::vector<std::string> const warnings = warningsAbout(arguments, meshes);
    finishWith(session, renderJson(arguments, meshes, paints, warnings, seconds),
               renderText(arguments, meshes, paints, warnings, seconds), arguments.output);
    return Done;
}

void addLooks(CLI::App& command, RenderArguments& arguments) {
    command
        .add_option("--view", arguments.view,
                    "front, back, left, right, top, bottom, iso, or AZIMUTH,ELEVATION in degrees "
                    "(default: 30,20); --view=-30,20 where the first is negative")
        ->check(faultOfView);
    command.add_option("--up", arguments.up, "the axis that points up: y (default) or z")
        ->check(CLI::IsMember({"y", "z"}));
    command.add_option("--size", arguments.size, "WIDTHxHEIGHT in pixels (default: 1280x960)")
        ->check(faultOfSize);
    command
        .add_option("--samples", arguments.options.samples,
                    "a pixel, 1 to 256 (default: 8): more make edges and shadows smoother")
        ->check(CLI::Range(1, 256));
    command
        .add_option("--shading", arguments.shading,
                    "smooth (default) but for creases of more than 50 degrees, or flat")
        ->check(CLI::IsMember({"smooth", "flat"}));
    command.add_flag("--shadow", arguments.options.shadow, "a soft shadow on the ground");
    command.add_flag("--edges", arguments.options.edges,
                     "the triangles' outlines, where they are large enough");
    command.add_flag("--outlines", arguments.options.outlines,
                     "lines where a surface ends before another one or the background");
}

}  // namespace

void addRender(CLI::App& app, Invocation& invocation) {
    CLI::App* const command =
        addSubcommand(app, invocation, "render", "a shaded picture of a mesh, or of two");
    auto const arguments = std::make_shared<RenderArguments>();
    command->add_option("IN", arguments->input, "mesh file, or - for standard input")->required();
    command->add_option("OUT", arguments->output, "PNG file, or - for standard output")->required();
    addLooks(*command, *arguments);
    command
        ->add_option("--color-by", arguments->colorBy,
                     "curvature (mean); component; deviation:FILE, the signed distance to a "
                     "reference mesh; distance:FILE, the same without sign; selection:FILE, the "
                     "triangles of a file of numbers")
        ->check(faultOfColorBy);
    command->add_flag("--defects", arguments->defects,
                      "boundaries, non-manifold edges, intersecting and folded triangles");
    command
        ->add_option("--angle", arguments->angle,
                     "with --defects: degrees; edges that open by less are folds (default 15)")
        ->check(faultOfAngle);
    command->add_flag("--no-intersections", arguments->noIntersections,
                      "with --defects: leave out the intersection test");
    command->add_flag("--no-key", arguments->noKey, "leave out what the colors mean");
    command->add_option("--beside", arguments->beside,
                        "a second mesh, drawn to the right under the same camera");
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return render(session, *arguments); };
    });
}

}  // namespace app
