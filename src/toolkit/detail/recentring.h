#pragma once

#include "toolkit/FileOutcome.h"
#include "toolkit/ReadReport.h"
#include "toolkit/detail/textNumbers.h"
#include "toolkit/readMesh.h"

#include "trimora/contract/koGeom/CompactMesh.h"

#include <array>

namespace trimora {

/// What is taken off coordinates that lie so far from the origin that floats cannot tell them apart as the file does: see
/// ReadReport::shift.
using Shift = std::array<double, 3>;

inline bool isShift(Shift const& shift) {
    return shift[0] != 0.0 || shift[1] != 0.0 || shift[2] != 0.0;
}

/// The shift that coordinates in a box ask for, axis by axis: 0 where neighbouring floats at the box lie closer than a millionth
/// of its diagonal, else a round whole number near its middle. An invalid box asks for none.
Shift chooseShift(Shift const& low, Shift const& high);
/// The same for the box of a mesh's finite coordinates.
Shift chooseShift(koGeom::CompactMesh const& mesh);

/// The shift that a mesh asks for from which one was taken off already: the same, unless it still lies far off.
Shift correctedShift(koGeom::CompactMesh const& mesh, Shift const& shift);

/// The coordinate that a shift was taken off: the shortest decimal of the float is added, so that what was 4321234.5678 comes back
/// as that, unless reading it would give another float.
double unshifted(float value, double shift);

inline constexpr std::size_t maxCoordinateSize = 24;

/// Prints a coordinate with its shift, maxCoordinateSize characters at most.
inline char* printCoordinate(char* p, float value, double shift) {
    return shift == 0.0 ? printFloat(p, value)
                        : std::to_chars(p, p + maxCoordinateSize, unshifted(value, shift)).ptr;
}

/// Reads a mesh by read(shift, mesh, report, exceedsFloat), which takes the shift off in double precision where it is not 0 and sets
/// exceedsFloat when a coordinate is told with more digits than a float has. With the shift that the options impose; else first
/// without, and again where the mesh lies far off and the numbers are worth it.
template <class Read>
FileOutcome readRecentred(koGeom::CompactMesh& mesh, ReadReport& report, ReadOptions const& options,
                          Read read) {
    bool exceedsFloat = false;
    ReadReport const before = report;
    Shift const imposed = options.shift.value_or(Shift());
    report.shift = imposed;
    FileOutcome outcome = read(imposed, mesh, report, exceedsFloat);
    if (!outcome || options.shift)
        return outcome;
    // Floats may tell a box far off by the size of the mesh too far, so that the shift is only near: then again, from there.
    constexpr int maxReadings = 4;
    Shift chosen = chooseShift(mesh);
    for (int reading = 0; isShift(chosen) && chosen != report.shift && reading < maxReadings;
         ++reading) {
        koGeom::CompactMesh again;
        ReadReport reportAgain = before;
        reportAgain.shift = chosen;
        exceedsFloat = false;
        outcome = read(chosen, again, reportAgain, exceedsFloat);
        if (!outcome || !exceedsFloat)
            return outcome;
        mesh.swap(again);
        report = std::move(reportAgain);
        chosen = correctedShift(mesh, chosen);
    }
    return outcome;
}

}  // namespace trimora
