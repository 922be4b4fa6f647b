#include "trimora/assembly/meshWriteObj.h"

#include "trimora/assembly/detail/textFiles.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshSubset.h"
#include "trimora/contract/koString/CString.h"

#include <initializer_list>

namespace koGeom {

namespace {

using detail::TextWriter;

class ObjWriter {
public:
    ObjWriter(CompactMesh const& mesh, TextWriter& writer)
        : mesh_(mesh),
          writer_(writer),
          hasNormals_(mesh.getNormals() != nullptr),
          hasUVs_(mesh.getUVs() != nullptr) {}

    void writeVertices();
    void writeTriangle(int triangle);

private:
    void writeCorner(int vertex);

    CompactMesh const& mesh_;
    TextWriter& writer_;
    bool const hasNormals_;
    bool const hasUVs_;
};

/// A line "word a b c" in the six digits of a stream.
void writeLine(TextWriter& writer, std::string_view word, std::initializer_list<float> values) {
    constexpr int numDigits = 6;
    writer << word;
    for (float const value : values) {
        writer << ' ';
        writer.number(value, numDigits);
    }
    writer << '\n';
}

void ObjWriter::writeVertices() {
    int const numVertices = mesh_.getNumVertices();
    MeshVertex const* const vertices = mesh_.getVertices();
    for (int i = 0; i < numVertices; ++i)
        writeLine(writer_, "v", {vertices[i].x, vertices[i].y, vertices[i].z});
    MeshNormal const* const normals = mesh_.getNormals();
    for (int i = 0; i < numVertices && hasNormals_; ++i)
        writeLine(writer_, "vn", {normals[i].x, normals[i].y, normals[i].z});
    MeshUV const* const uvs = mesh_.getUVs();
    for (int i = 0; i < numVertices && hasUVs_; ++i)
        writeLine(writer_, "vt", {uvs[i].u, uvs[i].v});
}

void ObjWriter::writeTriangle(int triangle) {
    MeshTriangle const& corners = mesh_.getTriangles()[triangle];
    writer_ << 'f';
    for (int k = 0; k < 3; ++k) {
        writer_ << ' ';
        writeCorner(corners[k]);
    }
    writer_ << '\n';
}

/// One number serves for all kinds, since every array has one element a vertex. A bare number brings a blank with it.
void ObjWriter::writeCorner(int vertex) {
    int const number = vertex + 1;
    writer_ << number;
    if (hasNormals_ && hasUVs_)
        writer_ << '/' << number << '/' << number;
    else if (hasNormals_)
        writer_ << "//" << number;
    else if (hasUVs_)
        writer_ << '/' << number;
    else
        writer_ << ' ';
}

void writeMaterials(koString::CString const& path, ko::list<koUtil::Color> const& colors) {
    TextWriter writer(path);
    if (!writer.isOpen())
        return;
    int position = 0;
    for (koUtil::Color const& color : colors) {
        writer << "newmtl mat" << position++ << '\n';
        writer << "Ns 100.0\nd 1.0\nillum 2\n";
        writeLine(writer, "Kd", {color.red, color.green, color.blue});
        writer << "Ka 1.0 1.0 1.0\nKs 1.0 1.0 1.0\nKe 0.0 0.0 0.0\n\n";
    }
}

}  // namespace

bool meshWriteObj(CompactMesh const& mesh, koOS::Filename const& name) {
    TextWriter writer(name.path());
    if (!writer.isOpen())
        return false;
    ObjWriter obj(mesh, writer);
    obj.writeVertices();
    for (int i = 0; i < mesh.getNumTriangles(); ++i)
        obj.writeTriangle(i);
    return true;
}

bool meshWriteObj(CompactMesh const& mesh, ko::list<ko::Reference<MeshSubset>> const& subsets,
                  ko::list<koUtil::Color> const& colors, koOS::Filename const& name) {
    TextWriter writer(name.path());
    if (!writer.isOpen())
        return false;
    std::string const materialFile = std::string(name.baseTrunk().asChar()) + ".mtl";
    writer << "mtllib " << materialFile << '\n';
    ObjWriter obj(mesh, writer);
    obj.writeVertices();
    int position = 0;
    for (ko::Reference<MeshSubset> const& subset : subsets) {
        writer << "usemtl mat" << position++ << '\n';
        int const numTriangles = subset ? subset->numTriangles : 0;
        for (int i = 0; i < numTriangles; ++i) {
            int const triangle = subset->triangles[i];
            if (triangle >= 0 && triangle < mesh.getNumTriangles())
                obj.writeTriangle(triangle);
        }
    }
    std::string const materialPath = name.dirname().asChar() + materialFile;
    writeMaterials(koString::CString(materialPath.c_str()), colors);
    return true;
}

}  // namespace koGeom
