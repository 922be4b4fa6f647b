#pragma once

#include "toolkit/ReadReport.h"
#include "toolkit/checkedRepair.h"
#include "toolkit/meshCheck.h"

#include <nlohmann/json.hpp>
#include <string>

namespace app {

using Json = nlohmann::ordered_json;

Json toJson(trimora::ReadReport const& report);
Json toJson(trimora::CheckResult const& result);
Json toJson(trimora::RepairStep const& step);

/// The object as one text with a final newline; bytes that are no UTF-8 (of a path, say) are replaced.
std::string toText(Json const& json);

/// Tables for people.
std::string checkTable(std::string const& path, trimora::CheckResult const& result);
std::string repairTable(trimora::RepairOutcome const& outcome);
std::string readTable(trimora::ReadReport const& report);

}  // namespace app
