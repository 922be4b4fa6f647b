// Whether the arrays of a mesh fit together, which all else takes for granted.

#include "toolkit/meshCounts.h"
#include "toolkit/surfaceFault.h"

#include <algorithm>
#include <bit>
#include <bitset>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <stdexcept>

namespace trimora {

namespace {

using koGeom::BitVector;
using koGeom::CompactMesh;
using koLinear::Point;

bool isVertex(CompactMesh const& mesh, int index) {
    return index >= 0 && index < mesh.getNumVertices();
}

bool isFinite(Point const& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

/// The place of the first of these vertices that exists and is finite.
void setPlace(CompactMesh const& mesh, int const* corners, int numCorners, SurfaceFault& fault) {
    for (int k = 0; k < numCorners; ++k) {
        if (!isVertex(mesh, corners[k]))
            continue;
        Point const p = mesh.getVertices()[corners[k]].asPoint();
        if (!isFinite(p))
            continue;
        fault.place = {p.x, p.y, p.z};
        fault.text += ", at " + positionInWords(p);
        return;
    }
}

std::string vertexNumbersInWords(CompactMesh const& mesh) {
    int const count = mesh.getNumVertices();
    return count > 0 ? "the vertices have the numbers 0 to " + std::to_string(count - 1)
                     : std::string("there are no vertices");
}

/// Of elements of `size` corners each.
SurfaceFault faultOfElements(CompactMesh const& mesh, char const* what, int const* corners,
                             int count, int size) {
    std::ptrdiff_t const end = std::ptrdiff_t{count} * size;
    auto const limit = static_cast<unsigned>(mesh.getNumVertices());
    auto const* const bad = std::find_if(
        corners, corners + end, [limit](int v) { return static_cast<unsigned>(v) >= limit; });
    if (bad == corners + end)
        return {};
    std::ptrdiff_t const element = (bad - corners) / size;
    SurfaceFault fault;
    fault.text = std::string(what) + " " + std::to_string(element) + " names vertex " +
                 std::to_string(*bad) + ", and " + vertexNumbersInWords(mesh);
    setPlace(mesh, corners + element * size, size, fault);
    return fault;
}

SurfaceFault faultOfRuns(CompactMesh const& mesh, char const* what,
                         koGeom::MeshSequence const& runs) {
    std::int64_t total = 0;
    for (int i = 0; i < runs.getNumRuns(); ++i) {
        if (runs.lengths[i] < 0)
            return {std::string(what) + " " + std::to_string(i) + " has the length " +
                        std::to_string(runs.lengths[i]),
                    {}};
        total += runs.lengths[i];
    }
    if (total != runs.getNumPoints())
        return {std::string("the lengths of each ") + what + " add up to " + std::to_string(total) +
                    ", and there are " + std::to_string(runs.getNumPoints()) + " points",
                {}};
    int const* corners = runs.points.data();
    for (int i = 0; i < runs.getNumRuns(); corners += runs.lengths[i], ++i) {
        for (int k = 0; k < runs.lengths[i]; ++k) {
            if (isVertex(mesh, corners[k]))
                continue;
            SurfaceFault fault;
            fault.text = std::string(what) + " " + std::to_string(i) + " names vertex " +
                         std::to_string(corners[k]) + ", and " + vertexNumbersInWords(mesh);
            setPlace(mesh, corners, runs.lengths[i], fault);
            return fault;
        }
    }
    return {};
}

SurfaceFault faultOfSets(CompactMesh const& mesh) {
    for (int i = 0; i < mesh.getNumAttributes(); ++i) {
        koGeom::MeshAttributes const& set = *mesh.getAttributes(i);
        if (set.getNumElements() != mesh.getNumVertices())
            return {std::string("the vertex set '") + set.getName().asChar() + "' has " +
                        std::to_string(set.getNumElements()) + " elements for " +
                        countInWords(mesh.getNumVertices(), "vertex", "vertices"),
                    {}};
        if (set.dimension < 1 || set.dimension > 4)
            return {std::string("the vertex set '") + set.getName().asChar() +
                        "' has the dimension " + std::to_string(set.dimension) +
                        ", and 1 to 4 is allowed",
                    {}};
    }
    return {};
}

/// The largest element that is selected; -1: none is.
std::int64_t lastSelected(BitVector const& selection) {
    int word = selection.numWords() - 1;
    while (word >= 0 && selection.words[word] == 0)
        --word;
    return word < 0 ? -1 : 32 * std::int64_t{word} + std::bit_width(selection.words[word]) - 1;
}

/// Of `numElements`. A selection of no elements may have any size: those that a core operation leaves have the size of before.
SurfaceFault faultOfSelection(char const* what, BitVector const& selection, int numElements) {
    std::int64_t count = 0;
    for (int i = 0; i < selection.numWords(); ++i)
        count += static_cast<std::int64_t>(std::bitset<32>(selection.words[i]).count());
    int const left = selection.size % 32;
    bool const hasLoose = left != 0 && selection.words[selection.numWords() - 1] >> left != 0;
    if (hasLoose || count != selection.count)
        return {std::string("the selection of ") + what + " says that it has " +
                    std::to_string(selection.count) + ", and " + std::to_string(count) +
                    " bits are set",
                {}};
    if (lastSelected(selection) >= numElements)
        return {std::string("the selection of ") + what + " has number " +
                    std::to_string(lastSelected(selection)) + ", and there are " +
                    std::to_string(numElements) + " " + what,
                {}};
    return {};
}

}  // namespace

SurfaceFault faultOfMesh(CompactMesh const& mesh) {
    if (mesh.getNumVertices() < 0 || mesh.getNumTriangles() < 0 || mesh.getNumLines() < 0)
        return {"a count of vertices, triangles or lines is below 0", {}};
    if (SurfaceFault fault = faultOfSets(mesh))
        return fault;
    if (SurfaceFault fault =
            faultOfElements(mesh, "triangle", mesh.getTrianglesRaw(), mesh.getNumTriangles(), 3))
        return fault;
    int const* const lines = mesh.getNumLines() > 0 ? mesh.getLines()->vertices : nullptr;
    if (SurfaceFault fault = faultOfElements(mesh, "line", lines, mesh.getNumLines(), 2))
        return fault;
    struct Runs {
        char const* what;
        koGeom::MeshSequence const& runs;
    };
    for (Runs const& each : std::initializer_list<Runs>{{"polygon", mesh.polys},
                                                        {"line strip", mesh.lineStrips},
                                                        {"triangle strip", mesh.triStrips},
                                                        {"triangle fan", mesh.triFans}})
        if (SurfaceFault fault = faultOfRuns(mesh, each.what, each.runs))
            return fault;
    if (SurfaceFault fault =
            faultOfSelection("vertices", mesh.getSelectedVertices(), mesh.getNumVertices()))
        return fault;
    return faultOfSelection("triangles", mesh.getSelectedTriangles(), mesh.getNumTriangles());
}

void requireSoundMesh(CompactMesh const& mesh) {
    if (SurfaceFault const fault = faultOfMesh(mesh))
        throw std::invalid_argument(fault.text);
}

}  // namespace trimora
