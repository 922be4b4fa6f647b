// Triangles of one colour are one path, with whole numbers as coordinates: a picture of a hundred thousand triangles
// has three megabytes.

#include "toolkit/flatPicture.h"

#include "toolkit/detail/CheckedEdit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace trimora {

namespace {

using koGeom::CompactMesh;

constexpr int side = 20000;  // units along the unit square
constexpr int margin = 800;
constexpr int keyWidth = 4200;
constexpr int stepsAnOctave = 2;
constexpr int octaves = 3;  // either way from the mean
constexpr int numShades = 2 * stepsAnOctave * octaves + 1;
constexpr int flipped = numShades;

std::string format(char const* pattern, ...) {
    char line[256];
    va_list arguments;
    va_start(arguments, pattern);
    std::vsnprintf(line, sizeof line, pattern, arguments);
    va_end(arguments);
    return line;
}

/// Blue for the first, through pale grey in the middle, to red for the last.
std::string colourOf(int shade) {
    if (shade == flipped)
        return "#000000";
    struct Colour {
        double red, green, blue;
    };
    constexpr Colour ends[] = {{33, 102, 172}, {178, 24, 43}};
    constexpr Colour middle = {222, 222, 216};
    double const place = 2.0 * shade / (numShades - 1) - 1.0;
    Colour const& end = ends[place > 0.0];
    double const share = std::abs(place);
    auto const mixed = [share](double from, double to) {
        return static_cast<int>(std::lround(from + share * (to - from)));
    };
    return format("#%02x%02x%02x", mixed(middle.red, end.red), mixed(middle.green, end.green),
                  mixed(middle.blue, end.blue));
}

/// Length on the surface of a step of length 1 in the plane, root mean square over the directions.
double stretchOf(TriangleMap const& map) {
    return std::sqrt(0.5 * (1.0 / (map.larger * map.larger) + 1.0 / (map.smaller * map.smaller)));
}

int shadeOf(double relativeStretch) {
    double const steps = stepsAnOctave * std::log2(relativeStretch);
    double const most = stepsAnOctave * octaves;
    return static_cast<int>(std::lround(std::clamp(steps, -most, most) + most));
}

void appendCorner(std::string& path, char command, koGeom::MeshUV const& uv) {
    auto const place = [](double coordinate) {
        return static_cast<int>(std::lround(std::clamp(coordinate, 0.0, 1.0) * side));
    };
    path += command;
    path += std::to_string(margin + place(static_cast<double>(uv.u)));
    path += ' ';
    path += std::to_string(margin + side - place(static_cast<double>(uv.v)));
}

std::array<std::string, numShades + 1> pathsByShade(CompactMesh const& mesh,
                                                    CornerUVs const& corners) {
    double area = 0.0;
    double uvArea = 0.0;
    std::vector<TriangleMap> maps;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        maps.push_back(mapOfTriangle(mesh, corners, t));
        if (!maps.back().isMeasured)
            continue;
        area += maps.back().area;
        uvArea += std::abs(maps.back().uvArea);
    }
    double const mean = std::sqrt(area / uvArea);
    std::array<std::string, numShades + 1> paths;
    for (std::size_t t = 0; t < maps.size(); ++t) {
        double const stretch = stretchOf(maps[t]) / mean;
        if (!maps[t].isMeasured || !std::isfinite(stretch) || !(stretch > 0.0))
            continue;
        auto const shade =
            static_cast<std::size_t>(maps[t].uvArea < 0.0 ? flipped : shadeOf(stretch));
        for (std::size_t k = 0; k < 3; ++k)
            appendCorner(paths[shade], k == 0 ? 'M' : 'L', corners[3 * t + k]);
        paths[shade] += 'Z';
    }
    return paths;
}

std::string keyRow(int row, std::string const& colour, std::string const& label) {
    constexpr int x = margin + side + margin;
    constexpr int height = 800;
    int const y = margin + 1700 + row * height;
    return format("<rect x=\"%d\" y=\"%d\" width=\"1100\" height=\"%d\" fill=\"%s\"/>\n", x, y,
                  height, colour.c_str()) +
           format("<text x=\"%d\" y=\"%d\" font-size=\"520\">%s</text>\n", x + 1400, y + 600,
                  label.c_str());
}

std::string key(bool hasFlipped) {
    constexpr int x = margin + side + margin;
    std::string text = "<g font-family=\"sans-serif\" fill=\"#222222\">\n";
    text +=
        format("<text x=\"%d\" y=\"%d\" font-size=\"640\">stretch of a</text>\n", x, margin + 500);
    text += format("<text x=\"%d\" y=\"%d\" font-size=\"640\">texture</text>\n", x, margin + 1250);
    for (int row = 0; row < numShades; ++row) {
        int const shade = numShades - 1 - row;
        int const steps = shade - stepsAnOctave * octaves;
        std::string label;
        if (steps % stepsAnOctave == 0) {
            int const factor = 1 << std::abs(steps / stepsAnOctave);
            label = steps == 0 ? "mean"
                               : (steps > 0 ? "&#215; " : "&#215; 1/") + std::to_string(factor);
        }
        text += keyRow(row, colourOf(shade), label);
    }
    if (hasFlipped)
        text += keyRow(numShades + 1, colourOf(flipped), "turned over");
    return text + "</g>\n";
}

std::string drawing(CompactMesh const& mesh, CornerUVs const& corners) {
    auto const paths = pathsByShade(mesh, corners);
    constexpr int width = margin + side + margin + keyWidth + margin;
    constexpr int height = margin + side + margin;
    std::string text =
        format("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %d %d\" width=\"%d\" "
               "height=\"%d\">\n",
               width, height, width / 20, height / 20);
    text += format("<rect width=\"%d\" height=\"%d\" fill=\"#ffffff\"/>\n", width, height);
    text += format(
        "<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" fill=\"none\" stroke=\"#bbbbbb\" "
        "stroke-width=\"20\"/>\n",
        margin, margin, side, side);
    for (std::size_t shade = 0; shade < paths.size(); ++shade) {
        if (paths[shade].empty())
            continue;
        // The stroke closes the hairlines that viewers leave between neighbours.
        std::string const colour = colourOf(static_cast<int>(shade));
        text += format("<path fill=\"%s\" stroke=\"%s\" stroke-width=\"6\" d=\"", colour.c_str(),
                       colour.c_str());
        text += paths[shade] + "\"/>\n";
    }
    return text + key(!paths[static_cast<std::size_t>(flipped)].empty()) + "</svg>\n";
}

}  // namespace

FlatPictureOutcome drawFlatMap(CompactMesh const& mesh, CornerUVs const& corners) {
    FlatPictureOutcome outcome;
    if (isRefused(outcome, mesh))
        return outcome;
    if (corners.size() != 3 * static_cast<std::size_t>(mesh.getNumTriangles()))
        outcome.refusal = "texture coordinates of another number of corners";
    else
        outcome.svg = drawing(mesh, corners);
    return outcome;
}

}  // namespace trimora
