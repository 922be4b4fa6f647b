#pragma once

#include "trimora/contract/koLinear/ranges.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>

/// A picture of the plane for the examples: y points up, the box of what is drawn fills the sheet.
///
/// Points are anything with x and y. Line widths, radii and letter heights are in pixels, colours as SVG has them ("teal", "#c33",
/// "none"). What is drawn later lies on top.
class Svg {
public:
    /// The sheet is `width` pixels wide, with a margin round the box.
    explicit Svg(koLinear::Range2d const& box, double width = 800.0) : box_(box) {
        koLinear::Point2 const extent = box.size();
        scale_ = (width - 2.0 * margin) / std::max({extent.x, extent.y, 1e-9});
        double const sheetWidth = extent.x * scale_ + 2.0 * margin;
        double const sheetHeight = extent.y * scale_ + 2.0 * margin;
        text_ = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + number(sheetWidth) +
                "\" height=\"" + number(sheetHeight) +
                "\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    }

    /// An open chain of lines.
    template <typename Points>
    void polyline(Points const& points, std::string const& colour, double width = 1.5) {
        shape("polyline", points, "none", colour, width);
    }
    /// A filled area with an outline; the last point need not repeat the first.
    template <typename Points>
    void polygon(Points const& points, std::string const& fill, std::string const& outline = "none",
                 double width = 1.0) {
        shape("polygon", points, fill, outline, width);
    }
    /// A dot.
    template <typename Position>
    void circle(Position const& centre, double radius, std::string const& fill) {
        text_ += "<circle cx=\"" + number(xOf(centre)) + "\" cy=\"" + number(yOf(centre)) +
                 "\" r=\"" + number(radius) + "\" fill=\"" + fill + "\"/>\n";
    }
    /// A line of text that begins at a point; without <, > and &.
    template <typename Position>
    void text(Position const& start, std::string const& words, double height = 14.0) {
        text_ += "<text x=\"" + number(xOf(start)) + "\" y=\"" + number(yOf(start)) +
                 "\" font-size=\"" + number(height) + "\" font-family=\"sans-serif\">" + words +
                 "</text>\n";
    }

    /// The whole picture as a document.
    std::string finished() const { return text_ + "</svg>\n"; }
    /// Writes it to a file; false when that fails.
    bool write(std::string const& path) const {
        std::ofstream file(path, std::ios::binary);
        file << finished();
        file.close();
        return !file.fail();
    }

private:
    static constexpr double margin = 20.0;

    static std::string number(double value) {
        char digits[32];
        std::snprintf(digits, sizeof digits, "%.2f", value);
        return digits;
    }
    template <typename Position>
    double xOf(Position const& p) const {
        return margin + (static_cast<double>(p.x) - box_.lower.x) * scale_;
    }
    template <typename Position>
    double yOf(Position const& p) const {
        return margin + (box_.upper.y - static_cast<double>(p.y)) * scale_;
    }
    template <typename Points>
    void shape(char const* name, Points const& points, std::string const& fill,
               std::string const& stroke, double width) {
        text_ += std::string("<") + name + " fill=\"" + fill + "\" stroke=\"" + stroke +
                 "\" stroke-width=\"" + number(width) + "\" points=\"";
        for (auto const& p : points)
            text_ += number(xOf(p)) + "," + number(yOf(p)) + " ";
        text_ += "\"/>\n";
    }

    koLinear::Range2d box_;
    double scale_;
    std::string text_;
};
