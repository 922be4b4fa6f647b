// Selections on a lattice mesh, made and changed by a program of bytes and followed by plain sets of numbers; then what is selected is
// extracted and deleted: what stays and what goes make up the mesh.

#include "fuzzMesh.h"
#include "support/builders.h"

#include "trimora/assembly/MeshDeleteSelected.h"
#include "trimora/assembly/MeshSelect.h"
#include "trimora/assembly/meshExtract.h"
#include "trimora/connectivity/MeshAdjTris.h"

#include <set>

using namespace koGeom;

namespace {

using Set = std::set<int>;
constexpr std::size_t bytesOfProgram = 24;

Set setOf(BitVector const& bits) {
    Set set;
    for (int i = 0; i < bits.size; ++i)
        if (bits.isBitSet(i) != 0)
            set.insert(i);
    fuzz::require(static_cast<int>(set.size()) == bits.count, "a selection's count is wrong");
    return set;
}

/// The selections as they should be.
class Model {
public:
    explicit Model(CompactMesh const& mesh) : mesh_(mesh) {}

    Set triangles, vertices;

    int numCorners(int triangle) const {
        int count = 0;
        for (int const v : mesh_.getTriangles()[triangle].vertices)
            count += static_cast<int>(vertices.count(v));
        return count;
    }
    void selectTriangles(int atLeast) {
        triangles.clear();
        for (int t = 0; t < mesh_.getNumTriangles(); ++t)
            if (numCorners(t) >= atLeast)
                triangles.insert(t);
    }
    void selectVertices() {
        vertices.clear();
        for (int const t : triangles)
            vertices.insert(mesh_.getTriangles()[t].vertices, mesh_.getTriangles()[t].vertices + 3);
    }
    void selectAround(int vertex) {
        for (int t = 0; t < mesh_.getNumTriangles(); ++t)
            for (int const v : mesh_.getTriangles()[t].vertices)
                if (v == vertex)
                    triangles.insert(t);
    }
    void grow() {
        Set corners;
        for (int const t : triangles)
            corners.insert(mesh_.getTriangles()[t].vertices, mesh_.getTriangles()[t].vertices + 3);
        for (int const v : corners)
            selectAround(v);
    }
    void invert() {
        Set others;
        for (int t = 0; t < mesh_.getNumTriangles(); ++t)
            if (triangles.count(t) == 0)
                others.insert(t);
        triangles.swap(others);
    }

private:
    CompactMesh const& mesh_;
};

void runStep(MeshSelect& select, Model& model, CompactMesh const& mesh, fuzz::Bytes& bytes) {
    int const operation = bytes.index(9);
    int const operand = bytes.next();
    std::size_t before = 0;
    switch (operation) {
    case 0:
        select.getSelectedVertices().setBit(operand);
        if (operand < mesh.getNumVertices())
            model.vertices.insert(operand);
        break;
    case 1:
        select.getSelectedTriangles().setBit(operand);
        if (operand < mesh.getNumTriangles())
            model.triangles.insert(operand);
        break;
    case 2:
        select.selectTrianglesFromVertices(operand % 5);
        model.selectTriangles(operand % 5);
        break;
    case 3:
        select.selectAllTrianglesFromVertices();
        model.selectTriangles(1);
        break;
    case 4:
        select.selectVerticesFromTriangles();
        model.selectVertices();
        break;
    case 5:
        select.selectTrianglesRecursive(true);
        model.grow();
        break;
    case 6:
        select.selectTrianglesRecursive(false);
        do {
            before = model.triangles.size();
            model.grow();
        } while (model.triangles.size() > before);
        break;
    case 7:
        select.invertTriangleSelection();
        model.invert();
        break;
    default:
        select.selectTrisAdjacentToVert(operand % mesh.getNumVertices(),
                                        select.getSelectedTriangles());
        model.selectAround(operand % mesh.getNumVertices());
        break;
    }
}

std::vector<float> cornersOf(CompactMesh const& mesh, Set const& triangles) {
    std::vector<float> corners;
    for (int const t : triangles)
        for (int const v : mesh.getTriangles()[t].vertices) {
            float const* const p = mesh.getVerticesRaw() + 3 * v;
            corners.insert(corners.end(), p, p + 3);
        }
    return corners;
}

Set allTriangles(CompactMesh const& mesh) {
    Set all;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        all.insert(t);
    return all;
}

/// The selected triangles with all their vertices, in order.
void requireExtraction(CompactMesh mesh, Model model) {
    model.selectVertices();
    mesh.getSelectedVertices().resize(mesh.getNumVertices());
    for (int const v : model.vertices)
        mesh.getSelectedVertices().setBit(v);
    CompactMesh part;
    meshExtract(part, mesh);
    fuzz::requireValid(part);
    fuzz::require(part.getNumVertices() == static_cast<int>(model.vertices.size()) &&
                      cornersOf(part, allTriangles(part)) == cornersOf(mesh, model.triangles),
                  "the extracted part is not what was selected");
    meshExtract(mesh, mesh);
    fuzz::require(support::trianglesOf(mesh) == support::trianglesOf(part) &&
                      support::coordinatesOf(mesh) == support::coordinatesOf(part),
                  "a mesh extracted from itself is another part");
}

void requireDeletion(CompactMesh mesh, Model model) {
    int const numVertices = mesh.getNumVertices();
    Set const selected = model.triangles;
    Set gone = model.vertices;
    model.invert();
    std::vector<float> const expected = cornersOf(mesh, model.triangles);
    model.selectVertices();
    for (int const v : model.vertices)
        gone.erase(v);
    MeshDeleteSelected deleteSelected(mesh);
    deleteSelected();
    fuzz::requireValid(mesh);
    int const left = selected.empty()          ? numVertices
                     : model.triangles.empty() ? 0
                                               : numVertices - static_cast<int>(gone.size());
    fuzz::require(mesh.getNumVertices() == left, "another number of vertices is left");
    fuzz::require(cornersOf(mesh, allTriangles(mesh)) == expected, "other triangles are left");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::Bytes bytes(data, size);
    CompactMesh mesh = fuzz::latticeMesh(bytes, false, bytesOfProgram);
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    mesh.getSelectedVertices().resize(bytes.next());
    mesh.getSelectedTriangles().resize(bytes.next());
    Model model(mesh);
    MeshSelect select(mesh, adjTris);
    while (bytes.left() > 0) {
        runStep(select, model, mesh, bytes);
        fuzz::require(setOf(select.getSelectedTriangles()) == model.triangles &&
                          setOf(select.getSelectedVertices()) == model.vertices,
                      "a selection is wrong");
    }
    requireExtraction(mesh, model);
    requireDeletion(mesh, model);
    return 0;
}
