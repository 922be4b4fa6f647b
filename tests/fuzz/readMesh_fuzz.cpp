// Any bytes through the tolerant OBJ reader, whole and in small pieces: a valid mesh, the same one both times.

#include "fuzzMesh.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/objFormat.h"
#include "toolkit/readMesh.h"

#include "trimora/contract/koGeom/CompactMesh.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    // The first byte chooses the pieces and the options.
    unsigned const choice = size > 0 ? data[0] : 0;
    std::string_view const text(reinterpret_cast<char const*>(data) + (size > 0),
                                size - (size > 0));
    trimora::ReadOptions options;
    options.dropNonfinite = (choice & 1) != 0;
    trimora::InputFile file;
    if (!file.openText(text, "a.obj", 0))
        std::abort();

    koGeom::CompactMesh whole, pieced;
    trimora::ReadReport wholeReport, piecedReport;
    auto const first = trimora::readObjInPieces(file, 1u << 20, whole, wholeReport, options);
    auto const second =
        trimora::readObjInPieces(file, 1 + choice / 2, pieced, piecedReport, options);
    if (first.failure != second.failure || wholeReport.lines != piecedReport.lines ||
        wholeReport.numProblems != piecedReport.numProblems)
        std::abort();
    if (!first)
        return 0;

    fuzz::requireValid(whole);
    auto const numBytes = [](int count, std::size_t size_) {
        return static_cast<std::size_t>(count) * size_;
    };
    bool const areSame =
        whole.getNumVertices() == pieced.getNumVertices() &&
        whole.getNumTriangles() == pieced.getNumTriangles() &&
        (whole.getNumVertices() == 0 ||
         std::memcmp(whole.getVertices(), pieced.getVertices(),
                     numBytes(whole.getNumVertices(), sizeof(koGeom::MeshVertex))) == 0) &&
        (whole.getNumTriangles() == 0 ||
         std::memcmp(whole.getTriangles(), pieced.getTriangles(),
                     numBytes(whole.getNumTriangles(), sizeof(koGeom::MeshTriangle))) == 0);
    if (!areSame)
        std::abort();
    return 0;
}
