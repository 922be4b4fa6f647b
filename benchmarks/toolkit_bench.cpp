#include "harness.h"
#include "toolkit/meshCutting.h"
#include "toolkit/meshDistance.h"
#include "toolkit/meshExtrusion.h"
#include "toolkit/planeSection.h"
#include "toolkit/readMesh.h"
#include "toolkit/writeMesh.h"

#include "trimora/assembly/meshReadObj.h"

#include <cstdio>
#include <filesystem>

namespace bench {

namespace {

// The first hundredth of the triangles, in bands that hang together.
koGeom::BitVector firstHundredth(koGeom::CompactMesh const& mesh) {
    koGeom::BitVector bits(mesh.getNumTriangles());
    for (int t = 0; t < mesh.getNumTriangles() / 100; ++t)
        bits.setBit(t);
    return bits;
}

void editCases(NamedMesh const& named) {
    koGeom::CompactMesh const& mesh = named.mesh;
    int const numTriangles = mesh.getNumTriangles();
    trimora::MeshDistance deviation;
    koUtil::Progress progress;
    run({"deviation_exact", named.name, numTriangles, 0.0, [] {},
         [&] { deviation = trimora::measureDistance(mesh, mesh, progress); },
         [&] { return figure("largest", deviation.fromFirst.largest); }});

    trimora::SectionPlane plane;
    plane.set({0.1, 1.0, 0.2, 0.0});
    trimora::SurfaceCurves curves;
    run({"plane_section", named.name, numTriangles, 0.0, [] {},
         [&] { curves = trimora::planeSection(mesh, plane, trimora::cutTolerance(mesh)); },
         [&] { return figure("curves", static_cast<double>(curves.size())); }},
        {1});

    koGeom::CompactMesh edited;
    trimora::ExtrudeOutcome extruded;
    run({"extrude_checked_hundredth", named.name, numTriangles, 0.0, [&] { edited = mesh; },
         [&] {
             extruded = trimora::extrudeMesh(edited, firstHundredth(mesh), {1e-3, {}});
         },
         [&] { return figure("walls", extruded.walls); }},
        {1});
}

}  // namespace

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
        editCases(*named);
    }
}

}  // namespace bench
