#include "trimora/version.h"

namespace koGeom {

char const* trimoraVersion() {
    return TRIMORA_VERSION;
}

}  // namespace koGeom
