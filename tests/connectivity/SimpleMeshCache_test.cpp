#include "support/builders.h"
#include "support/checks.h"
#include "support/failingNew.h"
#include "tables.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/connectivity/meshTransform.h"

#include <doctest/doctest.h>
#include <memory>
#include <optional>

using namespace koGeom;

namespace {

/// Shows what is stored, without computing anything.
class OpenCache : public SimpleMeshCache {
public:
    using SimpleMeshCache::getAdjTrisImpl;
    using SimpleMeshCache::getAdjVerticesImpl;
    using SimpleMeshCache::getBoundariesImpl;
    using SimpleMeshCache::getOctreeImpl;
    using SimpleMeshCache::getOctreeLinesImpl;
    using SimpleMeshCache::getOctreeTrisImpl;

    /// One letter a stored table.
    std::string stored(CompactMesh const& mesh) {
        std::string letters;
        letters += getAdjTrisImpl(mesh) ? "T" : "";
        letters += getAdjVerticesImpl(mesh) ? "V" : "";
        letters += getOctreeImpl(mesh) ? "o" : "";
        letters += getOctreeTrisImpl(mesh) ? "t" : "";
        letters += getOctreeLinesImpl(mesh) ? "l" : "";
        letters += getBoundariesImpl(mesh) ? "B" : "";
        return letters;
    }
};

AffineMatrixFlt shift() {
    AffineMatrixFlt matrix;
    matrix.m[9] = 1.0f;
    return matrix;
}

void announce(CompactMesh& mesh, MeshModification::Type type) {
    MeshModification modification(&mesh, type, nullptr);
    modification.uvsModified();
    mesh.modified(modification);
}

}  // namespace

TEST_CASE("aTableIsComputedOnceTogetherWithWhatItStandsOn") {
    CompactMesh const mesh = support::grid(2, 1);
    OpenCache cache;
    CHECK(cache.stored(mesh).empty());
    ko::Reference<MeshBoundaries> const boundaries = cache.getBoundaries(mesh);
    CHECK(tables::loopsOf(*boundaries) == tables::Sets{{0, 1, 2, 5, 4, 3}});
    CHECK(cache.stored(mesh) == "TVB");
    CHECK(cache.getAdjTris(mesh) == cache.getAdjTris(mesh));
    CHECK(cache.getAdjVertices(mesh).get() == cache.getAdjVerticesImpl(mesh).get());
    CHECK(cache.getBoundaries(mesh) == boundaries);
    CHECK(tables::setsOf(*cache.getAdjVertices(mesh)) ==
          tables::setsOf(tables::VertexTables(mesh).vertices));

    cache.getOctreeTris(mesh);
    CHECK(cache.stored(mesh) == "TVotB");
    cache.getOctreeLines(mesh);
    CHECK(cache.stored(mesh) == "TVotlB");
    cache.clear();
    CHECK(cache.stored(mesh).empty());
    CHECK(boundaries->size() == 1);
    cache.clear();
}

TEST_CASE("meshesWithoutContentsHaveTablesToo") {
    SimpleMeshCache cache;
    for (CompactMesh const& mesh : {CompactMesh(), support::meshOf({1, 2, 3}, {})}) {
        CHECK(cache.getBoundaries(mesh)->size() == 0);
        CHECK(cache.getOctreeTris(mesh)->numTris(0) == 0);
        CHECK(cache.getOctreeLines(mesh)->numLines(0) == 0);
        cache.clear();  // the mesh of the next turn may come to lie at the same place
    }
}

TEST_CASE("theFirstOctreeStaysWhateverIsAskedForLater") {
    CompactMesh const mesh = support::sphere(4);
    SimpleMeshCache cache;
    ko::Reference<Octree> const fine = cache.getOctree(mesh, 3);
    CHECK(cache.getOctree(mesh, 8) == fine);
    CHECK(cache.getOctree(mesh, -1) == fine);

    SimpleMeshCache byDefault;
    int const numVoxels = byDefault.getOctree(mesh, 0)->numVoxels;
    CHECK(numVoxels < fine->numVoxels);
    for (int const maxDepth : {-1, 16}) {
        SimpleMeshCache other;
        CHECK(other.getOctree(mesh, maxDepth)->numVoxels == numVoxels);
    }
}

TEST_CASE("anyModificationDropsAllTablesOfThatMeshAlone") {
    CompactMesh mesh = support::sphere(2);
    CompactMesh other = support::sphere(2);
    OpenCache cache;
    auto const fill = [&] {
        cache.getBoundaries(mesh);
        cache.getOctreeTris(mesh);
        cache.getOctreeLines(mesh);
    };
    cache.getBoundaries(other);
    for (auto const type :
         {MeshModification::Geometry, MeshModification::Topology, MeshModification::Attributes}) {
        fill();
        CHECK(cache.stored(mesh) == "TVotlB");
        announce(mesh, type);
        CHECK(cache.stored(mesh).empty());
    }
    fill();
    ko::Reference<MeshAdjTris> const held = cache.getAdjTris(mesh);
    meshComputeNormals(mesh);
    CHECK(cache.stored(mesh).empty());
    CHECK(cache.getAdjTris(mesh) != held);
    CHECK(held->numTris(0) == 4);  // who holds a table keeps it
    meshTransform(mesh, shift());
    CHECK(cache.stored(mesh).empty());
    announce(mesh, MeshModification::Topology);  // nothing is stored: nothing happens
    CHECK(cache.stored(other) == "TVB");
}

TEST_CASE("aMeshIsListenedToOnceUntilItDies") {
    alignas(CompactMesh) std::byte place[sizeof(CompactMesh)];
    OpenCache cache;
    CompactMesh const bystander = support::triangle();
    cache.getAdjTris(bystander);
    // meshes that come to lie at the same address, one after the other
    for (int numX = 1; numX <= 3; ++numX) {
        CAPTURE(numX);
        auto* const mesh = new (place) CompactMesh(support::grid(numX, 1));
        CHECK(cache.stored(*mesh).empty());
        CHECK(cache.getAdjTris(*mesh)->getData().getNumSets() == 2 * numX + 2);
        for (int i = 0; i < 3; ++i) {
            announce(*mesh, MeshModification::Geometry);
            CHECK(cache.stored(*mesh).empty());
            cache.getAdjTris(*mesh);
        }
        mesh->~CompactMesh();
    }
    CHECK(cache.stored(bystander) == "T");
}

TEST_CASE("cacheAndMeshMayDieInEitherOrder") {
    std::optional<SimpleMeshCache> cache(std::in_place);
    auto mesh = std::make_unique<CompactMesh>(support::grid(1, 1));
    auto second = std::make_unique<CompactMesh>(support::grid(1, 1));
    cache->getBoundaries(*mesh);
    cache->getAdjTris(*second);
    ko::Reference<MeshAdjTris> const held = cache->getAdjTris(*mesh);
    mesh.reset();
    CHECK(cache->getAdjTris(*second)->numTris(0) == 2);
    cache.reset();
    CHECK_FALSE(second->modificationSignal().isConnected());
    CHECK_FALSE(second->destructionSignal().isConnected());
    announce(*second, MeshModification::Topology);
    second.reset();
    CHECK(held->numTris(0) == 2);
}

TEST_CASE("aCopyOfACacheSharesItsTablesAndOwnsNothing") {
    CompactMesh const mesh = support::grid(1, 1);
    SimpleMeshCache cache;
    ko::Reference<MeshAdjTris> const table = cache.getAdjTris(mesh);
    {
        SimpleMeshCache copy(cache);
        CHECK(copy.getAdjTris(mesh) == table);
        SimpleMeshCache assigned;
        assigned = copy;
        CHECK(assigned.getAdjTris(mesh) == table);
    }
    CHECK(cache.getAdjTris(mesh) == table);
}

TEST_CASE("aCacheOfOnesOwnStoresWhatTheGettersCompute") {
    class Counting : public MeshCache {
    public:
        int numStored = 0;

    private:
        ko::Reference<MeshAdjTris> getAdjTrisImpl(CompactMesh const&) override { return adjTris_; }
        ko::Reference<MeshAdjVertices> getAdjVerticesImpl(CompactMesh const&) override {
            return {};
        }
        ko::Reference<Octree> getOctreeImpl(CompactMesh const&) override { return {}; }
        ko::Reference<OctreeTris> getOctreeTrisImpl(CompactMesh const&) override { return {}; }
        ko::Reference<OctreeLines> getOctreeLinesImpl(CompactMesh const&) override { return {}; }
        ko::Reference<MeshBoundaries> getBoundariesImpl(CompactMesh const&) override { return {}; }
        void setAdjTrisImpl(CompactMesh const&, ko::Reference<MeshAdjTris> table) override {
            adjTris_ = table;
            ++numStored;
        }
        void setAdjVerticesImpl(CompactMesh const&, ko::Reference<MeshAdjVertices>) override {
            ++numStored;
        }
        void setOctreeImpl(CompactMesh const&, ko::Reference<Octree>) override { ++numStored; }
        void setOctreeTrisImpl(CompactMesh const&, ko::Reference<OctreeTris>) override {
            ++numStored;
        }
        void setOctreeLinesImpl(CompactMesh const&, ko::Reference<OctreeLines>) override {
            ++numStored;
        }
        void setBoundariesImpl(CompactMesh const&, ko::Reference<MeshBoundaries>) override {
            ++numStored;
        }

        ko::Reference<MeshAdjTris> adjTris_;
    };
    CompactMesh const mesh = support::grid(1, 1);
    Counting cache;
    cache.getBoundaries(mesh);
    CHECK(cache.numStored == 3);  // triangles, vertices, boundaries
    cache.getBoundaries(mesh);
    CHECK(cache.numStored == 5);  // the triangles were kept
}

TEST_CASE("aMeshIsConnectedWhollyOrNotAtAllWhenMemoryGivesOut") {
    int numFailures = 0;
    for (bool done = false; !done; ++numFailures) {
        REQUIRE(numFailures < 100);
        std::optional<CompactMesh> mesh(support::cube());
        OpenCache cache;
        support::allocationsLeft = numFailures;
        try {
            cache.stored(*mesh);
            done = true;
        } catch (std::bad_alloc const&) {
        }
        support::allocationsLeft = -1;
        cache.getAdjTris(*mesh);
        CHECK(cache.stored(*mesh) == "T");
        announce(*mesh, MeshModification::Topology);
        CHECK(cache.stored(*mesh).empty());
        CHECK(mesh->modificationSignal().isConnected());
        cache.getAdjTris(*mesh);
        mesh.reset();
        mesh.emplace(support::grid(1, 1));
        CHECK(cache.stored(*mesh).empty());
    }
    CHECK(numFailures > 4);
}
