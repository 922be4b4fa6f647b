#include "pictures.h"

#include "editing.h"
#include "files.h"
#include "toolkit/meshTidying.h"
#include "toolkit/meshWelding.h"
#include "toolkit/pngFile.h"

#include <limits>

namespace app {

void requirePictureOutput(Session const& session, std::string const& path) {
    requireSeparateOutputs(session, path);
    requireOutputFolder(path);
    if (trimora::FileOutcome const outcome = trimora::checkPicturePath(path); !outcome)
        throw Failure{CannotWrite, outcome.message, path};
}

trimora::RenderOptions findingsLook() {
    trimora::RenderOptions options;
    options.shadow = true;
    options.mayBeEmpty = true;  // a picture must not keep the findings back
    return options;
}

trimora::Picture drawPicture(Session& session, std::string const& file,
                             std::vector<trimora::RenderPanel> const& panels,
                             trimora::RenderOptions const& options) {
    double triangles = 0.0;
    for (trimora::RenderPanel const& panel : panels)
        triangles += panel.mesh->getNumTriangles();
    double const pixels = static_cast<double>(options.width) * options.height;
    session.requireMemory(
        (renderBytesPerTriangle + (options.shadow ? shadowBytesPerTriangle : 0.0)) * triangles +
            renderBytesPerPixel * pixels,
        file, "for the picture");
    session.beginPhase("drawing", true);
    trimora::RenderOutcome outcome = trimora::renderMeshes(panels, options, session.progress());
    session.throwIfCancelled();
    if (!outcome.refusal.empty())
        throw Failure{Refused, file + ": " + outcome.refusal, file};
    return std::move(outcome.picture);
}

void storePicture(Session& session, std::string const& path, trimora::Picture const& picture) {
    session.beginPhase("writing", true);  // in the grace of a late Ctrl-C it ends whole
    if (trimora::FileOutcome const outcome = trimora::writePng(path, picture); !outcome)
        throw Failure{CannotWrite, outcome.message, path};
}

void viewDefects(Session& session, std::string const& file, koGeom::CompactMesh const& mesh,
                 trimora::CheckOptions options, bool weld, DefectView& view) {
    session.beginPhase("finding what to draw", true);
    view.mesh = weld ? trimora::bareCopy(mesh) : mesh;
    koUtil::Progress child;
    if (weld) {
        constexpr double shareOfWeld = 0.05;
        session.progress().subPhase(shareOfWeld, child);
        trimora::weldMesh(view.mesh, child);
    }
    session.progress().subPhase(1.0, child);
    options.mostOffences = std::numeric_limits<std::size_t>::max();
    trimora::CheckResult const found = trimora::checkMesh(view.mesh, options, child);
    session.throwIfCancelled();
    throwIfRefused(session, {file, found.refusal, found.problemPoint});
    view.paint = trimora::paintDefects(view.mesh, found);
    if (view.mesh.getNumVertices() < mesh.getNumVertices())
        view.paint.title += ", once welded";
}

}  // namespace app
