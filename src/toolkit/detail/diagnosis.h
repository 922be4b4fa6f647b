#pragma once

#include "toolkit/meshDiagnosis.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koGeom/Remap.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace trimora {

/// An edge by its vertices, the lower one first.
using VertexPair = std::pair<int, int>;

/// The mesh in the three states that the tests of a diagnosis look at, and the way back to the numbers as read.
class DiagnosisSurface {
public:
    explicit DiagnosisSurface(koGeom::CompactMesh const& mesh);
    DiagnosisSurface(DiagnosisSurface const&) = delete;
    DiagnosisSurface& operator=(DiagnosisSurface const&) = delete;

    koGeom::CompactMesh const& asRead;

    /// All vertices, and the triangles whose corners are among them.
    koGeom::CompactMesh inRange;
    std::vector<int> numberInRange;  ///< as read, of each of its triangles
    std::vector<int> outOfRange;     ///< the other triangles, as read

    int coincidentVertices = 0;  ///< that an exact weld of the positions would remove
    koGeom::Remap weld;          ///< that weld, of `inRange`
    bool isSoup = false;         ///< nearly nothing shares vertices; the surface is the welded one

    std::vector<int> duplicates;  ///< as read, ascending, as the next two
    std::vector<int> copies;      ///< of the duplicates those that have vertices of their own
    std::vector<int> degenerate;  ///< a vertex twice, or two corners in one place

    /// `inRange`, or the same welded, without degenerate triangles and without duplicates, but for copies that are needed to close
    /// their part. Where a triangle joins vertices in one place they are one.
    koGeom::CompactMesh surface;
    /// Open edges of the surface that the weld would close, ascending; of `inRange` where it is a soup.
    std::vector<VertexPair> seams;
    /// Vertices that coincide, as `coincidentVertices` counts them, where neither copies nor degenerate triangles tell it.
    int coincidentApart = 0;
    std::vector<char> isCoincidenceTold;  ///< by copies or degenerate triangles, of each vertex
    std::vector<int> triangleOf;          ///< number as read, of each triangle of the surface
    std::vector<int> vertexOf;            ///< lowest number as read, of each vertex
    ko::Reference<koGeom::MeshAdjTris> adjTris;  ///< of the surface

    bool isSeam(int from, int to) const {
        return std::binary_search(seams.begin(), seams.end(), VertexPair(std::minmax(from, to)));
    }
    /// Whether the surface is the mesh as read, but for its order of triangles.
    bool isWhole() const {
        return !isSoup && surface.getNumTriangles() == asRead.getNumTriangles();
    }
    /// Positions of vertices of the surface; may be NaN or infinite.
    koLinear::Point position(int vertex) const { return surface.getVertices()[vertex].asPoint(); }
    koGeom::MeshTriangle const& corners(int triangle) const {
        return surface.getTriangles()[triangle];
    }
    /// Twice the area as a vector.
    koLinear::Vector areaVector(int triangle) const {
        koGeom::MeshTriangle const& c = corners(triangle);
        return cross(position(c[1]) - position(c[0]), position(c[2]) - position(c[0]));
    }
    /// All corners have finite coordinates.
    bool isFinite(int triangle) const;

private:
    void takeInRange();
    void takeSoup(koGeom::CompactMesh const& welded);
    void takeAsRead();
    koGeom::CompactMesh joinedAtDegenerate() const;
    void takeSurface(koGeom::CompactMesh const& base);
    void takeCopies();
    void keep(koGeom::CompactMesh const& base, std::vector<int> const& numbers,
              std::vector<char> const& isOut);
    void tellCoincidences(koGeom::CompactMesh const& joined);

    koGeom::SimpleMeshCache cache_;
};

/// Where one place of a finding is, in numbers as read.
struct PlaceElements {
    std::vector<int> triangles;
    std::vector<int> vertices;
    std::vector<std::array<int, 2>> edges;
};

/// A distance that may sew cracks, and how long it takes to try it, in triangles.
struct StitchGuess {
    double distance;
    std::int64_t cost;
};

/// All trials of remedies of a mesh may come to this, in triangles that are repaired and looked at.
inline constexpr std::int64_t mostCostOfTrials = 3 * std::int64_t(mostTrianglesToMend);

/// What the tests share: the states of the mesh, and the findings so far.
class DiagnosisRun {
public:
    DiagnosisRun(koGeom::CompactMesh const& mesh, ReadReport const& readReport,
                 DiagnosisOptions const& diagnosisOptions, koUtil::Progress& runProgress)
        : of(mesh), report(readReport), options(diagnosisOptions), progress(runProgress) {}

    DiagnosisSurface const of;
    ReadReport const& report;
    DiagnosisOptions const& options;
    koUtil::Progress& progress;
    Diagnosis result;
    std::vector<StitchGuess> stitchGuesses;  ///< for the cracks, the best first
    bool hasPlainCuts = false;               ///< that the library sees as the mesh is

    /// Appends a finding, to be completed.
    Finding& add(char const* kind, Finding::Severity severity, std::int64_t count,
                 std::string title, std::string meaning);
    bool has(char const* kind) const;

    /// A place from its elements: their box, and a point of them in their midst. At most options.mostElements of each kind are kept.
    FindingPlace place(PlaceElements elements) const;
    FindingPlace placeOfTriangle(int surfaceTriangle) const;
    FindingPlace placeOfVertex(int surfaceVertex) const;
    /// With the triangles of the surface on it.
    FindingPlace placeOfEdge(int from, int to) const;
    std::array<int, 2> edgeAsRead(int from, int to) const {
        return {of.vertexOf[static_cast<std::size_t>(from)],
                of.vertexOf[static_cast<std::size_t>(to)]};
    }

    /// The worst of what was found as places, options.mostPlaces at most.
    template <class Item, class IsWorse, class MakePlace>
    void addPlaces(Finding& finding, std::vector<Item>& items, IsWorse isWorse,
                   MakePlace makePlace) const {
        std::size_t const count = std::min(items.size(), options.mostPlaces);
        std::partial_sort(items.begin(), items.begin() + static_cast<std::ptrdiff_t>(count),
                          items.end(), isWorse);
        for (std::size_t i = 0; i < count; ++i)
            finding.places.push_back(makePlace(items[i]));
    }
};

/// Triangles of the surface that hold both vertices, ascending.
std::vector<int> trianglesOnEdge(DiagnosisSurface const& of, int from, int to);

/// "0.0123", three digits.
std::string lengthInWords(double length);

/// The edges of the surface, by what is wrong with them, and how its triangles hang together over edges.
struct DiagnosisEdges {
    struct Crowded {
        VertexPair edge;
        int numTriangles;
    };

    explicit DiagnosisEdges(DiagnosisSurface const& of);

    std::vector<VertexPair> open;         ///< one triangle; ascending, as all of these
    std::vector<Crowded> crowded;         ///< more than two
    std::vector<VertexPair> runAlike;     ///< by both of their triangles
    std::vector<VertexPair> conflicting;  ///< where a patch that cannot be oriented closes

    /// Patches are what hangs together over edges of two triangles: the lowest triangle of each triangle's patch.
    std::vector<int> patchOf;
    std::vector<char> isTurned;  ///< against that lowest triangle
    std::vector<int> oneSided;   ///< lowest triangles of patches that cannot be oriented, ascending
};

/// The tests, in the order in which they run; each adds what it finds.
void diagnoseFile(DiagnosisRun& run);
void diagnoseVertices(DiagnosisRun& run);
void diagnoseTriangles(DiagnosisRun& run);
void diagnoseEdges(DiagnosisRun& run, DiagnosisEdges const& edges);
void diagnoseFans(DiagnosisRun& run);
void diagnoseFolds(DiagnosisRun& run);
void diagnoseBorders(DiagnosisRun& run, DiagnosisEdges const& edges);
void diagnoseParts(DiagnosisRun& run, DiagnosisEdges const& edges);
void diagnoseScale(DiagnosisRun& run);
void diagnoseCuts(DiagnosisRun& run);

/// After the tests: tells of each finding the command that mends it. They are tried on copies, and named if that ends better. Where
/// none of a finding could be tried, as on large meshes, a guess is named and said to be one.
void chooseRemedies(DiagnosisRun& run);

/// The triangles as read of each closed part that turnPartsOutward turns. The run has no findings.
std::vector<std::vector<int>> findPartsInsideOut(DiagnosisRun& run, DiagnosisEdges const& edges);

}  // namespace trimora
