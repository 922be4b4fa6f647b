#pragma once

#include "toolkit/detail/diagnosis.h"

#include <functional>

namespace trimora {

enum class StepEnd { Done, Partly, Refused };  // the command's codes 0, 1 and others

/// A command without its files, and what it does to a mesh.
struct RemedyStep {
    std::string words;  ///< with IN and OUT only where these do not follow the command's name
    std::function<StepEnd(koGeom::CompactMesh&, koUtil::Progress&)> work;
    std::int64_t cost = 0;  ///< beyond that of a look at each triangle, in triangles
};

using Remedy = std::vector<RemedyStep>;

std::string commandOf(Remedy const& remedy);

/// What may mend a finding, the plainest first; nothing where there is no trial to be made: the test knows the command, if there is one.
std::optional<std::vector<Remedy>> candidatesFor(DiagnosisRun const& run, Finding const& finding);

enum class Verdict {
    NoBetter,
    Trade,      ///< fewer findings in all, but more of a kind that is as grave
    TakesMuch,  ///< better, but for the surface that it takes away
    Better
};

/// What a trial came to that was made for a finding.
TRIMORA_API Verdict judgeTrial(Diagnosis const& before, Diagnosis const& after,
                               Finding const& finding);

/// "nothing of this is left; holes 0 -> 3; 12 % of the area goes".
std::string trialInWords(Diagnosis const& before, Diagnosis const& after, Finding const& finding);

/// What the command does that mends a kind of finding; empty where that is plain.
std::string wordsOfMended(std::string const& kind);
/// What to do where no command mends it; empty where the test tells it.
std::string wordsOfOpen(std::string const& kind);

}  // namespace trimora
