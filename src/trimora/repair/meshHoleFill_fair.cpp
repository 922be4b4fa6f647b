#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/repair/detail/FairingSystem.h"
#include "trimora/repair/detail/HolePatch.h"

/// Fairing: the new vertices of a patch are moved to where the Laplacian of the Laplacian is 0. What lies around them, up to
/// two edges away, stands still and bends the patch into its own direction. Vertices on a boundary take no part.
namespace koGeom::detail {

namespace {

/// The new vertices and what lies around them, by number: the new ones first, in order.
class Stencils {
public:
    Stencils(VertexTable<int>& numbers, ko::vector<TopoMeshVertex> const& newVertices);
    ~Stencils() { numbers_.clear(); }

    bool isNew(int number) const { return number < numNew_; }
    int numNew() const { return numNew_; }
    Point point(int number) const { return vertices_[at(number)].point(); }
    /// The numbers of a vertex's neighbours, in the order of the walk around it; of new vertices and of their neighbours only.
    int const* begin(int number) const { return neighbours_.data() + begins_[at(number)]; }
    int const* end(int number) const { return neighbours_.data() + begins_[at(number) + 1]; }
    int count(int number) const { return static_cast<int>(end(number) - begin(number)); }

private:
    static constexpr int none = -1;
    static constexpr int onBoundary = -2;

    static std::size_t at(int i) { return static_cast<std::size_t>(i); }
    int numberOf(TopoMeshVertex vertex);
    void addNeighbours(int number);

    VertexTable<int>& numbers_;  // also none and onBoundary
    int const numNew_;
    ko::vector<TopoMeshVertex> vertices_;
    ko::vector<std::size_t> begins_{0};
    ko::vector<int> neighbours_;
};

Stencils::Stencils(VertexTable<int>& numbers, ko::vector<TopoMeshVertex> const& newVertices)
    : numbers_(numbers), numNew_(static_cast<int>(newVertices.size())), vertices_(newVertices) {
    for (int i = 0; i < numNew_; ++i)
        numbers_.set(vertices_[at(i)], i);
    for (int i = 0; i < numNew_; ++i)
        addNeighbours(i);
    int const numInner = static_cast<int>(vertices_.size());
    for (int i = numNew_; i < numInner; ++i)
        addNeighbours(i);
}

void Stencils::addNeighbours(int number) {
    TopoMeshEdgeVertexIterator around;
    for (around.reset(vertices_[at(number)]); around.edge; around.next()) {
        int const neighbour = numberOf(around.edge.next().origin());
        if (neighbour != onBoundary)
            neighbours_.push_back(neighbour);
    }
    begins_.push_back(neighbours_.size());
}

int Stencils::numberOf(TopoMeshVertex vertex) {
    int number = numbers_.find(vertex);
    if (number == none) {
        number = vertex.onBoundary() ? onBoundary : static_cast<int>(vertices_.size());
        numbers_.set(vertex, number);
        if (number != onBoundary)
            vertices_.push_back(vertex);
    }
    return number;
}

/// Adds the Laplacian at a vertex, times a factor, to the last row.
void addLaplacian(FairingSystem& system, Stencils const& stencils, int vertex, double factor) {
    auto const addTerm = [&](int number, double weight) {
        if (stencils.isNew(number))
            system.add(number, weight);
        else
            system.rightSide() -= weight * stencils.point(number).asVector();
    };
    for (int const* neighbour = stencils.begin(vertex); neighbour != stencils.end(vertex);
         ++neighbour)
        addTerm(*neighbour, factor);
    addTerm(vertex, -stencils.count(vertex) * factor);
}

/// One row for each new vertex: the Laplacian of the Laplacian there.
void fillSystem(FairingSystem& system, Stencils const& stencils) {
    for (int i = 0; i < stencils.numNew(); ++i) {
        system.beginRow(stencils.point(i));
        addLaplacian(system, stencils, i, -stencils.count(i));
        for (int const* neighbour = stencils.begin(i); neighbour != stencils.end(i); ++neighbour)
            addLaplacian(system, stencils, *neighbour, 1.0);
    }
}

/// False when cancelled.
bool solve(FairingSolver& solver, int maxIterations, koUtil::Progress& progress) {
    constexpr int iterationsPerReport = 100;
    for (int iteration = 0; iteration < maxIterations; ++iteration) {
        if (solver.iterate(epsilonTol, epsilonTol)) {
            progress.set(1.0);
            return true;
        }
        if (iteration % iterationsPerReport != 0)
            continue;
        if (progress.cancelled())
            return false;
        progress.set(static_cast<double>(iteration + 1) / maxIterations);
    }
    return true;
}

}  // namespace

void fairPatch(HoleRegion& region, HolePatch& patch, koUtil::Progress& progress) {
    FairingSystem system;
    fillSystem(system, Stencils(region.places, patch.newVertices));

    // What is left when the steps run out is as good as it gets, and is taken.
    FairingSolver solver(system);
    if (!solve(solver, 3 * system.size(), progress))
        return;
    for (int i = 0; i < system.size(); ++i)
        region.topo.setPoint(patch.newVertices[static_cast<std::size_t>(i)], solver.position(i));
}

}  // namespace koGeom::detail
