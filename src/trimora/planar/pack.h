#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/ranges.h"
#include "trimora/export.h"

namespace koGeom {

/// Places rectangles in the unit square, in the order given and without turning them: one try, sizes as they are.
///
/// Each rectangle goes to the lower left corner of the first free region that holds it. What it leaves of the region is
/// cut in two straight through, first across the axis with more room. Large rectangles first fill the square best.
///
/// rects     at least one (none: true). Only the sizes are read; a rectangle that is placed becomes the region cut out
///           for it, of its size but for rounding and `epsilonTol`
/// returns   whether all were placed. At the first that is not, those before it keep their new places and the others
///           are as they were. The last one is looked at beforehand: a side above 1 fails with nothing moved
/// refused   sizes that are infinite or NaN fail like those that are too large
/// cost      a short descent a rectangle: free regions that are too narrow, too low or too small are passed over in
///           groups. 10 k rectangles: 10 to 50 ms. No recursion
TRIMORA_API bool pack(ko::vector<Range2d>& rects);

/// Places rectangles in the unit square, as large as a row of tries allows: sorts them by their larger side, then
/// shrinks all of them by one factor until they fit. A layout that leaves more than 1 percent of room is enlarged at the end.
///
/// rects     the order of the list is kept; proportions too. Nothing in it, an infinite or NaN size, or steps below 1:
///           nothing is done. Whoever calls keeps such rectangles out, since no scale makes them fit
/// steps     tries until the sides have shrunk to 0.499 of what they were, 1 or more; there is no limit to the tries.
///           Many steps fit tightly and take long
/// order     rectangles with equal larger sides in the order of the list
/// threads   the sort may use the shared pool, the rest runs on the calling thread
TRIMORA_API void pack(ko::vector<Range2d>& rects, int steps);

}  // namespace koGeom
