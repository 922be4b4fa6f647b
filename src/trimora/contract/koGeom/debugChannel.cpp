#include "trimora/contract/koGeom/debugChannel.h"

namespace koGeom {

koOS::DebugChannel& debugChannel() {
    // Never destroyed: what runs at exit may still print.
    static koOS::DebugChannel& channel = *new koOS::DebugChannel;
    return channel;
}

}  // namespace koGeom
