// Color maps are paths through Oklab that a person would call even; they are walked at equal steps of its distance.

#include "toolkit/colorMaps.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace trimora {

namespace {

constexpr int tableSize = 257;  // odd: the bend of a path with a middle is in the table
constexpr LinearColor noNumber = {0.35f, 0.35f, 0.35f};

double distanceOf(Oklab const& p, Oklab const& q) {
    return std::hypot(p.lightness - q.lightness, p.a - q.a, p.b - q.b);
}

Oklab between(Oklab const& p, Oklab const& q, double share) {
    return {p.lightness + share * (q.lightness - p.lightness), p.a + share * (q.a - p.a),
            p.b + share * (q.b - p.b)};
}

double lightOf(double code) {
    return code <= 0.04045 ? code / 12.92 : std::pow((code + 0.055) / 1.055, 2.4);
}

float clamped(double light) {
    return static_cast<float>(std::clamp(light, 0.0, 1.0));
}

// Violet, blue, green, yellow; as much chroma as a screen has for all of them, and more towards yellow.
std::vector<Oklab> sequentialPath() {
    std::vector<Oklab> path;
    for (int i = 0; i <= 1000; ++i) {
        double const t = i / 1000.0;
        double const chroma = 0.098 + 0.09 * t * t * t * t;
        path.push_back(oklabOf(0.27 + 0.64 * t, chroma, 308.0 - 202.0 * t));
    }
    return path;
}

/// The two halves.
std::vector<Oklab> const coldPath = {
    oklabOf(0.42, 0.15, 259.0), oklabOf(0.66, 0.11, 252.0), {0.94, 0.0, 0.0}};
std::vector<Oklab> const warmPath = {
    {0.94, 0.0, 0.0}, oklabOf(0.66, 0.15, 35.0), oklabOf(0.42, 0.15, 28.0)};

/// The color at a part of a path's length.
Oklab alongPath(std::vector<Oklab> const& path, double share) {
    std::vector<double> reached = {0.0};
    for (std::size_t i = 1; i < path.size(); ++i)
        reached.push_back(reached.back() + distanceOf(path[i - 1], path[i]));
    double const way = reached.back() * share;
    std::size_t segment = 1;
    while (segment + 1 < path.size() && reached[segment] < way)
        ++segment;
    double const length = reached[segment] - reached[segment - 1];
    return between(path[segment - 1], path[segment], (way - reached[segment - 1]) / length);
}

}  // namespace

unsigned char toByte(float light) {
    double const l = std::clamp(static_cast<double>(light), 0.0, 1.0);
    double const code = l <= 0.0031308 ? 12.92 * l : 1.055 * std::pow(l, 1.0 / 2.4) - 0.055;
    return static_cast<unsigned char>(code * 255.0 + 0.5);
}

LinearColor fromBytes(int r, int g, int b) {
    return {clamped(lightOf(r / 255.0)), clamped(lightOf(g / 255.0)), clamped(lightOf(b / 255.0))};
}

Oklab toOklab(LinearColor const& color) {
    double const r = color.r;
    double const g = color.g;
    double const b = color.b;
    double const l = std::cbrt(0.4122214708 * r + 0.5363325363 * g + 0.0514459929 * b);
    double const m = std::cbrt(0.2119034982 * r + 0.6806995451 * g + 0.1073969566 * b);
    double const s = std::cbrt(0.0883024619 * r + 0.2817188376 * g + 0.6299787005 * b);
    return {0.2104542553 * l + 0.7936177850 * m - 0.0040720468 * s,
            1.9779984951 * l - 2.4285922050 * m + 0.4505937099 * s,
            0.0259040371 * l + 0.7827717662 * m - 0.8086757660 * s};
}

LinearColor fromOklab(Oklab const& color) {
    auto const cubed = [](double x) { return x * x * x; };
    double const l = cubed(color.lightness + 0.3963377774 * color.a + 0.2158037573 * color.b);
    double const m = cubed(color.lightness - 0.1055613458 * color.a - 0.0638541728 * color.b);
    double const s = cubed(color.lightness - 0.0894841775 * color.a - 1.2914855480 * color.b);
    return {clamped(4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s),
            clamped(-1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s),
            clamped(-0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * s)};
}

Oklab oklabOf(double lightness, double chroma, double hue) {
    double const angle = hue * std::numbers::pi / 180.0;
    return {lightness, chroma * std::cos(angle), chroma * std::sin(angle)};
}

ColorMap const& ColorMap::sequential() {
    static ColorMap const map({sequentialPath()});
    return map;
}

ColorMap const& ColorMap::diverging() {
    static ColorMap const map({coldPath, warmPath});
    return map;
}

// Paths take equal parts of the table, so that what parts them is in its middle, however long they are.
ColorMap::ColorMap(std::vector<std::vector<Oklab>> const& paths) {
    auto const numPaths = static_cast<int>(paths.size());
    for (int i = 0; i < tableSize; ++i) {
        double const place = double(i) * numPaths / (tableSize - 1);
        int const path = std::min(static_cast<int>(place), numPaths - 1);
        table_.push_back(fromOklab(alongPath(paths[static_cast<std::size_t>(path)], place - path)));
    }
}

LinearColor ColorMap::at(double place) const {
    if (std::isnan(place))
        return noNumber;
    double const x = std::clamp(place, 0.0, 1.0) * (tableSize - 1);
    auto const below = static_cast<std::size_t>(std::min(x, tableSize - 2.0));
    return mix(table_[below], table_[below + 1],
               static_cast<float>(x - static_cast<double>(below)));
}

// Hues by the golden angle, so that neighbours are far apart, at two lightnesses in turn.
LinearColor distinctColor(int number) {
    int const n = number % numDistinctColors;
    return fromOklab(oklabOf(n % 2 == 0 ? 0.72 : 0.6, 0.12, 250.0 + 137.508 * n));
}

}  // namespace trimora
