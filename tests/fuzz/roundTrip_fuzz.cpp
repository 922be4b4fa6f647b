// A lattice mesh with drawn vertex sets written and read back in every format that is written and read: the same floats in the
// same order.

#include "fuzzMesh.h"
#include "support/TemporaryFolder.h"
#include "toolkit/roundTrip.h"

using koGeom::CompactMesh;

namespace {

constexpr std::size_t bytesOfSets = 12;

float valueFrom(fuzz::Bytes& bytes) {
    float const values[] = {0.0f, -0.0f, 1.0f, 0.5f, 1e-40f, 3e38f, -7.25f, 0.1f};
    return values[bytes.next() % 8];
}

void addSet(CompactMesh& mesh, koString::CString const& name, int dimension, fuzz::Bytes& bytes) {
    koGeom::MeshAttributes* const set = mesh.allocAttributes(name, dimension);
    float const first = valueFrom(bytes), second = valueFrom(bytes);
    for (int i = 0; i < dimension * mesh.getNumVertices(); ++i)
        set->asFloat()[i] = i % 3 == 0 ? first : second;
}

/// Values of a byte, as files of colours have them.
void addColours(CompactMesh& mesh, fuzz::Bytes& bytes) {
    koGeom::MeshAttributes* const set = mesh.allocAttributes(koGeom::PointMesh::ColoursName, 4);
    for (int i = 0; i < 4 * mesh.getNumVertices(); ++i)
        set->asFloat()[i] = static_cast<float>(bytes.next()) / 255.0f;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static support::TemporaryFolder const folder;
    fuzz::Bytes bytes(data, size);
    int const flags = bytes.next();
    int const choice = bytes.next();
    CompactMesh mesh = fuzz::latticeMesh(bytes, (flags & 1) != 0, bytesOfSets);
    if ((flags & 2) != 0)
        addSet(mesh, koGeom::PointMesh::UVsName, 2, bytes);
    if ((flags & 4) != 0)
        addSet(mesh, koString::CString("quality"), 1, bytes);
    if ((flags & 8) != 0)
        addColours(mesh, bytes);
    trimora::WriteOptions options;
    options.encoding = static_cast<trimora::WriteOptions::Encoding>(flags >> 4 & 3);
    if ((flags & 64) != 0) {
        options.comment = "a\nb";
        options.name = "solid";
    }
    auto const formatList = trimora::meshFormats();
    trimora::MeshFormat const& format =
        formatList[static_cast<std::size_t>(choice) % formatList.size()];
    // What another library reads is not judged here.
    if (format.write == nullptr || format.read == nullptr || format.name == "glb" ||
        format.name == "gltf")
        return 0;
    CompactMesh after;
    std::string refusal;
    std::string const fault =
        formats::faultOfRoundTrip(mesh, format, folder.path("mesh"), options, after, refusal);
    fuzz::require(fault.empty(), (std::string(format.name) + ": " + fault).c_str());
    return 0;
}
