#include "trimora/topology/MeshEdgeSwapper.h"

#include "trimora/contract/koLinear/lines.h"
#include "trimora/contract/koLinear/tolerances.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <typeinfo>

/// The decision, the four criteria, and the passes. A pass is a walk with one question and one edit for each edge; what takes
/// time is the angles, so the angle criteria first try bounds that need no inverse cosine and give the same verdict.
namespace koGeom {

namespace {

using GlobalCriterion = koRTB::Function2ArgsGlobal<TopoMeshEdge, bool&>;
using AnyCriterion = koRTB::Function2Args<TopoMeshEdge, bool&>;

bool isReadyCriterion(koRTB::FunctionBase& function) {
    if (typeid(function) != typeid(GlobalCriterion))
        return false;
    for (auto* const ready :
         {&MeshEdgeSwapper::minimizeOppositeAngleSum, &MeshEdgeSwapper::preserveBoundary,
          &MeshEdgeSwapper::preserveFeatures, &MeshEdgeSwapper::preventFoldover})
        if (function.isGlobalFunction(reinterpret_cast<void*>(ready)))
            return true;
    return false;
}

}  // namespace

class MeshEdgeSwapper::Signal : public VetoSignal {
public:
    /// As raise, but that the usual kind of callback, a free function, is found without a search through its bases.
    void ask(TopoMeshEdge edge, bool& veto) {
        raiseEach([&](koRTB::FunctionBase& function) {
            if (typeid(function) == typeid(GlobalCriterion))
                static_cast<GlobalCriterion&>(function).call(edge, veto);
            else if (auto* const other = dynamic_cast<AnyCriterion*>(&function))
                other->call(edge, veto);
        });
    }

    bool hasOnlyReadyCriteria() {
        bool onlyReady = true;
        raiseEach([&](koRTB::FunctionBase& function) {
            onlyReady = onlyReady && isReadyCriterion(function);
        });
        return onlyReady;
    }
};

MeshEdgeSwapper::MeshEdgeSwapper() = default;
MeshEdgeSwapper::~MeshEdgeSwapper() = default;

bool MeshEdgeSwapper::shouldSwap(TopoMeshEdge edge) {
    if (!vetoSignal_ || !vetoSignal_->isConnected() || !edge.twin())
        return false;
    bool veto = false;
    vetoSignal_->ask(edge, veto);
    return !veto && vetoSignal_ != nullptr;  // a callback may have cleared the signal
}

koRTB::Signal2Args<TopoMeshEdge, bool&>& MeshEdgeSwapper::getVetoSignal() {
    if (!vetoSignal_)
        vetoSignal_ = std::make_unique<Signal>();
    return *vetoSignal_;
}

void MeshEdgeSwapper::clearVetoSignal() {
    vetoSignal_.reset();
}

bool MeshEdgeSwapper::decidesByMeshAlone() {
    return typeid(*this) == typeid(MeshEdgeSwapper) &&
           (!vetoSignal_ || vetoSignal_->hasOnlyReadyCriteria());
}

namespace {

/// The corners of the two triangles on an edge from a to b: (a, b, c) and (b, a, d).
struct Quadrilateral {
    Point a, b, c, d;

    explicit Quadrilateral(TopoMeshEdge edge)
        : a(edge.origin().point()),
          b(edge.next().origin().point()),
          c(edge.prev().origin().point()),
          d(edge.twin().prev().origin().point()) {}
};

/// The sides of a quadrilateral as they leave c and d; the same ones turned round leave a and b.
struct Sides {
    Vector ca, cb, da, db;

    explicit Sides(Quadrilateral const& q)
        : ca(q.a - q.c), cb(q.b - q.c), da(q.a - q.d), db(q.b - q.d) {}
};

/// The criterion itself. Turning both sides of an angle round changes no bit of it.
bool isOppositeSumLess(Sides const& sides) {
    Normal const ca(sides.ca);
    Normal const cb(sides.cb);
    Normal const da(sides.da);
    Normal const db(sides.db);
    return angle(cb, db) + angle(ca, da) < angle(ca, cb) + angle(da, db);
}

/// A complex number whose argument is an angle, or a sum of angles.
struct Turn {
    double cosine, sine;
};

Turn turnBetween(Vector const& v, Vector const& w) {
    return {dot(v, w), cross(v, w).length()};
}

Turn operator*(Turn const& s, Turn const& t) {
    return {s.cosine * t.cosine - s.sine * t.sine, s.sine * t.cosine + s.cosine * t.sine};
}

enum class Verdict { Less, NotLess, Close };

/// Compares the same sums without an inverse cosine, or tells that they are too close.
///
/// The criterion takes the inverse cosine of the product of two unit vectors, which rounding changes by 1e-15 at most: four
/// angles then differ from the true ones by 2e-7 at most, as the inverse cosine can turn d into sqrt(2 d). A verdict here
/// stands on a sine of 1e-6 or more, hence on a difference that rounding cannot turn. Sides are of a length that no product
/// of theirs can overflow or lose its digits; others are left to the criterion.
Verdict compareByTurns(Sides const& sides) {
    double const squares[] = {sides.ca.length2(), sides.cb.length2(), sides.da.length2(),
                              sides.db.length2()};
    for (double const square : squares)
        if (!(square > 1e-60 && square < 1e60))
            return Verdict::Close;
    Turn const after = turnBetween(sides.cb, sides.db) * turnBetween(sides.ca, sides.da);
    Turn const before = turnBetween(sides.ca, sides.cb) * turnBetween(sides.da, sides.db);
    double const scale = std::sqrt((squares[0] * squares[1]) * (squares[2] * squares[3]));
    double const margin = 1e-6 * scale;  // both turns have this length

    // Sums run from 0 to 2 pi: a positive sine means less than pi.
    if (!(std::abs(after.sine) > margin && std::abs(before.sine) > margin))
        return Verdict::Close;
    bool const isAfterBelowPi = after.sine > 0.0;
    if (isAfterBelowPi != (before.sine > 0.0))
        return isAfterBelowPi ? Verdict::Less : Verdict::NotLess;

    // On the same side of pi they differ by less than pi, and the sine of the difference has its sign.
    double const difference = before.sine * after.cosine - before.cosine * after.sine;
    if (!(std::abs(difference) > margin * scale))
        return Verdict::Close;
    return difference > 0.0 ? Verdict::Less : Verdict::NotLess;
}

/// Whether two directions are at most pi / 2 apart, as the angle between them tells; it is only worked out near that limit,
/// where the last digits decide.
bool isWithinRightAngle(Normal const& n, Normal const& m) {
    double const cosine = dot(n, m);
    if (std::abs(cosine) > 1e-15)
        return cosine > 0.0;
    return angle(n, m) <= 1.5707963267948966;
}

struct Crease {
    double angle = 0.0;
    bool isDefined = false;
};

/// The signed fold at the edge from p to q between r and s, its opposite vertices; negative where s lies above.
Crease signedCrease(Point const& p, Point const& q, Point const& r, Point const& s) {
    Normal const first(cross(r - q, p - q));
    Normal const second(cross(s - p, q - p));
    if (!first.valid || !second.valid)
        return Crease();
    double const fold = angle(first, second);
    return {isAbove(s, Plane(p, first), epsilonTol) ? -fold : fold, true};
}

bool isDecided(TopoMeshEdge edge, bool& veto) {
    if (!edge.twin())
        veto = true;
    return veto;
}

}  // namespace

void MeshEdgeSwapper::minimizeOppositeAngleSum(TopoMeshEdge edge, bool& veto) {
    if (isDecided(edge, veto))
        return;
    Sides const sides{Quadrilateral(edge)};
    Verdict const verdict = compareByTurns(sides);
    veto = verdict == Verdict::Close ? !isOppositeSumLess(sides) : verdict == Verdict::NotLess;
}

void MeshEdgeSwapper::preserveBoundary(TopoMeshEdge edge, bool& veto) {
    if (isDecided(edge, veto))
        return;
    TopoMeshVertex const a = edge.origin();
    TopoMeshVertex const b = edge.next().origin();
    TopoMeshVertex const c = edge.prev().origin();
    TopoMeshVertex const d = edge.twin().prev().origin();
    veto = (a.onBoundary() && b.onBoundary()) || (c.onBoundary() && d.onBoundary());
}

void MeshEdgeSwapper::preserveFeatures(TopoMeshEdge edge, bool& veto) {
    if (isDecided(edge, veto))
        return;
    Quadrilateral const q(edge);
    Crease const present = signedCrease(q.a, q.b, q.c, q.d);
    Crease const diagonal = signedCrease(q.d, q.c, q.a, q.b);
    double const keptCrease = 0.04363323129985824;  // 2.5 degrees
    veto = !(present.isDefined && diagonal.isDefined &&
             std::abs(present.angle - diagonal.angle) < keptCrease);
}

void MeshEdgeSwapper::preventFoldover(TopoMeshEdge edge, bool& veto) {
    if (isDecided(edge, veto))
        return;
    Quadrilateral const q(edge);
    Normal const ofCDB(cross(q.b - q.d, q.c - q.d));
    Normal const ofADC(cross(q.c - q.d, q.a - q.d));
    veto = !(ofCDB.valid && ofADC.valid && isWithinRightAngle(ofCDB, ofADC));
}

namespace {

bool trySwap(TopoMesh& mesh, TopoMeshEdge edge, MeshEdgeSwapper& swapper) {
    return swapper.shouldSwap(edge) && mesh.swapEdge(edge);
}

int swapAll(TopoMesh& mesh, MeshEdgeSwapper& swapper) {
    int numSwaps = 0;
    for (TopoMeshEdge edge = mesh.firstEdge(); edge; edge = edge.nextInList())
        if (edge.twin() && ko::less<TopoMeshEdge>()(edge, edge.twin()))
            numSwaps += trySwap(mesh, edge, swapper);
    return numSwaps;
}

template <typename Edges>
int swapAmong(TopoMesh& mesh, Edges const& edges, MeshEdgeSwapper& swapper) {
    int numSwaps = 0;
    for (TopoMeshEdge const edge : edges)
        if (edge.twin())
            numSwaps += trySwap(mesh, edge, swapper);
    return numSwaps;
}

/// Notices that passes have come back to a state of the mesh in which they were before, and so will for ever.
///
/// What a pass does follows from the origins, rings and faces of the half-edges alone: twins, positions and the order of the
/// lists stay, and the criteria ask for nothing else. The state after some pass is kept and compared with each later one;
/// keeping a new one when the number of passes has doubled finds a cycle of any length, wherever it begins [brent1980].
class Repetition {
public:
    Repetition(TopoMesh const& mesh, MeshEdgeSwapper& swapper) : mesh_(mesh), swapper_(swapper) {}

    /// To be asked after each pass.
    bool isReached() {
        ++numPasses_;
        if (numPasses_ < firstKept || !swapper_.decidesByMeshAlone()) {
            kept_.clear();
            return false;
        }
        if (!kept_.empty() && isAsKept())
            return true;
        if (kept_.empty() || std::has_single_bit(numPasses_))
            keep();
        return false;
    }

private:
    struct Links {
        TopoMeshVertex origin;
        TopoMeshEdge next;
        TopoMeshFace face;

        explicit Links(TopoMeshEdge edge)
            : origin(edge.origin()), next(edge.next()), face(edge.face()) {}
        bool operator==(Links const&) const = default;
    };

    static constexpr std::uint64_t firstKept = 64;  // what ends by itself rarely takes half of that

    bool isAsKept() const {
        auto kept = kept_.begin();
        for (TopoMeshEdge edge = mesh_.firstEdge(); edge; edge = edge.nextInList())
            if (kept == kept_.end() || *kept++ != Links(edge))
                return false;
        return kept == kept_.end();
    }
    void keep() {
        kept_.clear();
        kept_.reserve(static_cast<std::size_t>(mesh_.numEdges()));
        for (TopoMeshEdge edge = mesh_.firstEdge(); edge; edge = edge.nextInList())
            kept_.emplace_back(edge);
    }

    TopoMesh const& mesh_;
    MeshEdgeSwapper& swapper_;
    std::uint64_t numPasses_ = 0;
    std::vector<Links> kept_;
};

void announce(TopoMesh& mesh, int numSwaps) {
    if (numSwaps == 0)
        return;
    TopoMeshModification modification(&mesh, TopoMeshModification::Topology);
    mesh.modified(modification);
}

template <typename Pass>
int swapOnce(TopoMesh& mesh, Pass const& pass) {
    int const numSwaps = pass();
    announce(mesh, numSwaps);
    return numSwaps;
}

template <typename Pass>
int swapRepeatedly(TopoMesh& mesh, MeshEdgeSwapper& swapper, Pass const& pass) {
    Repetition repetition(mesh, swapper);
    std::int64_t total = 0;
    bool isDone = false;
    while (!isDone) {
        int const numSwaps = pass();
        total += numSwaps;
        isDone = numSwaps == 0 || repetition.isReached();
    }
    auto const sum =
        static_cast<int>(std::min<std::int64_t>(total, std::numeric_limits<int>::max()));
    announce(mesh, sum);
    return sum;
}

}  // namespace

int meshSwapEdgesOnce(TopoMesh& mesh, MeshEdgeSwapper& swapper) {
    return swapOnce(mesh, [&] { return swapAll(mesh, swapper); });
}

int meshSwapEdgesOnce(TopoMesh& mesh, ko::vector<TopoMeshEdge> const& edges,
                      MeshEdgeSwapper& swapper) {
    return swapOnce(mesh, [&] { return swapAmong(mesh, edges, swapper); });
}

int meshSwapEdgesOnce(TopoMesh& mesh, ko::set<TopoMeshEdge, ko::less<TopoMeshEdge>> const& edges,
                      MeshEdgeSwapper& swapper) {
    return swapOnce(mesh, [&] { return swapAmong(mesh, edges, swapper); });
}

int meshSwapEdgesRepeatedly(TopoMesh& mesh, MeshEdgeSwapper& swapper) {
    return swapRepeatedly(mesh, swapper, [&] { return swapAll(mesh, swapper); });
}

int meshSwapEdgesRepeatedly(TopoMesh& mesh, ko::vector<TopoMeshEdge> const& edges,
                            MeshEdgeSwapper& swapper) {
    return swapRepeatedly(mesh, swapper, [&] { return swapAmong(mesh, edges, swapper); });
}

int meshSwapEdgesRepeatedly(TopoMesh& mesh,
                            ko::set<TopoMeshEdge, ko::less<TopoMeshEdge>> const& edges,
                            MeshEdgeSwapper& swapper) {
    return swapRepeatedly(mesh, swapper, [&] { return swapAmong(mesh, edges, swapper); });
}

}  // namespace koGeom
