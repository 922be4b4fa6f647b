#include "toolkit/polylines.h"

#include "toolkit/detail/recentring.h"
#include "toolkit/detail/textLines.h"
#include "toolkit/detail/textNumbers.h"
#include "toolkit/readText.h"
#include "toolkit/writeText.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace trimora {

namespace {

using koLinear::Point;

/// Statements of OBJ files that say nothing about polylines.
bool isOtherStatement(std::string_view word) {
    constexpr std::string_view statements[] = {
        "vt",     "vn",       "vp",         "f",         "p",    "g",     "o",      "s",
        "mg",     "lod",      "bmat",       "step",      "curv", "curv2", "surf",   "parm",
        "trim",   "hole",     "scrv",       "sp",        "end",  "con",   "deg",    "cstype",
        "bevel",  "c_interp", "d_interp",   "ctech",     "call", "csh",   "usemtl", "mtllib",
        "usemap", "maplib",   "shadow_obj", "trace_obj", "stech"};
    return std::find(std::begin(statements), std::end(statements), word) != std::end(statements);
}

class PolylineReader {
public:
    PolylineReader(std::string_view text, std::string const& name, std::vector<Polyline>& polylines)
        : lines_(text), name_(name), polylines_(polylines) {}

    FileOutcome run();

private:
    void takeLine();
    void takeObjLine();
    void endPolyline();
    bool parsePoint(std::string_view first, Point& point);
    void fail(std::string const& what);

    TextLines lines_;
    std::string const& name_;
    std::vector<Polyline>& polylines_;
    std::vector<Point> objVertices_;
    Polyline current_;  // of plain text
    std::string problem_;
};

FileOutcome PolylineReader::run() {
    polylines_.clear();
    while (problem_.empty() && lines_.next())
        takeLine();
    endPolyline();
    if (problem_.empty() && polylines_.empty())
        problem_ =
            name_ + ": holds no curve; give OBJ lines ('l 1 2 3') or points x y z, one a line";
    if (problem_.empty())
        return FileOutcome::done();
    polylines_.clear();
    return FileOutcome::failed(FileOutcome::Failure::Unsupported, problem_);
}

void PolylineReader::takeLine() {
    std::string_view const first = lines_.word();
    Point point;
    if (first.empty()) {
        if (!lines_.hasComment())
            endPolyline();
    } else if (first == "v") {
        if (parsePoint(lines_.word(), point))
            objVertices_.push_back(point);
    } else if (first == "l") {
        takeObjLine();
    } else if (!isOtherStatement(first) && parsePoint(first, point)) {
        current_.push_back(point);
    }
}

void PolylineReader::takeObjLine() {
    Polyline polyline;
    for (std::string_view word = lines_.word(); !word.empty(); word = lines_.word()) {
        std::int64_t number = 0;
        std::int64_t const count = static_cast<std::int64_t>(objVertices_.size());
        if (!parseWhole(word.substr(0, word.find('/')), number))
            return fail("'" + std::string(word) + "' is no vertex number");
        std::int64_t const index = number < 0 ? count + number : number - 1;
        if (index < 0 || index >= count)
            return fail("there is no vertex " + std::to_string(number) + " above this line");
        polyline.push_back(objVertices_[static_cast<std::size_t>(index)]);
    }
    if (polyline.size() < 2)
        return fail("a line needs 2 points at least");
    polylines_.push_back(std::move(polyline));
}

void PolylineReader::endPolyline() {
    if (current_.size() == 1)
        fail("the curve that ends here has one point; it needs 2 at least");
    else if (!current_.empty())
        polylines_.push_back(current_);
    current_.clear();
}

bool PolylineReader::parsePoint(std::string_view first, Point& point) {
    std::string_view const words[3] = {first, lines_.word(), lines_.word()};
    double numbers[3];
    for (int k = 0; k < 3; ++k) {
        if (!parseWhole(words[k], numbers[k]) || !std::isfinite(numbers[k])) {
            fail("takes three finite numbers x y z, not '" + std::string(words[k].substr(0, 40)) +
                 "'; a comment begins with #");
            return false;
        }
    }
    point.set(numbers[0], numbers[1], numbers[2]);
    return true;
}

void PolylineReader::fail(std::string const& what) {
    if (problem_.empty())
        problem_ = name_ + ": line " + std::to_string(lines_.number()) + ": " + what;
}

bool isClosed(Polyline const& polyline) {
    return polyline.size() > 2 && polyline.front() == polyline.back();
}

/// Points without the one that a closed polyline ends with.
std::size_t numOwnPoints(Polyline const& polyline) {
    return polyline.size() - (isClosed(polyline) ? 1 : 0);
}

/// A line for each point, with `word` before it.
void appendVertices(Polyline const& polyline, char const* word, Shift const& shift,
                    std::string& text) {
    char digits[maxCoordinateSize];
    for (std::size_t i = 0; i < numOwnPoints(polyline); ++i) {
        text += word;
        Point const& p = polyline[i];
        std::size_t axis = 0;
        for (double const coordinate : {p.x, p.y, p.z}) {
            text += axis == 0 && *word == '\0' ? "" : " ";
            text.append(digits,
                        printCoordinate(digits, static_cast<float>(coordinate), shift[axis++]));
        }
        text += '\n';
    }
}

/// `first` is the number of its first vertex in the file, and becomes that of the next polyline's.
void appendLine(Polyline const& polyline, std::size_t& first, std::string& text) {
    text += 'l';
    for (std::size_t i = 0; i < polyline.size(); ++i)
        text += ' ' + std::to_string(first + i % numOwnPoints(polyline));
    text += '\n';
    first += numOwnPoints(polyline);
}

std::string objText(std::vector<Polyline> const& polylines, Shift const& shift) {
    std::string text;
    for (Polyline const& polyline : polylines)
        appendVertices(polyline, "v", shift, text);
    std::size_t first = 1;
    for (Polyline const& polyline : polylines)
        if (!polyline.empty())
            appendLine(polyline, first, text);
    return text;
}

std::string plyText(std::vector<Polyline> const& polylines, Shift const& shift) {
    std::string vertices;
    std::string edges;
    std::size_t numVertices = 0;
    std::size_t numEdges = 0;
    for (Polyline const& polyline : polylines) {
        appendVertices(polyline, "", shift, vertices);
        std::size_t const numOwn = numOwnPoints(polyline);
        for (std::size_t i = 1; i < polyline.size(); ++i, ++numEdges)
            edges += std::to_string(numVertices + i - 1) + ' ' +
                     std::to_string(numVertices + i % numOwn) + '\n';
        numVertices += numOwn;
    }
    std::string const type = isShift(shift) ? "double" : "float";
    std::string text =
        "ply\nformat ascii 1.0\nelement vertex " + std::to_string(numVertices) + '\n';
    for (char const* const axis : {"x", "y", "z"})
        text += "property " + type + ' ' + axis + '\n';
    text += "element edge " + std::to_string(numEdges) +
            "\nproperty int vertex1\nproperty int vertex2\nend_header\n";
    return text + vertices + edges;
}

bool isPly(std::string_view path) {
    constexpr std::string_view extension = ".ply";
    return path.size() > extension.size() &&
           std::equal(
               extension.begin(), extension.end(), path.end() - extension.size(),
               [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? b - 'A' + 'a' : b); });
}

}  // namespace

FileOutcome readPolylinesText(std::string_view text, std::string const& name,
                              std::vector<Polyline>& polylines) {
    return PolylineReader(text, name, polylines).run();
}

FileOutcome readPolylines(std::string const& path, std::vector<Polyline>& polylines,
                          std::uint64_t maxBytes) {
    std::string text;
    if (FileOutcome const read = readText(path, maxBytes, text); !read)
        return read;
    return readPolylinesText(text, path == "-" ? "standard input" : path, polylines);
}

FileOutcome writePolylines(std::string const& path, std::vector<Polyline> const& polylines,
                           std::array<double, 3> const& shift) {
    return writeText(path, isPly(path) ? plyText(polylines, shift) : objText(polylines, shift));
}

}  // namespace trimora
