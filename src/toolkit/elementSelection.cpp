#include "toolkit/elementSelection.h"

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

/// What is selected from.
struct Elements {
    std::string name;  // one of them
    int count;
};

FileOutcome parseSelection(std::string_view text, std::string const& name, Elements const& elements,
                           koGeom::BitVector& selection) {
    selection.resize(elements.count);
    // How many ranges begin at an element, less those that have ended: the cost stays linear, however they overlap.
    std::vector<std::int64_t> changes(static_cast<std::size_t>(elements.count) + 1, 0);
    TextLines lines(text);
    while (lines.next()) {
        std::string const place = name + ": line " + std::to_string(lines.number()) + ": ";
        for (std::string_view word = lines.word(); !word.empty(); word = lines.word()) {
            std::int64_t first = 0;
            std::int64_t last = 0;
            if (!parseRange(word, first, last))
                return FileOutcome::failed(Failure::Unsupported,
                                           place + "'" + std::string(word.substr(0, 40)) +
                                               "' is no " + elements.name +
                                               " number and no range a-b");
            if (first < 0 || last >= elements.count)
                return FileOutcome::failed(Failure::Unsupported,
                                           place + "there is no " + elements.name + " " +
                                               std::to_string(first < 0 ? first : last) +
                                               "; the mesh has " + std::to_string(elements.count) +
                                               ", numbered from 0");
            ++changes[static_cast<std::size_t>(first)];
            --changes[static_cast<std::size_t>(last) + 1];
        }
    }
    std::int64_t depth = 0;
    for (int i = 0; i < elements.count; ++i) {
        depth += changes[static_cast<std::size_t>(i)];
        if (depth > 0)
            selection.setBit(i);
    }
    if (selection.count == 0)
        return FileOutcome::failed(Failure::Unsupported, name + ": selects no " + elements.name +
                                                             "; list their numbers, from 0");
    return FileOutcome::done();
}

FileOutcome readSelection(std::string const& path, Elements const& elements, std::uint64_t maxBytes,
                          koGeom::BitVector& selection) {
    std::string text;
    if (FileOutcome const read = readText(path, maxBytes, text); !read)
        return read;
    return parseSelection(text, path == "-" ? "standard input" : path, elements, selection);
}

}  // namespace

FileOutcome readTriangleSelection(std::string const& path, int numTriangles,
                                  koGeom::BitVector& selection, std::uint64_t maxBytes) {
    return readSelection(path, {"triangle", numTriangles}, maxBytes, selection);
}

FileOutcome readTriangleSelectionText(std::string_view text, std::string const& name,
                                      int numTriangles, koGeom::BitVector& selection) {
    return parseSelection(text, name, {"triangle", numTriangles}, selection);
}

FileOutcome readVertexSelection(std::string const& path, int numVertices,
                                koGeom::BitVector& selection, std::uint64_t maxBytes) {
    return readSelection(path, {"vertex", numVertices}, maxBytes, selection);
}

FileOutcome readVertexSelectionText(std::string_view text, std::string const& name, int numVertices,
                                    koGeom::BitVector& selection) {
    return parseSelection(text, name, {"vertex", numVertices}, selection);
}

}  // namespace trimora
