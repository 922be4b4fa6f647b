#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koRTB/signals.h"
#include "trimora/export.h"

namespace koGeom {

class Entity;

/// News of a change to an entity; alive while the signal is raised.
class TRIMORA_API EntityModification {
public:
    explicit EntityModification(Entity const* entity) : entity_(entity) {}
    virtual ~EntityModification();

    /// The entity that changed.
    Entity const* getEntity() const { return entity_; }

private:
    Entity const* entity_;
};

/// Base of what can be observed: meshes of all kinds. Hosts may derive their own.
///
/// A copy has its own count of references and its own signals: connections stay with the object
/// they were made on. Signals are raised and connected on the calling thread only.
class TRIMORA_API Entity : public ko::ReferenceCount {
public:
    Entity();
    Entity(Entity const& other);
    Entity& operator=(Entity const& other);
    ~Entity() override;

    /// Raised as the entity dies; of the argument only the address may be used any more.
    koRTB::SignalArg<Entity*>& destructionSignal() const { return destructionSignal_; }
    /// Raised by sendMessage.
    koRTB::SignalArg<EntityModification&>& modificationSignal() const {
        return modificationSignal_;
    }

protected:
    /// Raises the modification signal.
    virtual void sendMessage(EntityModification& modification) const;
    /// Raises it for a modification that an entity passes on; the same as sendMessage unless a host
    /// overrides it.
    virtual void resendMessage(EntityModification& modification) const;

private:
    mutable koRTB::SignalArg<Entity*> destructionSignal_;
    mutable koRTB::SignalArg<EntityModification&> modificationSignal_;
};

}  // namespace koGeom
