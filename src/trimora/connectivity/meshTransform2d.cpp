#include "trimora/connectivity/meshTransform2d.h"

#include "trimora/contract/koGeom/PointMesh.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koUtil/ThreadPool.h"

#include <cmath>

namespace koGeom {

namespace {

constexpr int minPooledPairs = 10000;  // below, waking the pool costs more than moving the pairs

/// Only in mode 1: in mode 0 an identity runs like any other transform.
bool isIdentity(koUtil::Transform2d const& transform) {
    return transform.mode == 1 && std::abs(transform.uScale - 1.0f) < epsilonTolFlt &&
           std::abs(transform.vScale - 1.0f) < epsilonTolFlt &&
           std::abs(transform.uOffset) < epsilonTolFlt &&
           std::abs(transform.vOffset) < epsilonTolFlt;
}

class MeshTransform2d : public koUtil::ThreadedAlg {
public:
    MeshTransform2d(float* pairs, int count, koUtil::Transform2d const& transform)
        : pairs_(pairs), count_(count), transform_(transform) {}

    void execute(int threadIndex, int numThreads) override {
        int const begin = getBeginIndex(threadIndex, numThreads, count_);
        int const end = getBeginIndex(threadIndex + 1, numThreads, count_);
        if (transform_.mode == 0)
            scaleThenAdd(begin, end);
        else
            addThenScale(begin, end);
    }

private:
    void scaleThenAdd(int begin, int end) {
        koUtil::Transform2d const t = transform_;
        for (float* pair = pairs_ + std::ptrdiff_t{2} * begin; begin < end; ++begin, pair += 2) {
            pair[0] = pair[0] * t.uScale + t.uOffset;
            pair[1] = pair[1] * t.vScale + t.vOffset;
        }
    }

    void addThenScale(int begin, int end) {
        koUtil::Transform2d const t = transform_;
        for (float* pair = pairs_ + std::ptrdiff_t{2} * begin; begin < end; ++begin, pair += 2) {
            pair[0] = (pair[0] + t.uOffset) * t.uScale;
            pair[1] = (pair[1] + t.vOffset) * t.vScale;
        }
    }

    float* pairs_;  // a thread writes its slice
    int count_;
    koUtil::Transform2d transform_;
};

void movePairs(float* pairs, int count, koUtil::Transform2d const& transform) {
    if (pairs == nullptr || count <= 0)
        return;
    MeshTransform2d alg(pairs, count, transform);
    koUtil::ThreadPool& pool = count < minPooledPairs ? koUtil::ThreadPool::getSingleThreadedPool()
                                                      : koUtil::ThreadPool::get();
    pool.run(alg);
}

}  // namespace

void meshTransform2d(float* pairs, int count, koUtil::Transform2d const& transform) {
    if (!isIdentity(transform))
        movePairs(pairs, count, transform);
}

void meshTransform2d(PointMesh& mesh, koString::CString const& name,
                     koUtil::Transform2d const& transform) {
    if (isIdentity(transform))
        return;
    MeshAttributes* const set = mesh.getAttributes(name);
    if (set == nullptr || set->dimension != 2)
        return;

    movePairs(set->asFloat(), mesh.getNumVertices(), transform);
    set->invalidateRange();

    bool const isUVs = koString::equal(name, "uvs");
    bool const isSTs = koString::equal(name, "sts");
    if (!isUVs && !isSTs)
        return;  // deliberate: a change of any other set is not announced
    MeshModification modification(&mesh, MeshModification::Attributes, nullptr);
    if (isUVs)
        modification.uvsModified();
    else
        modification.stsModified();
    mesh.modified(modification);
}

koUtil::Transform2d changeOfBasis2d(Range2d const& source, Range2d const& target) {
    koUtil::Transform2d transform;
    transform.uScale = static_cast<float>(target.size().x / source.size().x);
    transform.vScale = static_cast<float>(target.size().y / source.size().y);
    transform.uOffset =
        static_cast<float>(target.lower.x - double{transform.uScale} * source.lower.x);
    transform.vOffset =
        static_cast<float>(target.lower.y - double{transform.vScale} * source.lower.y);
    return transform;  // deliberate: its mode stays 1, which adds first, although the offsets are those of mode 0
}

}  // namespace koGeom
