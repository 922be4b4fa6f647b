#include "trimora/stitch/MeshMerge.h"

#include "trimora/contract/ko/ImplBase.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/stitch/detail/WeldGrid.h"

#include <algorithm>
#include <limits>
#include <new>

// Two phases: all vertices of all meshes are put into one grid, those that find an earlier one in their box
// excepted; then all triangles are renumbered. A vertex knows what it became as soon as it has been looked
// for: whatever is stored later has a higher number, and the lowest counts. So the second walk over the
// vertices has nothing left to search.

namespace koGeom {

namespace {

/// Vertices are met in this many rounds, so that neighbours in the list are not met one after the other.
constexpr int numRounds = 100;

/// Shares of the vertex phase, in fifths.
constexpr double insertShare = 3.0;
constexpr double remapShare = 2.0;

class Placing {
public:
    explicit Placing(AffineMatrixFlt const& matrix)
        : matrix_(matrix),
          isIdentity_(equivalent(matrix, AffineMatrixFlt::Identity, epsilonTolFlt)) {}

    PointFlt operator()(MeshVertex const& vertex) const {
        PointFlt const point = vertex.asPointFlt();
        return isIdentity_ ? point : point * matrix_;
    }

private:
    AffineMatrixFlt const& matrix_;
    bool isIdentity_;
};

int checkedCount(long long count) {
    if (count > std::numeric_limits<int>::max())
        throw std::bad_alloc();
    return static_cast<int>(count);
}

void renumber(MeshTriangle* first, int count, int const* remap) {
    std::for_each(first, first + count, [remap](MeshTriangle& triangle) {
        for (int& vertex : triangle.vertices)
            vertex = remap[vertex];
    });
}

}  // namespace

class MeshMergeImpl : public ko::ImplBase {
public:
    MeshMergeImpl(CompactMesh& dest, ko::list<MeshPlacement> const& sources, float tolerance)
        : dest_(dest), sources_(sources), tolerance_(tolerance) {
        count();
    }

    void merge(koUtil::Progress& progress);

private:
    void count();
    void mergeVertices(koUtil::Progress& progress);
    void insert(MeshPlacement const& placement, detail::WeldGrid& grid, koUtil::Progress& progress);
    static void reportRemap(int numVertices, koUtil::Progress& progress);
    void mergeTriangles();

    bool isSource(MeshPlacement const& placement) const {
        return placement.mesh != nullptr && placement.mesh != &dest_;
    }
    template <class Visit>
    void forEachSource(Visit const& visit) const {
        for (MeshPlacement const& source : sources_)
            if (isSource(source))
                visit(source);
    }

    CompactMesh& dest_;
    ko::list<MeshPlacement> const& sources_;
    float tolerance_;
    int totalVertices_ = 0;
    int totalTriangles_ = 0;
    ko::list<ko::vector<int>> remaps_;  ///< of dest, then of each source: its vertices' new numbers
};

void MeshMergeImpl::count() {
    long long numVertices = dest_.getNumVertices();
    long long numTriangles = dest_.getNumTriangles();
    forEachSource([&](MeshPlacement const& source) {
        numVertices += source.mesh->getNumVertices();
        numTriangles += source.mesh->getNumTriangles();
    });
    totalVertices_ = checkedCount(numVertices);
    totalTriangles_ = checkedCount(numTriangles);
}

void MeshMergeImpl::merge(koUtil::Progress& progress) {
    debugChannel().print("MeshMerge:  %d source meshes\n", static_cast<int>(sources_.size()));
    count();  // again: dest is another mesh after the first time

    koOS::StopWatch watch;
    watch.start();
    mergeVertices(progress);
    debugChannel().print("  mergeVertices: %f s\n", watch.clear());
    watch.start();
    mergeTriangles();
    debugChannel().print("  mergeTriangles: %f s\n", watch.clear());
    remaps_.clear();

    MeshModification modification(&dest_, MeshModification::Topology, nullptr);
    dest_.modified(modification);
}

void MeshMergeImpl::mergeVertices(koUtil::Progress& progress) {
    detail::WeldGrid grid(tolerance_);
    double const whole = 5.0 * totalVertices_;
    MeshPlacement placedDest;
    placedDest.mesh = &dest_;
    remaps_.clear();

    koOS::StopWatch watch;
    auto const lap = [&watch](char const* message) {
        debugChannel().print(message, watch.clear());
        watch.start();
    };
    auto const insertOne = [&](MeshPlacement const& placement) {
        koUtil::Progress phase;
        progress.subPhase(placement.mesh->getNumVertices() * insertShare / whole, phase);
        insert(placement, grid, phase);
    };
    auto const remapOne = [&](MeshPlacement const& placement) {
        koUtil::Progress phase;
        progress.subPhase(placement.mesh->getNumVertices() * remapShare / whole, phase);
        reportRemap(placement.mesh->getNumVertices(), phase);
    };

    watch.start();
    insertOne(placedDest);
    lap("    mergeVertices: inserted dest: %g s\n");
    forEachSource([&](MeshPlacement const& source) {
        insertOne(source);
        lap("    mergeVertices:  insert a src: %g s\n");
    });
    remapOne(placedDest);
    lap("    mergeVertices:  remapped dest: %g s\n");
    forEachSource([&](MeshPlacement const& source) {
        remapOne(source);
        lap("    mergeVertices:  remapped a src: %g s\n");
    });
    dest_.resizeVertexArray(grid.count());
    grid.copyTo(dest_.getVertices());
}

/// Welds or keeps each vertex of one mesh, and notes what it became.
void MeshMergeImpl::insert(MeshPlacement const& placement, detail::WeldGrid& grid,
                           koUtil::Progress& progress) {
    Placing const placed(placement.matrix);
    MeshVertex const* const vertices = placement.mesh->getVertices();
    int const numVertices = placement.mesh->getNumVertices();
    int* const remap = remaps_.emplace_back(static_cast<std::size_t>(numVertices)).data();
    ko::vector<PointFlt> places;
    ko::vector<int> numbers;
    for (int round = 0; round < numRounds; ++round) {
        places.clear();
        for (long long vertex = round; vertex < numVertices; vertex += numRounds)
            places.push_back(placed(vertices[vertex]));
        numbers.resize(places.size());
        grid.weld(places.data(), static_cast<int>(places.size()), numbers.data());
        long long vertex = round;
        for (int const number : numbers) {
            remap[vertex] = number;
            vertex += numRounds;
        }
        progress.set((round + 1) / static_cast<double>(numRounds));
    }
}

/// A step for each hundredth of the vertices.
void MeshMergeImpl::reportRemap(int numVertices, koUtil::Progress& progress) {
    int const step = numVertices / 100;
    if (step == 0)
        return;
    for (long long done = step; done <= numVertices; done += step)
        progress.set(static_cast<double>(done) / numVertices);
}

/// dest's own triangles come first, so that it is a valid mesh also when there is no room for more.
void MeshMergeImpl::mergeTriangles() {
    int const numOwn = dest_.getNumTriangles();
    auto remap = remaps_.cbegin();
    renumber(dest_.getTriangles(), numOwn, remap->data());

    dest_.resizeTriangleArray(totalTriangles_);
    MeshTriangle* next = dest_.getTriangles() + numOwn;
    forEachSource([&](MeshPlacement const& source) {
        int const count = source.mesh->getNumTriangles();
        std::copy_n(source.mesh->getTriangles(), count, next);
        renumber(next, count, (++remap)->data());
        next += count;
    });
}

MeshMerge::MeshMerge(CompactMesh& dest, ko::list<MeshPlacement> const& sources, float tolerance)
    : impl_(new MeshMergeImpl(dest, sources, tolerance)), ownsImpl_(true) {}

MeshMerge::MeshMerge(MeshMerge const& other) : impl_(other.impl_), ownsImpl_(false) {}

MeshMerge& MeshMerge::operator=(MeshMerge const& other) {
    if (this == &other || impl_ == other.impl_)
        return *this;
    if (ownsImpl_)
        delete impl_;
    impl_ = other.impl_;
    ownsImpl_ = false;
    return *this;
}

MeshMerge::~MeshMerge() {
    if (ownsImpl_)
        delete impl_;
}

void MeshMerge::merge(koUtil::Progress& progress) {
    impl_->merge(progress);
}

}  // namespace koGeom
