// Letters are strokes between the points of a grid, 4 wide and 8 high, with the base line at 2: "07 18" is a line from
// (0, 7) to (1, 8). Strokes have round ends and are drawn by their distance, so that any size is smooth.

#include "toolkit/detail/pictureKey.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <map>
#include <optional>

namespace trimora {

namespace {

constexpr double gridHeight = 6.0;  // from the base line to the top of tall letters
constexpr double baseLine = 2.0;
constexpr double gap = 2.0;
constexpr double blank = 3.0;
constexpr double strokeRadius = 0.42;
constexpr double barWidth = 22.0;     // in heights of a letter, as all of the key
constexpr double barHeight = 4.3;     // with its numbers, to the next line
constexpr double leastLetter = 8.0;   // pixels
constexpr double mostOfPanel = 0.12;  // that a key covers, as long as its letters can be read
constexpr LinearColor ink = {0.035f, 0.04f, 0.05f};

std::map<char, char const*> const strokesOf = {
    {'a', "4642 4536160503123243"},
    {'b', "0802 0516364543321203"},
    {'c', "4536160503123243"},
    {'d', "4842 4536160503123243"},
    {'e', "04444536160503123243"},
    {'f', "38281712 0636"},
    {'g', "4641301001 4536160503123243"},
    {'h', "0802 0516364542"},
    {'i', "0602 0808"},
    {'j', "1611 1100 1818"},
    {'k', "0802 3604 1432"},
    {'l', "0802"},
    {'m', "0602 05162522 25364542"},
    {'n', "0602 0516364542"},
    {'o', "163645433212030516"},
    {'p', "0600 0516364543321203"},
    {'q', "4640 4536160503123243"},
    {'r', "0602 051626"},
    {'s', "45361605143443321203"},
    {'t', "18132232 0636"},
    {'u', "0603123243 4642"},
    {'v', "062246"},
    {'w', "0612253246"},
    {'x', "0642 0246"},
    {'y', "0622 4610"},
    {'z', "06460242"},
    {'0', "183847433212030718"},
    {'1', "071812"},
    {'2', "07183847460242"},
    {'3', "071838474635 2535 354443321203"},
    {'4', "32380444"},
    {'5', "480805354443321203"},
    {'6', "473818070312324344351504"},
    {'7', "084812"},
    {'8', "15060718384746351504031232434435"},
    {'9', "031232434738180706153546"},
    {'-', "0535"},
    {'+', "0545 2723"},
    {'.', "0202"},
    {',', "0201"},
    {';', "0201 0505"},
    {':', "0202 0505"},
    {'/', "0148"},
    {'%', "0248 0707 4343"},
    {'(', "18070312"},
    {')', "08171302"},
};

/// Calls take(fromX, fromY, toX, toY) for each stroke, y from the base line up.
template <class Take>
void forEachStroke(char const* strokes, Take take) {
    auto const digit = [](char c) { return static_cast<double>(c - '0'); };
    char const* p = strokes;
    while (*p != '\0') {
        if (*p == ' ')
            ++p;
        else if (p[2] != '\0' && p[2] != ' ') {
            take(digit(p[0]), digit(p[1]) - baseLine, digit(p[2]), digit(p[3]) - baseLine);
            p += 2;
        } else {
            take(digit(p[0]), digit(p[1]) - baseLine, digit(p[0]), digit(p[1]) - baseLine);
            p += 2;  // the end of a line, or a dot
        }
    }
}

char const* strokesFor(char letter) {
    auto const found =
        strokesOf.find(static_cast<char>(std::tolower(static_cast<unsigned char>(letter))));
    return found == strokesOf.end() ? "" : found->second;
}

double advanceOf(char letter) {
    double width = -1.0;
    forEachStroke(strokesFor(letter), [&](double x, double, double toX, double) {
        width = std::max({width, x, toX});
    });
    return width < 0.0 ? blank : width + gap;
}

void blend(int x, int y, LinearColor const& color, float share, Picture& picture) {
    if (x < 0 || x >= picture.width || y < 0 || y >= picture.height)
        return;
    std::uint8_t* const bytes = picture.at(x, y);
    LinearColor const mixed = mix(fromBytes(bytes[0], bytes[1], bytes[2]), color, share);
    bytes[0] = toByte(mixed.r), bytes[1] = toByte(mixed.g), bytes[2] = toByte(mixed.b);
}

void fillBox(double left, double top, double width, double height, LinearColor const& color,
             float share, Picture& picture) {
    for (int y = static_cast<int>(std::lround(top)); y < std::lround(top + height); ++y)
        for (int x = static_cast<int>(std::lround(left)); x < std::lround(left + width); ++x)
            blend(x, y, color, share, picture);
}

struct Stroke {
    double fromX, fromY, toX, toY;

    double distance(double x, double y) const {
        double const wayX = toX - fromX;
        double const wayY = toY - fromY;
        double const squared = wayX * wayX + wayY * wayY;
        double const along =
            squared > 0.0
                ? std::clamp(((x - fromX) * wayX + (y - fromY) * wayY) / squared, 0.0, 1.0)
                : 0.0;
        return std::hypot(x - fromX - along * wayX, y - fromY - along * wayY);
    }
};

/// One letter by the distance to its nearest stroke.
void drawLetter(char letter, double x, double top, double unit, LinearColor const& color,
                Picture& picture) {
    std::vector<Stroke> strokes;
    double const base = top + gridHeight * unit;
    forEachStroke(strokesFor(letter), [&](double fromX, double fromY, double toX, double toY) {
        strokes.push_back(
            {x + fromX * unit, base - fromY * unit, x + toX * unit, base - toY * unit});
    });
    if (strokes.empty())
        return;
    int const right = static_cast<int>(x + 5.0 * unit) + 1;
    int const bottom = static_cast<int>(base + 3.0 * unit) + 1;
    for (int row = static_cast<int>(top - unit); row <= bottom; ++row)
        for (int column = static_cast<int>(x - unit); column <= right; ++column) {
            double nearest = 1e9;
            for (Stroke const& stroke : strokes)
                nearest = std::min(nearest, stroke.distance(column + 0.5, row + 0.5));
            double const cover = std::clamp(0.5 + strokeRadius * unit - nearest, 0.0, 1.0);
            if (cover > 0.0)
                blend(column, row, color, static_cast<float>(cover), picture);
        }
}

std::string inWords(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g", number);
    return text;
}

/// Sizes of everything in the key, from the height of its letters.
struct Layout {
    double letter;
    double line;
    double left;
    double top;

    Layout(int panelLeft, double letterHeight)
        : letter(letterHeight),
          line(2.1 * letter),
          left(panelLeft + 2.0 * letter),
          top(2.0 * letter) {}

    static Layout of(int panelLeft, int panelWidth, Picture const& picture) {
        double const side = std::min(panelWidth * 0.75, double(picture.height));
        return {panelLeft, std::clamp(side / 70.0, leastLetter, 60.0)};
    }

    bool fits(int panelWidth, Picture const& picture) const {
        return panelWidth > 18.0 * letter && picture.height > 14.0 * letter;
    }
};

void drawPlate(Layout const& layout, double width, double height, Picture& picture) {
    fillBox(layout.left - layout.letter, layout.top - layout.letter, width + 2.0 * layout.letter,
            height + 2.0 * layout.letter, {0.98f, 0.985f, 0.99f}, 0.72f, picture);
}

ColorMap const& mapOf(SurfacePaint const& paint) {
    return paint.isSigned ? ColorMap::diverging() : ColorMap::sequential();
}

double insetOfBar(SurfacePaint const& paint, Layout const& layout) {
    return std::max({0.5 * textWidth(inWords(paint.low), layout.letter),
                     0.5 * textWidth(inWords(paint.high), layout.letter), layout.letter});
}

/// The colors of the numbers from the lowest to the highest, with three of them under it; returns where the next line begins.
double drawBar(SurfacePaint const& paint, Layout const& layout, double top, Picture& picture) {
    double const width = barWidth * layout.letter;
    std::array<double, 3> const numbers = {paint.low, 0.5 * (paint.low + paint.high), paint.high};
    std::array<std::string, 3> words;
    for (std::size_t i = 0; i < 3; ++i)
        words[i] = inWords(numbers[i]);
    double const inset = insetOfBar(paint, layout);
    ColorMap const& map = mapOf(paint);
    int const first = static_cast<int>(std::lround(layout.left + inset));
    int const columns = static_cast<int>(width);
    for (int i = 0; i < columns; ++i)
        fillBox(first + i, top, 1.0, 1.3 * layout.letter, map.at(i / (columns - 1.0)), 1.0f,
                picture);
    for (std::size_t i = 0; i < 3; ++i) {
        double const x = first + 0.5 * static_cast<double>(i) * (columns - 1);
        fillBox(x, top + 1.3 * layout.letter, std::max(1.0, layout.letter / 8.0),
                0.5 * layout.letter, ink, 1.0f, picture);
        drawText(words[i], x - 0.5 * textWidth(words[i], layout.letter), top + 2.2 * layout.letter,
                 layout.letter, ink, picture);
    }
    return top + barHeight * layout.letter;
}

/// A line of the key: a color, or none, and its words.
struct Line {
    std::optional<LinearColor> color;
    std::string words;
    bool isThin = false;
};

std::vector<Line> linesOf(SurfacePaint const& paint) {
    std::vector<Line> lines;
    for (SurfacePaint::Swatch const& swatch : paint.swatches)
        if (!swatch.label.empty())
            lines.push_back({swatch.color, swatch.label, swatch.isLine});
    if (paint.isZero)
        lines.push_back({mapOf(paint).at(paint.isSigned ? 0.5 : 0.0), "0 everywhere"});
    for (SurfacePaint::Aside const& aside : paint.asides)
        lines.push_back({aside.color, aside.label});
    return lines;
}

void drawLine(Line const& line, Layout const& layout, double y, Picture& picture) {
    double const thick = line.isThin ? 0.35 * layout.letter : 1.2 * layout.letter;
    if (line.color)
        fillBox(layout.left, y + 0.5 * (layout.letter - thick), 2.0 * layout.letter, thick,
                *line.color, 1.0f, picture);
    drawText(line.words, layout.left + (line.color ? 3.0 : 0.0) * layout.letter, y, layout.letter,
             ink, picture);
}

bool hasBar(SurfacePaint const& paint) {
    return !paint.values.empty() && !paint.isZero;
}

struct Extent {
    double width;
    double height;
};

Extent extentOf(SurfacePaint const& paint, std::vector<Line> const& lines, Layout const& layout) {
    Extent extent = {textWidth(paint.title, layout.letter), 0.0};
    for (Line const& line : lines)
        extent.width = std::max(extent.width, (line.color ? 3.0 : 0.0) * layout.letter +
                                                  textWidth(line.words, layout.letter));
    if (hasBar(paint))
        extent.width =
            std::max(extent.width, barWidth * layout.letter + 2.0 * insetOfBar(paint, layout));
    extent.height = (paint.title.empty() ? 0.0 : layout.line) +
                    (hasBar(paint) ? barHeight * layout.letter : 0.0) +
                    layout.line * static_cast<double>(lines.size()) - layout.line + layout.letter;
    return extent;
}

/// Many lines are written smaller, so that the surface is seen.
Layout smaller(Layout const& layout, int left, Extent const& extent, double panel) {
    double const share = extent.width * extent.height / panel;
    return share > mostOfPanel
               ? Layout(left, std::max(leastLetter, layout.letter * std::sqrt(mostOfPanel / share)))
               : layout;
}

}  // namespace

double textWidth(std::string const& text, double height) {
    double width = 0.0;
    for (char const letter : text)
        width += advanceOf(letter);
    return std::max(0.0, width - gap) * height / gridHeight;
}

double drawText(std::string const& text, double x, double y, double height,
                LinearColor const& color, Picture& picture) {
    double const unit = height / gridHeight;
    double place = x;
    for (char const letter : text) {
        drawLetter(letter, place, y, unit, color, picture);
        place += advanceOf(letter) * unit;
    }
    return place - x;
}

void drawKey(SurfacePaint const& paint, int left, int width, Picture& picture) {
    Layout const large = Layout::of(left, width, picture);
    if (paint.isPlain() || !large.fits(width, picture))
        return;
    std::vector<Line> const lines = linesOf(paint);
    Layout const layout =
        smaller(large, left, extentOf(paint, lines, large), double(width) * picture.height);
    Extent const extent = extentOf(paint, lines, layout);
    drawPlate(layout, extent.width, extent.height, picture);

    double y = layout.top;
    drawText(paint.title, layout.left, y, layout.letter, ink, picture);
    y += paint.title.empty() ? 0.0 : layout.line;
    if (hasBar(paint))
        y = drawBar(paint, layout, y, picture);
    for (Line const& line : lines) {
        drawLine(line, layout, y, picture);
        y += layout.line;
    }
}

void drawCaption(std::string const& text, int left, int width, Picture& picture) {
    Layout const layout = Layout::of(left, width, picture);
    double const wide = textWidth(text, layout.letter);
    if (wide > width || !layout.fits(width, picture))
        return;
    drawText(text, left + 0.5 * (width - wide), picture.height - 3.0 * layout.letter, layout.letter,
             ink, picture);
}

}  // namespace trimora
