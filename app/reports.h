#pragma once

#include "toolkit/ReadReport.h"
#include "toolkit/checkedRepair.h"
#include "toolkit/meshCheck.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshDistance.h"
#include "toolkit/meshVerification.h"

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace app {

using Json = nlohmann::ordered_json;

Json toJson(trimora::ReadReport const& report);
Json toJson(trimora::CheckResult const& result);
Json toJson(trimora::RepairStep const& step);
Json toJson(trimora::MeshCounts const& counts);
Json toJson(trimora::MeshDistance const& deviation);

/// The box of all vertices; null without vertices.
Json boxJson(koGeom::CompactMesh const& mesh);

/// What a run that was cancelled puts on standard output with --json.
Json cancelJson(std::string const& message);

/// The object as one text with a final newline; bytes that are no UTF-8 (of a path, say) are replaced.
std::string toText(Json const& json);

/// Tables for people.
std::string checkTable(std::string const& path, trimora::CheckResult const& result);
std::string repairTable(trimora::RepairOutcome const& outcome);
std::string readTable(trimora::ReadReport const& report);
/// What the file has and the mesh has not, as its format or the mesh has no place for it.
std::vector<std::string> leftInFile(trimora::ReadReport const& report);
/// The first problem, and how many there are; empty where there is none.
std::string problemsInWords(trimora::ReadReport const& report);
std::string countsTable(trimora::MeshCounts const& before, trimora::MeshCounts const& after);
std::string deviationTable(trimora::MeshDistance const& deviation);
std::string verifyTable(std::string const& path, trimora::VerifyOutcome const& outcome);
/// A line on vertex sets that did not outlive an edit; empty when there was none.
std::string droppedLine(std::vector<std::string> const& names);

/// A line for people that begins with "warning: ".
std::string warningLine(std::string const& text);

/// Text with what would move a terminal's cursor or end the line written out, "\x1b": it may come from a file.
std::string onOneLine(std::string const& text);

/// The first lines of what may be many.
class Listing {
public:
    void add(std::string const& line) {
        constexpr int most = 20;
        if (++count_ <= most)
            text_ += line;
        else
            rest_ = "  and " + std::to_string(count_ - most) + " more; --json tells all\n";
    }
    std::string text() const { return text_ + rest_; }

private:
    int count_ = 0;
    std::string text_;
    std::string rest_;
};

/// "4321000 512000 0", all digits.
std::string shiftInWords(std::array<double, 3> const& shift);

/// "0.00123", four digits.
std::string numberInWords(double number);
std::string secondsInWords(double seconds);

}  // namespace app
