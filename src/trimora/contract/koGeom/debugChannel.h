#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koOS/DebugChannel.h"
#include "trimora/export.h"

namespace koGeom {

/// The developer's log of everything in this namespace: one-line messages, silent until the host
/// gives it a sink.
TRIMORA_API koOS::DebugChannel& debugChannel();

}  // namespace koGeom
