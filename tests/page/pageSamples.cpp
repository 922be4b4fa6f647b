#include "pageSamples.h"

#include "support/builders.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace pageSamples {

namespace {

using koGeom::CompactMesh;
using trimora::Diagnosis;
using trimora::Finding;
using trimora::FindingPlace;

/// Arrays that grow, and places of them.
class Builder {
public:
    explicit Builder(CompactMesh const& mesh)
        : coordinates_(support::coordinatesOf(mesh)), triangles_(support::trianglesOf(mesh)) {}

    int numVertices() const { return static_cast<int>(coordinates_.size() / 3); }
    int numTriangles() const { return static_cast<int>(triangles_.size() / 3); }
    int corner(int t, int i) const { return triangles_[static_cast<std::size_t>(3 * t + i)]; }
    double coordinate(int v, int i) const {
        return double(coordinates_[static_cast<std::size_t>(3 * v + i)]);
    }

    int addVertex(float x, float y, float z) {
        coordinates_.insert(coordinates_.end(), {x, y, z});
        return numVertices() - 1;
    }
    /// Before all others.
    int prependTriangle(int a, int b, int c) {
        triangles_.insert(triangles_.begin(), {a, b, c});
        return 0;
    }
    int addTriangle(int a, int b, int c) {
        triangles_.insert(triangles_.end(), {a, b, c});
        return numTriangles() - 1;
    }
    void turn(int t) {
        std::swap(triangles_[static_cast<std::size_t>(3 * t)],
                  triangles_[static_cast<std::size_t>(3 * t + 1)]);
    }

    int nearestVertex(double x, double y, double z) const {
        auto const distance = [&](int v) {
            return std::hypot(coordinate(v, 0) - x, coordinate(v, 1) - y, coordinate(v, 2) - z);
        };
        int nearest = 0;
        for (int v = 1; v < numVertices(); ++v)
            nearest = distance(v) < distance(nearest) ? v : nearest;
        return nearest;
    }
    std::vector<int> trianglesAt(int v) const {
        std::vector<int> found;
        for (int t = 0; t < numTriangles(); ++t)
            if (corner(t, 0) == v || corner(t, 1) == v || corner(t, 2) == v)
                found.push_back(t);
        return found;
    }
    void removeTriangles(std::vector<int> const& removed) {
        std::vector<int> kept;
        for (int t = 0; t < numTriangles(); ++t)
            if (std::find(removed.begin(), removed.end(), t) == removed.end())
                kept.insert(kept.end(), {corner(t, 0), corner(t, 1), corner(t, 2)});
        triangles_ = kept;
    }

    /// A place with the box of these elements, as far as they are finite.
    FindingPlace place(std::vector<int> const& triangles, std::vector<int> const& vertices,
                       std::vector<std::array<int, 2>> const& edges) const {
        FindingPlace made;
        made.triangles = triangles;
        made.vertices = vertices;
        made.edges = edges;
        made.lowest.fill(HUGE_VAL);
        made.highest.fill(-HUGE_VAL);
        for (int const v : verticesOf(made))
            for (int i = 0; i < 3; ++i) {
                auto const k = static_cast<std::size_t>(i);
                double const x = std::isfinite(coordinate(v, i)) ? coordinate(v, i) : 0.0;
                made.lowest[k] = std::min(made.lowest[k], x);
                made.highest[k] = std::max(made.highest[k], x);
                made.centre[k] = (made.lowest[k] + made.highest[k]) / 2.0;
            }
        return made;
    }
    CompactMesh mesh() const { return support::meshOf(coordinates_, triangles_); }

private:
    std::vector<int> verticesOf(FindingPlace const& place) const {
        std::vector<int> found = place.vertices;
        for (auto const& edge : place.edges)
            found.insert(found.end(), edge.begin(), edge.end());
        for (int const t : place.triangles)
            found.insert(found.end(), {corner(t, 0), corner(t, 1), corner(t, 2)});
        return found;
    }

    std::vector<float> coordinates_;
    std::vector<int> triangles_;
};

Finding makeFinding(char const* kind, Finding::Severity severity, char const* title,
                    std::vector<FindingPlace> places) {
    Finding finding;
    finding.kind = kind;
    finding.severity = severity;
    finding.title = title;
    finding.meaning = std::string("What it is, and what comes of it. ") + hostileText;
    finding.advice = "What to look at before anything is changed.";
    finding.remedy = "trimora repair IN OUT --only \"<" + std::string(kind) + ">\"";
    finding.isSure = severity != Finding::Severity::Slight;
    finding.count = static_cast<std::int64_t>(places.size());
    finding.places = std::move(places);
    return finding;
}

void fillCounts(Diagnosis& diagnosis, CompactMesh const& mesh) {
    diagnosis.vertices = mesh.getNumVertices();
    diagnosis.triangles = mesh.getNumTriangles();
    diagnosis.parts = 1;
    diagnosis.area = 12.5;
    diagnosis.lowest = {-1.0, -1.0, -1.0};
    diagnosis.highest = {1.0, 1.0, 1.0};
}

FindingPlace rimOf(Builder const& builder, std::vector<int> const& fan, int hub) {
    std::vector<std::array<int, 2>> edges;
    for (int const t : fan)
        for (int i = 0; i < 3; ++i)
            if (builder.corner(t, i) == hub)
                edges.push_back({builder.corner(t, (i + 1) % 3), builder.corner(t, (i + 2) % 3)});
    FindingPlace rim = builder.place({}, {}, edges);
    rim.measure = 0.5;
    rim.note = "border of " + std::to_string(edges.size()) + " edges, 0.5 long";
    return rim;
}

}  // namespace

Sample damagedSphere() {
    Builder builder(support::sphere(4));
    float const nan = std::numeric_limits<float>::quiet_NaN();
    int const unreal = builder.addVertex(nan, 0.0f, std::numeric_limits<float>::infinity());
    int const onIt = builder.prependTriangle(builder.nearestVertex(0, 0, -1),
                                             builder.nearestVertex(0, 1, 0), unreal);
    int const pole = builder.nearestVertex(0, 0, 1);
    std::vector<int> const hole = builder.trianglesAt(pole);
    FindingPlace const rim = rimOf(builder, hole, pole);
    builder.removeTriangles(hole);

    std::vector<int> const turned = builder.trianglesAt(builder.nearestVertex(1, 0, 0));
    for (int const t : turned)
        builder.turn(t);

    int const root = builder.trianglesAt(builder.nearestVertex(-1, 0, 0)).front();
    int const tip = builder.addVertex(-1.4f, 0.05f, 0.05f);
    int const fin = builder.addTriangle(builder.corner(root, 0), builder.corner(root, 1), tip);

    int const low = builder.trianglesAt(builder.nearestVertex(0, -1, 0)).front();
    int const needle =
        builder.addTriangle(builder.corner(low, 0), builder.corner(low, 1), builder.corner(low, 0));

    int const speck = builder.addVertex(1.2f, 1.0f, 0.0f);
    int const beside = builder.addVertex(1.21f, 1.0f, 0.0f);
    int const above = builder.addVertex(1.2f, 1.01f, 0.0f);
    int const dust = builder.addTriangle(speck, beside, above);

    int const unused = builder.addVertex(0.0f, 1.3f, 0.0f);

    std::array<int, 2> const finEdge = {builder.corner(root, 0), builder.corner(root, 1)};
    Sample sample = {builder.mesh(), {}};
    fillCounts(sample.diagnosis, sample.mesh);
    sample.diagnosis.boundaries = 1;
    using Severity = Finding::Severity;
    sample.diagnosis.findings = {
        makeFinding("nonFinite", Severity::Fatal, "1 vertex is not a number",
                    {builder.place({onIt}, {unreal}, {})}),
        makeFinding("winding", Severity::Severe, "Triangles are wound against their neighbours",
                    {builder.place(turned, {}, {})}),
        makeFinding("nonManifoldEdges", Severity::Severe, hostileText,
                    {builder.place({fin}, {}, {finEdge})}),
        makeFinding("holes", Severity::Moderate, "1 hole", {rim}),
        makeFinding("needles", Severity::Slight, "1 triangle has no area",
                    {builder.place({needle}, {}, {})}),
        makeFinding("dust", Severity::Slight, "1 part is dust", {builder.place({dust}, {}, {})}),
        makeFinding("unusedVertices", Severity::Note, "1 vertex is not used",
                    {builder.place({}, {unused}, {})}),
        makeFinding("scale", Severity::Note, "A finding without places", {}),
    };
    sample.diagnosis.findings[3].unit = "length";
    return sample;
}

Sample soundSphere() {
    Sample sample = {support::sphere(4), {}};
    fillCounts(sample.diagnosis, sample.mesh);
    sample.diagnosis.volume = 4.1;
    Builder const builder(sample.mesh);
    sample.diagnosis.findings = {makeFinding("valence", Finding::Severity::Note,
                                             "6 vertices have 4 edges",
                                             {builder.place({}, {0}, {})})};
    return sample;
}

Sample shiftedGrid() {
    Sample sample = largeGrid(2);
    sample.diagnosis.shift = {4000000.125, 0.0, 0.0};
    for (FindingPlace& place : sample.diagnosis.findings[0].places)
        place.centre = {0.0, 0.5, 0.0};
    return sample;
}

Sample largeGrid(int numX) {
    Sample sample = {support::grid(numX, numX), {}};
    fillCounts(sample.diagnosis, sample.mesh);
    Builder const builder(sample.mesh);
    sample.diagnosis.findings = {makeFinding("folds", Finding::Severity::Moderate, "1 fold",
                                             {builder.place({0, 1}, {}, {})})};
    return sample;
}

}  // namespace pageSamples
