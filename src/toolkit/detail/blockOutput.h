#pragma once

#include "toolkit/FileOutcome.h"

#include "trimora/contract/koGeom/MeshSequence.h"
#include "trimora/contract/koUtil/Progress.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace trimora {

class OutputFile;

/// A run of like items of a file, lines of text or binary records, that are formatted independently of each other.
struct OutputSection {
    int count = 0;
    /// Bytes that items [begin, end) take at most.
    std::function<std::size_t(int begin, int end)> room;
    /// Writes them to p and returns the end. Called from any thread.
    std::function<char*(int begin, int end, char* p)> print;
};

/// A section whose items take maxSize bytes each at most; print(item, p) writes one and returns its end.
template <class Print>
OutputSection itemSection(int count, std::size_t maxSize, Print print) {
    auto const room = [maxSize](int begin, int end) {
        return maxSize * static_cast<std::size_t>(end - begin);
    };
    auto const printAll = [print](int begin, int end, char* p) {
        for (int i = begin; i < end; ++i)
            p = print(i, p);
        return p;
    };
    return {count, room, printAll};
}

/// A section of a line for each polygon: printHead(numCorners, p), then printCorner(vertex, p) for each, which return their ends.
template <class PrintHead, class PrintCorner>
OutputSection polygonSection(koGeom::MeshSequence const& polys, std::size_t maxHeadSize,
                             std::size_t maxCornerSize, PrintHead printHead,
                             PrintCorner printCorner) {
    int const* const lengths = polys.lengths.data();
    int const* const offsets = polys.getOffsets();  // filled here, before threads ask for it
    int const* const points = polys.points.data();
    auto const room = [=](int begin, int end) {
        std::size_t size = 0;
        for (int i = begin; i < end; ++i)
            size += maxHeadSize + 1 + static_cast<std::size_t>(lengths[i]) * maxCornerSize;
        return size;
    };
    auto const print = [=](int begin, int end, char* p) {
        int const* corner = points + offsets[begin];
        for (int i = begin; i < end; ++i) {
            p = printHead(lengths[i], p);
            for (int k = 0; k < lengths[i]; ++k)
                p = printCorner(*corner++, p);
            *p++ = '\n';
        }
        return p;
    };
    return {polys.getNumRuns(), room, print};
}

/// Writes the sections one after the other: blocks of them are formatted on the shared pool, some dozens at a time, and the
/// calling thread writes in order. `progress` may be null.
FileOutcome writeSections(OutputFile& file, std::vector<OutputSection> const& sections,
                          koUtil::Progress* progress);

inline char* copyTo(char* p, std::string_view text) {
    return std::copy(text.begin(), text.end(), p);
}

/// The lines of a comment, each behind `mark`; empty where there is none.
std::string commentLines(std::string_view comment, std::string_view mark = "# ");

}  // namespace trimora
