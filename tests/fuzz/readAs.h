#pragma once

#include "fuzzMesh.h"
#include "support/builders.h"
#include "support/checks.h"
#include "toolkit/readMesh.h"

#include <string>
#include <string_view>

namespace fuzz {

/// Any bytes through the reader of a format; empty takes the one that the bytes look like. A mesh without fault comes out, the
/// same one twice, or a message, and the mesh stays as it was. The last byte chooses the options, so that seeds are files.
inline int readAs(char const* format, std::uint8_t const* data, std::size_t size) {
    int const flags = size > 0 ? data[size - 1] : 0;
    std::string_view const text(reinterpret_cast<char const*>(data), size);
    trimora::ReadOptions options;
    options.format = format;
    options.weld = (flags & 1) != 0;
    options.dropNonfinite = (flags & 2) != 0;
    if ((flags & 4) != 0)
        options.shift = {{1e6, -3.0, 0.0}};
    options.maxMemory = 64u << 20;

    koGeom::CompactMesh const before = support::triangle();
    koGeom::CompactMesh meshes[2] = {before, before};
    trimora::ReadReport reports[2];
    for (int i = 0; i < 2; ++i) {
        auto const outcome = trimora::readMeshText(text, "input", meshes[i], reports[i], options);
        if (!outcome) {
            require(!outcome.message.empty(), "a failure without a message");
            require(isSame(meshes[i], before), "a failure that changed the mesh");
            return 0;
        }
        std::string const fault = support::faultOf(meshes[i]);
        require(fault.empty(), fault.c_str());
    }
    require(isSame(meshes[0], meshes[1]) && reports[0].numProblems == reports[1].numProblems,
            "two readings differ");
    require(reports[0].problems.size() <= trimora::ReadReport::maxProblems &&
                static_cast<std::int64_t>(reports[0].problems.size()) <= reports[0].numProblems,
            "more problems are listed than there were");
    return 0;
}

}  // namespace fuzz
