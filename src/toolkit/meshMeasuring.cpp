// A copy of the mesh is brought to the origin, measured there by the core, and the results are moved back: with c the
// middle of the box and s the scale, the integral of x over the solid is that of the copy by s^4, plus V c; that of x^2 by s^5,
// plus 2 c times the first one about c, plus V c^2.

#include "toolkit/meshMeasuring.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/meshParts.h"
#include "toolkit/meshTidying.h"

#include "trimora/measure/MeshMassCalculator.h"

#include <algorithm>
#include <cmath>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshMassCalculator;
using Triple = std::array<double, 3>;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

/// The edges of a mesh, each once, with the triangles on it. Half-edges are sorted into one bucket for each lower vertex.
class EdgeCount {
public:
    EdgeCount(CompactMesh const& mesh, MeshMeasures& measures) : mesh_(mesh), measures_(measures) {}

    void run();

private:
    struct HalfEdge {
        int higher;  // vertex
        bool isUp;   // from the lower to the higher one
        bool operator<(HalfEdge const& other) const { return higher < other.higher; }
    };

    template <typename Use>
    void forEachHalfEdge(Use const& use) const;
    void countBucket(int lower, HalfEdge* begin, HalfEdge* end);
    void countEdge(int lower, HalfEdge const* begin, HalfEdge const* end);

    CompactMesh const& mesh_;
    MeshMeasures& measures_;
    double sum_ = 0.0;
};

template <typename Use>
void EdgeCount::forEachHalfEdge(Use const& use) const {
    int const* const corners = mesh_.getTrianglesRaw();
    for (std::ptrdiff_t t = 0; t < mesh_.getNumTriangles(); ++t) {
        for (int k = 0; k < 3; ++k) {
            int const from = corners[3 * t + k];
            int const to = corners[3 * t + (k + 1) % 3];
            if (from != to)
                use(from, to);
        }
    }
}

void EdgeCount::run() {
    std::vector<std::size_t> ends(at(mesh_.getNumVertices()) + 1, 0);
    forEachHalfEdge([&](int from, int to) { ++ends[at(std::min(from, to)) + 1]; });
    for (std::size_t v = 1; v < ends.size(); ++v)
        ends[v] += ends[v - 1];
    std::vector<HalfEdge> halfEdges(ends.back());
    std::vector<std::size_t> places(ends.begin(), ends.end() - 1);
    forEachHalfEdge([&](int from, int to) {
        halfEdges[places[at(std::min(from, to))]++] = {std::max(from, to), from < to};
    });
    for (int v = 0; v < mesh_.getNumVertices(); ++v)
        countBucket(v, halfEdges.data() + ends[at(v)], halfEdges.data() + ends[at(v) + 1]);
    if (measures_.edges > 0)
        measures_.meanEdge = sum_ / static_cast<double>(measures_.edges);
}

void EdgeCount::countBucket(int lower, HalfEdge* begin, HalfEdge* end) {
    std::sort(begin, end);
    while (begin != end) {
        HalfEdge* const next = std::upper_bound(begin, end, *begin);
        countEdge(lower, begin, next);
        begin = next;
    }
}

void EdgeCount::countEdge(int lower, HalfEdge const* begin, HalfEdge const* end) {
    koGeom::MeshVertex const* const vertices = mesh_.getVertices();
    double const length = distance(vertices[lower].asPoint(), vertices[begin->higher].asPoint());
    sum_ += length;
    measures_.longestEdge = std::max(measures_.longestEdge, length);
    ++measures_.edges;
    auto const numTriangles = end - begin;
    measures_.openEdges += numTriangles == 1 ? 1 : 0;
    measures_.turnedEdges += numTriangles == 2 && begin->isUp == (begin + 1)->isUp ? 1 : 0;
    measures_.nonManifoldEdges += numTriangles > 2 ? 1 : 0;
}

/// Of a mesh with vertices, all of them used.
void measureBox(CompactMesh const& mesh, MeshMeasures& measures) {
    auto const first = mesh.getVertices()[0].asPoint();
    measures.low = measures.high = {first.x, first.y, first.z};
    for (int v = 1; v < mesh.getNumVertices(); ++v) {
        auto const p = mesh.getVertices()[v].asPoint();
        Triple const position = {p.x, p.y, p.z};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            measures.low[axis] = std::min(measures.low[axis], position[axis]);
            measures.high[axis] = std::max(measures.high[axis], position[axis]);
        }
    }
}

/// Brings the middle to the origin.
void centre(CompactMesh& mesh, Triple const& middle, double scale) {
    float* const coordinates = mesh.getVerticesRaw();
    for (std::size_t i = 0; i < 3 * at(mesh.getNumVertices()); ++i)
        coordinates[i] =
            static_cast<float>((static_cast<double>(coordinates[i]) - middle[i % 3]) * scale);
}

/// What the core says of the copy at the origin.
struct CentredMass {
    double area;
    double volume;
    Triple centroid, first, second;

    explicit CentredMass(ko::Reference<CompactMesh> const& mesh);
};

/// Each moment is integrated along its own axis, so that the axes are treated alike.
CentredMass::CentredMass(ko::Reference<CompactMesh> const& mesh) {
    ko::list<ko::Reference<CompactMesh>> meshes = {mesh};
    MeshMassCalculator mass(meshes);
    area = mass.calculateArea();
    volume = mass.calculateVolume();
    mass.calculateCentroid(centroid[0], centroid[1], centroid[2]);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        Triple moments;
        auto const along = static_cast<MeshMassCalculator::Axis>(axis);
        mass.calculateFirstMom(moments[0], moments[1], moments[2], along);
        first[axis] = moments[axis];
        mass.calculateSecondMom(moments[0], moments[1], moments[2], along);
        second[axis] = moments[axis];
    }
}

/// Of a mesh that is moved meanwhile, and stays there.
void measureMass(ko::Reference<CompactMesh> const& mesh, MeshMeasures& measures) {
    Triple middle;
    for (std::size_t axis = 0; axis < 3; ++axis)
        middle[axis] = 0.5 * (measures.low[axis] + measures.high[axis]);
    double const scale =
        unitScale(std::hypot(measures.high[0] - measures.low[0], measures.high[1] - measures.low[1],
                             measures.high[2] - measures.low[2]));
    double const unit = 1.0 / scale;
    centre(*mesh, middle, scale);
    CentredMass const mass(mesh);

    measures.area = mass.area * unit * unit;
    double const volume = mass.volume * unit * unit * unit;
    measures.volume = volume;
    Triple surfaceCentroid, centreOfMass, central;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        double const c = middle[axis];
        double const offset = mass.first[axis] / mass.volume * unit;  // of the centre of mass
        double const first = mass.first[axis] * unit * unit * unit * unit;
        double const second = mass.second[axis] * unit * unit * unit * unit * unit;
        surfaceCentroid[axis] = c + mass.centroid[axis] * unit;
        centreOfMass[axis] = c + offset;
        central[axis] = second - offset * first;
        measures.firstMoments[axis] = first + volume * c;
        measures.secondMoments[axis] = second + 2.0 * c * first + volume * c * c;
    }
    if (mass.area > 0.0)
        measures.surfaceCentroid = surfaceCentroid;
    if (mass.volume != 0.0) {
        measures.centreOfMass = centreOfMass;
        measures.centralMoments = central;
    }
}

MeshMeasures measuresOf(CompactMesh const& mesh) {
    MeshMeasures measures;
    // Vertices without triangles would count for the core's boxes.
    ko::Reference<CompactMesh> const copy(new CompactMesh(bareCopy(mesh)));
    removeUnusedVertices(*copy);
    measures.vertices = copy->getNumVertices();
    measures.triangles = copy->getNumTriangles();
    if (measures.triangles == 0)
        return measures;
    measureBox(*copy, measures);
    EdgeCount(*copy, measures).run();
    measureMass(copy, measures);
    return measures;
}

}  // namespace

MeasureOutcome measureMesh(CompactMesh const& mesh, bool eachComponent,
                           koUtil::Progress& progress) {
    MeasureOutcome outcome;
    if (isRefused(outcome, mesh))
        return outcome;
    if (SurfaceFault const fault = faultOfCoordinates(mesh)) {
        refuse(outcome, fault);
        outcome.refusal += "; leave such triangles out";
        return outcome;
    }
    progress.setCaption("measuring");
    outcome.whole = measuresOf(mesh);
    if (eachComponent && !progress.cancelled()) {
        std::vector<CompactMesh> const parts = splitIntoParts(mesh);
        outcome.components.reserve(parts.size());
        for (std::size_t i = 0; i < parts.size() && !progress.cancelled(); ++i) {
            progress.set(static_cast<double>(i) / static_cast<double>(parts.size()));
            outcome.components.push_back(measuresOf(parts[i]));
        }
    }
    outcome.cancelled = progress.cancelled();
    progress.set(1.0);
    return outcome;
}

}  // namespace trimora
