// In place of gltfImport.cpp where Assimp is not installed.

#include "toolkit/detail/GltfScene.h"
#include "toolkit/detail/gltfFormat.h"

namespace trimora {

bool readsGltf() {
    return false;
}

GltfScene importGltf(InputFile const& /*file*/, bool /*isBinary*/, std::uint64_t /*maxMemory*/) {
    return {};
}

}  // namespace trimora
