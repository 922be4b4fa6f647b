#include "trimora/stitch/MeshLineProximity2.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koLinear/lines.h"

#include <algorithm>
#include <limits>

// The walk of MeshLineProximity, with a ball about each line in place of the box test: the lines are prepared
// once, so that a query reads 16 bytes of most of them.

namespace koGeom::MeshLineProximity2 {

Context::Context(int count, Octree const& octree)
    : lineCount(std::max(count, 0)),
      stamps(static_cast<std::size_t>(lineCount), 0u),
      result(lineCount),
      voxels(octree) {}

Context::~Context() = default;

Alg::Alg(CompactMesh const& mesh, Octree const& octree, OctreeLines const& octreeLines)
    : mesh_(mesh),
      octree_(octree),
      octreeLines_(octreeLines),
      vertices_(mesh.getVertices()),
      lines_(mesh.getLines()),
      numLines_(mesh.getNumLines()) {}

Alg::Alg(Alg const& other) = default;

Alg::~Alg() = default;

void Alg::compute(float distance) {
    vertices_ = mesh_.getVertices();
    lines_ = mesh_.getLines();
    numLines_ = mesh_.getNumLines();
    lineBounds_.setSize(numLines_);
    LineBound* const bounds = lineBounds_.data();
    for (int line = 0; line < numLines_; ++line) {
        PointFlt const a = vertices_[lines_[line][0]].asPointFlt();
        PointFlt const middle = combine(0.5f, a, 0.5f, vertices_[lines_[line][1]].asPointFlt());
        bounds[line] = {middle.x, middle.y, middle.z, (a - middle).length()};
    }
    distance_ = distance > 0.0f ? distance : 0.0f;
    distanceSquared_ = distance_ * distance_;
}

ko::Reference<Context> Alg::allocContext() {
    return new Context(numLines_, octree_);
}

int Alg::getCloseLines(Context& context, int vertex, int const*& lines) {
    int* const result = context.result.data();
    lines = result;
    if (lineBounds_.empty() || !(distanceSquared_ > 0.0f))
        return 0;

    if (++context.stamp == std::numeric_limits<unsigned int>::max()) {
        std::fill(context.stamps.begin(), context.stamps.end(), 0u);
        context.stamp = 1;
    }
    unsigned int const stamp = context.stamp;
    unsigned int* const stamps = context.stamps.data();
    PointFlt const p = vertices_[vertex].asPointFlt();
    BoundingBox const box(&vertices_[vertex].x, distance_);
    int count = 0;
    for (context.voxels.reset(box); context.voxels.valid(); context.voxels.next()) {
        int const voxel = context.voxels.get().node->voxelIndex;
        int const* const voxelLines = octreeLines_.firstLine(voxel);
        int const numLines = octreeLines_.numLines(voxel);
        for (int i = 0; i < numLines; ++i) {
            int const line = voxelLines[i];
            if (stamps[line] == stamp)
                continue;
            stamps[line] = stamp;
            if (lines_[line][0] != vertex && lines_[line][1] != vertex && isClose(p, line))
                result[count++] = line;
        }
    }
    return count;
}

bool Alg::isClose(PointFlt const& p, int line) const {
    LineBound const& bound = lineBounds_.data()[line];
    float const reach = distance_ + bound.radius;
    if ((p - PointFlt(bound.x, bound.y, bound.z)).length2() > reach * reach)
        return false;
    PointFlt const a = vertices_[lines_[line][0]].asPointFlt();
    PointFlt const b = vertices_[lines_[line][1]].asPointFlt();
    if (distanceSquared_ > (p - a).length2() || distanceSquared_ > (p - b).length2())
        return true;
    Point const precise = p;
    ParamLine const segment{Point(a), Point(b)};
    Point const nearest = segment.eval(segment.projectBounded(precise, 0.0, 1.0));
    return distanceSquared_ > distance2(precise, nearest);
}

}  // namespace koGeom::MeshLineProximity2
