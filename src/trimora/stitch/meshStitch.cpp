#include "trimora/stitch/meshStitch.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/repair/meshReverseWinding.h"
#include "trimora/stitch/MeshLineTopology.h"
#include "trimora/stitch/MeshStitchSeam.h"
#include "trimora/stitch/detail/BoundaryLines.h"
#include "trimora/stitch/detail/boundaryRegion.h"
#include "trimora/stitch/detail/openEdges.h"
#include "trimora/topology/MeshModifyRep.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <numeric>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

/// Stitching. The boundaries become line strips (BoundaryLines), whose stretches are paired (MeshLineTopology). The rings of
/// triangles along the boundaries go through the bridge (MeshModifyRep); there every end of a stretch gets a vertex, the
/// pairs are sewn one after the other (MeshStitchSeam), and the bridge puts everything back.
namespace koGeom {

namespace {

using namespace detail;
using Outcome = MeshStitchReport::Outcome;
using LinePoint = MeshLineTopology::Point;
using LineEdge = ko::Reference<MeshLineTopology::Edge>;

constexpr int numAttempts = 2;

char const* reasonOf(Outcome outcome) {
    switch (outcome) {
    case Outcome::Shifted:
        return "an end was looked up on another boundary";
    case Outcome::NoPlace:
        return "an end is not on an open edge";
    case Outcome::NoWay:
        return "no way along the boundary";
    case Outcome::SameSense:
        return "the stretches run the same way";
    case Outcome::TooFar:
        return "ends that would meet are too far apart";
    default:
        return "edges were left open";
    }
}

class MeshStitcher {
public:
    MeshStitcher(CompactMesh& mesh, ko::Reference<MeshAdjTris> adjTris,
                 ko::Reference<MeshBoundaries> boundaries, ko::vector<int> chosen, double distance,
                 double tolerance, double farthestEnds, MeshStitchReport& report)
        : mesh_(mesh),
          adjTris_(std::move(adjTris)),
          boundaries_(std::move(boundaries)),
          chosen_(std::move(chosen)),
          distance_(distance),
          tolerance_(tolerance),
          farthestEnds_(farthestEnds),
          report_(report) {
        std::sort(chosen_.begin(), chosen_.end());
    }

    bool run();

private:
    enum class Attempt { Stitched, Refused, Inconsistent };

    /// A place that an end of a stretch asks for on an edge.
    struct Wanted {
        float weight;
        LinePoint const* point;
    };
    using WantedPlaces = ko::map<TopoMeshEdge, std::vector<Wanted>>;

    /// What takes part in one pair of stretches.
    struct Seam {
        LineEdge edge;
        LineEdge twin;
        bool isCircular;
    };

    Attempt attempt();
    void noteBoundaries(BoundaryLines const& lines);
    void extractRegion();
    void turnComponents(BoundaryLines const& lines, BitVector const& strips);

    void givePlaces(MeshLineTopology::TopologyAlg& topology);
    void wantPlace(LinePoint const& point, WantedPlaces& wanted);
    void takeVertex(LinePoint const& point);
    void makePlaces(TopoMeshEdge edge, std::vector<Wanted>& places);
    TopoMeshVertex vertexOf(LinePoint const& point) const;

    void sewAll(MeshLineTopology::TopologyAlg& topology);
    Outcome sew(Seam const& seam);
    Outcome sewLinear(Seam const& seam);
    Outcome sewCircular(Seam const& seam);
    bool isShifted(LinePoint const& point) const;
    void listen(MeshStitchSeam& seam);
    void unite(TopoMeshVertex kept, TopoMeshVertex gone);
    double endDistance(Seam const& seam) const;
    void note(Seam const& seam, double endDistance, Outcome outcome);
    void noteEnds(std::vector<LineEdge> const& sewn);

    CompactMesh& mesh_;
    SimpleMeshCache cache_;
    ko::Reference<MeshAdjTris> adjTris_;
    ko::Reference<MeshBoundaries> boundaries_;
    ko::vector<int> chosen_;
    double const distance_;
    double const tolerance_;
    double const farthestEnds_;
    MeshStitchReport& report_;

    // Of one attempt.
    BoundaryLines const* lines_ = nullptr;
    std::unique_ptr<MeshModifyRep> rep_;
    TopoMesh* topo_ = nullptr;
    std::unordered_map<LinePoint const*, TopoMeshVertex> pointVertices_;  // null: there is no place
    std::unordered_map<TopoMeshVertex, TopoMeshVertex, ko::hash<TopoMeshVertex>> united_;
};

bool MeshStitcher::run() {
    for (int i = 0; i < numAttempts; ++i) {
        Attempt const outcome = attempt();
        if (outcome != Attempt::Inconsistent)
            return outcome == Attempt::Stitched;
    }
    return false;
}

MeshStitcher::Attempt MeshStitcher::attempt() {
    BoundaryLines const lines(mesh_, *boundaries_, chosen_, distance_);
    lines_ = &lines;
    noteBoundaries(lines);
    if (lines.numStrips() < 2)
        return Attempt::Refused;
    extractRegion();

    MeshLineTopology::TopologyAlg topology(lines.lineMesh());
    if (!topology.compute(distance_))
        return Attempt::Refused;
    if (topology.getOrientation().count > 0) {
        rep_.reset();
        if (report_.turnedComponents.empty())
            turnComponents(lines, topology.getOrientation());
        return Attempt::Inconsistent;
    }
    givePlaces(topology);
    sewAll(topology);
    // The merge deletes whatever is selected.
    mesh_.clearSelection();
    rep_->merge();
    return Attempt::Stitched;
}

void MeshStitcher::noteBoundaries(BoundaryLines const& lines) {
    report_.sampledBoundaries.clear();
    for (int s = 0; s < lines.numStrips(); ++s)
        report_.sampledBoundaries.push_back(lines.boundaryOf(s));
}

/// The two rings of triangles along all boundaries, chosen or not.
void MeshStitcher::extractRegion() {
    rep_ = boundaryRegion(mesh_, *adjTris_, *boundaries_);
    topo_ = &rep_->extract();
}

/// Turns the components of the given strips. One that has several of them is turned once: twice would be not at all.
void MeshStitcher::turnComponents(BoundaryLines const& lines, BitVector const& strips) {
    BitVector selectedTriangles = mesh_.getSelectedTriangles();
    BitVector turned(mesh_.getNumTriangles());
    for (int s = 0; s < lines.numStrips(); ++s) {
        int const vertex = *boundaries_->getStart(lines.boundaryOf(s));
        if (!strips.isBitSet(s) || adjTris_->numTris(vertex) == 0)
            continue;
        int const triangle = *adjTris_->triIndices(vertex);
        if (turned.isBitSet(triangle))
            continue;
        mesh_.getSelectedTriangles().clearBits();
        meshReverseWinding(mesh_, *adjTris_, triangle);
        turned |= mesh_.getSelectedTriangles();
        report_.turnedComponents.push_back(vertex);
    }
    mesh_.getSelectedTriangles().swap(selectedTriangles);
    adjTris_ = cache_.getAdjTris(mesh_);
    boundaries_ = cache_.getBoundaries(mesh_);
}

/// Gives every end of a stretch its vertex, before anything is sewn.
void MeshStitcher::givePlaces(MeshLineTopology::TopologyAlg& topology) {
    pointVertices_.clear();
    united_.clear();
    WantedPlaces wanted;
    for (MeshLineTopology::EdgeIterator edges(topology); edges.valid(); edges.next()) {
        LineEdge const edge = edges.getEdge();
        if (edge->isLinear()) {
            wantPlace(edge->getFirstPoint(), wanted);
            wantPlace(edge->getSecondPoint(), wanted);
        } else {
            takeVertex(edge->getFirstPoint());
        }
    }
    for (auto& [edge, places] : wanted)
        makePlaces(edge, places);
}

bool MeshStitcher::isShifted(LinePoint const& point) const {
    return lines_->sampleOf(point.boundary, point.position) == nullptr;
}

void MeshStitcher::wantPlace(LinePoint const& point, WantedPlaces& wanted) {
    if (!pointVertices_.emplace(&point, TopoMeshVertex()).second)
        return;
    BoundarySample const* const sample = lines_->sampleOf(point.boundary, point.position);
    if (sample == nullptr)
        return;
    TopoMeshEdge const edge = TopoMesh::findEdge(rep_->getTopoMeshVertex(lines_->startOf(*sample)),
                                                 rep_->getTopoMeshVertex(lines_->endOf(*sample)));
    if (canSplitOpenEdge(*topo_, edge))
        wanted[edge].push_back({sample->weight, &point});
}

/// A loop may begin at either end of the edge: no vertex is made.
void MeshStitcher::takeVertex(LinePoint const& point) {
    BoundarySample const* const sample = lines_->sampleOf(point.boundary, point.position);
    if (sample == nullptr)
        return;
    bool const isAtStart = sample->weight > 0.5f;
    int const vertex = isAtStart ? lines_->startOf(*sample) : lines_->endOf(*sample);
    pointVertices_[&point] = rep_->getTopoMeshVertex(vertex);
}

/// Splits the edge from its start on, at falling weights. What asks for the same place gets the same vertex.
void MeshStitcher::makePlaces(TopoMeshEdge edge, std::vector<Wanted>& places) {
    std::stable_sort(places.begin(), places.end(),
                     [](Wanted const& a, Wanted const& b) { return a.weight > b.weight; });
    double rest = 1.0;  // weight of the edge's start in the whole
    for (Wanted const& wanted : places) {
        double const weight = wanted.weight;
        if (weight != rest) {
            double const t = weight / rest;
            Point const start = edge.origin().point();
            splitOpenEdge(*topo_, edge, combine(t, start, 1.0 - t, endOf(edge).point()));
            edge = openEdgeAfter(edge);
            rest = weight;
        }
        pointVertices_[wanted.point] = edge.origin();
    }
}

/// The vertex, or what it became in an earlier seam; null when there is none.
TopoMeshVertex MeshStitcher::vertexOf(LinePoint const& point) const {
    auto const found = pointVertices_.find(&point);
    TopoMeshVertex vertex = found != pointVertices_.end() ? found->second : TopoMeshVertex();
    for (auto next = united_.find(vertex); next != united_.end(); next = united_.find(vertex))
        vertex = next->second;
    return vertex;
}

void MeshStitcher::sewAll(MeshLineTopology::TopologyAlg& topology) {
    std::unordered_set<MeshLineTopology::Edge const*> done;
    std::vector<LineEdge> inOrder;
    for (MeshLineTopology::EdgeIterator edges(topology); edges.valid(); edges.next()) {
        LineEdge const edge = edges.getEdge();
        LineEdge const twin = edge->getTwin();
        if (!twin || !done.insert(edge.get()).second)
            continue;
        done.insert(twin.get());
        Seam const seam = {edge, twin, edge->isCircular()};
        double const widest = endDistance(seam);
        note(seam, widest, widest > farthestEnds_ ? Outcome::TooFar : sew(seam));
        inOrder.push_back(edge);
    }
    noteEnds(inOrder);
}

Outcome MeshStitcher::sew(Seam const& seam) {
    for (LineEdge const& edge : {seam.edge, seam.twin})
        if (isShifted(edge->getFirstPoint()) || isShifted(edge->getSecondPoint()))
            return Outcome::Shifted;
    return seam.isCircular ? sewCircular(seam) : sewLinear(seam);
}

//        q1 <----- q2      The twin runs against the edge, so that p1 meets its second point q2 and p2 its first, q1.
//        p1 -----> p2
Outcome MeshStitcher::sewLinear(Seam const& seam) {
    if (seam.edge->isTwinReversed())
        return Outcome::SameSense;
    TopoMeshVertex const p1 = vertexOf(seam.edge->getFirstPoint());
    TopoMeshVertex const p2 = vertexOf(seam.edge->getSecondPoint());
    TopoMeshVertex const q1 = vertexOf(seam.twin->getFirstPoint());
    TopoMeshVertex const q2 = vertexOf(seam.twin->getSecondPoint());
    for (TopoMeshVertex const v : {p1, p2, q1, q2})
        if (!topo_->contains(v))
            return Outcome::NoPlace;

    MeshStitchSeam stitchSeam(*topo_);
    listen(stitchSeam);
    if (!stitchSeam.canStitch(p1, p2, q2, q1))
        return Outcome::NoWay;
    stitchSeam.stitch(p1, p2, q2, q1, tolerance_, true);
    if (stitchSeam.preservedA()) {
        unite(p1, q2);
        unite(p2, q1);
    } else {
        unite(q2, p1);
        unite(q1, p2);
    }
    return stitchSeam.numOpenPairs() == 0 ? Outcome::Sewn : Outcome::LeftOpen;
}

Outcome MeshStitcher::sewCircular(Seam const& seam) {
    TopoMeshVertex const p = vertexOf(seam.edge->getFirstPoint());
    TopoMeshVertex const q = vertexOf(seam.twin->getSecondPoint());
    if (!topo_->contains(p) || !topo_->contains(q))
        return Outcome::NoPlace;

    MeshStitchSeam stitchSeam(*topo_);
    listen(stitchSeam);
    if (!stitchSeam.canStitchCircular(p, q))
        return Outcome::NoWay;
    stitchSeam.stitchCircular(p, q, tolerance_, true);
    return stitchSeam.numOpenPairs() == 0 ? Outcome::Sewn : Outcome::LeftOpen;
}

/// The bridge hears of every vertex that the seam discards.
void MeshStitcher::listen(MeshStitchSeam& seam) {
    using Callback = koRTB::FunctionArgMember<TopoMeshVertex, MeshModifyRep>;
    seam.addCallback(new Callback(rep_.get(), &MeshModifyRep::removeVertex));
}

void MeshStitcher::unite(TopoMeshVertex kept, TopoMeshVertex gone) {
    if (kept != gone && !topo_->contains(gone))
        united_[gone] = kept;
}

/// The wider one between the ends that meet; 0 where an end is missing, and of a circle.
double MeshStitcher::endDistance(Seam const& seam) const {
    if (seam.isCircular || seam.edge->isTwinReversed())
        return 0.0;
    double widest = 0.0;
    for (auto const& [p, q] :
         {std::pair(&seam.edge->getFirstPoint(), &seam.twin->getSecondPoint()),
          std::pair(&seam.edge->getSecondPoint(), &seam.twin->getFirstPoint())}) {
        TopoMeshVertex const v = vertexOf(*p);
        TopoMeshVertex const w = vertexOf(*q);
        if (topo_->contains(v) && topo_->contains(w))
            widest = std::max(widest, koLinear::distance(v.point(), w.point()));
    }
    return widest;
}

/// "linear edge (boundary:index/boundary:index) -> (...)": the ends of both stretches, each on its strip.
std::string textOf(bool isCircular, MeshLineTopology::Edge const& edge,
                   MeshLineTopology::Edge const& twin) {
    LinePoint const& p1 = edge.getFirstPoint();
    LinePoint const& p2 = edge.getSecondPoint();
    LinePoint const& q2 = twin.getSecondPoint();
    LinePoint const& q1 = twin.getFirstPoint();
    char text[160];
    std::snprintf(text, sizeof text, "%s edge (%d:%d/%d:%d) -> (%d:%d/%d:%d)",
                  isCircular ? "circular" : "linear", p1.boundary, p1.position, p2.boundary,
                  p2.position, q2.boundary, q2.position, q1.boundary, q1.position);
    return text;
}

void MeshStitcher::note(Seam const& seam, double endDistance, Outcome outcome) {
    if (outcome != Outcome::Sewn)
        debugChannel().print("  %s: %s\n", textOf(seam.isCircular, *seam.edge, *seam.twin).c_str(),
                             reasonOf(outcome));
    MeshLineTopology::Edge const& edge = *seam.edge;
    double const length = edge.getLength();
    MeshStitchReport::Seam told;
    told.boundary = lines_->boundaryOf(edge.getBoundary());
    told.otherBoundary = lines_->boundaryOf(seam.twin->getBoundary());
    told.circular = seam.isCircular;
    told.length = length;
    told.gap = std::sqrt(edge.getQuality() * length);
    told.outcome = outcome;
    told.endDistance = endDistance;
    if (outcome == Outcome::Sewn || outcome == Outcome::LeftOpen)
        told.sewnLength = seam.isCircular ? length
                                          : lines_->lengthBetween(edge.getBoundary(),
                                                                  edge.getFirstPoint().position,
                                                                  edge.getSecondPoint().position);
    report_.seams.push_back(told);
}

/// After the last seam, as a seam moves ends of others.
void MeshStitcher::noteEnds(std::vector<LineEdge> const& sewn) {
    for (std::size_t i = 0; i < sewn.size(); ++i) {
        MeshStitchReport::Seam& seam = report_.seams[i];
        if (seam.circular || seam.sewnLength == 0.0)
            continue;
        for (LinePoint const* const point : {&sewn[i]->getFirstPoint(), &sewn[i]->getSecondPoint()})
            if (TopoMeshVertex const v = vertexOf(*point); topo_->contains(v))
                seam.ends.push_back(v.point());
    }
}

}  // namespace

bool meshStitch(CompactMesh& mesh, ko::Reference<MeshAdjTris> adjTris,
                ko::Reference<MeshBoundaries> boundaries, ko::vector<int> const& chosen,
                double distance, double tolerance, MeshStitchReport& report, double farthestEnds) {
    report = MeshStitchReport();
    if (!adjTris || !boundaries || !(distance > 0.0) || mesh.getNumTriangles() <= 0 ||
        !tablesFit(mesh, *adjTris, *boundaries))
        return false;

    koOS::StopWatch watch;
    watch.start();

    MeshStitcher stitcher(mesh, std::move(adjTris), std::move(boundaries), chosen, distance,
                          tolerance, farthestEnds, report);
    bool const isStitched = stitcher.run();

    debugChannel().print("meshStitch: %d seams, %f s\n", static_cast<int>(report.seams.size()),
                         watch.clear());
    return isStitched;
}

bool meshStitch(CompactMesh& mesh, ko::Reference<MeshAdjTris> adjTris,
                ko::Reference<MeshBoundaries> boundaries, ko::vector<int> const& chosen,
                double distance, double tolerance) {
    MeshStitchReport report;
    return meshStitch(mesh, std::move(adjTris), std::move(boundaries), chosen, distance, tolerance,
                      report);
}

bool meshStitch(CompactMesh& mesh, ko::Reference<MeshAdjTris> adjTris,
                ko::Reference<MeshBoundaries> boundaries, double distance, double tolerance) {
    ko::vector<int> all(boundaries ? static_cast<std::size_t>(boundaries->size()) : 0);
    std::iota(all.begin(), all.end(), 0);
    return meshStitch(mesh, std::move(adjTris), std::move(boundaries), all, distance, tolerance);
}

}  // namespace koGeom
