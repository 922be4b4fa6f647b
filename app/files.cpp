#include "files.h"

#include "toolkit/readMesh.h"
#include "toolkit/writeMesh.h"

#include <algorithm>
#include <cstdio>

namespace app {

namespace {

using trimora::FileOutcome;

ExitCode codeOf(FileOutcome::Failure failure) {
    switch (failure) {
    case FileOutcome::Failure::None:
        return Done;
    case FileOutcome::Failure::Limit:
        return Refused;
    case FileOutcome::Failure::Unwritable:
        return CannotWrite;
    case FileOutcome::Failure::Cancelled:
        return Cancelled;
    case FileOutcome::Failure::Unreadable:
    case FileOutcome::Failure::Unsupported:
        break;
    }
    return CannotRead;
}

void warnOfReading(Session const& session, LoadedMesh const& loaded) {
    trimora::ReadReport const& report = loaded.report;
    if (session.options().quiet)
        return;
    if (report.nonfiniteVertices > 0 && !session.options().dropNonfinite)
        std::fprintf(stderr,
                     "trimora: warning: %s: %lld vertices are NaN or infinite; --drop-nonfinite "
                     "leaves their faces out\n",
                     loaded.path.c_str(), static_cast<long long>(report.nonfiniteVertices));
    if (report.dropped.total() > 0)
        std::fprintf(stderr, "trimora: warning: %s: %lld of %lld faces could not be used\n",
                     loaded.path.c_str(), static_cast<long long>(report.dropped.total()),
                     static_cast<long long>(report.faces));
}

}  // namespace

void loadMesh(Session& session, std::string const& path, double bytesPerTriangle,
              LoadedMesh& loaded) {
    session.beginPhase("reading", true);
    loaded.path = path;
    trimora::ReadOptions options;
    options.dropNonfinite = session.options().dropNonfinite;
    options.maxMemory = session.maxBytes();
    options.progress = &session.progress();
    FileOutcome const outcome = trimora::readMesh(path, loaded.mesh, loaded.report, options);
    session.throwIfCancelled();
    if (!outcome)
        throw Failure{codeOf(outcome.failure), outcome.message};
    warnOfReading(session, loaded);
    double const triangles = loaded.mesh.getNumTriangles();
    double const vertices = loaded.mesh.getNumVertices();
    session.requireMemory(bytesPerTriangle * std::max(triangles, 0.5 * vertices), path);
}

void storeMesh(Session& session, std::string const& path, koGeom::CompactMesh const& mesh) {
    session.beginPhase("writing", true);
    trimora::WriteOptions options;
    options.progress = &session.progress();
    FileOutcome const outcome = trimora::writeMesh(path, mesh, options);
    session.throwIfCancelled();
    if (!outcome) {
        bool const unsupported = outcome.failure == FileOutcome::Failure::Unsupported;
        throw Failure{unsupported ? CannotWrite : codeOf(outcome.failure), outcome.message};
    }
}

void requireSeparateOutputs(Session const& session, std::string const& outputPath) {
    if (session.options().json && outputPath == "-")
        throw Failure{
            UsageError,
            "--json and the output both go to standard output; name a file for one of them"};
}

void printOut(std::string const& text) {
    bool const written =
        std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    if (!written)
        throw Failure{CannotWrite, "standard output could not be written"};
}

void printReport(Session const& session, std::string const& text, std::string const& outputPath) {
    if (session.options().quiet)
        return;
    if (outputPath == "-")
        std::fputs(text.c_str(), stderr);
    else
        printOut(text);
}

}  // namespace app
