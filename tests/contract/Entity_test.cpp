#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Entity.h"
#include "trimora/contract/koGeom/MeshModification.h"

#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;

namespace {

// A host's own kind of entity, which counts what it sends.
class HostEntity : public Entity {
public:
    mutable int numSent = 0;

    void change() const {
        EntityModification modification(this);
        sendMessage(modification);
        resendMessage(modification);
    }

protected:
    void sendMessage(EntityModification& modification) const override {
        ++numSent;
        Entity::sendMessage(modification);
    }
};

struct Listener {
    std::vector<Entity const*> changed;
    std::vector<Entity*> died;

    void onChange(EntityModification& modification) { changed.push_back(modification.getEntity()); }
    void onDeath(Entity* entity) { died.push_back(entity); }

    void listenTo(Entity& entity) {
        entity.modificationSignal().addCallback(
            new koRTB::FunctionArgMember<EntityModification&, Listener>(this, &Listener::onChange));
        entity.destructionSignal().addCallback(
            new koRTB::FunctionArgMember<Entity*, Listener>(this, &Listener::onDeath));
    }
};

}  // namespace

TEST_CASE("hostEntitiesSendAndResendToTheirListeners") {
    Listener listener;
    HostEntity entity;
    listener.listenTo(entity);
    entity.change();
    CHECK(entity.numSent == 1);
    CHECK(listener.changed == std::vector<Entity const*>{&entity, &entity});
}

TEST_CASE("anEntityTellsItsDeathOnce") {
    Listener listener;
    Entity* address = nullptr;
    {
        ko::Reference<CompactMesh> const mesh(new CompactMesh);
        address = mesh.get();
        listener.listenTo(*mesh);
        CHECK(listener.died.empty());
    }
    CHECK(listener.died == std::vector<Entity*>{address});
}

TEST_CASE("copiesAndSwapsLeaveConnectionsWithTheirObject") {
    Listener listener;
    CompactMesh first;
    listener.listenTo(first);
    CompactMesh copy(first);
    CompactMesh assigned;
    assigned = first;
    CompactMesh other;
    other.swap(first);
    for (CompactMesh* const mesh : {&copy, &assigned, &other, &first}) {
        MeshModification modification(mesh, MeshModification::Attributes, nullptr);
        mesh->modified(modification);
    }
    CHECK(listener.changed == std::vector<Entity const*>{&first});
}
