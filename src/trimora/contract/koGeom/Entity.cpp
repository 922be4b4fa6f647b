#include "trimora/contract/koGeom/Entity.h"

namespace koGeom {

EntityModification::~EntityModification() = default;

Entity::Entity() = default;

Entity::Entity(Entity const&) : ko::ReferenceCount() {}

Entity& Entity::operator=(Entity const&) {
    return *this;
}

Entity::~Entity() {
    destructionSignal_.raise(this);
}

void Entity::sendMessage(EntityModification& modification) const {
    modificationSignal_.raise(modification);
}

void Entity::resendMessage(EntityModification& modification) const {
    modificationSignal_.raise(modification);
}

}  // namespace koGeom
