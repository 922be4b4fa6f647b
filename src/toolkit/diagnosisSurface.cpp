// The states of a mesh that a diagnosis looks at. What one test has told is taken out of the way of the next: triangles
// with bad indices, duplicates and triangles without three corners in three places would each count as bad edges, too.

#include "toolkit/detail/diagnosis.h"
#include "toolkit/detail/surfaceCopies.h"
#include "toolkit/detail/vertexEdges.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshTidying.h"

#include "trimora/assembly/meshCompact.h"
#include "trimora/repair/meshDuplicateTris.h"

#include <cmath>
#include <cstdio>
#include <numeric>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshAdjTris;
using koGeom::MeshTriangle;
using koLinear::Point;

// A triangle soup: most sides of triangles are open, and a weld would take away this share of the vertices.
constexpr int soupShare = 4;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

bool isFinitePoint(Point const& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

std::vector<VertexPair> openEdges(CompactMesh const& mesh) {
    MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh, adjTris);
    std::vector<VertexPair> open;
    forEachEdge(mesh, adjTris, [&open](int low, int high, std::ptrdiff_t numUses) {
        if (numUses == 1)
            open.emplace_back(low, high);
    });
    return open;
}

bool namesTwice(MeshTriangle const& c) {
    return c[0] == c[1] || c[1] == c[2] || c[2] == c[0];
}

struct Seams {
    std::size_t numOpen;  // edges before
    std::vector<VertexPair> edges;
};

/// Open edges that a weld would close.
Seams seamsOf(CompactMesh const& mesh, koGeom::Remap const& weld) {
    CompactMesh welded = bareCopy(mesh);
    for (int t = 0; t < welded.getNumTriangles(); ++t)
        for (int k = 0; k < 3; ++k)
            welded.getTriangles()[t][k] = weld(welded.getTriangles()[t][k]);
    std::vector<VertexPair> const before = openEdges(mesh);
    std::vector<VertexPair> const after = openEdges(welded);
    Seams seams{before.size(), {}};
    for (VertexPair const& edge : before) {
        VertexPair const image(std::minmax(weld(edge.first), weld(edge.second)));
        if (image.first != image.second && !std::binary_search(after.begin(), after.end(), image))
            seams.edges.push_back(edge);
    }
    return seams;
}

}  // namespace

DiagnosisSurface::DiagnosisSurface(CompactMesh const& mesh) : asRead(mesh) {
    takeInRange();
    CompactMesh welded = bareCopy(inRange);
    koUtil::Progress unwatched;
    koGeom::meshCompact(welded, unwatched, weld);
    coincidentVertices = inRange.getNumVertices() - welded.getNumVertices();
    if (coincidentVertices > 0) {
        Seams const found = seamsOf(inRange, weld);
        bool const isOpen = 2 * found.numOpen > 3 * at(inRange.getNumTriangles());
        bool const isCrowd =
            soupShare * std::int64_t(coincidentVertices) >= std::int64_t(inRange.getNumVertices());
        seams = found.edges;
        isSoup = isOpen && isCrowd && !seams.empty();
    }
    if (isSoup)
        takeSoup(welded);
    else
        takeAsRead();
}

void DiagnosisSurface::takeSoup(CompactMesh const& welded) {
    vertexOf.assign(at(welded.getNumVertices()), -1);
    for (int v = inRange.getNumVertices() - 1; v >= 0; --v)
        vertexOf[at(weld(v))] = v;
    takeSurface(welded);
    adjTris = cache_.getAdjTris(surface);
}

void DiagnosisSurface::takeAsRead() {
    vertexOf.resize(at(inRange.getNumVertices()));
    std::iota(vertexOf.begin(), vertexOf.end(), 0);
    if (coincidentVertices == 0) {
        takeSurface(inRange);
        adjTris = cache_.getAdjTris(surface);
        return;
    }
    CompactMesh const joined = joinedAtDegenerate();
    takeSurface(joined);
    takeCopies();
    adjTris = cache_.getAdjTris(surface);
    if (surface.getNumTriangles() < inRange.getNumTriangles())
        seams = seamsOf(surface, weld).edges;
    tellCoincidences(joined);
}

/// `inRange` with one vertex for those in one place that a triangle joins: what lies on its sides hangs together there.
CompactMesh DiagnosisSurface::joinedAtDegenerate() const {
    std::vector<int> parents = vertexOf;
    auto const rootOf = [&parents](int v) {
        while (parents[at(v)] != v)
            v = parents[at(v)] = parents[at(parents[at(v)])];
        return v;
    };
    CompactMesh mesh = bareCopy(inRange);
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle const& c = mesh.getTriangles()[t];
        for (int k = 0; k < 3; ++k) {
            if (weld(c[k]) != weld(c[(k + 1) % 3]))
                continue;
            auto const [low, high] = std::minmax({rootOf(c[k]), rootOf(c[(k + 1) % 3])});
            parents[at(high)] = low;
        }
    }
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int k = 0; k < 3; ++k)
            mesh.getTriangles()[t][k] = rootOf(mesh.getTriangles()[t][k]);
    return mesh;
}

/// Takes out parts that lie on others; of what merely touches, nothing.
void DiagnosisSurface::takeCopies() {
    MeshAdjTris table;
    koGeom::meshAdjTris(surface, table);
    SurfaceCopies const found = findSurfaceCopies(surface, table, weld);
    for (auto const* const list : {&found.ofParts, &found.touching})
        for (int const t : *list)
            copies.push_back(triangleOf[at(t)]);
    std::sort(copies.begin(), copies.end());
    duplicates.insert(duplicates.end(), copies.begin(), copies.end());
    std::sort(duplicates.begin(), duplicates.end());
    if (found.ofParts.empty())
        return;
    std::vector<char> isOut(at(surface.getNumTriangles()), 0);
    for (int const t : found.ofParts)
        isOut[at(t)] = 1;
    CompactMesh const whole = bareCopy(surface);
    std::vector<int> const numbers = std::move(triangleOf);
    keep(whole, numbers, isOut);
}

void DiagnosisSurface::tellCoincidences(CompactMesh const& joined) {
    std::vector<char> isUsed(at(surface.getNumVertices()), 0);
    for (int t = 0; t < surface.getNumTriangles(); ++t)
        for (int const v : corners(t).vertices)
            isUsed[at(v)] = 1;
    // A vertex that was joined to another one, or that only triangles use which are told already.
    isCoincidenceTold.assign(isUsed.size(), 0);
    for (int t = 0; t < joined.getNumTriangles(); ++t)
        for (int k = 0; k < 3; ++k) {
            int const v = inRange.getTriangles()[t][k];
            int const joinedTo = joined.getTriangles()[t][k];
            isCoincidenceTold[at(v)] = v != joinedTo || isUsed[at(v)] == 0;
        }
    std::vector<char> isMet(isUsed.size(), 0);  // by number after the weld
    for (int v = 0; v < inRange.getNumVertices(); ++v) {
        if (isCoincidenceTold[at(v)] != 0)
            continue;
        char& wasMet = isMet[at(weld(v))];
        coincidentApart += wasMet;
        wasMet = 1;
    }
}

void DiagnosisSurface::takeInRange() {
    int const numVertices = asRead.getNumVertices();
    std::vector<int> corners;
    corners.reserve(3 * at(asRead.getNumTriangles()));
    for (int t = 0; t < asRead.getNumTriangles(); ++t) {
        MeshTriangle const& c = asRead.getTriangles()[t];
        bool const isIn = std::all_of(c.vertices, c.vertices + 3,
                                      [=](int v) { return v >= 0 && v < numVertices; });
        (isIn ? numberInRange : outOfRange).push_back(t);
        if (isIn)
            corners.insert(corners.end(), c.vertices, c.vertices + 3);
    }
    inRange = CompactMesh(numVertices, asRead.getVertices(), nullptr, nullptr, nullptr);
    inRange.copyTriangles(static_cast<int>(numberInRange.size()), corners.data());
}

void DiagnosisSurface::takeSurface(CompactMesh const& base) {
    koGeom::MeshDuplicateTrisResult bad;
    koGeom::meshDuplicateTris(base, bad);
    std::vector<char> isOut(at(base.getNumTriangles()), 0);
    for (int t = 0; t < base.getNumTriangles(); ++t)
        isOut[at(t)] = namesTwice(base.getTriangles()[t]);
    for (int const t : bad.duplicates) {
        if (isOut[at(t)] == 0)
            duplicates.push_back(numberInRange[at(t)]);
        isOut[at(t)] = 1;
    }
    for (int const t : bad.topoDegenerate)
        degenerate.push_back(numberInRange[at(t)]);
    std::sort(duplicates.begin(), duplicates.end());
    std::sort(degenerate.begin(), degenerate.end());
    keep(base, numberInRange, isOut);
}

/// The surface is what is not out.
void DiagnosisSurface::keep(CompactMesh const& base, std::vector<int> const& numbers,
                            std::vector<char> const& isOut) {
    std::vector<int> kept;
    triangleOf.clear();
    for (int t = 0; t < base.getNumTriangles(); ++t) {
        if (isOut[at(t)] != 0)
            continue;
        triangleOf.push_back(numbers[at(t)]);
        kept.insert(kept.end(), base.getTriangles()[t].vertices,
                    base.getTriangles()[t].vertices + 3);
    }
    surface = CompactMesh(base.getNumVertices(), base.getVertices(), nullptr, nullptr, nullptr);
    surface.copyTriangles(static_cast<int>(triangleOf.size()), kept.data());
}

bool DiagnosisSurface::isFinite(int triangle) const {
    MeshTriangle const& c = corners(triangle);
    return isFinitePoint(position(c[0])) && isFinitePoint(position(c[1])) &&
           isFinitePoint(position(c[2]));
}

Finding& DiagnosisRun::add(char const* kind, Finding::Severity severity, std::int64_t count,
                           std::string title, std::string meaning) {
    Finding& finding = result.findings.emplace_back();
    finding.kind = kind;
    finding.severity = severity;
    finding.count = count;
    finding.title = std::move(title);
    finding.meaning = std::move(meaning);
    return finding;
}

bool DiagnosisRun::has(char const* kind) const {
    return std::any_of(result.findings.begin(), result.findings.end(),
                       [kind](Finding const& finding) { return finding.kind == kind; });
}

namespace {

/// Finite points of a place, and which of them lies in the midst.
class PlacePoints {
public:
    explicit PlacePoints(CompactMesh const& mesh) : mesh_(mesh) {}

    void addMidpoint(int const* vertices, int count) {
        Point sum(0.0, 0.0, 0.0);
        int numFinite = 0;
        for (int i = 0; i < count; ++i) {
            if (vertices[i] < 0 || vertices[i] >= mesh_.getNumVertices())
                continue;
            Point const p = mesh_.getVertices()[vertices[i]].asPoint();
            if (!isFinitePoint(p))
                continue;
            sum += p.asVector();
            ++numFinite;
            extend(p);
        }
        if (numFinite > 0)
            middles_.push_back(Point(sum.x / numFinite, sum.y / numFinite, sum.z / numFinite));
    }

    void giveTo(FindingPlace& place) const {
        if (middles_.empty())
            return;
        koLinear::Vector sum;
        for (Point const& p : middles_)
            sum += p.asVector();
        double const share = 1.0 / static_cast<double>(middles_.size());
        Point const mean(share * sum.x, share * sum.y, share * sum.z);
        Point const nearest = *std::min_element(middles_.begin(), middles_.end(),
                                                [&mean](Point const& a, Point const& b) {
                                                    return distance2(a, mean) < distance2(b, mean);
                                                });
        place.centre = {nearest.x, nearest.y, nearest.z};
        place.lowest = {low_.x, low_.y, low_.z};
        place.highest = {high_.x, high_.y, high_.z};
    }

private:
    void extend(Point const& p) {
        low_.set(std::min(low_.x, p.x), std::min(low_.y, p.y), std::min(low_.z, p.z));
        high_.set(std::max(high_.x, p.x), std::max(high_.y, p.y), std::max(high_.z, p.z));
    }

    CompactMesh const& mesh_;
    std::vector<Point> middles_;
    Point low_ = Point(HUGE_VAL, HUGE_VAL, HUGE_VAL);
    Point high_ = Point(-HUGE_VAL, -HUGE_VAL, -HUGE_VAL);
};

template <class Element>
void cut(std::vector<Element>& elements, std::size_t most) {
    if (elements.size() > most)
        elements.resize(most);
}

}  // namespace

FindingPlace DiagnosisRun::place(PlaceElements elements) const {
    FindingPlace place;
    // Where nothing of it is finite, somewhere in the mesh.
    for (std::size_t k = 0; k < 3; ++k)
        place.centre[k] = 0.5 * result.lowest[k] + 0.5 * result.highest[k];
    place.lowest = place.highest = place.centre;

    // The midst of edges is on an edge, even where their triangles are told, too.
    PlacePoints points(of.asRead);
    for (auto const& edge : elements.edges)
        points.addMidpoint(edge.data(), 2);
    if (elements.edges.empty()) {
        for (int const v : elements.vertices)
            points.addMidpoint(&v, 1);
    }
    if (elements.edges.empty() && elements.vertices.empty()) {
        for (int const t : elements.triangles)
            points.addMidpoint(of.asRead.getTriangles()[t].vertices, 3);
    }
    points.giveTo(place);
    cut(elements.triangles, options.mostElements);
    cut(elements.vertices, options.mostElements);
    cut(elements.edges, options.mostElements);
    place.triangles = std::move(elements.triangles);
    place.vertices = std::move(elements.vertices);
    place.edges = std::move(elements.edges);
    return place;
}

FindingPlace DiagnosisRun::placeOfTriangle(int surfaceTriangle) const {
    return place({{of.triangleOf[at(surfaceTriangle)]}, {}, {}});
}

FindingPlace DiagnosisRun::placeOfVertex(int surfaceVertex) const {
    return place({{}, {of.vertexOf[at(surfaceVertex)]}, {}});
}

FindingPlace DiagnosisRun::placeOfEdge(int from, int to) const {
    PlaceElements elements;
    for (int const t : trianglesOnEdge(of, from, to))
        elements.triangles.push_back(of.triangleOf[at(t)]);
    elements.edges.push_back(edgeAsRead(from, to));
    return place(std::move(elements));
}

std::vector<int> trianglesOnEdge(DiagnosisSurface const& of, int from, int to) {
    int const end = of.adjTris->numTris(from) <= of.adjTris->numTris(to) ? from : to;
    int const other = end == from ? to : from;
    std::vector<int> triangles;
    int const* const around = of.adjTris->triIndices(end);
    for (int i = 0; i < of.adjTris->numTris(end); ++i) {
        MeshTriangle const& c = of.corners(around[i]);
        if (c[0] == other || c[1] == other || c[2] == other)
            triangles.push_back(around[i]);
    }
    return triangles;
}

std::string lengthInWords(double length) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g", length);
    return text;
}

}  // namespace trimora
