// A weld by sorting: equal vertices come to stand side by side, and the place in the order is the new index. With the
// default checker, which is exact, the same order comes out of grouping equal keys first (see exactRanks); only a
// host's checker needs all vertices sorted.

#include "trimora/assembly/meshCompact.h"

#include "trimora/assembly/detail/distribute.h"
#include "trimora/assembly/detail/exactRanks.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/contract/koGeom/Remap.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"
#include "trimora/detail/callerContract.h"

#include <algorithm>
#include <cassert>
#include <memory>
#include <typeinfo>
#include <vector>

namespace koGeom {

namespace {

using detail::VertexKeys;

int compareFloats(float const* a, float const* b, int count) {
    for (int i = 0; i < count; ++i) {
        if (b[i] > a[i])
            return -1;
        if (a[i] > b[i])
            return 1;
    }
    return 0;
}

float const* elementOf(float const* values, int index, int dimension) {
    return values + static_cast<std::ptrdiff_t>(index) * dimension;
}

bool equalFloats(float const* values, int a, int b, int dimension) {
    return std::equal(elementOf(values, a, dimension), elementOf(values, a + 1, dimension),
                      elementOf(values, b, dimension));
}

std::vector<int> sortVertices(VertexKeys const& keys) {
    std::vector<int> order(static_cast<std::size_t>(keys.count));
    if (keys.uvs != nullptr)
        detail::orderByKey(VertexNormalUVCompare{keys.vertices, keys.normals, keys.uvs}, keys.count,
                           order.data());
    else if (keys.normals != nullptr)
        detail::orderByKey(VertexNormalCompare{keys.vertices, keys.normals}, keys.count,
                           order.data());
    else
        detail::orderByKey(VertexCompare{keys.vertices}, keys.count, order.data());
    return order;
}

/// Numbers the runs of equal vertices in the order; its entries become the first vertex of their run, which stands for
/// all of it, so that a tolerant checker cannot creep along a chain. Returns the number of runs.
int numberRuns(VertexKeys const& keys, IMeshVertexEqualityChecker& checker, std::vector<int>& order,
               Remap& remap) {
    auto const* const vertices = reinterpret_cast<MeshVertex const*>(keys.vertices);
    int next = 1;
    remap.set(order[0], 0);
    for (std::size_t i = 1; i < order.size(); ++i) {
        int const previous = order[i - 1];
        int const current = order[i];
        bool const areEqual =
            checker.equal(&vertices[previous], &vertices[current]) &&
            (keys.normals == nullptr || equalFloats(keys.normals, previous, current, 3)) &&
            (keys.uvs == nullptr || equalFloats(keys.uvs, previous, current, 2));
        if (areEqual)
            order[i] = previous;
        else
            ++next;
        remap.set(current, next - 1);
    }
    return next;
}

/// Of each new vertex the highest old one, which gives its data.
std::vector<int> highestSources(Remap const& remap, int numNew) {
    std::vector<int> sources(static_cast<std::size_t>(numNew));
    int const* const table = remap.table.data();
    for (int i = 0; i < remap.getDomainSize(); ++i)
        sources[static_cast<std::size_t>(table[i])] = i;
    return sources;
}

/// Moves each source's element to its new place at the front of the array.
template <class Element>
void permute(Element* elements, std::vector<int> const& sources) {
    auto const moved = std::make_unique_for_overwrite<Element[]>(sources.size());
    std::transform(sources.begin(), sources.end(), moved.get(),
                   [elements](int source) { return elements[source]; });
    std::copy(moved.get(), moved.get() + sources.size(), elements);
}

class RemapAlg : public koUtil::ThreadedAlg {
public:
    RemapAlg(Remap const& remap, MeshTriangle* triangles, int numTriangles)
        : remap_(remap), triangles_(triangles), numTriangles_(numTriangles) {}
    void execute(int threadIndex, int numThreads) override {
        int const begin = getBeginIndex(threadIndex, numThreads, numTriangles_);
        int const end = getBeginIndex(threadIndex + 1, numThreads, numTriangles_);
        int const* const table = remap_.table.data();
        auto const numOld = static_cast<unsigned>(remap_.getDomainSize());
        for (int t = begin; t < end; ++t) {
            for (int& vertex : triangles_[t].vertices)
                vertex = static_cast<unsigned>(vertex) < numOld ? table[vertex] : -1;
        }
    }

private:
    Remap const& remap_;
    MeshTriangle* const triangles_;
    int const numTriangles_;
};

void remapTriangles(CompactMesh& mesh, Remap const& remap) {
    RemapAlg alg(remap, mesh.getTriangles(), mesh.getNumTriangles());
    koUtil::ThreadPool::get().run(alg);
}

/// Steps of the weld; the time since the last one is printed with each.
class Weld {
public:
    Weld(CompactMesh& mesh, Remap& remap) : mesh_(mesh), remap_(remap) {
        bool const compareNormals = mesh.getNormals() != nullptr && !mesh.getNormalsComputed();
        CompactMesh const& source = mesh;
        keys_.vertices = source.getVerticesRaw();
        keys_.normals = compareNormals ? source.getNormalsRaw() : nullptr;
        keys_.uvs = compareNormals ? source.getUVsRaw() : nullptr;
        keys_.count = source.getNumVertices();
        watch_.start();
    }

    void run(koUtil::Progress& progress, IMeshVertexEqualityChecker& checker);

private:
    int findDuplicates(koUtil::Progress& progress, IMeshVertexEqualityChecker& checker);
    void apply(int numNew);
    void remapStrips(MeshModification& modification);
    void print(char const* format) {
        debugChannel().print(format, watch_.clear());
        watch_.start();
    }

    CompactMesh& mesh_;
    Remap& remap_;
    VertexKeys keys_;
    koOS::StopWatch watch_;
};

void Weld::run(koUtil::Progress& progress, IMeshVertexEqualityChecker& checker) {
    remap_.resize(keys_.count, keys_.count);
    int const numNew = findDuplicates(progress, checker);
    print("  initialized remap: %f s\n");
    if (numNew == keys_.count)
        remap_.setSequential();
    else
        apply(numNew);
}

/// Fills the remap; returns the number of vertices that stay.
int Weld::findDuplicates(koUtil::Progress& progress, IMeshVertexEqualityChecker& checker) {
    koUtil::Progress phase;
    progress.subPhase(0.8, phase);
    bool const isExact = typeid(checker) == typeid(DefaultMeshVertexEqualityChecker);
    std::vector<int> order;
    int numNew = 0;
    if (isExact)
        numNew = detail::rankExactly(keys_, remap_.table.data());
    else
        order = sortVertices(keys_);
    print("  sorted vertices: %f s\n");
    progress.subPhase(0.2, phase);
    return isExact ? numNew : numberRuns(keys_, checker, order, remap_);
}

void Weld::apply(int numNew) {
    remap_.rangeSize = numNew;
    MeshRemap remaps(&remap_, nullptr);
    MeshModification modification(&mesh_, MeshModification::Topology, &remaps);

    std::vector<int> const sources = highestSources(remap_, numNew);
    permute(mesh_.getVertices(), sources);
    print("  remapped vertices: %f s\n");
    if (keys_.normals != nullptr) {
        permute(mesh_.getNormals(), sources);
        modification.normalsModified();
        print("  remapped normals: %f s\n");
    }
    // Texture coordinates go along also where they were not compared.
    if (mesh_.getUVs() != nullptr) {
        permute(mesh_.getUVs(), sources);
        modification.uvsModified();
    }
    remapStrips(modification);
    mesh_.resizeVertexArray(numNew);
    remapTriangles(mesh_, remap_);

    modification.triangleNormalsValid();  // no triangle has changed its shape
    mesh_.modified(modification);
    print("  remapped triangles: %f s\n");
}

void Weld::remapStrips(MeshModification& modification) {
    if (mesh_.getNumTriStrips() > 0) {
        remap_(mesh_.getTriStripPoints(), mesh_.getNumTriStripPoints());
        modification.stripsAndFansModified();
    }
    if (mesh_.getNumTriFans() > 0) {
        remap_(mesh_.getTriFanPoints(), mesh_.getNumTriFanPoints());
        modification.stripsAndFansModified();
    }
}

}  // namespace

IMeshVertexEqualityChecker::~IMeshVertexEqualityChecker() = default;
DefaultMeshVertexEqualityChecker::~DefaultMeshVertexEqualityChecker() = default;

bool DefaultMeshVertexEqualityChecker::equal(MeshVertex const* a, MeshVertex const* b) {
    return a->x == b->x && a->y == b->y && a->z == b->z;
}

int VertexCompare::compare(int a, int b) const {
    return compareFloats(elementOf(vertices, a, 3), elementOf(vertices, b, 3), 3);
}

int VertexNormalCompare::compare(int a, int b) const {
    int const result = VertexCompare{vertices}.compare(a, b);
    return result != 0 ? result
                       : compareFloats(elementOf(normals, a, 3), elementOf(normals, b, 3), 3);
}

int VertexNormalUVCompare::compare(int a, int b) const {
    int const result = VertexNormalCompare{vertices, normals}.compare(a, b);
    return result != 0 ? result : compareFloats(elementOf(uvs, a, 2), elementOf(uvs, b, 2), 2);
}

void meshCompact(CompactMesh& mesh, koUtil::Progress& progress, Remap& remap,
                 IMeshVertexEqualityChecker& checker) {
    assert(detail::hasTrianglesInRange(mesh));
    int const numVertices = mesh.getNumVertices();
    if (numVertices == 0) {
        remap.resize(0, 0);
        return;
    }
    debugChannel().print("meshCompact: %d vertices, %d triangles\n", numVertices,
                         mesh.getNumTriangles());
    Weld(mesh, remap).run(progress, checker);
}

void meshCompact(CompactMesh& mesh, koUtil::Progress& progress, Remap& remap) {
    DefaultMeshVertexEqualityChecker checker;
    meshCompact(mesh, progress, remap, checker);
}

void meshCompact(CompactMesh& mesh, koUtil::Progress& progress) {
    Remap remap;
    meshCompact(mesh, progress, remap);
}

}  // namespace koGeom
