#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/spatial/Clip.h"
#include "trimora/spatial/clipTriangle.h"
#include "trimora/spatial/detail/projectWhatShows.h"

// Most triangles are done with by their outcodes: a bit in common, and nothing shows; none at all, and nothing is to be cut. The others
// are cut as polygons whose vertices carry position and texture coordinates, and given out as fans about their first vertex.

namespace koGeom::Clip {

namespace {

constexpr int componentU = 7, componentV = 8;
constexpr std::uint32_t positionMask = 15, uvMask = 1u << componentU | 1u << componentV;

HPoint pointOf(ClipVert const& v) {
    return {v[0], v[1], v[2], v[3]};
}

}  // namespace

TriangleAlgorithm::TriangleAlgorithm() = default;
TriangleAlgorithm::TriangleAlgorithm(TriangleAlgorithm const&) = default;
TriangleAlgorithm& TriangleAlgorithm::operator=(TriangleAlgorithm const&) = default;
TriangleAlgorithm::~TriangleAlgorithm() = default;

void TriangleAlgorithm::setTriangleFunc(TriangleFunc callback, void* userData) {
    callback_ = callback;
    userData_ = userData;
}

void TriangleAlgorithm::setCullFaces(bool cullFront, bool cullBack) {
    cullFront_ = cullFront;
    cullBack_ = cullBack;
}

void TriangleAlgorithm::getUVs(MeshUV& a, MeshUV& b, MeshUV& c) const {
    a = cornerUVs_[0], b = cornerUVs_[1], c = cornerUVs_[2];
}

bool TriangleAlgorithm::cullFace(PointFlt const& p0, PointFlt const& p1, PointFlt const& p2) {
    float const s = (p2.x - p1.x) * (p0.y - p1.y) + (p1.y - p2.y) * (p0.x - p1.x);
    frontFacing_ = (s < 0.0f) == clockwiseFront_;
    culled_ = frontFacing_ ? cullFront_ : cullBack_;
    return culled_;
}

bool TriangleAlgorithm::evaluateMesh(CompactMesh const& mesh, ProjMatrixFlt const& m) {
    if (mesh.getNumVertices() < 3) {
        vertices_.clear();  // those of another mesh, and its texture coordinates with them
        return false;
    }
    Result const result = detail::projectWhatShows(mesh.getVerticesRaw(), mesh.getNumVertices(), m,
                                                   vertices_, callback_ != nullptr);
    if (result == Outside)
        return false;
    if (result == Inside && callback_ == nullptr)
        return true;

    uvs_ = mesh.getUVs();
    mask_ = uvs_ != nullptr ? positionMask | uvMask : positionMask;
    for (MeshUV& uv : cornerUVs_)
        uv.set(0.0f, 0.0f);
    keepGoing_ = true;
    bool anyShows = false;
    BitVector const* const selected = selectedOnly_ ? &mesh.getSelectedTriangles() : nullptr;
    MeshTriangle const* const triangles = mesh.getTriangles();
    for (triangle_ = 0; triangle_ < mesh.getNumTriangles(); ++triangle_) {
        if (selected != nullptr && selected->isBitSet(triangle_) == 0)
            continue;
        MeshTriangle const& corners = triangles[triangle_];
        anyShows = evaluateTriangle(corners[0], corners[1], corners[2]) || anyShows;
        if (!keepGoing_ || (anyShows && callback_ == nullptr))
            break;
    }
    return anyShows;
}

bool TriangleAlgorithm::evaluateTriangle(int i, int j, int k) {
    std::size_t const corners[3] = {static_cast<std::size_t>(i), static_cast<std::size_t>(j),
                                    static_cast<std::size_t>(k)};
    std::uint32_t common = ~0u, any = 0;
    for (std::size_t const corner : corners) {
        if (corner >= vertices_.size())
            return false;
        common &= vertices_[corner].outcode;
        any |= vertices_[corner].outcode;
    }
    if (common != 0)
        return false;

    ClipPolygon polygon;
    polygon.count = 3;
    polygon.mask = mask_;
    for (int c = 0; c < 3; ++c) {
        ClipVert& out = polygon.vertices[c];
        Vertex const& v = vertices_[corners[c]];
        out[0] = double(v.x), out[1] = double(v.y), out[2] = double(v.z), out[3] = double(v.w);
        if (uvs_ != nullptr) {
            MeshUV const& uv = uvs_[corners[c]];
            out[componentU] = double(uv.u), out[componentV] = double(uv.v);
        }
    }
    // An outcode of 0 is what the clipper would find too.
    if (any != 0 && clipTriangle(polygon, ClipBox()) == IntersectionOutside)
        return false;
    if (callback_ != nullptr)
        deliver(polygon);
    return !culled_;
}

void TriangleAlgorithm::deliver(ClipPolygon const& polygon) {
    TriangleFunc const callback = callback_;
    void* const userData = userData_;
    auto const setUV = [this](int corner, ClipVert const& v) {
        if (uvs_ != nullptr)
            cornerUVs_[corner].set(v[componentU], v[componentV]);
    };
    HPoint const first = pointOf(polygon.vertices[0]);
    for (int k = 2; k < polygon.count && keepGoing_; ++k) {
        ClipVert const& b = polygon.vertices[k - 1];
        ClipVert const& c = polygon.vertices[k];
        setUV(0, polygon.vertices[0]);
        setUV(1, b);
        setUV(2, c);
        keepGoing_ = callback(userData, first, pointOf(b), pointOf(c));
    }
}

}  // namespace koGeom::Clip
