#include "toolkit/detail/holeLists.h"

#include <cmath>
#include <stdexcept>
#include <utility>

namespace trimora {

namespace {

constexpr double rounding = 1e-6;  // of a perimeter

/// Of vertices that there are.
double perimeterOf(koGeom::CompactMesh const& mesh, std::vector<int> const& vertices) {
    double sum = 0.0;
    koLinear::Point previous = mesh.getVertices()[vertices.back()].asPoint();
    for (int const v : vertices) {
        koLinear::Point const p = mesh.getVertices()[v].asPoint();
        sum += distance(previous, p);
        previous = p;
    }
    return sum;
}

}  // namespace

std::string faultOfHoles(koGeom::CompactMesh const& mesh, std::vector<MeshHole> const& holes,
                         std::vector<int> const& chosen) {
    std::vector<std::size_t> lastHole(static_cast<std::size_t>(mesh.getNumVertices()),
                                      holes.size());
    for (std::size_t i = 0; i < holes.size(); ++i) {
        std::string const hole = "hole " + std::to_string(i + 1) + " of the list ";
        if (holes[i].vertices.empty())
            return hole + "has no vertices";
        for (int const v : holes[i].vertices) {
            if (v < 0 || v >= mesh.getNumVertices())
                return hole + "names vertex " + std::to_string(v) + ", and there are " +
                       std::to_string(mesh.getNumVertices()) +
                       "; find the holes of the mesh as it stands";
            if (std::exchange(lastHole[static_cast<std::size_t>(v)], i) == i)
                return hole + "names vertex " + std::to_string(v) + " twice, which no border does";
        }
        double const around = perimeterOf(mesh, holes[i].vertices);
        if (std::isfinite(around) && !(std::fabs(holes[i].perimeter - around) <= rounding * around))
            return hole + "has another length than on this mesh; find the holes of the mesh as it "
                          "stands";
    }
    std::vector<char> isChosen(holes.size(), 0);
    for (int const hole : chosen) {
        if (hole < 0 || hole >= static_cast<int>(holes.size()))
            return "hole " + std::to_string(std::int64_t{hole} + 1) + " is chosen, and there are " +
                   std::to_string(holes.size());
        if (std::exchange(isChosen[static_cast<std::size_t>(hole)], 1) != 0)
            return "hole " + std::to_string(hole + 1) + " is chosen twice";
    }
    return {};
}

void requireHoles(koGeom::CompactMesh const& mesh, std::vector<MeshHole> const& holes,
                  std::vector<int> const& chosen) {
    if (std::string const fault = faultOfHoles(mesh, holes, chosen); !fault.empty())
        throw std::invalid_argument(fault);
}

}  // namespace trimora
