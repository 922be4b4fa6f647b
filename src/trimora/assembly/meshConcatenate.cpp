#include "trimora/assembly/meshConcatenate.h"

#include "trimora/connectivity/meshTransform.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/contract/koLinear/tolerances.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

// The target's arrays are sized once for everything; then each mesh fills its own range: triangles,
// strips and fans with the mesh's first vertex number added, attribute sets as they are, positions
// and normals through the matrix.

namespace koGeom {

namespace {

using NameSet = ko::set<koString::CString, ko::less<koString::CString>>;

struct Source {
    CompactMesh const* mesh;
    AffineMatrixFlt matrix;
    bool flip;
    int firstVertex;
    int firstTriangle;
};

struct Plan {
    std::vector<Source> sources;
    int numVertices = 0;
    int numTriangles = 0;
    bool keepsStrips = true;
};

Plan planOf(ko::list<MeshPlacement> const& placements, ko::vector<bool> const* flips) {
    Plan plan;
    std::size_t index = 0;
    for (MeshPlacement const& placement : placements) {
        bool const flip = flips != nullptr && index < flips->size() && (*flips)[index];
        ++index;
        if (placement.mesh == nullptr)
            continue;
        CompactMesh const& mesh = *placement.mesh;
        plan.sources.push_back(
            {&mesh, placement.matrix, flip, plan.numVertices, plan.numTriangles});
        plan.numVertices += mesh.getNumVertices();
        plan.numTriangles += mesh.getNumTriangles();
        plan.keepsStrips &= mesh.getNumTriStrips() > 0 || mesh.getNumTriFans() > 0;
    }
    return plan;
}

// A target that is listed itself is read from a copy, which the caller keeps.
std::unique_ptr<CompactMesh const> detachTarget(Plan& plan, CompactMesh const& target) {
    auto const isTarget = [&target](Source const& source) { return source.mesh == &target; };
    if (std::none_of(plan.sources.begin(), plan.sources.end(), isTarget))
        return nullptr;
    auto copy = std::make_unique<CompactMesh const>(target);
    for (Source& source : plan.sources)
        source.mesh = isTarget(source) ? copy.get() : source.mesh;
    return copy;
}

NameSet namesOf(CompactMesh const& mesh) {
    NameSet names;
    mesh.getAttributeNames(names);
    return names;
}

NameSet commonNames(std::vector<Source> const& sources) {
    NameSet common = namesOf(*sources.front().mesh);
    for (Source const& source : sources) {
        NameSet const names = namesOf(*source.mesh);
        NameSet both;
        std::set_intersection(common.begin(), common.end(), names.begin(), names.end(),
                              std::inserter(both, both.end()), ko::less<koString::CString>());
        common.swap(both);
    }
    return common;
}

void allocSets(CompactMesh& target, std::vector<Source> const& sources, NameSet const& names) {
    for (koString::CString const& name : names) {
        auto const first =
            std::find_if(sources.begin(), sources.end(), [&name](Source const& source) {
                return source.mesh->getAttributes(name) != nullptr;
            });
        if (koString::equal(name, PointMesh::VerticesName) || first == sources.end())
            continue;
        MeshAttributes const& set = *first->mesh->getAttributes(name);
        target.allocAttributes(name, set.dimension)->setStoreable(set.isStoreable());
    }
}

void copyTriangles(CompactMesh& target, Source const& source) {
    MeshTriangle const* const from = source.mesh->getTriangles();
    int const numTriangles = source.mesh->getNumTriangles();
    if (numTriangles == 0)
        return;
    MeshTriangle* const to = target.getTriangles() + source.firstTriangle;
    for (int t = 0; t < numTriangles; ++t) {
        for (int corner = 0; corner < 3; ++corner)
            to[t][corner] = from[t][corner] + source.firstVertex;
        if (source.flip)
            std::swap(to[t][0], to[t][2]);
    }
}

void negate(float* values, int count) {
    for (int i = 0; i < count; ++i)
        values[i] = -values[i];
}

// The carried normals of a mesh that does not stay where it is, in the target's range.
void transformNormals(float* normals, Source const& source) {
    bool exists = false;
    AffineMatrix normalMatrix = AffineMatrix(source.matrix).normalMatrix(exists);
    if (!exists)
        return;
    if (source.flip)
        normalMatrix.preMult(AffineMatrix(-1.0));
    meshTransform(normals, source.mesh->getNumVertices(), AffineMatrixFlt(normalMatrix));
}

void copySet(CompactMesh& target, Source const& source, koString::CString const& name) {
    MeshAttributes const* const from = source.mesh->getAttributes(name);
    MeshAttributes* const to = target.getAttributes(name);
    int const numVertices = source.mesh->getNumVertices();
    if (from == nullptr || to == nullptr || from->dimension != to->dimension || numVertices == 0)
        return;
    float* const values =
        to->asFloat() + static_cast<std::ptrdiff_t>(source.firstVertex) * to->dimension;
    std::copy_n(from->asFloat(), static_cast<std::ptrdiff_t>(numVertices) * to->dimension, values);

    bool const stays = equivalent(source.matrix, AffineMatrixFlt::Identity, epsilonTolFlt);
    bool const isNormals = koString::equal(name, PointMesh::NormalsName);
    if (stays && isNormals && source.flip)
        negate(values, numVertices * to->dimension);
    if (!stays && isNormals && to->dimension == 3)
        transformNormals(values, source);
    if (!stays && koString::equal(name, PointMesh::VerticesName))
        meshTransform(values, numVertices, source.matrix);
    to->invalidateRange();
}

// Strips are turned over by writing them in reverse order, fans by reversing what comes after the
// first point.
void appendRuns(MeshSequence& target, MeshSequence const& source, int firstVertex, bool flip,
                int numLeadingPoints) {
    int const firstPoint = target.getNumPoints();
    int const firstRun = target.getNumRuns();
    target.resize(firstPoint + source.getNumPoints(), firstRun + source.getNumRuns());
    std::transform(source.points.begin(), source.points.end(), target.points.begin() + firstPoint,
                   [firstVertex](int vertex) { return vertex + firstVertex; });
    std::copy(source.lengths.begin(), source.lengths.end(), target.lengths.begin() + firstRun);
    if (!flip)
        return;
    int* point = target.points.begin() + firstPoint;
    for (int const length : source.lengths) {
        std::reverse(point + std::min(numLeadingPoints, length), point + length);
        point += length;
    }
}

void dropOutOfRange(MeshSequence& sequence, int numVertices) {
    bool const inRange = std::all_of(sequence.points.begin(), sequence.points.end(),
                                     [numVertices](int vertex) { return vertex < numVertices; });
    if (!inRange)
        sequence.clear();
}

void appendStripsAndFans(CompactMesh& target, Plan const& plan) {
    dropOutOfRange(target.triStrips, plan.numVertices);
    dropOutOfRange(target.triFans, plan.numVertices);
    for (Source const& source : plan.sources) {
        appendRuns(target.triStrips, source.mesh->triStrips, source.firstVertex, source.flip, 0);
        appendRuns(target.triFans, source.mesh->triFans, source.firstVertex, source.flip, 1);
    }
}

}  // namespace

void meshConcatenate(CompactMesh& target, ko::list<MeshPlacement> const& placements,
                     ko::set<koString::CString, ko::less<koString::CString>> const* names,
                     ko::vector<bool>* flips) {
    assert(flips == nullptr || flips->size() >= placements.size());
    Plan plan = planOf(placements, flips);
    if (plan.sources.empty())
        return;

    std::unique_ptr<CompactMesh const> const targetCopy = detachTarget(plan, target);
    NameSet carried = names != nullptr ? *names : commonNames(plan.sources);
    carried.insert(PointMesh::VerticesName);

    MeshModification modification(&target, MeshModification::Topology, nullptr);
    target.resizeVertexArray(plan.numVertices);
    target.resizeTriangleArray(plan.numTriangles);
    allocSets(target, plan.sources, carried);
    for (Source const& source : plan.sources) {
        copyTriangles(target, source);
        for (koString::CString const& name : carried)
            copySet(target, source, name);
    }
    for (koString::CString const& name : carried)
        modification.vertexAttribsModified(name);
    if (plan.keepsStrips) {
        appendStripsAndFans(target, plan);
        modification.stripsAndFansModified();
    }
    target.modified(modification);
}

}  // namespace koGeom
