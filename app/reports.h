#pragma once

#include "toolkit/ReadReport.h"
#include "toolkit/checkedRepair.h"
#include "toolkit/meshCheck.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshDeviation.h"
#include "toolkit/meshVerification.h"

#include <nlohmann/json.hpp>
#include <string>

namespace app {

using Json = nlohmann::ordered_json;

Json toJson(trimora::ReadReport const& report);
Json toJson(trimora::CheckResult const& result);
Json toJson(trimora::RepairStep const& step);
Json toJson(trimora::MeshCounts const& counts);
Json toJson(trimora::MeshDeviation const& deviation);

/// The object as one text with a final newline; bytes that are no UTF-8 (of a path, say) are replaced.
std::string toText(Json const& json);

/// Tables for people.
std::string checkTable(std::string const& path, trimora::CheckResult const& result);
std::string repairTable(trimora::RepairOutcome const& outcome);
std::string readTable(trimora::ReadReport const& report);
std::string countsTable(trimora::MeshCounts const& before, trimora::MeshCounts const& after);
std::string deviationTable(trimora::MeshDeviation const& deviation);
std::string verifyTable(std::string const& path, trimora::VerifyOutcome const& outcome);
/// A line on vertex sets that did not outlive an edit; empty when there was none.
std::string droppedLine(std::vector<std::string> const& names);

/// A line for people that begins with "warning: ".
std::string warningLine(std::string const& text);

/// Text with what would move a terminal's cursor or end the line written out, "\x1b": it may come from a file.
std::string onOneLine(std::string const& text);

/// "0.00123", four digits.
std::string numberInWords(double number);
std::string secondsInWords(double seconds);

}  // namespace app
