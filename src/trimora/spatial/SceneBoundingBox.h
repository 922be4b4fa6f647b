#pragma once

#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/export.h"

namespace koGeom {

/// The box of a changing set of items, kept without the items.
///
/// The scene box grows with every item and never shrinks. Beside it a second box is tracked that an
/// item's removal cuts back: as soon as an item that held a face of it goes, nobody can tell how
/// far the rest reach, and `known()` turns false until the host calls `reset` and adds its items
/// again.
class TRIMORA_API SceneBoundingBox {
public:
    /// Both boxes are invalid: no items.
    SceneBoundingBox() = default;

    void addItemBox(BoundingBox const& box);

    /// Cuts the tracked box back on each axis whose face the item held; an item that lies inside on
    /// all axes changes nothing, nor does one that was never inside.
    void removeItemBox(BoundingBox const& box);

    /// Forgets all items.
    void reset();

    /// Whether the scene box is the box of the items, as far as can be told: both boxes agree
    /// within `epsilonTolFlt`. True when there are none.
    bool known() const;

    BoundingBox const& getSceneBox() const { return sceneBox; }

private:
    BoundingBox trackedBox;
    BoundingBox sceneBox;
};

}  // namespace koGeom
