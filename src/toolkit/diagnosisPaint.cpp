// A diagnosis as a picture shows it. Numbers of findings are those of the mesh as read; it is drawn welded, so that surfaces
// of triangles that share no vertices are smooth.

#include "toolkit/diagnosisPaint.h"

#include "toolkit/meshTidying.h"
#include "toolkit/surfaceFault.h"

#include "trimora/assembly/meshCompact.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/Remap.h"

#include <algorithm>
#include <optional>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using Severity = Finding::Severity;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

/// Those of the page, see page/page.css.
LinearColor colorOf(Severity severity) {
    switch (severity) {
    case Severity::Fatal:
        return fromBytes(0x9c, 0x1f, 0x7c);
    case Severity::Severe:
        return fromBytes(0xcf, 0x3f, 0x0a);
    case Severity::Moderate:
        return fromBytes(0xc9, 0x82, 0x00);
    case Severity::Slight:
        return fromBytes(0x0b, 0x78, 0xc0);
    case Severity::Note:
        break;
    }
    return fromBytes(0x0d, 0x8f, 0x70);
}

class DiagnosisPainter {
public:
    DiagnosisPainter(CompactMesh const& mesh, PaintedDiagnosis& painted)
        : asRead_(mesh), painted_(painted) {
        painted_.mesh = bareCopy(mesh);
        koUtil::Progress unwatched;
        koGeom::meshCompact(painted_.mesh, unwatched, weld_);
        painted_.paint.kinds.assign(at(mesh.getNumTriangles()), SurfacePaint::unpainted);
    }

    void paint(Diagnosis const& diagnosis);

private:
    void paint(Finding const& finding);
    bool paintPlace(FindingPlace const& place, int swatch);
    void mark(int from, int to, int swatch) {
        painted_.paint.edges.push_back({weld_(from), weld_(to), swatch});
    }
    void markRound(int vertex, int swatch);

    CompactMesh const& asRead_;
    PaintedDiagnosis& painted_;
    koGeom::Remap weld_;
    std::optional<koGeom::MeshAdjTris> adjTris_;  // as read; once a vertex asked for it
};

/// Whether there was anything to be painted.
bool DiagnosisPainter::paintPlace(FindingPlace const& place, int swatch) {
    std::size_t const numMarked = painted_.paint.edges.size();
    for (int const t : place.triangles) {
        std::uint8_t& kind = painted_.paint.kinds[at(t)];
        if (kind == SurfacePaint::unpainted)
            kind = static_cast<std::uint8_t>(swatch);
    }
    for (std::array<int, 2> const& edge : place.edges)
        mark(edge[0], edge[1], swatch);
    if (place.triangles.empty() && place.edges.empty())
        for (int const v : place.vertices)
            markRound(v, swatch);
    return !place.triangles.empty() || painted_.paint.edges.size() > numMarked;
}

void DiagnosisPainter::markRound(int vertex, int swatch) {
    if (!adjTris_)
        koGeom::meshAdjTris(asRead_, adjTris_.emplace());
    for (int i = 0; i < adjTris_->numTris(vertex); ++i)
        for (int const other : asRead_.getTriangles()[adjTris_->triIndices(vertex)[i]].vertices)
            if (other != vertex)
                mark(vertex, other, swatch);
}

void DiagnosisPainter::paint(Finding const& finding) {
    SurfacePaint& paint = painted_.paint;
    auto const swatch = static_cast<int>(paint.swatches.size());
    bool isPainted = false;
    bool areLines = true;
    for (FindingPlace const& place : finding.places) {
        isPainted |= paintPlace(place, swatch);
        areLines &= place.triangles.empty();
    }
    if (isPainted)
        paint.swatches.push_back({colorOf(finding.severity), finding.title, areLines});
    else
        paint.asides.push_back({std::nullopt, finding.title});
}

void DiagnosisPainter::paint(Diagnosis const& diagnosis) {
    SurfacePaint& paint = painted_.paint;
    paint.title = diagnosis.isSound() ? "sound" : "not sound";
    for (Finding const& finding : diagnosis.findings)
        if (finding.severity != Severity::Note)
            this->paint(finding);
    // The last line that is drawn is seen.
    std::reverse(paint.edges.begin(), paint.edges.end());
    paint.asides.push_back({backColor, "seen from behind"});
}

}  // namespace

PaintedDiagnosis paintDiagnosis(CompactMesh const& mesh, Diagnosis const& diagnosis) {
    requireSoundMesh(mesh);
    PaintedDiagnosis painted;
    DiagnosisPainter(mesh, painted).paint(diagnosis);
    return painted;
}

}  // namespace trimora
