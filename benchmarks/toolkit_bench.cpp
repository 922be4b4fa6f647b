#include "harness.h"
#include "toolkit/detail/gltfFormat.h"
#include "toolkit/meshCutting.h"
#include "toolkit/meshDiagnosis.h"
#include "toolkit/meshDistance.h"
#include "toolkit/meshExtrusion.h"
#include "toolkit/planeSection.h"
#include "toolkit/rasterizer.h"
#include "toolkit/readMesh.h"
#include "toolkit/readText.h"
#include "toolkit/renderMesh.h"
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

    trimora::Diagnosis diagnosis;
    run({"diagnose", named.name, numTriangles, 0.0, [] {},
         [&] { diagnosis = trimora::diagnoseMesh(mesh, {}, {}, progress); },
         [&] { return figure("findings", static_cast<double>(diagnosis.findings.size())); }});

    trimora::SectionPlane plane;
    plane.set({0.1, 1.0, 0.2, 0.0});
    trimora::SectionOutcome section;
    run({"plane_section", named.name, numTriangles, 0.0, [] {},
         [&] {
             section = trimora::planeSection(mesh, plane, trimora::cutTolerance(mesh), progress);
         },
         [&] { return figure("curves", static_cast<double>(section.curves.size())); }},
        {1});

    koGeom::CompactMesh edited;
    trimora::ExtrudeOutcome extruded;
    run({"extrude_checked_hundredth", named.name, numTriangles, 0.0, [&] { edited = mesh; },
         [&] {
             extruded = trimora::extrudeMesh(edited, firstHundredth(mesh), {1e-3, {}}, progress);
         },
         [&] { return figure("walls", extruded.walls); }},
        {1});
}

// At 1920 x 1080: what is visible, and whole pictures of one sample a pixel.
void pictureCases(NamedMesh const& named) {
    koGeom::CompactMesh const& mesh = named.mesh;
    int const numTriangles = mesh.getNumTriangles();
    trimora::RenderOptions options;
    options.width = 1920;
    options.height = 1080;
    options.samples = 1;
    trimora::VisibilityBuffer visible;
    run({"rasterize", named.name, numTriangles, 0.0, [] {},
         [&] {
             trimora::Camera const camera =
                 trimora::fitCamera(trimora::boxOfTriangles(mesh), options.view, options.up,
                                    options.width, options.height);
             trimora::Rasterizer(mesh, camera).draw(0.5, 0.5, visible);
         },
         [&] {
             double covered = 0.0;
             for (trimora::VisiblePoint const& point : visible.points)
                 covered += point.triangle >= 0 ? 1.0 : 0.0;
             return figure("covered", covered);
         }});
    trimora::RenderOutcome outcome;
    koUtil::Progress progress;
    auto const byteSum = [&outcome] {
        double sum = 0.0;
        for (std::uint8_t const byte : outcome.picture.rgb)
            sum += byte;
        return figure("bytes_sum", sum);
    };
    auto const draw = [&] {
        outcome = trimora::renderMeshes({{&mesh, nullptr, {}}}, options, progress);
    };
    run({"render", named.name, numTriangles, 0.0, [] {}, draw, byteSum});
    options.shadow = true;
    run({"render_shadow", named.name, numTriangles, 0.0, [] {}, draw, byteSum});
}

/// Writing and reading a format, and as a measure of both the bare bytes of its file.
void exchangeCases(NamedMesh const& named, std::string const& job, std::string const& extension,
                   trimora::WriteOptions const& options, trimora::ReadOptions const& reading = {}) {
    int const numTriangles = named.mesh.getNumTriangles();
    std::string const path =
        (std::filesystem::temp_directory_path() / ("trimora_bench." + extension)).string();
    run({job + "_write", named.name, numTriangles, 0.0, [] {},
         [&] { trimora::writeMesh(path, named.mesh, options); },
         [&] { return figure("bytes", static_cast<double>(std::filesystem::file_size(path))); }});
    trimora::writeMesh(path, named.mesh, options);
    std::string bytes;
    run({job + "_bytes", named.name, numTriangles, 0.0, [&] { bytes = std::string(); },
         [&] { trimora::readText(path, 0, bytes); },
         [&] { return figure("bytes", static_cast<double>(bytes.size())); }},
        {1});
    bytes = std::string();
    koGeom::CompactMesh mesh;
    run({job + "_read", named.name, numTriangles, 0.0, [&] { mesh = koGeom::CompactMesh(); },
         [&] {
             trimora::ReadReport report;
             trimora::readMesh(path, mesh, report, reading);
         },
         [&] {
             return figure("vertices", mesh.getNumVertices()) +
                    figure("triangles", mesh.getNumTriangles());
         }});
    std::remove(path.c_str());
}

void formatCases(NamedMesh const& named) {
    trimora::WriteOptions options;
    trimora::ReadOptions welding;
    welding.weld = true;
    exchangeCases(named, "stl", "stl", options);
    exchangeCases(named, "stl_welded", "stl", options, welding);
    exchangeCases(named, "off", "off", options);
    exchangeCases(named, "ply", "ply", options);
    options.encoding = trimora::WriteOptions::Encoding::BigEndian;
    exchangeCases(named, "ply_big_endian", "ply", options);
    options.encoding = trimora::WriteOptions::Encoding::Text;
    exchangeCases(named, "ply_text", "ply", options);
    exchangeCases(named, "stl_text", "stl", options);
    if (trimora::readsGltf())
        exchangeCases(named, "glb", "glb", {});
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
        formatCases(*named);
        editCases(*named);
        pictureCases(*named);
    }
}

}  // namespace bench
