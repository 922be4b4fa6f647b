// Cuts of a mesh with itself that do not hang on the order of corners.
//
// The library's test misses a pair only where the first corner of one of the two lies exactly in the other's plane, between
// its other corners. Turning the corners of all triangles on by one, and by one more, gives each pair three tests; each of the
// two triangles spoils one of them at most, so one is good.
//
// Triangles with a common vertex s are never tested there. They cut each other where the edge of one that is opposite to s passes
// through the other; the cut then runs from s to that point. Seen from s the triangles are arcs, and only arcs whose
// boxes of directions meet are looked at. The same pairs are asked whether they overlap in one plane.

#include "toolkit/detail/selfCuts.h"

#include "toolkit/meshCounts.h"
#include "toolkit/meshTidying.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"
#include "trimora/repair/MeshIntersect.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <limits>
#include <optional>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshAdjTris;
using koGeom::MeshTriangle;
using koLinear::Point;
using koLinear::Vector;

constexpr double shareOfTables = 0.2;
constexpr double shareOfFans = 0.1;
constexpr double shareOfOverlaps = 0.05;
constexpr double flatness = 1e-12;  // height by longest edge below which a triangle has no area
constexpr double rounding = 8.0 * std::numeric_limits<double>::epsilon();
constexpr double slack = 1e-9;  // of unit directions

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

bool hasArea(CompactMesh const& mesh, int triangle) {
    MeshTriangle const& c = mesh.getTriangles()[triangle];
    Point const a = mesh.getVertices()[c[0]].asPoint();
    Vector const u = mesh.getVertices()[c[1]].asPoint() - a;
    Vector const v = mesh.getVertices()[c[2]].asPoint() - a;
    double const longest = std::max({dot(u, u), dot(v, v), dot(v - u, v - u)});
    return cross(u, v).length() > flatness * longest;
}

/// The side of the plane a, b, c on which d lies; 0 where rounding hides it.
int sideOf(Point const& a, Point const& b, Point const& c, Point const& d) {
    Vector const u = b - a;
    Vector const v = c - a;
    Vector const w = d - a;
    double const volume = dot(cross(u, v), w);
    double const size = std::fabs(w.x) * (std::fabs(u.y * v.z) + std::fabs(u.z * v.y)) +
                        std::fabs(w.y) * (std::fabs(u.z * v.x) + std::fabs(u.x * v.z)) +
                        std::fabs(w.z) * (std::fabs(u.x * v.y) + std::fabs(u.y * v.x));
    double const limit = rounding * size;
    return (volume > limit) - (volume < -limit);
}

/// A triangle of a fan, from its common vertex.
struct Arc {
    int triangle;
    int from;  // vertices
    int to;
    float low[3];  // of the directions in which it is seen
    float high[3];
};

struct SelfContacts {
    std::vector<SelfCut> cuts;
    std::vector<CoplanarOverlap> overlaps;
};

/// Cuts and overlaps between triangles of one fan.
class FanCuts {
public:
    /// overlapTest   null where overlaps are not asked for
    FanCuts(CompactMesh const& mesh, MeshAdjTris const& adjTris, std::vector<char> const& isFlat,
            OverlapTest const* overlapTest)
        : mesh_(mesh), adjTris_(adjTris), isFlat_(isFlat), overlapTest_(overlapTest) {}

    void find(int vertex, SelfContacts& contacts) {
        gatherArcs(vertex);
        for (std::size_t i = 0; i < arcs_.size(); ++i)
            for (std::size_t j = i + 1; j < arcs_.size() && arcs_[j].low[0] <= arcs_[i].high[0];
                 ++j)
                if (doMeet(arcs_[i], arcs_[j]) && !haveCommonEnd(arcs_[i], arcs_[j]))
                    test(vertex, arcs_[i], arcs_[j], contacts);
    }

private:
    void gatherArcs(int vertex);
    Point pointOf(int vertex) const { return mesh_.getVertices()[vertex].asPoint(); }
    static bool doMeet(Arc const& a, Arc const& b) {
        return a.low[1] <= b.high[1] && b.low[1] <= a.high[1] && a.low[2] <= b.high[2] &&
               b.low[2] <= a.high[2];
    }
    static bool haveCommonEnd(Arc const& a, Arc const& b) {
        return a.from == b.from || a.from == b.to || a.to == b.from || a.to == b.to;
    }
    void test(int vertex, Arc const& a, Arc const& b, SelfContacts& contacts) const;
    bool passes(Arc const& edge, int vertex, Arc const& through, Point& hit) const;

    CompactMesh const& mesh_;
    MeshAdjTris const& adjTris_;
    std::vector<char> const& isFlat_;
    OverlapTest const* overlapTest_;
    std::vector<Arc> arcs_;
};

void FanCuts::gatherArcs(int vertex) {
    arcs_.clear();
    Point const s = pointOf(vertex);
    int const* const around = adjTris_.triIndices(vertex);
    for (int i = 0; i < adjTris_.numTris(vertex); ++i) {
        if (isFlat_[at(around[i])] != 0)
            continue;
        MeshTriangle const& c = mesh_.getTriangles()[around[i]];
        int const k = c[0] == vertex ? 0 : c[1] == vertex ? 1 : 2;
        Arc arc{around[i], c[(k + 1) % 3], c[(k + 2) % 3], {}, {}};
        Vector a = pointOf(arc.from) - s;
        Vector b = pointOf(arc.to) - s;
        a *= 1.0 / a.length();
        b *= 1.0 / b.length();
        // The arc bulges beyond its chord, by 1 - cos of half its angle.
        double const cosine = std::sqrt(std::max(0.0, 0.5 + 0.5 * dot(a, b)));
        double const bulge = 1.0 - cosine + slack;
        double const ends[2][3] = {{a.x, a.y, a.z}, {b.x, b.y, b.z}};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            auto const [low, high] = std::minmax(ends[0][axis], ends[1][axis]);
            arc.low[axis] = static_cast<float>(low - bulge) - 1e-6f;
            arc.high[axis] = static_cast<float>(high + bulge) + 1e-6f;
        }
        arcs_.push_back(arc);
    }
    std::sort(arcs_.begin(), arcs_.end(), [](Arc const& a, Arc const& b) {
        return a.low[0] != b.low[0] ? a.low[0] < b.low[0] : a.triangle < b.triangle;
    });
}

/// Whether the edge opposite to the vertex passes through the other triangle: inside the angle at the vertex, its far edge
/// included, and the sides of the angle where the edge has an end on each side of the plane. An edge that lies in the plane does not.
bool FanCuts::passes(Arc const& edge, int vertex, Arc const& through, Point& hit) const {
    Point const a = pointOf(edge.from);
    Point const b = pointOf(edge.to);
    Point const s = pointOf(vertex);
    Point const c = pointOf(through.from);
    Point const d = pointOf(through.to);
    int const sideA = sideOf(s, c, d, a);
    int const sideB = sideOf(s, c, d, b);
    if (sideA * sideB > 0 || (sideA == 0 && sideB == 0))
        return false;
    int const onFirst = sideOf(a, b, s, c);
    int const onFar = sideOf(a, b, c, d);
    int const onLast = sideOf(a, b, d, s);
    int const side = onFirst != 0 ? onFirst : onLast;
    bool const isBetween = onFirst == onLast || (sideA * sideB < 0 && onFirst * onLast == 0);
    if (side == 0 || !isBetween || onFar == -side)
        return false;
    Vector const normal = cross(c - s, d - s);
    double const heightA = dot(normal, a - s);
    double const heightB = dot(normal, b - s);
    double const t = sideA == 0 ? 0.0 : sideB == 0 ? 1.0 : heightA / (heightA - heightB);
    hit = combine(1.0 - t, a, t, b);
    return true;
}

void FanCuts::test(int vertex, Arc const& a, Arc const& b, SelfContacts& contacts) const {
    Point hit;
    if (passes(a, vertex, b, hit) || passes(b, vertex, a, hit))
        contacts.cuts.push_back({std::min(a.triangle, b.triangle), std::max(a.triangle, b.triangle),
                                 pointOf(vertex), hit, false});
    else if (overlapTest_ != nullptr && overlapTest_->mayOverlap(a.triangle, b.triangle))
        if (auto const overlap = overlapTest_->find(a.triangle, b.triangle))
            contacts.overlaps.push_back(*overlap);
}

class FanCutAlg : public koUtil::ThreadedAlg {
public:
    FanCutAlg(CompactMesh const& mesh, MeshAdjTris const& adjTris, std::vector<char> const& isFlat,
              OverlapTest const* overlapTest)
        : mesh_(mesh), adjTris_(adjTris), isFlat_(isFlat), overlapTest_(overlapTest) {}

    void initialize(int numThreads) override { slots_.resize(at(numThreads)); }

    void execute(int thread, int numThreads) override {
        constexpr int stride = 1024;
        FanCuts fans(mesh_, adjTris_, isFlat_, overlapTest_);
        int const begin = getBeginIndex(thread, numThreads, mesh_.getNumVertices());
        int const end = getBeginIndex(thread + 1, numThreads, mesh_.getNumVertices());
        for (int v = begin; v < end; ++v) {
            if ((v - begin) % stride == 0) {
                if (cancelled(thread))
                    return;
                updateProgress(thread, static_cast<double>(v - begin) / (end - begin));
            }
            fans.find(v, slots_[at(thread)]);
        }
    }

    void appendTo(SelfContacts& contacts) const {
        for (SelfContacts const& slot : slots_) {
            contacts.cuts.insert(contacts.cuts.end(), slot.cuts.begin(), slot.cuts.end());
            contacts.overlaps.insert(contacts.overlaps.end(), slot.overlaps.begin(),
                                     slot.overlaps.end());
        }
    }

private:
    CompactMesh const& mesh_;
    MeshAdjTris const& adjTris_;
    std::vector<char> const& isFlat_;
    OverlapTest const* overlapTest_;
    std::vector<SelfContacts> slots_;  // one a thread
};

bool isBefore(SelfCut const& a, SelfCut const& b) {
    return a.other != b.other ? a.other < b.other : a.triangle < b.triangle;
}

bool isSamePair(SelfCut const& a, SelfCut const& b) {
    return a.other == b.other && a.triangle == b.triangle;
}

class SelfCutSearch {
public:
    SelfCutSearch(CompactMesh const& mesh, bool areOverlapsAsked, koUtil::Progress& progress)
        : mesh_(bareCopy(mesh)), scale_(unitScale(diagonalOf(mesh))), progress_(progress) {
        scaleVertices(mesh_, scale_);
        isFlat_.resize(at(mesh_.getNumTriangles()));
        for (int t = 0; t < mesh_.getNumTriangles(); ++t)
            isFlat_[at(t)] = hasArea(mesh_, t) ? 0 : 1;
        if (areOverlapsAsked)
            overlapTest_.emplace(mesh_, isFlat_);
    }

    SelfContacts run();

private:
    void findBetweenFans();
    void addCuts(bool isPlain);
    void turnCorners();
    void findOverlaps();
    void findInFans();
    void sortCuts();
    void leaveCutsOut();
    void scaleBack();

    CompactMesh mesh_;
    double scale_;
    koUtil::Progress& progress_;
    koGeom::SimpleMeshCache cache_;
    std::vector<char> isFlat_;
    std::optional<OverlapTest> overlapTest_;
    std::deque<koGeom::MeshIntersectPair> pairs_;
    SelfContacts found_;
};

SelfContacts SelfCutSearch::run() {
    findBetweenFans();
    if (overlapTest_ && !progress_.cancelled())
        findOverlaps();
    if (!progress_.cancelled())
        findInFans();
    sortCuts();
    sortOverlaps(found_.overlaps);
    leaveCutsOut();
    scaleBack();
    progress_.set(1.0);
    return std::move(found_);
}

/// Of one pair the plain one stays first.
void SelfCutSearch::sortCuts() {
    std::vector<SelfCut>& cuts = found_.cuts;
    std::stable_sort(cuts.begin(), cuts.end(), isBefore);
    cuts.erase(std::unique(cuts.begin(), cuts.end(), isSamePair), cuts.end());
}

/// Near one plane rounding may make a pair cut.
void SelfCutSearch::leaveCutsOut() {
    std::vector<CoplanarOverlap>& overlaps = found_.overlaps;
    overlaps.erase(
        std::remove_if(overlaps.begin(), overlaps.end(),
                       [this](CoplanarOverlap const& overlap) {
                           SelfCut const pair{overlap.triangle, overlap.other, {}, {}, false};
                           return std::binary_search(found_.cuts.begin(), found_.cuts.end(), pair,
                                                     isBefore);
                       }),
        overlaps.end());
}

void SelfCutSearch::scaleBack() {
    auto const toSize = [this](Point& p) { p = Point(p.x / scale_, p.y / scale_, p.z / scale_); };
    for (SelfCut& cut : found_.cuts) {
        toSize(cut.start);
        toSize(cut.end);
    }
    for (CoplanarOverlap& overlap : found_.overlaps) {
        toSize(overlap.centre);
        overlap.area = overlap.area / scale_ / scale_;
    }
}

void SelfCutSearch::findBetweenFans() {
    constexpr int numTurns = 3;
    // Neither table looks at the order of corners.
    ko::Reference<koGeom::Octree> const octree = cache_.getOctree(mesh_, -1);
    progress_.set(0.5 * shareOfTables);
    ko::Reference<koGeom::OctreeTris> const octreeTris = cache_.getOctreeTris(mesh_);
    progress_.set(shareOfTables);
    for (int turn = 0; turn < numTurns && !progress_.cancelled(); ++turn) {
        koUtil::Progress child;
        progress_.subPhase((1.0 - shareOfTables - shareOfFans - shareOfOverlaps) / numTurns, child);
        koGeom::MeshIntersect(mesh_, *octree, *octreeTris).selfIntersect(child, pairs_);
        addCuts(turn == 0 && scale_ == 1.0);
        turnCorners();
    }
}

void SelfCutSearch::addCuts(bool isPlain) {
    auto const isFound = [this](koGeom::MeshIntersectPair const& pair) {
        return isFlat_[at(pair.start.triangle)] == 0;
    };
    for (std::size_t i = 0; i + 1 < pairs_.size(); i += 2) {
        koGeom::MeshIntersectPair const& onOther = pairs_[i];
        koGeom::MeshIntersectPair const& onThis = pairs_[i + 1];
        if (isFound(onOther) && isFound(onThis))
            found_.cuts.push_back({onThis.start.triangle, onOther.start.triangle,
                                   onThis.start.evaluate(mesh_.getVertices(), mesh_.getTriangles()),
                                   onThis.end.evaluate(mesh_.getVertices(), mesh_.getTriangles()),
                                   isPlain});
    }
    pairs_.clear();
}

void SelfCutSearch::turnCorners() {
    for (int t = 0; t < mesh_.getNumTriangles(); ++t) {
        int* const corners = mesh_.getTriangles()[t].vertices;
        std::rotate(corners, corners + 1, corners + 3);
    }
}

void SelfCutSearch::findOverlaps() {
    ko::Reference<koGeom::OctreeTris> const octreeTris = cache_.getOctreeTris(mesh_);
    koUtil::Progress child;
    progress_.subPhase(shareOfOverlaps, child);
    found_.overlaps = findCoplanarOverlaps(mesh_, *octreeTris, *overlapTest_, child);
}

void SelfCutSearch::findInFans() {
    ko::Reference<MeshAdjTris> const adjTris = cache_.getAdjTris(mesh_);
    koUtil::Progress child;
    progress_.subPhase(shareOfFans, child);
    FanCutAlg alg(mesh_, *adjTris, isFlat_, overlapTest_ ? &*overlapTest_ : nullptr);
    alg.setProgress(&child);
    koUtil::ThreadPool::get().run(alg);
    alg.appendTo(found_);
}

}  // namespace

std::vector<SelfCut> findSelfCuts(CompactMesh const& mesh, koUtil::Progress& progress,
                                  std::vector<CoplanarOverlap>* overlaps) {
    if (overlaps != nullptr)
        overlaps->clear();
    if (mesh.getNumTriangles() == 0)
        return {};
    SelfContacts found = SelfCutSearch(mesh, overlaps != nullptr, progress).run();
    if (overlaps != nullptr)
        *overlaps = std::move(found.overlaps);
    return std::move(found.cuts);
}

}  // namespace trimora
