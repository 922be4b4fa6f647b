#include "harness.h"

namespace bench {

void planarCases() {}

}  // namespace bench
