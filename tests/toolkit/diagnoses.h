#pragma once

// What the tests of the diagnosis have in common.

#include "support/builders.h"
#include "support/checks.h"
#include "toolkit/meshDiagnosis.h"

#include "trimora/repair/meshReverseWinding.h"

#include <cmath>
#include <doctest/doctest.h>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace diagnoses {

using koGeom::CompactMesh;
using support::meshOf;
using trimora::Diagnosis;
using trimora::Finding;
using Severity = Finding::Severity;
using Kinds = std::vector<std::string>;
using Ids = std::vector<int>;

inline Diagnosis diagnosed(CompactMesh const& mesh, trimora::DiagnosisOptions const& options = {},
                           trimora::ReadReport const& report = {}) {
    koUtil::Progress progress;
    return trimora::diagnoseMesh(mesh, report, options, progress);
}

/// The kinds that are worse than notes, in order.
inline std::vector<std::string> faultsIn(Diagnosis const& diagnosis) {
    std::vector<std::string> kinds;
    for (Finding const& finding : diagnosis.findings)
        if (finding.severity != Severity::Note)
            kinds.push_back(finding.kind);
    return kinds;
}

inline std::vector<std::string> notesIn(Diagnosis const& diagnosis) {
    std::vector<std::string> kinds;
    for (Finding const& finding : diagnosis.findings)
        if (finding.severity == Severity::Note)
            kinds.push_back(finding.kind);
    return kinds;
}

/// An empty finding where there is none of the kind.
inline Finding findingOf(Diagnosis const& diagnosis, std::string const& kind) {
    for (Finding const& finding : diagnosis.findings)
        if (finding.kind == kind)
            return finding;
    return {};
}

/// Everything that was found, as one text.
inline std::string textOf(Diagnosis const& diagnosis) {
    std::ostringstream text;
    text.precision(17);
    text << diagnosis.vertices << ' ' << diagnosis.triangles << ' ' << diagnosis.parts << ' '
         << diagnosis.boundaries << ' ' << diagnosis.area << ' ' << diagnosis.volume.value_or(-1.0)
         << '\n';
    for (Finding const& finding : diagnosis.findings) {
        text << finding.kind << ' ' << trimora::nameOfSeverity(finding.severity) << ' '
             << finding.title << finding.meaning << finding.remedy << finding.advice
             << finding.count << finding.unit << '\n';
        for (auto const& place : finding.places) {
            for (int const t : place.triangles)
                text << ' ' << t;
            for (int const v : place.vertices)
                text << " v" << v;
            for (auto const& edge : place.edges)
                text << ' ' << edge[0] << '-' << edge[1];
            for (auto const& point : {place.centre, place.lowest, place.highest})
                text << ' ' << point[0] << ',' << point[1] << ',' << point[2];
            text << ' ' << place.measure.value_or(-1.0) << place.note << '\n';
        }
    }
    return text.str();
}

inline CompactMesh withTriangles(CompactMesh const& mesh, Ids const& more) {
    Ids all = support::trianglesOf(mesh);
    all.insert(all.end(), more.begin(), more.end());
    return meshOf(support::coordinatesOf(mesh), all);
}

inline CompactMesh without(CompactMesh const& mesh, std::set<int> const& triangles) {
    Ids const all = support::trianglesOf(mesh);
    Ids kept;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        if (triangles.count(t) == 0)
            kept.insert(kept.end(), all.begin() + 3 * t, all.begin() + 3 * t + 3);
    return meshOf(support::coordinatesOf(mesh), kept);
}

inline CompactMesh scaled(CompactMesh mesh, float factor, float move = 0.0f) {
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] = factor * mesh.getVerticesRaw()[i] + move;
    return mesh;
}

inline CompactMesh reversed(CompactMesh mesh) {
    koGeom::meshReverseWinding(mesh, false);
    return mesh;
}

/// Whether all numbers are those of the mesh, all places finite, and the order that of severity.
inline void checkForm(CompactMesh const& mesh, Diagnosis const& diagnosis) {
    for (std::size_t i = 0; i < diagnosis.findings.size(); ++i) {
        Finding const& finding = diagnosis.findings[i];
        CAPTURE(finding.kind);
        CHECK((i == 0 || diagnosis.findings[i - 1].severity <= finding.severity));
        CHECK(finding.count > 0);
        CHECK_FALSE(finding.title.empty());
        CHECK_FALSE(finding.meaning.empty());
        CHECK(finding.places.size() <= 50);
        for (auto const& place : finding.places) {
            for (int const t : place.triangles)
                CHECK((t >= 0 && t < mesh.getNumTriangles()));
            for (int const v : place.vertices)
                CHECK((v >= 0 && v < mesh.getNumVertices()));
            for (auto const& edge : place.edges)
                CHECK((edge[0] >= 0 && edge[0] < mesh.getNumVertices() && edge[1] >= 0 &&
                       edge[1] < mesh.getNumVertices()));
            for (std::size_t k = 0; k < 3; ++k) {
                CHECK(std::isfinite(place.centre[k]));
                CHECK(place.lowest[k] <= place.highest[k]);
            }
        }
    }
}

}  // namespace diagnoses
