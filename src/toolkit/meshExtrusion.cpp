// The core's extrusion copies a set of faces and walls one border of it; the other borders are walled here the same way,
// over the copies, which the core makes in the order of the originals. Regions that stay as floors and those that are
// replaced go through it once each, all together, so that the cost does not grow with the number of regions.

#include "toolkit/meshExtrusion.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/meshSubdivision.h"
#include "toolkit/meshTidying.h"
#include "toolkit/surfaceFault.h"

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/topology/ExtrudeTopoFace.h"
#include "trimora/topology/MeshConvertRep.h"
#include "trimora/topology/meshTwin.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <unordered_map>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::TopoMesh;
using koGeom::TopoMeshEdge;
using koGeom::TopoMeshFace;
using koGeom::TopoMeshVertex;
using koLinear::Vector;

using FaceSet = ko::unordered_set<TopoMeshFace>;
using Ring = std::vector<TopoMeshVertex>;
template <typename Value>
using VertexMap = std::unordered_map<TopoMeshVertex, Value, ko::hash<TopoMeshVertex>>;

constexpr double leastMean = 1e-6;  // shorter than this, the mean of unit normals is rounding
// Less of its area than this, seen along the direction, and a region slides within its own plane.
constexpr double leastLift = 1e-4;

Ring ringOf(TopoMeshFace face) {
    Ring ring;
    TopoMeshEdge e = face.edge();
    do {
        ring.push_back(e.origin());
        e = e.next();
    } while (e != face.edge());
    return ring;
}

/// One border of a region, in the direction of its faces.
struct Border {
    std::vector<TopoMeshEdge> edges;
    std::vector<std::pair<TopoMeshVertex, TopoMeshVertex>> ends;
};

/// A connected part of the selection.
struct Region {
    std::vector<TopoMeshFace> faces;  // in order of creation
    std::vector<TopoMeshVertex> vertices;
    std::vector<Border> borders;
    Vector normal;  // the mean by area, of length 1
    double flatness =
        0.0;  // how much of the area the mean normal keeps: 1 on a plane, 0 where all cancels out
    bool isFree = true;  // no border edge has a twin
};

koLinear::Point placeOf(Region const& region) {
    return region.faces.front().edge().origin().point();
}

/// Twice the area of a triangle along its normal.
Vector twiceArea(TopoMeshFace face) {
    Ring const ring = ringOf(face);
    return cross(ring[1].point() - ring[0].point(), ring[2].point() - ring[0].point());
}

void measureNormal(Region& region) {
    double area = 0.0;
    for (TopoMeshFace const face : region.faces) {
        Vector const twice = twiceArea(face);
        region.normal += twice;
        area += twice.length();
    }
    region.flatness = area > 0.0 ? region.normal.length() / area : 0.0;
    region.normal.normalize();
}

/// How much of a region's area the direction, of length 1, sees from in front or behind: 1 for the normal of a plane.
double liftOf(Region const& region, Vector const& direction) {
    double area = 0.0;
    double seen = 0.0;
    for (TopoMeshFace const face : region.faces) {
        Vector const twice = twiceArea(face);
        area += twice.length();
        seen += std::abs(dot(twice, direction));
    }
    return area > 0.0 ? seen / area : 1.0;
}

Vector unitOf(Vector const& way) {
    double const largest = std::max({std::abs(way.x), std::abs(way.y), std::abs(way.z)});
    Vector unit = way / largest;  // so that no square leaves the range of doubles
    unit.normalize();
    return unit;
}

bool fitsFloats(koLinear::Point const& p) {
    constexpr double most = std::numeric_limits<float>::max();
    return std::abs(p.x) <= most && std::abs(p.y) <= most && std::abs(p.z) <= most;
}

bool isBorder(TopoMeshEdge e, FaceSet const& selected) {
    return !e.twin() || selected.count(e.twin().face()) == 0;
}

// Round the border from one of its edges; at a vertex where borders touch it stays in its fan.
Border walkBorder(TopoMeshEdge first, FaceSet const& selected) {
    Border border;
    TopoMeshEdge e = first;
    do {
        border.edges.push_back(e);
        border.ends.emplace_back(e.origin(), e.next().origin());
        for (e = e.next(); !isBorder(e, selected);)
            e = e.twin().next();
    } while (e != first);
    return border;
}

void findBorders(Region& region, FaceSet const& selected) {
    ko::unordered_set<TopoMeshEdge> done;
    for (TopoMeshFace const face : region.faces) {
        TopoMeshEdge e = face.edge();
        do {
            if (isBorder(e, selected) && done.count(e) == 0) {
                region.borders.push_back(walkBorder(e, selected));
                auto const& edges = region.borders.back().edges;
                done.insert(edges.begin(), edges.end());
            }
            e = e.next();
        } while (e != face.edge());
    }
    for (TopoMeshEdge const e : done)
        region.isFree = region.isFree && !e.twin();
}

/// Parts faces into regions that hang together through vertices.
class RegionFinder {
public:
    explicit RegionFinder(std::vector<TopoMeshFace> const& faces)
        : faces_(faces), isTaken_(faces.size(), 0) {
        for (std::size_t i = 0; i < faces.size(); ++i) {
            for (TopoMeshVertex const v : ringOf(faces[i]))
                around_[v].push_back(i);
        }
    }

    std::vector<Region> run() {
        std::vector<Region> regions;
        for (std::size_t i = 0; i < faces_.size(); ++i) {
            if (isTaken_[i] == 0)
                regions.push_back(flood(i));
        }
        return regions;
    }

private:
    Region flood(std::size_t start) {
        Region region;
        take(start);
        while (!queue_.empty()) {
            TopoMeshFace const face = faces_[queue_.back()];
            queue_.pop_back();
            region.faces.push_back(face);
            for (TopoMeshVertex const v : ringOf(face))
                visit(v, region);
        }
        std::sort(region.faces.begin(), region.faces.end(), ko::less<TopoMeshFace>());
        return region;
    }

    void visit(TopoMeshVertex v, Region& region) {
        auto const list = around_.find(v);
        if (list == around_.end())
            return;  // been there
        region.vertices.push_back(v);
        for (std::size_t const face : list->second)
            take(face);
        around_.erase(list);
    }

    void take(std::size_t face) {
        if (isTaken_[face] == 0)
            queue_.push_back(face);
        isTaken_[face] = 1;
    }

    std::vector<TopoMeshFace> const& faces_;
    VertexMap<std::vector<std::size_t>> around_;  // the faces at each vertex that was not visited
    std::vector<char> isTaken_;
    std::vector<std::size_t> queue_;
};

class Extruder {
public:
    Extruder(CompactMesh& mesh, ExtrudeOptions const& options, koUtil::Progress& progress)
        : mesh_(mesh), options_(options), progress_(progress) {}

    ExtrudeOutcome run(koGeom::BitVector const& selection);

private:
    bool isStoppedAt(double share);
    void findRegionsOf(koGeom::BitVector const& selection);
    std::string refusalOf(Region const& region) const;
    std::string refusalOfDistance(Region const& region) const;
    void extrude(bool freeOnes);
    void copyFaces(std::vector<TopoMeshFace> const& faces, FaceSet& members);
    void buildWalls(Region const& region, TopoMeshEdge walled);
    void liftCopies(Region const& region);
    void replace(Region const& region);
    void windSolids();
    void store();

    Vector wayOf(Region const& region) const {
        return options_.distance * unitOf(options_.direction.value_or(region.normal));
    }

    CompactMesh& mesh_;
    ExtrudeOptions const& options_;
    koUtil::Progress& progress_;
    TopoMesh topoMesh_;
    std::vector<Region> regions_;
    VertexMap<TopoMeshVertex> copies_;
    FaceSet turned_;  // to be wound the other way in the end
    ExtrudeOutcome outcome_;
};

ExtrudeOutcome Extruder::run(koGeom::BitVector const& selection) {
    fillTopoMesh(topoMesh_, mesh_, {});
    if (isStoppedAt(0.3))
        return cancelledOutcome<ExtrudeOutcome>();
    findRegionsOf(selection);
    if (isStoppedAt(0.5))
        return cancelledOutcome<ExtrudeOutcome>();
    for (Region const& region : regions_) {
        outcome_.refusal = refusalOf(region);
        if (!outcome_.refusal.empty()) {
            koLinear::Point const place = placeOf(region);
            outcome_.problemPoint = {place.x, place.y, place.z};
            return std::move(outcome_);
        }
        if (options_.direction && liftOf(region, unitOf(*options_.direction)) < leastLift)
            ++outcome_.flatRegions;
    }
    extrude(true);
    if (isStoppedAt(0.6))
        return cancelledOutcome<ExtrudeOutcome>();
    extrude(false);
    if (isStoppedAt(0.7))
        return cancelledOutcome<ExtrudeOutcome>();
    koGeom::meshTwin(topoMesh_);
    if (isStoppedAt(0.8))
        return cancelledOutcome<ExtrudeOutcome>();
    windSolids();
    store();
    progress_.set(1.0);
    return std::move(outcome_);
}

/// share   of the time, gone by now
bool Extruder::isStoppedAt(double share) {
    progress_.set(share);
    return progress_.cancelled();
}

void Extruder::findRegionsOf(koGeom::BitVector const& selection) {
    std::vector<TopoMeshFace> faces;
    int triangle = 0;
    for (TopoMeshFace f = topoMesh_.firstFace(); f; f = f.nextInList(), ++triangle) {
        if (selection.isBitSet(triangle) != 0)
            faces.push_back(f);
    }
    FaceSet const selected(faces.begin(), faces.end());
    regions_ = RegionFinder(faces).run();
    for (Region& region : regions_) {
        measureNormal(region);
        findBorders(region, selected);
        outcome_.freeRegions += region.isFree ? 1 : 0;
        for (Border const& border : region.borders)
            outcome_.walls += static_cast<int>(border.edges.size());
    }
    outcome_.regions = static_cast<int>(regions_.size());
}

std::string Extruder::refusalOf(Region const& region) const {
    std::string const place = " at " + positionInWords(placeOf(region));
    if (region.borders.empty())
        return "the selection holds the closed surface" + place +
               ", which has no border to be lifted from; select a part of it";
    if (!options_.direction && region.flatness < leastMean)
        return "the normals of the selected region" + place +
               " cancel out, so that there is no way to go; give a direction or select less";
    return refusalOfDistance(region);
}

std::string Extruder::refusalOfDistance(Region const& region) const {
    Vector const way = wayOf(region);
    bool isMoved = false;
    for (TopoMeshVertex const v : region.vertices) {
        koLinear::Point const lifted = v.point() + way;
        if (!fitsFloats(lifted))
            return "the distance takes the region at " + positionInWords(placeOf(region)) +
                   " beyond the range of floats, 3.4e38; take a smaller one";
        isMoved = isMoved || koLinear::PointFlt(lifted) != koLinear::PointFlt(v.point());
    }
    return isMoved ? std::string()
                   : "the distance is lost in the rounding of the coordinates at " +
                         positionInWords(placeOf(region)) + "; take a larger one";
}

void Extruder::extrude(bool freeOnes) {
    std::vector<TopoMeshFace> faces;
    for (Region const& region : regions_) {
        if (region.isFree == freeOnes)
            faces.insert(faces.end(), region.faces.begin(), region.faces.end());
    }
    if (faces.empty())
        return;
    std::sort(faces.begin(), faces.end(), ko::less<TopoMeshFace>());
    FaceSet members(faces.begin(), faces.end());
    FaceSet reached;
    ko::vector<TopoMeshEdge> walled;  // the one border that the core walls
    koGeom::expandRegion(topoMesh_, members, reached, walled);
    copyFaces(faces, members);
    for (Region const& region : regions_) {
        if (region.isFree != freeOnes)
            continue;
        if (!freeOnes)
            replace(region);
        buildWalls(region, walled.front());
        liftCopies(region);
    }
}

// The copies come in the order of the originals and with their corners in the same order.
void Extruder::copyFaces(std::vector<TopoMeshFace> const& faces, FaceSet& members) {
    std::vector<Ring> rings;
    for (TopoMeshFace const face : faces)
        rings.push_back(ringOf(face));
    FaceSet lifted;
    koGeom::ExtrudeTopoFace extrudeFaces(topoMesh_);
    extrudeFaces(members, lifted, koLinear::AffineMatrix::Identity);
    std::vector<TopoMeshFace> tops(lifted.begin(), lifted.end());
    std::sort(tops.begin(), tops.end(), ko::less<TopoMeshFace>());
    for (std::size_t i = 0; i < rings.size(); ++i) {
        Ring const copies = ringOf(tops[i]);
        for (std::size_t k = 0; k < rings[i].size(); ++k)
            copies_[rings[i][k]] = copies[k];
    }
}

// The core looks at one border to tell whether faces are replaced; here another one may have said so. Vertices inside the
// region are left without a face.
void Extruder::replace(Region const& region) {
    for (TopoMeshFace const face : region.faces) {
        if (topoMesh_.contains(face))
            topoMesh_.deleteFace(face);
    }
}

void Extruder::buildWalls(Region const& region, TopoMeshEdge walled) {
    for (Border const& border : region.borders) {
        if (std::find(border.edges.begin(), border.edges.end(), walled) != border.edges.end())
            continue;
        for (auto const& [a, b] : border.ends)
            topoMesh_.allocQuad(a, b, copies_[b], copies_[a]);
    }
}

void Extruder::liftCopies(Region const& region) {
    Vector const way = wayOf(region);
    for (TopoMeshVertex const v : region.vertices) {
        topoMesh_.setPoint(copies_[v], v.point() + way);
        if (!v.edge())
            topoMesh_.deleteVertex(v);
    }
}

// A solid's walls and top agree, and its floor does not: the floor is turned, or all the others where the top lies below
// the floor.
void Extruder::windSolids() {
    ko::unordered_set<TopoMeshVertex> below;
    for (Region const& region : regions_) {
        if (!region.isFree)
            continue;
        if (dot(wayOf(region), region.normal) >= 0.0) {
            turned_.insert(region.faces.begin(), region.faces.end());
        } else {
            for (TopoMeshVertex const v : region.vertices)
                below.insert(copies_[v]);
        }
    }
    for (TopoMeshFace f = topoMesh_.firstFace(); f && !below.empty(); f = f.nextInList()) {
        Ring const ring = ringOf(f);
        if (std::any_of(ring.begin(), ring.end(),
                        [&below](TopoMeshVertex v) { return below.count(v) > 0; }))
            turned_.insert(f);
    }
}

void Extruder::store() {
    std::unique_ptr<CompactMesh> const result(koGeom::meshConvertRep(topoMesh_));
    int triangle = 0;
    for (TopoMeshFace f = topoMesh_.firstFace(); f; f = f.nextInList()) {
        int const end = triangle + f.numVertices() - 2;
        for (; triangle < end; ++triangle) {
            if (turned_.count(f) > 0)
                std::swap(result->getTriangles()[triangle][1], result->getTriangles()[triangle][2]);
        }
    }
    outcome_.dropped = dropVertexSets(mesh_);
    mesh_.swap(*result);
    mesh_.clearSelection();
    koGeom::MeshModification modification(&mesh_, koGeom::MeshModification::Topology, nullptr);
    mesh_.modified(modification);
}

std::string faultOf(CompactMesh const& mesh, koGeom::BitVector const& selection,
                    ExtrudeOptions const& options) {
    if (selection.size != mesh.getNumTriangles())
        return "the selection is that of a mesh with another number of triangles";
    if (!std::isfinite(options.distance))
        return "the distance is NaN or infinite";
    Vector const way = options.direction.value_or(Vector(1.0, 0.0, 0.0));
    bool const isFinite = std::isfinite(way.x) && std::isfinite(way.y) && std::isfinite(way.z);
    if (!isFinite || (way.x == 0.0 && way.y == 0.0 && way.z == 0.0))
        return "the direction has no length, or is NaN or infinite";
    return {};
}

ExtrudeOutcome extrude(CompactMesh& mesh, koGeom::BitVector const& selection,
                       ExtrudeOptions const& options, koUtil::Progress& progress) {
    ExtrudeOutcome refused;
    refused.refusal = faultOf(mesh, selection, options);
    if (!refused.refusal.empty())
        return refused;
    koGeom::MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh, adjTris);
    if (SurfaceFault const fault = faultOfSurface(mesh, adjTris, selection)) {
        refuse(refused, fault);
        refused.refusal +=
            std::string(", in the selection or beside it; ") +
            (fault.isNonfinite ? "leave such triangles out first" : "repair the mesh first");
        return refused;
    }
    if (progress.cancelled())
        return cancelledOutcome<ExtrudeOutcome>();
    return Extruder(mesh, options, progress).run(selection);
}

/// Two triangles a wall, and nothing else where no region stays as the floor of a solid.
Expectation predict(MeshState const& before, ExtrudeOutcome const& outcome) {
    Expectation expected;
    if (outcome.freeRegions == 0)
        expected.triangles = before.triangles + 2 * std::int64_t{outcome.walls};
    return expected;
}

}  // namespace

ExtrudeOutcome extrudeMesh(CompactMesh& mesh, koGeom::BitVector const& selection,
                           ExtrudeOptions const& options, koUtil::Progress& progress) {
    return editChecked(
        mesh, [&](CompactMesh& work) { return extrude(work, selection, options, progress); },
        predict, &progress);
}

}  // namespace trimora
