// Repair one fix at a time: the tests are asked in a fixed order, the first failure is mended by
// the function for it, and all knowledge is dropped, since any fix may change what the other tests
// see. That keeps each fix simple and lets the host look on.

#include "trimora/repair/MeshRepair.h"

#include "trimora/assembly/MeshDeleteSelected.h"
#include "trimora/assembly/MeshSelect.h"
#include "trimora/connectivity/MeshCache.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/repair/MeshOrient.h"
#include "trimora/repair/meshDuplicateTris.h"
#include "trimora/repair/meshFindAnglesLessThan.h"
#include "trimora/repair/meshMakeManifold.h"

#include <cassert>

namespace koGeom {

namespace {

constexpr int nonIntersecting = 8;
constexpr int goodAngles = 16;
constexpr int allTests = 63;

}  // namespace

MeshRepair::MeshRepair(CompactMesh& mesh)
    : mesh_(mesh), characteristics_(new MeshCharacteristics(mesh)) {}

MeshRepair::MeshRepair(MeshRepair const& other) = default;

MeshRepair::~MeshRepair() = default;

void MeshRepair::checkGoodAngles(bool enable) {
    checkAngles_ = enable;
    if (!enable)
        characteristics_->reset(goodAngles);
}

void MeshRepair::checkSelfIntersection(bool enable) {
    checkIntersection_ = enable;
    if (!enable)
        characteristics_->reset(nonIntersecting);
}

void MeshRepair::setCharacteristics(ko::Reference<MeshCharacteristics> characteristics) {
    assert(characteristics);
    characteristics_ = characteristics;
}

MeshRepair::Fix MeshRepair::firstFailure() {
    if (!characteristics_->checkGoodTriangles())
        return Fix::GoodTriangles;
    if (!characteristics_->checkManifold())
        return Fix::Manifold;
    if (!characteristics_->checkOriented())
        return Fix::Orientation;
    if (checkIntersection_ && !characteristics_->checkNonIntersecting())
        return Fix::Intersections;
    if (checkAngles_ && !characteristics_->checkGoodAngles(minGoodAngle_))
        return Fix::Angles;
    return Fix::None;
}

bool MeshRepair::needsRepair() {
    return firstFailure() != Fix::None;
}

bool MeshRepair::canRepair() {
    Fix const failure = firstFailure();
    if (failure == Fix::Orientation && mobiusPending_)
        return isMobiusStripRemovable();
    return failure != Fix::None;
}

bool MeshRepair::repair() {
    switch (firstFailure()) {
    case Fix::None:
        return false;
    case Fix::GoodTriangles:
        removeBadTriangles();
        break;
    case Fix::Manifold:
        makeManifold();
        break;
    case Fix::Orientation:
        if (!mobiusPending_)
            orient();
        else if (isMobiusStripRemovable())
            deleteMobiusStrip();
        else
            return false;
        break;
    case Fix::Intersections:
        deleteIntersectingTriangles();
        break;
    case Fix::Angles:
        deleteFoldedTriangles();
        break;
    }
    characteristics_->reset(allTests);
    return true;
}

void MeshRepair::removeBadTriangles() {
    ko::Reference<MeshAdjTris> const adj = characteristics_->getCache().getAdjTris(mesh_);
    meshRemoveDuplicateTris(mesh_, *adj, characteristics_->getDuplicateTrisResult());
}

void MeshRepair::makeManifold() {
    ko::Reference<MeshAdjTris> const adj = characteristics_->getCache().getAdjTris(mesh_);
    meshMakeManifold(mesh_, *adj, characteristics_->getManifoldResult());
}

void MeshRepair::orient() {
    ko::Reference<MeshAdjTris> const adj = characteristics_->getCache().getAdjTris(mesh_);
    MeshOrient orient(mesh_, *adj);
    orient.orient();
    mobiusPending_ = true;
    if (orient.isOrientable())
        return;
    mobiusTriangles_ = orient.getAffectedTriangles();
    if (mobiusTriangles_.count == mesh_.getNumTriangles())
        mobiusTriangles_.resize(0);
}

void MeshRepair::deleteMobiusStrip() {
    selectMobiusStrip();
    MeshDeleteSelected deleteSelected(mesh_);
    deleteSelected();
    mobiusPending_ = false;
    mobiusTriangles_.resize(0);
}

void MeshRepair::deleteIntersectingTriangles() {
    ko::Reference<MeshAdjTris> const adj = characteristics_->getCache().getAdjTris(mesh_);
    mesh_.getSelectedTriangles() = characteristics_->getIntersectingTriangles();
    MeshSelect(mesh_, *adj).selectVerticesFromTriangles();
    MeshDeleteSelected deleteSelected(mesh_);
    deleteSelected();
}

void MeshRepair::deleteFoldedTriangles() {
    ko::Reference<MeshAdjTris> const adj = characteristics_->getCache().getAdjTris(mesh_);
    ko::vector<int> folded;
    characteristics_->getGoodAnglesResult().getAdjacentTriangles(mesh_, *adj, folded);
    MeshDeleteSelected deleteSelected(mesh_);
    deleteSelected(*adj, folded);
}

bool MeshRepair::repairOnce() {
    return canRepair() && repair();
}

bool MeshRepair::repairAll(bool* fullyRepaired) {
    bool changed = false;
    while (canRepair())
        changed |= repair();
    if (fullyRepaired != nullptr)
        *fullyRepaired = !needsRepair();
    return changed;
}

bool MeshRepair::hasMobiusStrip() {
    return mobiusPending_ && !characteristics_->checkOriented();
}

bool MeshRepair::isMobiusStripRemovable() const {
    return mobiusTriangles_.count > 0 && mobiusTriangles_.count < mesh_.getNumTriangles();
}

void MeshRepair::selectMobiusStrip() {
    ko::Reference<MeshAdjTris> const adj = characteristics_->getCache().getAdjTris(mesh_);
    mesh_.clearSelection();
    mesh_.getSelectedTriangles() = mobiusTriangles_;
    MeshSelect(mesh_, *adj).selectVerticesFromTriangles();
}

}  // namespace koGeom
