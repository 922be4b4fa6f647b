#include "trimora/topology/MeshCurveTopology.h"

#include "trimora/contract/koLinear/lines.h"
#include "trimora/topology/detail/CurveEndGrid.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <set>
#include <vector>

/// The graph's ends: how polylines come in, how duplicates go, how ends join, how tails are trimmed. Crossings are found in
/// MeshCurveTopology_intersect.cpp. Ends that may meet are looked up in a grid, so that many curves cost no pairs of curves.
namespace koGeom {

namespace {

using PointRef = MeshCurveTopology::PointRef;
using Curve = MeshCurveTopology::Curve;
using Curves = MeshCurveTopology::Curves;

/// Curves by their place in the list, and their ends in a grid: end 2 i is the first point of curve i, 2 i + 1 the last.
class NumberedCurves {
public:
    NumberedCurves(Curves& curves, double tolerance)
        : ends_(std::isnan(tolerance) ? 0.0 : std::abs(tolerance), extentOf(curves)) {
        for (auto curve = curves.begin(); curve != curves.end(); ++curve) {
            numberOf_.emplace(&*curve, size());
            curves_.push_back(curve);
            if (!curve->empty()) {
                addEnd(size() - 1, curve->front()->position);
                addEnd(size() - 1, curve->back()->position);
            }
        }
    }

    int size() const { return static_cast<int>(curves_.size()); }
    Curves::iterator operator[](int i) const { return curves_[static_cast<std::size_t>(i)]; }
    void addEnd(int curve, Point const& place) { ends_.add(place, curve); }

    /// The curves of the last so many uses have got their ends by a merge: they are near where those lie now.
    void followLast(int numUses, MeshCurveTopology::IPoint const& point) {
        for (auto use = point.uses.rbegin(); numUses > 0; ++use, --numUses)
            addEnd(numberOf_.at(use->curve), point.point->position);
    }

    /// Curves with an end that may be equivalent to one of the two points, ascending.
    std::vector<int> near(Point const& a, Point const& b) const {
        std::vector<int> found = ends_.nearby(a);
        std::vector<int> const more = ends_.nearby(b);
        found.insert(found.end(), more.begin(), more.end());
        std::sort(found.begin(), found.end());
        found.erase(std::unique(found.begin(), found.end()), found.end());
        return found;
    }

private:
    static double extentOf(Curves const& curves) {
        double extent = 0.0;
        auto const include = [&extent](Point const& p) {
            for (double const c : {p.x, p.y, p.z})
                if (std::isfinite(c))
                    extent = std::max(extent, std::abs(c));
        };
        for (Curve const& curve : curves) {
            if (!curve.empty()) {
                include(curve.front()->position);
                include(curve.back()->position);
            }
        }
        return extent;
    }

    std::vector<Curves::iterator> curves_;
    std::unordered_map<Curve const*, int> numberOf_;  // found by address, never walked
    detail::CurveEndGrid ends_;
};

bool isRepeat(TopoMeshPoint const& a, TopoMeshPoint const& b, double tolerance) {
    if (a.kind != b.kind)
        return false;
    switch (a.kind) {
    case TopoMeshPoint::OnVertex:
        return a.vertex == b.vertex;
    case TopoMeshPoint::OnEdge:
        return (a.edge == b.edge || a.edge.twin() == b.edge) &&
               equivalent(a.position, b.position, tolerance);
    default:
        return a.coord.face == b.coord.face && equivalent(a.position, b.position, tolerance);
    }
}

}  // namespace

MeshCurveTopology::IPointMap::IPointMap(IPointMap const& other) : entries_(other.entries_) {
    for (iterator at = entries_.begin(); at != entries_.end(); ++at)
        places_.emplace(at->first.get(), at);
}

MeshCurveTopology::IPointMap& MeshCurveTopology::IPointMap::operator=(IPointMap const& other) {
    IPointMap copy(other);
    entries_.swap(copy.entries_);  // the places stay valid: they name nodes, and those move along
    places_.swap(copy.places_);
    return *this;
}

MeshCurveTopology::IPointMap::iterator MeshCurveTopology::IPointMap::find(PointRef const& point) {
    auto const place = places_.find(point.get());
    return place != places_.end() ? place->second : entries_.end();
}

MeshCurveTopology::IPoint& MeshCurveTopology::IPointMap::operator[](PointRef const& point) {
    auto const [place, isNew] = places_.try_emplace(point.get());
    if (isNew)
        place->second = entries_.insert(entries_.end(), {point, IPoint{point, {}}});
    return place->second->second;
}

void MeshCurveTopology::IPointMap::erase(PointRef const& point) {
    auto const place = places_.find(point.get());
    if (place == places_.end())
        return;
    entries_.erase(place->second);
    places_.erase(place);
}

MeshCurveTopology::MeshCurveTopology(TopoMesh& mesh, Curves& curves, double tolerance)
    : mesh_(&mesh), curves_(&curves), tolerance_(tolerance) {
    validateCurves();
    createIPoints();
    linkCurves();
    intersect();
}

MeshCurveTopology::IPoint* MeshCurveTopology::getIPoint(PointRef const& point) {
    auto const found = iPoints_.find(point);
    return found != iPoints_.end() ? &found->second : nullptr;
}

void MeshCurveTopology::convert(Curves& curves, std::deque<TopoMeshCoord> const& coords,
                                double tolerance) {
    curves.emplace_back();
    PointRef previous;
    for (TopoMeshCoord const& coord : coords) {
        PointRef const point = new TopoMeshPoint(coord, tolerance);
        bool const jumps = previous && !point->adjacent(*previous) && !point->equivalent(*previous);
        if (jumps)
            curves.emplace_back();
        if (jumps || !previous || !isRepeat(*point, *previous, tolerance))
            curves.back().push_back(point);
        previous = point;
    }
}

bool MeshCurveTopology::equivalent(TopoMeshPoint const& a, TopoMeshPoint const& b,
                                   double tolerance) {
    if (!koLinear::equivalent(a.position, b.position, tolerance))
        return false;
    return a.adjacent(b) || a.equivalent(b);
}

bool MeshCurveTopology::hasEquivalentEndPoint(PointRef const& point, Curves const& curves,
                                              double tolerance) {
    auto const meets = [&](PointRef const& end) {
        return end.get() != point.get() && equivalent(*point, *end, tolerance);
    };
    return std::any_of(curves.begin(), curves.end(), [&meets](Curve const& curve) {
        return !curve.empty() && (meets(curve.front()) || meets(curve.back()));
    });
}

void MeshCurveTopology::extend(Curves& curves, double tolerance) {
    NumberedCurves numbered(curves, tolerance);
    auto const meetsAnEnd = [&](PointRef const& point) {
        for (int i : numbered.near(point->position, point->position))
            for (PointRef const& end : {numbered[i]->front(), numbered[i]->back()})
                if (end.get() != point.get() && equivalent(*point, *end, tolerance))
                    return true;
        return false;
    };
    for (int i = 0; i < numbered.size(); ++i) {
        Curve& curve = *numbered[i];
        if (curve.size() < 2)
            continue;
        PointRef const ends[2] = {curve.front(), curve.back()};
        PointRef const inner[2] = {*std::next(curve.begin()), *std::prev(curve.end(), 2)};
        for (int side = 0; side < 2; ++side) {
            if (ends[side]->kind != TopoMeshPoint::InFace || meetsAnEnd(ends[side]))
                continue;
            extendSegment(inner[side], ends[side], tolerance);
            numbered.addEnd(i, ends[side]->position);
        }
    }
}

void MeshCurveTopology::extendSegment(PointRef const& from, PointRef const& end, double tolerance) {
    TopoMeshFace const face = end->coord.face;
    if (!face)
        return;
    TopoMeshEdge const first = face.edge();
    Point const corners[3] = {first.origin().point(), first.next().origin().point(),
                              first.next().next().origin().point()};
    ParamLine const ahead(from->position, end->position);
    double nearest = std::numeric_limits<double>::max();
    for (int side = 0; side < 3; ++side) {
        Line const rim(corners[side], corners[(side + 1) % 3]);
        bool hits = false;
        Point const hit = koLinear::intersect(Line(ahead), rim, hits, perpendicular2Tol);
        double const param = projectParam(hit, ahead);
        if (hits && param > 1.0 && param < nearest)
            nearest = param;
    }
    TopoMeshCoord onRim;
    if (nearest < std::numeric_limits<double>::max() &&
        onRim.setFromPoint(face, ahead.eval(nearest)))
        *end = TopoMeshPoint(onRim, tolerance);
}

bool MeshCurveTopology::curvesOverlap(Curve const& a, Curve const& b) const {
    if (a.size() < 2 || b.size() < 2)
        return false;
    struct EndSegment {
        Point end, inner;
    };
    auto const endsOf = [](Curve const& curve) {
        return std::pair{
            EndSegment{curve.front()->position, (*std::next(curve.begin()))->position},
            EndSegment{curve.back()->position, (*std::prev(curve.end(), 2))->position}};
    };
    auto const same = [this](EndSegment const& s, EndSegment const& t) {
        return koLinear::equivalent(s.end, t.end, tolerance_) &&
               koLinear::equivalent(s.inner, t.inner, tolerance_);
    };
    auto const [firstOfA, lastOfA] = endsOf(a);
    auto const [firstOfB, lastOfB] = endsOf(b);
    return same(firstOfA, firstOfB) || same(firstOfA, lastOfB) || same(lastOfA, firstOfB) ||
           same(lastOfA, lastOfB);
}

namespace {

/// Only later curves are looked at.
bool overlapsLater(MeshCurveTopology const& topology, NumberedCurves const& numbered, int i) {
    Curve const& a = *numbered[i];
    if (a.size() < 2)
        return false;
    std::vector<int> const near = numbered.near(a.front()->position, a.back()->position);
    return std::any_of(std::upper_bound(near.begin(), near.end(), i), near.end(),
                       [&](int j) { return topology.curvesOverlap(a, *numbered[j]); });
}

}  // namespace

Curves::iterator MeshCurveTopology::findOverlappingCurve() {
    NumberedCurves const numbered(*curves_, tolerance_);
    for (int i = 0; i < numbered.size(); ++i)
        if (overlapsLater(*this, numbered, i))
            return numbered[i];
    return curves_->end();
}

// Whether a curve overlaps a later one does not depend on those before it. So one walk erases what repeated searches from
// the start would.
void MeshCurveTopology::validateCurves() {
    NumberedCurves const numbered(*curves_, tolerance_);
    for (int i = 0; i < numbered.size(); ++i)
        if (overlapsLater(*this, numbered, i))
            curves_->erase(numbered[i]);
}

void MeshCurveTopology::createIPoints() {
    for (Curve& curve : *curves_) {
        if (curve.empty())
            continue;
        // What stood under these objects is replaced, another curve's uses included.
        iPoints_[curve.front()].uses.clear();
        iPoints_[curve.back()].uses.clear();
        iPoints_[curve.front()].uses.push_back({&curve, curve.begin()});
        iPoints_[curve.back()].uses.push_back({&curve, std::prev(curve.end())});
    }
}

void MeshCurveTopology::linkCurves() {
    for (auto curve = curves_->begin(); curve != curves_->end();) {
        auto const each = curve++;
        if (each->empty() || !equivalent(*each->front(), *each->back(), tolerance_))
            continue;
        PointRef const first = each->front();
        PointRef const last = each->back();
        if (each->size() > 2) {
            mergeIPoints(first, last);
        } else {
            deleteIPoint(first);
            deleteIPoint(last);
            curves_->erase(each);
        }
    }

    auto const isOpen = [](Curve const& curve) {
        return !curve.empty() && curve.front() != curve.back();
    };
    auto const degreeOf = [this](PointRef const& point) {
        IPoint const* const at = getIPoint(point);
        return at != nullptr ? at->getDegree() : 0;
    };
    static constexpr int endPairs[4][2] = {{0, 2}, {0, 3}, {1, 2}, {1, 3}};
    NumberedCurves numbered(*curves_, tolerance_);
    for (int i = 0; i < numbered.size(); ++i) {
        Curve& a = *numbered[i];
        if (!isOpen(a))
            continue;
        // What is joined takes over the points of a, which stay where they are: the list of candidates holds to the end.
        std::vector<int> const near = numbered.near(a.front()->position, a.back()->position);
        for (auto j = std::upper_bound(near.begin(), near.end(), i); j != near.end(); ++j) {
            Curve& b = *numbered[*j];
            if (!isOpen(a) || !isOpen(b))
                continue;
            PointRef ends[4] = {a.front(), a.back(), b.front(), b.back()};
            for (auto const& [keep, gone] : endPairs) {
                PointRef const kept = ends[keep];
                int const degree = degreeOf(kept);
                mergeIPoints(ends, keep, gone);
                if (int const numMoved = degreeOf(kept) - degree; numMoved > 0)
                    numbered.followLast(numMoved, *getIPoint(kept));
            }
        }
    }
}

void MeshCurveTopology::mergeIPoints(PointRef (&ends)[4], int keep, int gone) {
    if (!ends[keep] || !ends[gone] || !equivalent(*ends[keep], *ends[gone], tolerance_))
        return;
    mergeIPoints(ends[keep], ends[gone]);
    ends[keep] = PointRef();
    ends[gone] = PointRef();
}

void MeshCurveTopology::mergeIPoints(PointRef const& keep, PointRef const& gone) {
    IPoint* const from = getIPoint(gone);
    if (keep == gone || from == nullptr)
        return;
    // The references passed may be those of nodes, which change here.
    PointRef const kept = keep;
    PointRef const left = gone;
    for (CurveUse const& use : from->uses)
        *use.node = kept;
    IPoint& to = iPoints_[kept];
    to.uses.splice(to.uses.end(), from->uses);
    iPoints_.erase(left);
}

void MeshCurveTopology::deleteIPoint(PointRef const& point) {
    iPoints_.erase(point);
}

void MeshCurveTopology::deleteICurve(Curve& curve, Node node) {
    PointRef const point = *node;
    IPoint* const at = getIPoint(point);
    if (at == nullptr)
        return;
    auto const use = std::find(at->uses.begin(), at->uses.end(), CurveUse{&curve, node});
    if (use != at->uses.end())
        at->uses.erase(use);
    if (at->uses.empty())
        deleteIPoint(point);
}

void MeshCurveTopology::deleteCurveIfDegenerate(Curves::iterator curve) {
    if (curve->size() == 1) {
        deleteICurve(*curve, curve->begin());
        curve->clear();
    }
    if (curve->empty())
        curves_->erase(curve);
}

void MeshCurveTopology::trimCurveForward(Curves::iterator curve) {
    deleteICurve(*curve, curve->begin());
    while (!curve->empty() && getIPoint(curve->front()) == nullptr)
        curve->pop_front();
    deleteCurveIfDegenerate(curve);
}

void MeshCurveTopology::trimCurveBackward(Curves::iterator curve) {
    deleteICurve(*curve, std::prev(curve->end()));
    while (!curve->empty() && getIPoint(curve->back()) == nullptr)
        curve->pop_back();
    deleteCurveIfDegenerate(curve);
}

/// The one use must be this one: an object that two curves held when they came in counts for the later curve alone.
bool MeshCurveTopology::dangles(Curve& curve, Node end) {
    IPoint const* const at = getIPoint(*end);
    return at != nullptr && at->getDegree() == 1 && at->uses.front() == CurveUse{&curve, end} &&
           !(*end)->onBoundary();
}

// Trimming is taking leaves off a tree: what is left at the end does not depend on the order. So a curve is looked at
// again only when one of its points has lost a use.
void MeshCurveTopology::trimInteriorEndPoints() {
    std::unordered_map<Curve const*, int> numberOf;
    std::vector<Curves::iterator> curves;
    std::set<int> pending;
    for (auto curve = curves_->begin(); curve != curves_->end(); ++curve) {
        int const number = static_cast<int>(curves.size());
        numberOf.emplace(&*curve, number);
        if (!curve->empty())
            pending.insert(pending.end(), number);
        curves.push_back(curve);
    }

    auto const isOnGraph = [this](PointRef const& point) { return getIPoint(point) != nullptr; };
    while (!pending.empty()) {
        Curves::iterator const curve = curves[static_cast<std::size_t>(*pending.begin())];
        pending.erase(pending.begin());
        // The one point that may lose a use and stay is that where the trimming stops.
        PointRef stop;
        if (dangles(*curve, curve->begin())) {
            auto const at = std::find_if(std::next(curve->begin()), curve->end(), isOnGraph);
            stop = at != curve->end() ? *at : PointRef();
            trimCurveForward(curve);
        } else if (dangles(*curve, std::prev(curve->end()))) {
            auto const at = std::find_if(std::next(curve->rbegin()), curve->rend(), isOnGraph);
            stop = at != curve->rend() ? *at : PointRef();
            trimCurveBackward(curve);
        }
        IPoint const* const left = stop ? getIPoint(stop) : nullptr;
        if (left != nullptr)
            for (CurveUse const& use : left->uses)
                pending.insert(numberOf.at(use.curve));
    }
}

MeshCurveTopologyIterator::MeshCurveTopologyIterator(Curves& curves)
    : curves_(&curves), curve_(curves.begin()) {
    if (valid()) {
        node_ = curve_->begin();
        nextIfInvalid();
    }
}

void MeshCurveTopologyIterator::next() {
    if (!valid())
        return;
    ++node_;
    nextIfInvalid();
}

void MeshCurveTopologyIterator::nextIfInvalid() {
    while (valid() && node_ == curve_->end())
        if (++curve_ != curves_->end())
            node_ = curve_->begin();
}

}  // namespace koGeom
