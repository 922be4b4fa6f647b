#include "trimora/connectivity/meshTransform.h"

#include "trimora/connectivity/meshNormalize.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/TopoMeshModification.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koUtil/ThreadPool.h"

namespace koGeom {

namespace {

constexpr int minPooledPoints = 10000;  // below, waking the pool costs more than moving the points

bool isIdentity(AffineMatrixFlt const& matrix) {
    return equivalent(AffineMatrixFlt::Identity, matrix, epsilonTolFlt);
}

class MeshTransform : public koUtil::ThreadedAlg {
public:
    MeshTransform(float* points, int count, AffineMatrixFlt const& matrix)
        : points_(points), count_(count), matrix_(matrix) {}

    void execute(int threadIndex, int numThreads) override {
        int const begin = getBeginIndex(threadIndex, numThreads, count_);
        int const end = getBeginIndex(threadIndex + 1, numThreads, count_);
        for (int i = begin; i < end; ++i)
            move(points_ + std::ptrdiff_t{3} * i, matrix_.m);
    }

private:
    /// The first coordinate is added up in another order than the others, which shows in the last bits.
    static void move(float* point, float const* m) {
        float const x = point[0];
        float const y = point[1];
        float const z = point[2];
        point[0] = ((y * m[3] + x * m[0]) + z * m[6]) + m[9];
        point[1] = ((x * m[1] + y * m[4]) + z * m[7]) + m[10];
        point[2] = ((x * m[2] + y * m[5]) + z * m[8]) + m[11];
    }

    float* points_;  // a thread writes its slice
    int count_;
    AffineMatrixFlt matrix_;
};

void movePoints(float* points, int count, AffineMatrixFlt const& matrix) {
    if (points == nullptr || count <= 0)
        return;
    MeshTransform alg(points, count, matrix);
    koUtil::ThreadPool& pool = count < minPooledPoints ? koUtil::ThreadPool::getSingleThreadedPool()
                                                       : koUtil::ThreadPool::get();
    pool.run(alg);
}

/// Moves vertices and normals and sends the modification: what point clouds and meshes have in common.
void movePointMesh(PointMesh& mesh, AffineMatrixFlt const& matrix, MeshModification& modification) {
    movePoints(mesh.getVerticesRaw(), mesh.getNumVertices(), matrix);
    if (mesh.getNormalsRaw() != nullptr) {
        meshTransformNormals(mesh.getNormalsRaw(), mesh.getNumVertices(), matrix);
        modification.normalsModified();
    }
    mesh.modified(modification);
}

/// Moves vertices of a half-edge mesh, each at most once, however many entities reach it.
class EntityMover {
public:
    EntityMover(TopoMesh& mesh, AffineMatrix const& matrix) : mesh_(mesh), matrix_(matrix) {}

    void move(TopoMeshEntity const& entity) {
        if (TopoMeshVertex const vertex = entity.asVertex())
            moveVertex(vertex);
        else if (TopoMeshEdge const edge = entity.asEdge())
            moveEnds(edge);
        else if (TopoMeshFace const face = entity.asFace())
            moveRing(face);
    }

private:
    void moveVertex(TopoMeshVertex vertex) {
        if (movedVertices_.insert(vertex).second)
            mesh_.setPoint(vertex, vertex.point() * matrix_);
    }

    void moveEnds(TopoMeshEdge edge) {
        moveVertex(edge.origin());
        moveVertex(edge.next().origin());
    }

    void moveRing(TopoMeshFace face) {
        TopoMeshEdge const first = face.edge();
        TopoMeshEdge edge = first;
        do {
            moveVertex(edge.origin());
            edge = edge.next();
        } while (edge != first);
    }

    TopoMesh& mesh_;
    AffineMatrix matrix_;
    ko::unordered_set<TopoMeshVertex> movedVertices_;
};

void announceMove(TopoMesh& mesh) {
    TopoMeshModification modification(&mesh, TopoMeshModification::Geometry);
    mesh.modified(modification);
}

}  // namespace

void meshTransform(float* vertices, int count, AffineMatrixFlt const& matrix) {
    if (!isIdentity(matrix))
        movePoints(vertices, count, matrix);
}

void meshTransform(PointMesh& mesh, AffineMatrixFlt const& matrix) {
    if (isIdentity(matrix))
        return;
    MeshModification modification(&mesh, MeshModification::Geometry, nullptr);
    movePointMesh(mesh, matrix, modification);
}

void meshTransform(CompactMesh& mesh, AffineMatrixFlt const& matrix) {
    if (isIdentity(matrix))
        return;
    MeshModification modification(&mesh, MeshModification::Geometry, nullptr);
    if (mesh.getTriangleNormalsRaw() != nullptr) {
        meshTransformNormals(mesh.getTriangleNormalsRaw(), mesh.getNumTriangles(), matrix);
        modification.triangleNormalsModified();
    }
    movePointMesh(mesh, matrix, modification);
}

void meshTransform(TopoMesh& mesh, AffineMatrix const& matrix) {
    for (TopoMeshVertex vertex = mesh.firstVertex(); vertex; vertex = vertex.nextInList())
        mesh.setPoint(vertex, vertex.point() * matrix);
    announceMove(mesh);
}

void meshTransform(TopoMesh& mesh, ko::vector<TopoMeshEntity> const& entities,
                   AffineMatrix const& matrix) {
    EntityMover mover(mesh, matrix);
    for (TopoMeshEntity const& entity : entities)
        mover.move(entity);
    announceMove(mesh);
}

void meshTransformNormals(float* normals, int count, AffineMatrixFlt const& matrix) {
    if (normals == nullptr || count <= 0)
        return;
    bool exists = false;
    AffineMatrixFlt const normalMatrix(AffineMatrix(matrix).normalMatrix(exists));
    movePoints(normals, count, normalMatrix);
    meshNormalize(normals, count);
}

}  // namespace koGeom
