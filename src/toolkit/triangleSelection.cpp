#include "toolkit/triangleSelection.h"

#include "toolkit/detail/textLines.h"
#include "toolkit/readText.h"

#include <vector>

namespace trimora {

namespace {

using Failure = FileOutcome::Failure;

/// `a` or `a-b`; false for anything else.
bool parseRange(std::string_view word, std::int64_t& first, std::int64_t& last) {
    std::size_t const dash = word.find('-');
    bool const isRange = dash != std::string_view::npos;
    if (!parseWhole(word.substr(0, dash), first))
        return false;
    last = first;
    return !isRange || (parseWhole(word.substr(dash + 1), last) && first <= last);
}

}  // namespace

FileOutcome readTriangleSelectionText(std::string_view text, std::string const& name,
                                      int numTriangles, koGeom::BitVector& selection) {
    selection.resize(numTriangles);
    // How many ranges begin at a triangle, less those that have ended: the cost stays linear, however they overlap.
    std::vector<std::int64_t> changes(static_cast<std::size_t>(numTriangles) + 1, 0);
    TextLines lines(text);
    while (lines.next()) {
        std::string const place = name + ": line " + std::to_string(lines.number()) + ": ";
        for (std::string_view word = lines.word(); !word.empty(); word = lines.word()) {
            std::int64_t first = 0;
            std::int64_t last = 0;
            if (!parseRange(word, first, last))
                return FileOutcome::failed(Failure::Unsupported,
                                           place + "'" + std::string(word.substr(0, 40)) +
                                               "' is no triangle number and no range a-b");
            if (first < 0 || last >= numTriangles)
                return FileOutcome::failed(
                    Failure::Unsupported,
                    place + "there is no triangle " + std::to_string(first < 0 ? first : last) +
                        "; the mesh has " + std::to_string(numTriangles) + ", numbered from 0");
            ++changes[static_cast<std::size_t>(first)];
            --changes[static_cast<std::size_t>(last) + 1];
        }
    }
    std::int64_t depth = 0;
    for (int t = 0; t < numTriangles; ++t) {
        depth += changes[static_cast<std::size_t>(t)];
        if (depth > 0)
            selection.setBit(t);
    }
    if (selection.count == 0)
        return FileOutcome::failed(Failure::Unsupported,
                                   name + ": selects no triangle; list their numbers, from 0");
    return FileOutcome::done();
}

FileOutcome readTriangleSelection(std::string const& path, int numTriangles,
                                  koGeom::BitVector& selection, std::uint64_t maxBytes) {
    std::string text;
    if (FileOutcome const read = readText(path, maxBytes, text); !read)
        return read;
    return readTriangleSelectionText(text, path == "-" ? "standard input" : path, numTriangles,
                                     selection);
}

}  // namespace trimora
