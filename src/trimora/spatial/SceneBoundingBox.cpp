#include "trimora/spatial/SceneBoundingBox.h"

#include "trimora/contract/koLinear/tolerances.h"

#include <algorithm>
#include <limits>

namespace koGeom {

namespace {

// Axis by axis, also where another axis of the box is empty.
void extend(BoundingBox& box, BoundingBox const& item) {
    for (int axis = 0; axis < 3; ++axis) {
        box.bounds[axis] = std::min(box.bounds[axis], item.bounds[axis]);
        box.bounds[axis + 3] = std::max(box.bounds[axis + 3], item.bounds[axis + 3]);
    }
}

// Takes an item's range a..b away from the range low..high of one axis.
void cutBack(float& low, float& high, float a, float b) {
    if (low > high || low > b || a > high)
        return;
    if (a == low && b == high) {
        low = std::numeric_limits<float>::max();
        high = -std::numeric_limits<float>::max();
    } else if (a == low) {
        low = high;
    } else if (b == high) {
        high = low;
    }
}

}  // namespace

void SceneBoundingBox::addItemBox(BoundingBox const& box) {
    extend(trackedBox, box);
    extend(sceneBox, box);
}

void SceneBoundingBox::removeItemBox(BoundingBox const& box) {
    for (int axis = 0; axis < 3; ++axis)
        cutBack(trackedBox.bounds[axis], trackedBox.bounds[axis + 3], box.bounds[axis],
                box.bounds[axis + 3]);
}

void SceneBoundingBox::reset() {
    trackedBox.setInvalid();
    sceneBox.setInvalid();
}

bool SceneBoundingBox::known() const {
    return equivalent(trackedBox, sceneBox, epsilonTolFlt);
}

}  // namespace koGeom
