// Triangles that are wrong by themselves or with their neighbour: duplicates, those without area, needles, folds, and vertices
// on which a great many of them meet.

#include "toolkit/detail/diagnosis.h"
#include "toolkit/meshCounts.h"

#include "trimora/repair/meshFindAnglesLessThan.h"

#include <cmath>
#include <numeric>

namespace trimora {

namespace {

using koLinear::Point;
using koLinear::Vector;
using Severity = Finding::Severity;

// A closed surface has 6 triangles a vertex on average; tips of cones and poles have some dozens.
constexpr int manyTriangles = 100;
constexpr int crowdOfTriangles = 1000;

struct Measured {
    int element;
    double measure;
};

bool isLess(Measured const& a, Measured const& b) {
    return a.measure != b.measure ? a.measure < b.measure : a.element < b.element;
}

bool isGreater(Measured const& a, Measured const& b) {
    return a.measure != b.measure ? a.measure > b.measure : a.element < b.element;
}

void diagnoseDuplicates(DiagnosisRun& run) {
    auto const count = std::int64_t(run.of.duplicates.size());
    if (count == 0)
        return;
    auto const numCopies = std::int64_t(run.of.copies.size());
    std::string meaning =
        "Surface that is there twice flickers when it is drawn, counts twice, and its edges have "
        "too many triangles";
    if (numCopies == count)
        meaning += " once the vertices, which are there twice as well, are welded.";
    else if (numCopies > 0)
        meaning += "; of " + std::to_string(numCopies) + " the vertices are there twice as well.";
    else
        meaning += ".";
    Finding& finding = run.add("duplicateTriangles", Severity::Moderate, count,
                               countInWords(count, "triangle lies", "triangles lie") +
                                   " on another one with the same corners",
                               meaning);
    if (numCopies > 0)
        finding.advice = "Solids that touch in a wall are better joined in "
                         "the program that they came from.";
    std::vector<int> items = run.of.duplicates;
    run.addPlaces(finding, items, std::less<>(), [&run](int t) {
        return run.place({{t}, {}, {}});
    });
}

/// Those without three places, and those of which the places are on one line.
void diagnoseDegenerate(DiagnosisRun& run, std::vector<int> const& collinear) {
    std::vector<int> items = run.of.degenerate;
    items.insert(items.end(), collinear.begin(), collinear.end());
    auto const count = std::int64_t(items.size());
    if (count == 0)
        return;
    // Those that are there twice are among the collinear ones once.
    bool const isAll = static_cast<int>(collinear.size()) == run.of.surface.getNumTriangles();
    Finding& finding =
        run.add("degenerateTriangles", isAll ? Severity::Fatal : Severity::Moderate, count,
                countInWords(count, "triangle has", "triangles have") + " no area" +
                    (isAll ? ", which are all there are" : ""),
                "Two corners are one vertex or lie in one place, or all three lie on a line: there "
                "is no area and no normal, and algorithms divide by both.");
    if (isAll)
        finding.advice =
            "There is no surface to be mended. Find out in the program that wrote the file whether "
            "it was scaled to nothing, or its coordinates rounded away.";
    else if (!collinear.empty())
        finding.advice =
            countInWords(std::int64_t(collinear.size()), "triangle has", "triangles have") +
            " three corners on one line, which the repair leaves: there the longest edge is to be "
            "swapped for one from the middle corner to the triangle on its other side.";
    run.addPlaces(finding, items, std::less<>(), [&run](int t) {
        return run.place({{t}, {}, {}});
    });
}

/// Height by longest edge, 0 exactly where the corners are on one line; 1 for what is no triangle, which another finding tells.
double heightRatio(DiagnosisSurface const& of, int triangle) {
    koGeom::MeshTriangle const& c = of.corners(triangle);
    Point const p[3] = {of.position(c[0]), of.position(c[1]), of.position(c[2])};
    double longest = 0.0;
    double shortest = HUGE_VAL;
    for (int k = 0; k < 3; ++k) {
        double const squared = distance2(p[k], p[(k + 1) % 3]);
        longest = std::max(longest, squared);
        shortest = std::min(shortest, squared);
    }
    double const ratio = of.areaVector(triangle).length() / longest;
    return shortest > 0.0 && std::isfinite(ratio) ? ratio : 1.0;
}

void diagnoseNeedles(DiagnosisRun& run, std::vector<Measured>& needles) {
    auto const count = std::int64_t(needles.size());
    if (count == 0)
        return;
    Finding& finding = run.add(
        "needleTriangles", Severity::Slight, count,
        countInWords(count, "triangle is a needle", "triangles are needles"),
        "The height is less than " + lengthInWords(run.options.needleRatio) +
            " of the longest edge: normals are unsafe there, and simulations slow or wrong.");
    finding.unit = "height by longest edge";
    run.addPlaces(finding, needles, isLess, [&run](Measured const& needle) {
        FindingPlace place = run.placeOfTriangle(needle.element);
        place.measure = needle.measure;
        return place;
    });
}

/// Degenerate triangles and needles, which differ in whether there is any height.
void diagnoseThin(DiagnosisRun& run) {
    std::vector<Measured> needles;
    std::vector<int> collinear;
    for (int t = 0; t < run.of.surface.getNumTriangles(); ++t) {
        double const ratio = heightRatio(run.of, t);
        if (ratio == 0.0)
            collinear.push_back(run.of.triangleOf[static_cast<std::size_t>(t)]);
        else if (ratio < run.options.needleRatio)
            needles.push_back({t, ratio});
    }
    diagnoseDegenerate(run, collinear);
    diagnoseNeedles(run, needles);
}

void diagnoseValence(DiagnosisRun& run) {
    std::vector<Measured> crowded;
    for (int v = 0; v < run.of.surface.getNumVertices(); ++v)
        if (int const count = run.of.adjTris->numTris(v); count > manyTriangles)
            crowded.push_back({v, static_cast<double>(count)});
    if (crowded.empty())
        return;
    auto const count = std::int64_t(crowded.size());
    bool const isExtreme = std::any_of(crowded.begin(), crowded.end(), [](Measured const& item) {
        return item.measure > crowdOfTriangles;
    });
    Finding& finding = run.add(
        "crowdedVertices", isExtreme ? Severity::Slight : Severity::Note, count,
        countInWords(count, "vertex has", "vertices have") + " more than " +
            std::to_string(manyTriangles) + " triangles",
        "Such fans are long and thin triangles; smoothing and subdividing look bad there, and "
        "some work takes longer.");
    finding.advice =
        "Where it matters, put rings of vertices between the middle and the rim in the "
        "program that the mesh came from.";
    finding.unit = "triangles";
    run.addPlaces(finding, crowded, isGreater, [&run](Measured const& item) {
        FindingPlace place = run.placeOfVertex(item.element);
        place.measure = item.measure;
        place.note = countInWords(std::int64_t(item.measure), "triangle");
        return place;
    });
}

struct Fold {
    VertexPair edge;
    double opening;  // degrees
};

/// Of the two triangles on an edge: 180 where they are one plane, 0 where they lie on each other. Nothing where one has no area.
std::optional<double> openingAt(DiagnosisSurface const& of, int from, int to) {
    std::vector<int> const triangles = trianglesOnEdge(of, from, to);
    if (triangles.size() != 2)
        return std::nullopt;
    Vector const a = of.areaVector(triangles[0]);
    Vector const b = of.areaVector(triangles[1]);
    double const angle = std::atan2(cross(a, b).length(), dot(a, b));
    constexpr double inDegrees = 57.29577951308232;
    bool const haveArea = a.length() > 0.0 && b.length() > 0.0 && std::isfinite(angle);
    return haveArea ? std::optional(180.0 - angle * inDegrees) : std::nullopt;
}

}  // namespace

void diagnoseTriangles(DiagnosisRun& run) {
    diagnoseDuplicates(run);
    diagnoseThin(run);
    diagnoseValence(run);
}

void diagnoseFolds(DiagnosisRun& run) {
    koGeom::MeshDihedralAnglesResult found;
    koGeom::meshFindAnglesLessThan(run.of.surface, *run.of.adjTris, run.options.foldAngle, found);
    std::vector<Fold> folds;
    for (auto const& [from, to] : found.edges)
        if (auto const opening = openingAt(run.of, from, to))
            folds.push_back({VertexPair(from, to), *opening});
    if (folds.empty())
        return;
    auto const count = std::int64_t(folds.size());
    std::string const angle = lengthInWords(run.options.foldAngle);
    Finding& finding = run.add(
        "folds", Severity::Moderate, count, countInWords(count, "edge is", "edges are") + " folded",
        "Two neighbours open by no more than " + angle +
            " degrees, so that they lie back to back: creases that are seen, and that offsets "
            "and simulations stumble over. A blade may be meant to be so sharp.");
    finding.unit = "degrees";
    run.addPlaces(
        finding, folds,
        [](Fold const& a, Fold const& b) {
            return a.opening != b.opening ? a.opening < b.opening : a.edge < b.edge;
        },
        [&run](Fold const& fold) {
            FindingPlace place = run.placeOfEdge(fold.edge.first, fold.edge.second);
            place.measure = fold.opening;
            place.note = "opens by " + lengthInWords(fold.opening) + " degrees";
            return place;
        });
}

void diagnoseScale(DiagnosisRun& run) {
    constexpr double smallest = 1e-4;
    constexpr double largest = 1e7;
    constexpr double coarse = 1e-3;  // of the mean edge: a float's step that is seen
    constexpr double farthestWhole = 1e15;
    constexpr int leastPower = -37;  // of ten, that a float holds in full
    constexpr int mostPower = 38;

    double extents[3];
    double farthest = 0.0;
    for (std::size_t k = 0; k < 3; ++k) {
        extents[k] = run.result.highest[k] - run.result.lowest[k];
        farthest =
            std::max({farthest, std::fabs(run.result.lowest[k]), std::fabs(run.result.highest[k])});
    }
    double const diagonal =
        std::sqrt(extents[0] * extents[0] + extents[1] * extents[1] + extents[2] * extents[2]);
    if (run.of.surface.getNumTriangles() == 0 || !(diagonal > 0.0))
        return;
    if (diagonal < smallest || diagonal > largest) {
        int const power =
            std::clamp(-static_cast<int>(std::floor(std::log10(diagonal))), leastPower, mostPower);
        std::string const s = lengthInWords(std::pow(10.0, power));
        Finding& finding =
            run.add("extremeScale", Severity::Slight, 1,
                    std::string("The mesh is extremely ") + (diagonal < 1.0 ? "small" : "large") +
                        ": " + lengthInWords(diagonal) + " across",
                    "Tolerances of programs are lengths: they see nothing here, or everything as "
                    "one point. "
                    "Most likely the unit is wrong.");
        finding.remedy =
            "trimora merge OUT IN --matrix 1:" + s + ",0,0,0," + s + ",0,0,0," + s + ",0,0,0";
        finding.unit = "length";
        finding.places.push_back(run.place({{}, {}, {}}));
        finding.places.back().measure = diagonal;
    }
    double lengths = 0.0;
    std::int64_t numEdges = 0;
    for (int t = 0; t < run.of.surface.getNumTriangles(); ++t)
        for (int k = 0; k < 3 && run.of.isFinite(t); ++k, ++numEdges)
            lengths += distance(run.of.position(run.of.corners(t)[k]),
                                run.of.position(run.of.corners(t)[(k + 1) % 3]));
    double const step = farthest * std::ldexp(1.0, -24);
    bool const isFar = farthest > 2.0 * diagonal;
    if (isFar && numEdges > 0 && step * static_cast<double>(numEdges) > coarse * lengths) {
        Finding& finding = run.add(
            "farFromOrigin", Severity::Moderate, 1, "The mesh lies far away from the origin",
            "At " + lengthInWords(farthest) + " floats are " + lengthInWords(2.0 * step) +
                " apart, which is " +
                lengthInWords(200.0 * step * static_cast<double>(numEdges) / lengths) +
                " % of an edge: the surface is rough, and cannot be worked on finely.");
        std::string offset;
        for (std::size_t k = 0; farthest < farthestWhole && k < 3; ++k)
            offset += "," + std::to_string(-std::llround(0.5 * run.result.lowest[k] +
                                                         0.5 * run.result.highest[k]));
        if (!offset.empty())
            finding.remedy = "trimora merge OUT IN --matrix 1:1,0,0,0,1,0,0,0,1" + offset;
        finding.advice =
            "Moving it to the origin lets work go on, but brings back no digits that are "
            "lost: better is to move it in the program that it came from.";
        finding.unit = "length";
        finding.places.push_back(run.place({{}, {}, {}}));
        finding.places.back().measure = farthest;
    }
    if (*std::min_element(extents, extents + 3) == 0.0)
        run.add("flat", Severity::Note, 1, "The mesh is flat",
                "All vertices lie in one plane along the axes.");
}

}  // namespace trimora
