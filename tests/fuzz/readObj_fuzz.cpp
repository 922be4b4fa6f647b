// Any bytes through the plain readers of the core: both formats, both kinds of mesh.

#include "fuzzMesh.h"

#include "trimora/assembly/detail/textFiles.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/TopoMesh.h"

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(reinterpret_cast<char const*>(data), size);
    koGeom::CompactMesh mesh;
    koGeom::detail::readObjText(mesh, text);
    fuzz::requireValid(mesh);
    koGeom::detail::readPlainText(mesh, text);
    fuzz::requireValid(mesh);
    koGeom::TopoMesh topoMesh;
    koGeom::detail::readPlainText(topoMesh, text);
    return 0;
}
