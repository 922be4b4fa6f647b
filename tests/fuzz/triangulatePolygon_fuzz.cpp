// A polygon of lattice points with drawn forbidden edges: n - 2 triangles wound as it is, whatever it looks like.

#include "fuzzMesh.h"
#include "planar/triangulationFault.h"

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/planar/triangulatePolygon.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::Bytes bytes(data, size);
    int const flags = bytes.next();
    double const hard[] = {
        0.0,   -0.0,  1.0,    std::nan(""), std::numeric_limits<double>::infinity(),
        1e-40, 1e300, -1e300, 1e-160,       5e-324};
    auto const coordinate = [&] {
        int const place = bytes.next();
        return (flags & 1) != 0 ? hard[place % 10] : place % 10;
    };
    int const count = bytes.index(40);
    ko::vector<koGeom::Point> polygon;
    for (int i = 0; i < count; ++i) {
        double const x = coordinate(), y = coordinate();
        polygon.emplace_back(x, y, coordinate());
    }
    koGeom::BitVector forbidden((flags & 2) != 0 ? count * count : 0);
    while (bytes.left() > 0 && forbidden.size > 0)
        forbidden.setBit(bytes.index(40) * count + bytes.index(40));
    ko::vector<int> triangles;
    koUtil::Progress progress;
    fuzz::require(koGeom::triangulatePolygon(polygon, triangles,
                                             (flags & 4) != 0 ? &forbidden : nullptr,
                                             (flags & 8) != 0 ? &progress : nullptr),
                  "cancelled by nobody");
    std::string const fault =
        count < 3 ? (triangles.empty() ? "" : "triangles of nothing")
                  : planar::triangulationFault({triangles.begin(), triangles.end()}, count);
    fuzz::require(fault.empty(), fault.c_str());
    return 0;
}
