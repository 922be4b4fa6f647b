#pragma once

#include "toolkit/ReadReport.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace trimora {

/// Where a finding is: the elements of one place, and the box round them.
struct FindingPlace {
    std::vector<int> triangles;  ///< of the mesh as it was read
    std::vector<int> vertices;
    std::vector<std::array<int, 2>> edges;  ///< by their vertices; a loop or path in order
    std::array<double, 3> centre = {0.0, 0.0,
                                    0.0};  ///< a point of the surface in its midst; finite
    std::array<double, 3> lowest = {0.0, 0.0, 0.0};
    std::array<double, 3> highest = {0.0, 0.0, 0.0};
    std::optional<double>
        measure;  ///< how much: a length, an angle in degrees, a share; Finding::unit tells which
    std::string
        note;  ///< what is special of this place, say "border of 12 edges, 3.5 long"; may be empty
};

/// One kind of thing that is wrong with a surface, or with the file it came from.
struct Finding {
    enum class Severity {
        Fatal,     ///< parts of the data are lost or unusable
        Severe,    ///< most algorithms fail or answer wrongly
        Moderate,  ///< some do, and people will see it
        Slight,    ///< costs time or memory, or is a matter of taste
        Note       ///< nothing is wrong; good to know
    };

    std::string kind;  ///< a word that scripts can rely on, say "selfIntersections"
    Severity severity = Severity::Note;
    std::string title;    ///< a line: what, and how many
    std::string meaning;  ///< a sentence or two: what it is, and what comes of it
    std::string
        remedy;  ///< the command that mends it, with IN and OUT for the files; empty where there is none
    /// The remedy was tried on a copy of the mesh: it ends without complaint, there is less of this finding then, and no more of any
    /// kind in the worst severity that changes. Else it is a guess, or takes much of the surface, as the advice says.
    bool isSure = false;
    std::string advice;  ///< where no command mends it, or besides: what to do
    std::int64_t count = 0;
    std::string unit;                  ///< of the places' measures: "length", "degrees", "" ...
    std::vector<FindingPlace> places;  ///< the worst or first, DiagnosisOptions::mostPlaces at most
};

struct DiagnosisOptions {
    double foldAngle = 15.0;      ///< degrees; two triangles that open by less are a fold
    double needleRatio = 0.001;   ///< height by longest edge below which a triangle is a needle
    double dustShare = 0.0001;    ///< of the area, below which a part is dust
    std::size_t mostPlaces = 50;  ///< of each finding
    std::size_t mostElements = 10000;  ///< of each kind in one place
    bool testIntersections = true;
    /// Remedies are tried on copies, on meshes of up to mostTrianglesToMend triangles. Else none is told but those that need no trial
    /// to be named, and they as guesses.
    bool tryRemedies = true;
};

/// Remedies of larger meshes are not tried; of smaller ones until what was tried has this many triangles times 3, and the first of
/// each finding beyond that.
inline constexpr int mostTrianglesToMend = 100'000;

struct Diagnosis {
    int vertices = 0;
    int triangles = 0;
    int parts = 0;
    int boundaries = 0;
    double area = 0.0;
    std::optional<double> volume;                    ///< of a closed, oriented surface
    std::array<double, 3> lowest = {0.0, 0.0, 0.0};  ///< of the box of the finite vertices
    std::array<double, 3> highest = {0.0, 0.0, 0.0};
    /// What the reader took off the coordinates of the file, which are larger by it than all that is told here.
    std::array<double, 3> shift = {0.0, 0.0, 0.0};
    std::vector<Finding> findings;  ///< worst first; in one severity in the order of the tests
    bool cancelled = false;         ///< the other fields mean nothing then

    /// Nothing worse than a note.
    TRIMORA_API bool isSound() const;
};

/// Everything that can be wrong with a surface.
///
/// mesh        stays as it is
/// report      of the reader, for what did not get into the mesh; a default one for meshes that were not read
/// progress    polled between the tests and inside the long ones
/// cost        O(n log n) plus the intersection test; twice to some ten times that on a faulty mesh whose remedies are tried
/// threads     runs on the shared pool; call from one thread; the outcome does not depend on its size
TRIMORA_API Diagnosis diagnoseMesh(koGeom::CompactMesh const& mesh, ReadReport const& report,
                                   DiagnosisOptions const& options, koUtil::Progress& progress);

/// One word that scripts can rely on: "fatal", "severe" ...
TRIMORA_API char const* nameOfSeverity(Finding::Severity severity);

}  // namespace trimora
