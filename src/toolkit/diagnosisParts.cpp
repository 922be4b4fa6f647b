// Parts, and which of them are closed: their volumes tell whether they are inside out. A closed part inside an odd number of
// others bounds a cavity and is to be wound the other way.

#include "toolkit/detail/diagnosis.h"
#include "toolkit/meshCounts.h"

#include "trimora/connectivity/meshComponents.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/spatial/MeshPtInside.h"

#include <cmath>
#include <limits>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koLinear::Point;
using koLinear::Vector;
using Severity = Finding::Severity;

// Of the volume of a ball with the part's area: a sheet with two sides has none.
constexpr double leastVolume = 1e-6;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

struct Part {
    std::vector<int> triangles;  // of the surface
    double area = 0.0;
    double volume = 0.0;
    bool isClosed = true;  // each edge has two triangles, wound alike
    Point low = Point(HUGE_VAL, HUGE_VAL, HUGE_VAL);
    Point high = Point(-HUGE_VAL, -HUGE_VAL, -HUGE_VAL);
    std::vector<Part const*> around;  // closed parts that it lies in

    bool hasVolume() const {
        constexpr double pi = 3.141592653589793;
        return isClosed && std::fabs(volume) > leastVolume * area * std::sqrt(area / pi) / 6.0;
    }
    bool isInHollow() const { return around.size() % 2 == 0; }  // or outside of all
    bool isInsideOut() const { return hasVolume() && volume < 0.0 && isInHollow(); }
    /// Whether it bounds a cavity once the part right round it is turned.
    bool isTurnedAlong() const {
        return hasVolume() && volume > 0.0 && !isInHollow() &&
               (*std::max_element(around.begin(), around.end(), [](Part const* a, Part const* b) {
                   return a->around.size() < b->around.size();
               }))->isInsideOut();
    }
    bool liesIn(Part const& outer) const {
        return outer.low.x < low.x && outer.low.y < low.y && outer.low.z < low.z &&
               high.x < outer.high.x && high.y < outer.high.y && high.z < outer.high.z;
    }
};

class PartDiagnosis {
public:
    PartDiagnosis(DiagnosisRun& run, DiagnosisEdges const& edges) : run_(run), edges_(edges) {}

    void find();
    std::vector<std::vector<int>> trianglesToTurn();

private:
    void gather();
    void measure(Part& part) const;
    void markOpen(VertexPair const& edge) { parts_[at(componentOf_[edge.first])].isClosed = false; }
    void tellTotals() const;
    void nest();
    void nestIn(Part const& outer, std::vector<Part*> const& inner) const;
    void tellParts();
    void tellDust();
    void tellNested();
    FindingPlace placeOf(Part const& part) const;
    void tell(Finding& finding, std::vector<Part const*>& parts, bool isAscending) const;

    DiagnosisRun& run_;
    DiagnosisEdges const& edges_;
    koGeom::Array<int> componentOf_;
    std::vector<Part> parts_;
    double area_ = 0.0;
};

void PartDiagnosis::find() {
    gather();
    tellTotals();
    nest();
    tellNested();
    tellDust();
    tellParts();
}

std::vector<std::vector<int>> PartDiagnosis::trianglesToTurn() {
    gather();
    nest();
    std::vector<std::vector<int>> all;
    for (Part const& part : parts_) {
        if (!part.isInsideOut() && !part.isTurnedAlong())
            continue;
        std::vector<int>& triangles = all.emplace_back();
        for (int const t : part.triangles)
            triangles.push_back(run_.of.triangleOf[at(t)]);
    }
    return all;
}

void PartDiagnosis::gather() {
    CompactMesh const& surface = run_.of.surface;
    parts_.resize(at(koGeom::meshComponents(surface, *run_.of.adjTris, &componentOf_)));
    for (int t = 0; t < surface.getNumTriangles(); ++t)
        parts_[at(componentOf_[run_.of.corners(t)[0]])].triangles.push_back(t);
    for (Part& part : parts_) {
        measure(part);
        area_ += part.area;
    }
    for (VertexPair const& edge : edges_.open)
        markOpen(edge);
    for (VertexPair const& edge : edges_.runAlike)
        markOpen(edge);
    for (DiagnosisEdges::Crowded const& crowded : edges_.crowded)
        markOpen(crowded.edge);
}

/// What is NaN or infinite counts as nothing, and keeps the part from being closed.
void PartDiagnosis::measure(Part& part) const {
    Point origin(0.0, 0.0, 0.0);
    bool hasOrigin = false;
    for (int const t : part.triangles) {
        if (!run_.of.isFinite(t)) {
            part.isClosed = false;
            continue;
        }
        koGeom::MeshTriangle const& c = run_.of.corners(t);
        if (!hasOrigin)
            origin = run_.of.position(c[0]);
        hasOrigin = true;
        Vector const area = run_.of.areaVector(t);
        part.area += 0.5 * area.length();
        part.volume += dot(area, run_.of.position(c[0]) - origin) / 6.0;
        for (int const v : c.vertices) {
            Point const p = run_.of.position(v);
            part.low.set(std::min(part.low.x, p.x), std::min(part.low.y, p.y),
                         std::min(part.low.z, p.z));
            part.high.set(std::max(part.high.x, p.x), std::max(part.high.y, p.y),
                          std::max(part.high.z, p.z));
        }
    }
}

void PartDiagnosis::tellTotals() const {
    Diagnosis& result = run_.result;
    result.parts = static_cast<int>(parts_.size());
    result.area = area_;
    bool const isClosed =
        std::all_of(parts_.begin(), parts_.end(), [](Part const& part) { return part.isClosed; });
    if (!isClosed || parts_.empty())
        return;
    double volume = 0.0;
    for (Part const& part : parts_)
        volume += part.volume;
    result.volume = volume;
}

/// Finds for each closed part the closed ones round it. Boxes sort nearly all pairs out.
void PartDiagnosis::nest() {
    std::vector<Part*> solids;
    for (Part& part : parts_)
        if (part.hasVolume())
            solids.push_back(&part);
    std::sort(solids.begin(), solids.end(), [](Part const* a, Part const* b) {
        return a->low.x != b->low.x ? a->low.x < b->low.x : a < b;
    });
    for (std::size_t i = 0; i < solids.size() && !run_.progress.cancelled(); ++i) {
        std::vector<Part*> inner;
        for (std::size_t k = i + 1; k < solids.size() && solids[k]->low.x < solids[i]->high.x; ++k)
            if (solids[k]->liesIn(*solids[i]))
                inner.push_back(solids[k]);
        if (!inner.empty())
            nestIn(*solids[i], inner);
    }
}

void PartDiagnosis::nestIn(Part const& outer, std::vector<Part*> const& inner) const {
    CompactMesh mesh;
    std::vector<int> numberOf(at(run_.of.surface.getNumVertices()), -1);
    std::vector<koGeom::MeshVertex> vertices;
    std::vector<int> corners;
    for (int const t : outer.triangles)
        for (int const v : run_.of.corners(t).vertices) {
            int& number = numberOf[at(v)];
            if (number < 0) {
                number = static_cast<int>(vertices.size());
                vertices.push_back(run_.of.surface.getVertices()[v]);
            }
            corners.push_back(number);
        }
    mesh =
        CompactMesh(static_cast<int>(vertices.size()), vertices.data(), nullptr, nullptr, nullptr);
    mesh.copyTriangles(static_cast<int>(outer.triangles.size()), corners.data());
    koGeom::meshComputeNormals(mesh);
    koGeom::SimpleMeshCache cache;
    auto const octree = cache.getOctree(mesh, -1);
    auto const octreeTris = cache.getOctreeTris(mesh);
    koGeom::MeshPtInside test(mesh, *octree, *octreeTris, 0.0);
    // Of a part that is inside out the normals point inward.
    auto const expected = outer.volume > 0.0 ? koGeom::MeshPtInside::Result::Inside
                                             : koGeom::MeshPtInside::Result::Outside;
    for (Part* const part : inner) {
        Point const p = run_.of.position(run_.of.corners(part->triangles.front())[0]);
        if (test.evaluate(p) == expected)
            part->around.push_back(&outer);
    }
}

FindingPlace PartDiagnosis::placeOf(Part const& part) const {
    PlaceElements elements;
    for (int const t : part.triangles)
        elements.triangles.push_back(run_.of.triangleOf[at(t)]);
    FindingPlace place = run_.place(std::move(elements));
    place.measure = part.area;
    place.note = countInWords(std::int64_t(part.triangles.size()), "triangle") + ", area " +
                 lengthInWords(part.area);
    if (part.hasVolume())
        place.note += ", volume " + lengthInWords(part.volume);
    return place;
}

/// The places by area, equal ones by their first triangle.
void PartDiagnosis::tell(Finding& finding, std::vector<Part const*>& parts,
                         bool isAscending) const {
    finding.unit = "area";
    run_.addPlaces(
        finding, parts,
        [isAscending](Part const* a, Part const* b) {
            return a->area != b->area ? (a->area < b->area) == isAscending
                                      : a->triangles.front() < b->triangles.front();
        },
        [this](Part const* part) { return placeOf(*part); });
}

void PartDiagnosis::tellNested() {
    std::vector<Part const*> insideOut;
    std::vector<Part const*> cavities;
    std::vector<Part const*> nested;
    for (Part const& part : parts_) {
        if (!part.hasVolume())
            continue;
        if (part.volume < 0.0)
            (part.isInHollow() ? insideOut : cavities).push_back(&part);
        else if (!part.isInHollow())
            nested.push_back(&part);
    }
    if (auto const count = std::int64_t(insideOut.size()); count > 0) {
        Finding& finding =
            run_.add("insideOutParts", Severity::Severe, count,
                     countInWords(count, "closed part is", "closed parts are") + " inside out",
                     "All triangles face inward and the volume is negative: it is drawn dark or "
                     "not at all, and "
                     "taken for a hole in the material.");
        tell(finding, insideOut, false);
    }
    if (auto const count = std::int64_t(cavities.size()); count > 0)
        tell(run_.add(
                 "cavities", Severity::Note, count,
                 countInWords(count, "closed part bounds a cavity", "closed parts bound cavities"),
                 "They lie inside other parts and face inward, as the wall of a hollow does."),
             cavities, false);
    if (auto const count = std::int64_t(nested.size()); count > 0) {
        Finding& finding = run_.add(
            "nestedParts", Severity::Note, count,
            countInWords(count, "closed part lies", "closed parts lie") + " inside another one",
            insideOut.empty()
                ? "It faces outward where the wall of a hollow faces inward: material within "
                  "material."
                : "It faces outward. Once the parts round it do so, too, it is material within "
                  "material where the wall of a hollow faces inward.");
        finding.advice =
            "If it is to be a hollow, its triangles have to be turned over; if it is not "
            "needed, 'trimora split IN OUT --components' parts it from the others.";
        tell(finding, nested, false);
    }
}

void PartDiagnosis::tellDust() {
    std::vector<Part const*> dust;
    for (Part const& part : parts_)
        if (part.area < run_.options.dustShare * area_)
            dust.push_back(&part);
    auto const count = std::int64_t(dust.size());
    if (count == 0)
        return;
    Finding& finding = run_.add(
        "dust", Severity::Slight, count, countInWords(count, "part is", "parts are") + " dust",
        "Each has less than " + lengthInWords(100.0 * run_.options.dustShare) +
            " % of the area: left-overs of scanning or cutting, most likely.");
    tell(finding, dust, true);
}

void PartDiagnosis::tellParts() {
    auto const count = std::int64_t(parts_.size());
    if (count < 2)
        return;
    Finding& finding =
        run_.add("parts", Severity::Note, count, "The mesh has " + countInWords(count, "part"),
                 "They hang together nowhere, not even in a vertex.");
    finding.advice = "'trimora split IN OUT --components' writes each to a file of its own.";
    std::vector<Part const*> all;
    for (Part const& part : parts_)
        all.push_back(&part);
    tell(finding, all, false);
}

}  // namespace

std::vector<std::vector<int>> findPartsInsideOut(DiagnosisRun& run, DiagnosisEdges const& edges) {
    return PartDiagnosis(run, edges).trianglesToTurn();
}

void diagnoseParts(DiagnosisRun& run, DiagnosisEdges const& edges) {
    PartDiagnosis(run, edges).find();
}

}  // namespace trimora
