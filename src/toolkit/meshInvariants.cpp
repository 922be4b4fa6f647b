#include "toolkit/meshInvariants.h"

#include "toolkit/meshCounts.h"
#include "toolkit/meshSubdivision.h"
#include "toolkit/meshTidying.h"

#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/repair/MeshVerify.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

namespace trimora {

namespace {

using koGeom::BitVector;
using koGeom::CompactMesh;
using koGeom::MeshAttributes;
using koGeom::MeshSequence;

/// A digest of what is put in, eight bytes at a time: a product with an odd constant spreads each bit upwards, the shift brings it
/// down again.
class Digest {
public:
    void add(std::uint64_t word) {
        state_ = (state_ ^ word) * 0x9e3779b97f4a7c15u;
        state_ ^= state_ >> 29;
    }
    void add(void const* bytes, std::size_t size) {
        add(static_cast<std::uint64_t>(size));
        auto const* const from = static_cast<unsigned char const*>(bytes);
        std::size_t i = 0;
        for (; i + sizeof(std::uint64_t) <= size; i += sizeof(std::uint64_t))
            add(wordAt(from + i, sizeof(std::uint64_t)));
        if (i < size)
            add(wordAt(from + i, size - i));
    }
    template <typename T>
    void addArray(T const* items, int count) {
        add(items, sizeof(T) * static_cast<std::size_t>(std::max(count, 0)));
    }
    std::uint64_t value() const { return state_; }

private:
    static std::uint64_t wordAt(unsigned char const* bytes, std::size_t size) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes, size);
        return word;
    }

    std::uint64_t state_ = 0x243f6a8885a308d3u;
};

std::uint64_t digestOfPositions(CompactMesh const& mesh) {
    Digest digest;
    digest.addArray(mesh.getVertices(), mesh.getNumVertices());
    return digest.value();
}

void addSequence(Digest& digest, MeshSequence const& sequence) {
    digest.addArray(sequence.points.data(), sequence.getNumPoints());
    digest.addArray(sequence.lengths.data(), sequence.getNumRuns());
}

std::uint64_t digestOfFaces(CompactMesh const& mesh) {
    Digest digest;
    digest.addArray(mesh.getTriangles(), mesh.getNumTriangles());
    addSequence(digest, mesh.polys);
    return digest.value();
}

/// Without trailing words of clear bits: a selection of no elements is none, whatever size it was left with.
void addSelection(Digest& digest, BitVector const& selection) {
    int numWords = selection.numWords();
    while (numWords > 0 && selection.words[numWords - 1] == 0)
        --numWords;
    digest.addArray(selection.words, numWords);
}

std::uint64_t digestOfRest(CompactMesh const& mesh) {
    Digest digest;
    for (int i = 1; i < mesh.getNumAttributes(); ++i) {
        MeshAttributes const& set = *mesh.getAttributes(i);
        char const* const name = set.getName().asChar();
        digest.add(name, std::strlen(name));
        digest.addArray(set.asFloat(), set.dimension * set.getNumElements());
    }
    digest.add(mesh.getNormalsComputed() ? 1u : 0u);
    addSelection(digest, mesh.getSelectedVertices());
    addSelection(digest, mesh.getSelectedTriangles());
    bool const hasNormals = mesh.getTriangleNormals() != nullptr;
    digest.addArray(mesh.getTriangleNormals(), hasNormals ? mesh.getNumTriangles() : 0);
    digest.addArray(mesh.getLines(), mesh.getNumLines());
    for (MeshSequence const* sequence : {&mesh.lineStrips, &mesh.triStrips, &mesh.triFans})
        addSequence(digest, *sequence);
    return digest.value();
}

std::int64_t numNonfiniteValues(CompactMesh const& mesh) {
    std::int64_t count = 0;
    for (int i = 1; i < mesh.getNumAttributes(); ++i) {
        MeshAttributes const& set = *mesh.getAttributes(i);
        float const* const values = set.asFloat();
        std::ptrdiff_t const size = std::ptrdiff_t{set.dimension} * set.getNumElements();
        count += std::count_if(values, values + size, [](float x) { return !std::isfinite(x); });
    }
    return count;
}

/// The first vertex with a coordinate that is not finite; -1 when there is none.
int firstNonfinite(CompactMesh const& mesh) {
    float const* const p = mesh.getVerticesRaw();
    for (std::ptrdiff_t i = 0; i < 3 * std::ptrdiff_t{mesh.getNumVertices()}; ++i)
        if (!std::isfinite(p[i]))
            return static_cast<int>(i / 3);
    return -1;
}

bool isNew(std::int64_t before, std::int64_t after, Expectation const& expected) {
    return after > before && !(expected.spreadsNonfinite && before > 0);
}

std::string countFault(char const* what, std::int64_t expected, std::int64_t found) {
    return expected == found ? std::string()
                             : std::string(what) + " are " + std::to_string(found) + ", and " +
                                   std::to_string(expected) + " were to be expected";
}

std::string limitFault(char const* what, std::int64_t most, std::int64_t found) {
    return found <= most ? std::string()
                         : std::string(what) + " are " + std::to_string(found) + ", and " +
                               std::to_string(most) + " at most were to be expected";
}

std::string faultOfCounts(MeshState const& before, MeshState const& after,
                          Expectation const& expected) {
    std::string fault;
    if (expected.vertices)
        fault = countFault("the vertices", *expected.vertices, after.vertices);
    if (fault.empty() && expected.triangles)
        fault = countFault("the triangles", *expected.triangles, after.triangles);
    if (fault.empty() && expected.noMoreVertices)
        fault = limitFault("the vertices", before.vertices, after.vertices);
    if (fault.empty() && expected.noMoreTriangles)
        fault = limitFault("the triangles", before.triangles, after.triangles);
    if (fault.empty() && expected.samePositions && before.positionsDigest != after.positionsDigest)
        fault = "vertices have moved that were to stay";
    if (fault.empty() && expected.sameFaces && before.facesDigest != after.facesDigest)
        fault = "faces have changed that were to stay";
    return fault;
}

std::string faultOfNotices(MeshState const& before, MeshState const& after,
                           Expectation const& expected) {
    if (!expected.notices)
        return {};
    bool const isChanged = !before.isSameAs(after);
    int const notices = *expected.notices;
    if (isChanged && notices == 0)
        return "the mesh has changed and sent no notice";
    if (expected.severalNotices)
        return {};
    if (!isChanged && notices > 0)
        return "the mesh has sent a notice and not changed";
    return notices < 2 ? std::string()
                       : "one edit has sent " + std::to_string(notices) + " notices";
}

std::string faultOfTopology(SurfaceCensus const& before, SurfaceCensus const& after,
                            Expectation const& expected) {
    std::string fault;
    if (expected.keepsManifold && before.isManifold() && !after.isManifold())
        fault = "a manifold surface has come out as none";
    if (fault.empty() && expected.keepsOrientation && before.isOriented() && !after.isOriented())
        fault = "an oriented surface has come out as none";
    if (fault.empty() && expected.isOriented && !after.isOriented())
        fault = "the surface has not come out as an oriented manifold";
    if (fault.empty() && expected.eulerNumber && *expected.eulerNumber != after.eulerNumber())
        fault = "the Euler number is " + std::to_string(after.eulerNumber()) + ", and " +
                std::to_string(*expected.eulerNumber) + " was to be expected";
    if (fault.empty() && expected.components)
        fault = countFault("the components", *expected.components, after.components);
    if (fault.empty() && expected.mostComponents)
        fault = limitFault("the components", *expected.mostComponents, after.components);
    if (fault.empty() && expected.loops && after.loops)
        fault = countFault("the borders", *expected.loops, *after.loops);
    return fault;
}

/// Whether what is kept is what computing it again gives; of copies, for asking fills what is kept, which is the mesh's own affair.
bool areRangesRight(MeshAttributes const& set) {
    MeshAttributes const kept(set);
    MeshAttributes fresh(set);
    fresh.invalidateRange();
    bool areRight = true;
    for (int component = 0; component < set.dimension; ++component) {
        float keptRange[2];
        float freshRange[2];
        kept.getRange(component, keptRange[0], keptRange[1]);
        fresh.getRange(component, freshRange[0], freshRange[1]);
        areRight = areRight && keptRange[0] == freshRange[0] && keptRange[1] == freshRange[1];
    }
    return areRight;
}

/// Places of runs that were filled before the runs changed.
bool isSequenceFresh(MeshSequence const& sequence) {
    bool const hasOffsets = sequence.offsets.size() == sequence.lengths.size();
    bool const hasStarts = sequence.starts.size() == sequence.lengths.size();
    int next = 0;
    for (int i = 0; i < sequence.getNumRuns(); ++i) {
        if (hasOffsets && sequence.offsets.data()[i] != next)
            return false;
        if (hasStarts && sequence.starts.data()[i] != sequence.points.data() + next)
            return false;
        next += sequence.lengths[i];
    }
    return true;
}

bool areNormalsFresh(CompactMesh const& mesh) {
    if (!mesh.getNormalsComputed() || mesh.getNormals() == nullptr)
        return true;
    CompactMesh copy = bareCopy(mesh);
    koGeom::meshComputeNormals(copy);
    // NaN positions give NaN normals, so bytes are compared.
    return std::memcmp(copy.getNormalsRaw(), mesh.getNormalsRaw(),
                       sizeof(koGeom::MeshNormal) *
                           static_cast<std::size_t>(mesh.getNumVertices())) == 0;
}

std::string faultOfDerived(CompactMesh const& mesh, bool isChanged) {
    for (int i = 0; i < mesh.getNumAttributes(); ++i) {
        MeshAttributes const& set = *mesh.getAttributes(i);
        if (!areRangesRight(set))
            return std::string("the range that is kept of the set '") + set.getName().asChar() +
                   "' is out of date";
    }
    for (MeshSequence const* sequence :
         {&mesh.polys, &mesh.lineStrips, &mesh.triStrips, &mesh.triFans})
        if (!isSequenceFresh(*sequence))
            return "the places that are kept of runs are out of date";
    if (isChanged && !areNormalsFresh(mesh))
        return "the computed normals are out of date";
    return {};
}

/// Of an oriented manifold, where every half-edge has its place.
std::string faultOfHalfEdges(CompactMesh const& mesh, SurfaceCensus const& census) {
    if (!census.isOriented() || mesh.getNumTriangles() == 0)
        return {};
    koGeom::TopoMesh topoMesh;
    fillTopoMesh(topoMesh, mesh, {});
    std::int64_t open = 0;
    for (koGeom::TopoMeshEdge e = topoMesh.firstEdge(); e; e = e.nextInList())
        open += e.twin() ? 0 : 1;
    koGeom::MeshVerify::Info links;
    links.checkCorners = false;  // a matter of shape
    if (open != census.openEdges || !koGeom::MeshVerify()(topoMesh, links))
        return "the half-edges do not fit together";
    return {};
}

}  // namespace

InvariantDepth depthFor([[maybe_unused]] CompactMesh const& mesh) {
#ifdef NDEBUG
    if (mesh.getNumTriangles() > mostTrianglesInDepth)
        return InvariantDepth::Arrays;
#endif
    return InvariantDepth::Surface;
}

MeshState stateOf(CompactMesh const& mesh, InvariantDepth depth) {
    MeshState state;
    state.vertices = mesh.getNumVertices();
    state.triangles = mesh.getNumTriangles();
    state.nonfiniteVertices = numNonfiniteVertices(mesh);
    state.nonfiniteValues = numNonfiniteValues(mesh);
    state.positionsDigest = digestOfPositions(mesh);
    state.facesDigest = digestOfFaces(mesh);
    state.restDigest = digestOfRest(mesh);
    if (depth == InvariantDepth::Surface)
        state.census = censusOf(mesh);
    return state;
}

Expectation Expectation::ofKeptTopology(MeshState const& before) {
    Expectation expected;
    if (!before.census || !before.census->isManifold())
        return expected;
    expected.keepsManifold = true;
    expected.keepsOrientation = true;
    expected.eulerNumber = before.census->eulerNumber();
    expected.components = before.census->components;
    expected.loops = before.census->loops;
    return expected;
}

SurfaceFault checkInvariants(MeshState const& before, CompactMesh const& mesh,
                             Expectation const& expected, MeshState* found) {
    if (SurfaceFault fault = faultOfMesh(mesh))
        return fault;
    MeshState const after =
        stateOf(mesh, before.census ? InvariantDepth::Surface : InvariantDepth::Arrays);
    if (isNew(before.nonfiniteVertices, after.nonfiniteVertices, expected))
        return {
            "vertex " + std::to_string(firstNonfinite(mesh)) + " is NaN or infinite now", {}, true};
    if (isNew(before.nonfiniteValues, after.nonfiniteValues, expected))
        return {"a vertex set holds NaN or infinite values now", {}, true};
    std::string text = faultOfCounts(before, after, expected);
    if (text.empty())
        text = faultOfNotices(before, after, expected);
    if (text.empty() && before.census)
        text = faultOfTopology(*before.census, *after.census, expected);
    if (text.empty() && before.census)
        text = faultOfDerived(mesh, !before.isSameAs(after));
    if (text.empty() && before.census)
        text = faultOfHalfEdges(mesh, *after.census);
    if (text.empty() && found != nullptr)
        *found = after;
    return {text, {}};
}

NoticeRecorder::NoticeRecorder(koGeom::PointMesh const& mesh)
    : connection_(mesh.modificationSignal().addCallback(
          new koRTB::FunctionArgMember<koGeom::EntityModification&, NoticeRecorder>(
              this, &NoticeRecorder::received))) {}

NoticeRecorder::~NoticeRecorder() {
    connection_->disconnect();
}

void NoticeRecorder::received(koGeom::EntityModification& modification) {
    if (auto const* const notice = dynamic_cast<koGeom::MeshModification*>(&modification))
        notices_.push_back(*notice);
}

}  // namespace trimora
