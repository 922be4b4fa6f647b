#include "trimora/contract/ko/ReferenceCount.h"

namespace ko {

ReferenceCount::~ReferenceCount() = default;

}  // namespace ko
