#pragma once

#include "trimora/contract/koGeom/namespace.h"

namespace koGeom::detail {

/// What a weld compares: three floats a vertex, and three of its normal and two of its texture coordinate unless null.
/// Texture coordinates go with normals only.
struct VertexKeys {
    float const* vertices = nullptr;
    float const* normals = nullptr;
    float const* uvs = nullptr;
    int count = 0;
};

/// Gives each vertex the rank of its key among all different keys in lexicographic order. 0.0 and -0.0 are one key;
/// a NaN makes a key different from all others and comes last.
///
/// ranks     out: one a vertex; open when all keys are different
/// returns   number of different keys
/// cost      linear but for the sort of the different keys; about 20 bytes of scratch a vertex without normals;
///           runs on the shared pool, and the result does not depend on it
int rankExactly(VertexKeys const& keys, int* ranks);

}  // namespace koGeom::detail
