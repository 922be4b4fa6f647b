// The diagnosis is a list of tests that run one after the other on one prepared mesh. What they find is sorted by
// severity at the end.

#include "toolkit/meshDiagnosis.h"

#include "toolkit/detail/diagnosis.h"

#include "trimora/connectivity/finiteBounds.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"

#include <functional>

namespace trimora {

namespace {

using koGeom::CompactMesh;

constexpr double shareOfTests = 0.3;  // of the time on a smooth surface
constexpr double shareOfCuts = 0.5;   // the rest goes to trying remedies

class Diagnoser {
public:
    Diagnoser(CompactMesh const& mesh, ReadReport const& report, DiagnosisOptions const& options,
              koUtil::Progress& progress)
        : progress_(progress) {
        progress_.setCaption("preparing");
        watch_.start();
        run_.emplace(mesh, report, options, testProgress_);
        told("preparing");
    }

    Diagnosis run();

private:
    struct Test {
        char const* name;
        std::function<void()> work;
    };

    std::vector<Test> tests();
    void countElements();
    void mend();
    void told(char const* test) {
        koGeom::debugChannel().print("diagnoseMesh: %s, %f s\n", test, watch_.clear());
        watch_.start();
    }

    koUtil::Progress& progress_;
    koUtil::Progress testProgress_;
    koOS::StopWatch watch_;
    std::optional<DiagnosisRun> run_;
    std::optional<DiagnosisEdges> edges_;
};

void Diagnoser::countElements() {
    CompactMesh const& mesh = run_->of.asRead;
    Diagnosis& result = run_->result;
    result.vertices = mesh.getNumVertices();
    result.triangles = mesh.getNumTriangles();
    result.shift = run_->report.shift;
    koGeom::BoundingBox const box = koGeom::finiteBounds(run_->of.inRange);
    for (int axis = 0; axis < 3; ++axis) {
        bool const isKnown = box.min(axis) <= box.max(axis);
        result.lowest[static_cast<std::size_t>(axis)] = isKnown ? box.min(axis) : 0.0f;
        result.highest[static_cast<std::size_t>(axis)] = isKnown ? box.max(axis) : 0.0f;
    }
}

std::vector<Diagnoser::Test> Diagnoser::tests() {
    return {
        {"file", [this] { diagnoseFile(*run_); }},
        {"vertices", [this] { diagnoseVertices(*run_); }},
        {"triangles", [this] { diagnoseTriangles(*run_); }},
        {"edges",
         [this] {
             edges_.emplace(run_->of);
             diagnoseEdges(*run_, *edges_);
         }},
        {"fans", [this] { diagnoseFans(*run_); }},
        {"folds", [this] { diagnoseFolds(*run_); }},
        {"parts", [this] { diagnoseParts(*run_, *edges_); }},
        {"borders", [this] { diagnoseBorders(*run_, *edges_); }},
        {"scale", [this] { diagnoseScale(*run_); }},
        {"intersections", [this] { diagnoseCuts(*run_); }},
    };
}

/// What is worst is mended first, while there is time.
void Diagnoser::mend() {
    if (!run_->options.tryRemedies || progress_.cancelled())
        return;
    progress_.setCaption("trying remedies");
    progress_.subPhase(1.0 - shareOfTests - shareOfCuts, testProgress_);
    chooseRemedies(*run_);
    told("remedies");
}

Diagnosis Diagnoser::run() {
    countElements();
    std::vector<Test> const all = tests();
    double const step = shareOfTests / static_cast<double>(all.size() - 1);
    double done = 0.0;
    for (Test const& test : all) {
        if (progress_.cancelled())
            break;
        progress_.setCaption(test.name);
        bool const isLast = &test == &all.back();
        progress_.subPhase(isLast ? shareOfCuts : step, testProgress_);
        test.work();
        told(test.name);
        progress_.set(done += isLast ? shareOfCuts : step);
    }
    std::vector<Finding>& findings = run_->result.findings;
    std::stable_sort(findings.begin(), findings.end(),
                     [](Finding const& a, Finding const& b) { return a.severity < b.severity; });
    mend();
    progress_.set(1.0);
    run_->result.cancelled = progress_.cancelled();
    return std::move(run_->result);
}

}  // namespace

bool Diagnosis::isSound() const {
    return std::all_of(findings.begin(), findings.end(), [](Finding const& finding) {
        return finding.severity == Finding::Severity::Note;
    });
}

Diagnosis diagnoseMesh(CompactMesh const& mesh, ReadReport const& report,
                       DiagnosisOptions const& options, koUtil::Progress& progress) {
    return Diagnoser(mesh, report, options, progress).run();
}

char const* nameOfSeverity(Finding::Severity severity) {
    switch (severity) {
    case Finding::Severity::Fatal:
        return "fatal";
    case Finding::Severity::Severe:
        return "severe";
    case Finding::Severity::Moderate:
        return "moderate";
    case Finding::Severity::Slight:
        return "slight";
    case Finding::Severity::Note:
        break;
    }
    return "note";
}

}  // namespace trimora
