#include "trimora/connectivity/SimpleMeshCache.h"

#include "trimora/contract/ko/ImplBase.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koRTB/signals.h"

#include <utility>

// One entry a mesh, found by the mesh's address. The first request for a mesh connects to its two signals, once for as long
// as the mesh lives: a modification then drops the entry, the mesh's death drops the entry and the knowledge of the mesh,
// so that another mesh at the same address is met as new.

namespace koGeom {

class SimpleMeshCacheImpl : public ko::ImplBase {
public:
    struct Entry {
        ko::Reference<MeshAdjTris> adjTris;
        ko::Reference<MeshAdjVertices> adjVertices;
        ko::Reference<Octree> octree;
        ko::Reference<OctreeTris> octreeTris;
        ko::Reference<OctreeLines> octreeLines;
        ko::Reference<MeshBoundaries> boundaries;
    };

    /// The mesh's entry, empty if it is new.
    Entry& entryOf(CompactMesh const& mesh) {
        connect(mesh);
        return entries_[&mesh];
    }

    void clear() { entries_.clear(); }

private:
    // All or nothing, also when memory gives out: a mesh with one connection would be connected again.
    void connect(Entity const& mesh) {
        if (!connected_.insert(&mesh).second)
            return;
        using Died = koRTB::FunctionArgMember<Entity*, SimpleMeshCacheImpl>;
        using Changed = koRTB::FunctionArgMember<EntityModification&, SimpleMeshCacheImpl>;
        koRTB::Connection* died = nullptr;
        try {
            died = mesh.destructionSignal().addCallback(
                new Died(this, &SimpleMeshCacheImpl::forget), client_);
            mesh.modificationSignal().addCallback(new Changed(this, &SimpleMeshCacheImpl::drop),
                                                  client_);
        } catch (...) {
            if (died != nullptr)
                died->disconnect();
            connected_.erase(&mesh);
            throw;
        }
    }

    void forget(Entity* mesh) {
        entries_.erase(mesh);
        connected_.erase(mesh);
    }

    void drop(EntityModification& modification) { entries_.erase(modification.getEntity()); }

    koRTB::SignalClient client_;  // the connections end with this object
    ko::map<Entity const*, Entry> entries_;
    ko::set<Entity const*> connected_;
};

SimpleMeshCache::SimpleMeshCache() : impl_(new SimpleMeshCacheImpl), ownsImpl_(true) {}

SimpleMeshCache::SimpleMeshCache(SimpleMeshCache const& other)
    : MeshCache(other), impl_(other.impl_), ownsImpl_(false) {}

SimpleMeshCache& SimpleMeshCache::operator=(SimpleMeshCache const& other) {
    if (this == &other || impl_ == other.impl_)
        return *this;
    if (ownsImpl_)
        delete impl_;
    impl_ = other.impl_;
    ownsImpl_ = false;
    return *this;
}

SimpleMeshCache::~SimpleMeshCache() {
    if (ownsImpl_)
        delete impl_;
}

void SimpleMeshCache::clear() {
    impl_->clear();
}

ko::Reference<MeshAdjTris> SimpleMeshCache::getAdjTrisImpl(CompactMesh const& mesh) {
    return impl_->entryOf(mesh).adjTris;
}
ko::Reference<MeshAdjVertices> SimpleMeshCache::getAdjVerticesImpl(CompactMesh const& mesh) {
    return impl_->entryOf(mesh).adjVertices;
}
ko::Reference<Octree> SimpleMeshCache::getOctreeImpl(CompactMesh const& mesh) {
    return impl_->entryOf(mesh).octree;
}
ko::Reference<OctreeTris> SimpleMeshCache::getOctreeTrisImpl(CompactMesh const& mesh) {
    return impl_->entryOf(mesh).octreeTris;
}
ko::Reference<OctreeLines> SimpleMeshCache::getOctreeLinesImpl(CompactMesh const& mesh) {
    return impl_->entryOf(mesh).octreeLines;
}
ko::Reference<MeshBoundaries> SimpleMeshCache::getBoundariesImpl(CompactMesh const& mesh) {
    return impl_->entryOf(mesh).boundaries;
}

void SimpleMeshCache::setAdjTrisImpl(CompactMesh const& mesh, ko::Reference<MeshAdjTris> table) {
    impl_->entryOf(mesh).adjTris = std::move(table);
}
void SimpleMeshCache::setAdjVerticesImpl(CompactMesh const& mesh,
                                         ko::Reference<MeshAdjVertices> table) {
    impl_->entryOf(mesh).adjVertices = std::move(table);
}
void SimpleMeshCache::setOctreeImpl(CompactMesh const& mesh, ko::Reference<Octree> table) {
    impl_->entryOf(mesh).octree = std::move(table);
}
void SimpleMeshCache::setOctreeTrisImpl(CompactMesh const& mesh, ko::Reference<OctreeTris> table) {
    impl_->entryOf(mesh).octreeTris = std::move(table);
}
void SimpleMeshCache::setOctreeLinesImpl(CompactMesh const& mesh,
                                         ko::Reference<OctreeLines> table) {
    impl_->entryOf(mesh).octreeLines = std::move(table);
}
void SimpleMeshCache::setBoundariesImpl(CompactMesh const& mesh,
                                        ko::Reference<MeshBoundaries> table) {
    impl_->entryOf(mesh).boundaries = std::move(table);
}

}  // namespace koGeom
