// The tests in their fixed order, each a short member; what they find is kept in shared, constant
// results, so that a copy of the object can go on with them.

#include "trimora/repair/MeshCharacteristics.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/repair/MeshIntersect.h"
#include "trimora/repair/MeshOrient.h"
#include "trimora/repair/meshDuplicateTris.h"
#include "trimora/repair/meshFindAnglesLessThan.h"
#include "trimora/repair/meshManifold.h"

#include <cassert>
#include <deque>

namespace koGeom {

namespace {

constexpr int goodTriangles = 1;
constexpr int manifold = 2;
constexpr int oriented = 4;
constexpr int nonIntersecting = 8;
constexpr int goodAngles = 16;
constexpr int topoGoodTriangles = 32;

}  // namespace

MeshCharacteristics::MeshCharacteristics(CompactMesh const& mesh)
    : mesh_(mesh), cache_(std::make_shared<SimpleMeshCache>()) {}

MeshCharacteristics::MeshCharacteristics(MeshCharacteristics const& other) = default;

MeshCharacteristics::~MeshCharacteristics() = default;

void MeshCharacteristics::setCache(MeshCache& cache) {
    if (&cache == cache_.get())
        return;  // its own one stays owned
    cache_ = std::shared_ptr<MeshCache>(&cache, [](MeshCache*) {});
}

int MeshCharacteristics::check(int tests) {
    if ((tests & manifold) != 0 && !isPerformed(manifold))
        testManifold();
    if ((tests & oriented) != 0 && !isPerformed(oriented))
        testOriented();
    if ((tests & goodTriangles) != 0 && !isPerformed(goodTriangles))
        testGoodTriangles();
    if ((tests & topoGoodTriangles) != 0 && !isPerformed(topoGoodTriangles))
        testTopoGoodTriangles();
    if ((tests & nonIntersecting) != 0 && !isPerformed(nonIntersecting))
        testNonIntersecting();
    if ((tests & goodAngles) != 0 && !(isPerformed(goodAngles) && checkedGoodAngle_ == goodAngle_))
        testGoodAngles();
    return testsPassed_ & tests;
}

bool MeshCharacteristics::checkGoodAngles(double angleDegrees) {
    goodAngle_ = angleDegrees;
    return check(goodAngles) != 0;
}

void MeshCharacteristics::testManifold() {
    ko::Reference<MeshAdjTris> const adj = cache_->getAdjTris(mesh_);
    auto const result = std::make_shared<MeshManifoldResult>();
    meshManifold(mesh_, *adj, *result);
    manifold_ = result;
    if (result->count == 0 && result->badEdgeAdj.empty())
        testsPassed_ |= manifold;
    testsPerformed_ |= manifold;
}

void MeshCharacteristics::testOriented() {
    ko::Reference<MeshAdjTris> const adj = cache_->getAdjTris(mesh_);
    if (meshOriented(mesh_, *adj))
        testsPassed_ |= oriented;
    testsPerformed_ |= oriented;
}

bool MeshCharacteristics::findBadTriangles() {
    auto const result = std::make_shared<MeshDuplicateTrisResult>();
    bool const found = meshDuplicateTris(mesh_, *result);
    duplicateTris_ = result;
    numBadTriangles_ = found ? -1 : 0;
    return !found;
}

// A failure here stands for both triangle tests, although the other one might have passed.
void MeshCharacteristics::testGoodTriangles() {
    if (findBadTriangles())
        testsPassed_ |= goodTriangles | topoGoodTriangles;
    testsPerformed_ |= goodTriangles | topoGoodTriangles;
}

void MeshCharacteristics::testTopoGoodTriangles() {
    if (findBadTriangles())
        testsPassed_ |= goodTriangles | topoGoodTriangles;
    else if (duplicateTris_->duplicates.empty() && duplicateTris_->topoDegenerate.empty())
        testsPassed_ |= topoGoodTriangles;
    testsPerformed_ |= topoGoodTriangles;
}

void MeshCharacteristics::testNonIntersecting() {
    if (computeIntersection())
        testsPassed_ |= nonIntersecting;
    testsPerformed_ |= nonIntersecting;
}

void MeshCharacteristics::testGoodAngles() {
    ko::Reference<MeshAdjTris> const adj = cache_->getAdjTris(mesh_);
    auto const result = std::make_shared<MeshDihedralAnglesResult>();
    meshFindAnglesLessThan(mesh_, *adj, goodAngle_, *result);
    angles_ = result;
    if (result->edges.empty())
        testsPassed_ |= goodAngles;
    else
        testsPassed_ &= ~goodAngles;  // the one test that is repeated, and so can lose its bit
    checkedGoodAngle_ = goodAngle_;
    testsPerformed_ |= goodAngles;
}

bool MeshCharacteristics::computeIntersection() {
    ko::Reference<Octree> const octree = cache_->getOctree(mesh_, -1);
    ko::Reference<OctreeTris> const tris = cache_->getOctreeTris(mesh_);
    MeshIntersect intersect(mesh_, *octree, *tris);
    std::deque<MeshIntersectPair> pairs;
    koUtil::Progress progress;
    intersect.selfIntersect(progress, pairs);
    if (pairs.empty())
        return true;
    intersectingTriangles_.resize(mesh_.getNumTriangles());
    for (MeshIntersectPair const& pair : pairs)
        intersectingTriangles_.setBit(pair.start.triangle);
    return false;
}

void MeshCharacteristics::reset(int tests) {
    if ((tests & (goodTriangles | topoGoodTriangles)) != 0) {
        duplicateTris_.reset();
        numBadTriangles_ = -1;
        angles_.reset();
    }
    if ((tests & manifold) != 0)
        manifold_.reset();
    if ((tests & nonIntersecting) != 0)
        intersectingTriangles_.resize(0);
    testsPassed_ &= ~tests;
    testsPerformed_ &= ~tests;
}

MeshManifoldResult const& MeshCharacteristics::getManifoldResult() const {
    assert(manifold_ && "ask for the manifold test first");
    return *manifold_;
}

MeshDuplicateTrisResult const& MeshCharacteristics::getDuplicateTrisResult() const {
    assert(duplicateTris_ && "ask for a triangle test first");
    return *duplicateTris_;
}

MeshDihedralAnglesResult const& MeshCharacteristics::getGoodAnglesResult() const {
    assert(angles_ && "ask for the angle test first");
    return *angles_;
}

int MeshCharacteristics::getNumNonManifoldVertices() const {
    return getManifoldResult().count;
}

int MeshCharacteristics::getNumNonManifoldEdges() const {
    return static_cast<int>(getManifoldResult().badEdgeAdj.size());
}

int MeshCharacteristics::getNumBadTriangles() const {
    if (numBadTriangles_ < 0) {
        ko::vector<int> badTriangles;
        getDuplicateTrisResult().getBadTriangles(mesh_, badTriangles);
        numBadTriangles_ = static_cast<int>(badTriangles.size());
    }
    return numBadTriangles_;
}

int MeshCharacteristics::getNumFoldedTriangles() const {
    return 2 * static_cast<int>(getGoodAnglesResult().edges.size());
}

}  // namespace koGeom
