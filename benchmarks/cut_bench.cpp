#include "harness.h"

namespace bench {

void cutCases() {}

}  // namespace bench
