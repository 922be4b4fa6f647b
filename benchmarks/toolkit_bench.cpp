#include "harness.h"
#include "toolkit/readMesh.h"
#include "toolkit/writeMesh.h"

#include "trimora/assembly/meshReadObj.h"

#include <cstdio>
#include <filesystem>

namespace bench {

void toolkitCases() {
    using namespace koGeom;
    for (NamedMesh const* const named : bothMeshes()) {
        std::string const path =
            (std::filesystem::temp_directory_path() / "trimora_bench.obj").string();
        int const numTriangles = named->mesh.getNumTriangles();
        run({"obj_write", named->name, numTriangles, 0.0, [] {},
             [&] { trimora::writeMesh(path, named->mesh); },
             [&] {
                 return figure("bytes", static_cast<double>(std::filesystem::file_size(path)));
             }});
        trimora::writeMesh(path, named->mesh);
        CompactMesh mesh;
        run({"obj_read", named->name, numTriangles, 0.0, [&] { mesh = CompactMesh(); },
             [&] {
                 trimora::ReadReport report;
                 trimora::readMesh(path, mesh, report);
             },
             [&] {
                 return figure("vertices", mesh.getNumVertices()) +
                        figure("triangles", mesh.getNumTriangles());
             }});
        run({"obj_read_plain", named->name, numTriangles, 0.0, [&] { mesh = CompactMesh(); },
             [&] {
                 meshReadObj(mesh, koOS::Filename(koString::IString(path.c_str(),
                                                                    koString::Encoding::Native)));
             },
             [&] { return figure("vertices", mesh.getNumVertices()); }},
            {1});
        std::remove(path.c_str());
    }
}

}  // namespace bench
