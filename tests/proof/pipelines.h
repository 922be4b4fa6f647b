#pragma once

#include <span>
#include <string_view>

namespace proof {

/// Steps one after the other, between blanks. A step that is refused is passed over.
struct Pipeline {
    std::string_view name;
    std::string_view steps;
    /// Begins with the mesh as it is: no repair has seen it before the steps do.
    bool isRaw;
};

inline constexpr Pipeline pipelines[] = {
    {"repair", "repair check verify", false},
    {"repairAll", "repairAll check diagnose measure", false},
    {"patch", "repair fillFair check roundTrips", false},
    {"patchAndReduce", "repairAll fillFlat reduceHalf check", false},
    {"reduceTolerance", "repair reduceTolerance deviation", false},
    {"reduceCollapse", "repair reduceCollapse smooth deviation", false},
    {"smooth", "repair smooth smoothSharp measure", false},
    {"wall", "repair fillFlat offset check", false},
    {"cutAndFill", "repair cut fillFlat splitLargest", false},
    {"cutAndStitch", "repair cut stitch collar", false},
    {"extrude", "repair extrude measure roundTrips", false},
    {"subdivide", "repair subdivide reduceHalf smooth", false},
    {"parts", "repair splitLargest strips splitSizes", false},
    {"flatten", "repair flatten roundTrips silhouette", false},
    {"mergeAndRepair", "repair merge repair", false},
    {"look", "check diagnose verify section measure silhouette deviation render collar", true},
    {"files", "roundTrips weld roundTrips", true},
    {"editAsItIs", "fillFlat smooth reduceHalf extrude cut fillFair", true},
    {"changeAsItIs", "stitch offset reduceCollapse strips subdivide reduceTolerance", true},
    {"divideAsItIs", "flatten splitSizes merge splitLargest smoothSharp fillRefined repairAll",
     true},
};
static_assert(std::size(pipelines) == 20);

}  // namespace proof
