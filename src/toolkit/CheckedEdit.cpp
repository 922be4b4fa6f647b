#include "toolkit/detail/CheckedEdit.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshModification;

// From here on sums and differences of a few coordinates, or squares in floats that scaling was to avoid, may leave their range.
constexpr double nearlyTooLarge = 1e30;

double largestCoordinate(CompactMesh const& mesh) {
    float largest = 0.0f;
    float const* const p = mesh.getVerticesRaw();
    for (std::ptrdiff_t i = 0; i < 3 * std::ptrdiff_t{mesh.getNumVertices()}; ++i)
        if (std::isfinite(p[i]))
            largest = std::max(largest, std::fabs(p[i]));
    return static_cast<double>(largest);
}

/// Topology tells most, attributes least.
int weightOf(MeshModification::Type type) {
    switch (type) {
    case MeshModification::Topology:
        return 2;
    case MeshModification::Geometry:
        return 1;
    case MeshModification::Attributes:
        break;
    }
    return 0;
}

void copyMarks(MeshModification const& from, MeshModification& to) {
    struct Mark {
        MeshModification::Part part;
        void (MeshModification::*set)();
    };
    constexpr Mark modified[] = {
        {MeshModification::Normals, &MeshModification::normalsModified},
        {MeshModification::UVs, &MeshModification::uvsModified},
        {MeshModification::STs, &MeshModification::stsModified},
        {MeshModification::TriangleNormals, &MeshModification::triangleNormalsModified},
        {MeshModification::StripsAndFans, &MeshModification::stripsAndFansModified},
        {MeshModification::Polys, &MeshModification::polysModified},
        {MeshModification::Lines, &MeshModification::linesModified},
        {MeshModification::LineStrips, &MeshModification::lineStripsModified}};
    for (Mark const& mark : modified)
        if (from.isModified(mark.part))
            (to.*mark.set)();
    for (koString::CString const& name : from.modifiedVertexAttribs())
        to.vertexAttribsModified(name);
}

/// What a copy still has after its own notices is right: all that these did not mark was dropped there.
void markWhatIsThere(CompactMesh const& mesh, MeshModification& notice) {
    if (notice.getType() == MeshModification::Attributes)
        return;
    notice.normalsValid();
    notice.triangleNormalsValid();
    if (notice.getType() == MeshModification::Geometry)
        return;
    notice.uvsValid();
    notice.stsValid();
    notice.coloursValid();
    for (int i = 1; i < mesh.getNumAttributes(); ++i) {
        koString::CString const& name = mesh.getAttributes(i)->getName();
        if (!notice.keepsVertexAttribs(name))
            notice.vertexAttribsModified(name);
    }
    notice.stripsAndFansModified();
    notice.polysModified();
    notice.linesModified();
    notice.lineStripsModified();
}

/// The one notice that stands for those of the copy, at least one.
MeshModification noticeOf(CompactMesh const& mesh, CompactMesh const& copy,
                          std::vector<MeshModification> const& notices) {
    auto const heaviest = std::max_element(
        notices.begin(), notices.end(), [](MeshModification const& a, MeshModification const& b) {
            return weightOf(a.getType()) < weightOf(b.getType());
        });
    MeshModification notice(&mesh, heaviest->getType(), nullptr);
    for (MeshModification const& each : notices)
        copyMarks(each, notice);
    markWhatIsThere(copy, notice);
    return notice;
}

}  // namespace

SurfaceFault asRefusal(SurfaceFault const& broken, double largest) {
    if (!broken)
        return {};
    if (broken.isNonfinite && largest > nearlyTooLarge)
        return {"the result leaves the range of floats, 3.4e38; scale the mesh down first", {}};
    return {"internal fault: " + broken.text +
                "; nothing was changed. Please report this, with the mesh",
            broken.place};
}

CheckedEdit::CheckedEdit(CompactMesh& mesh)
    : mesh_(mesh), before_(stateOf(mesh, depthFor(mesh))), work_(mesh), recorder_(work_) {}

SurfaceFault CheckedEdit::conclude(Expectation expected) {
    expected.notices = recorder_.count();
    expected.severalNotices = true;  // of the copy; the mesh sends one
    MeshState after;
    if (SurfaceFault const broken = checkInvariants(before_, work_, expected, &after))
        return asRefusal(broken, largestCoordinate(mesh_));
    if (before_.isSameAs(after))
        return {};
    MeshModification notice = noticeOf(mesh_, work_, recorder_.notices());
    mesh_.swap(work_);
    mesh_.modified(notice);
    assert(after.isSameAs(stateOf(mesh_, InvariantDepth::Arrays)) &&
           "sending the notice may drop nothing that the edit made");
    return {};
}

SurfaceFault faultOfMade(MeshState const& source, CompactMesh const& made,
                         Expectation const& expected) {
    return asRefusal(checkInvariants(source, made, expected), largestCoordinate(made));
}

}  // namespace trimora
