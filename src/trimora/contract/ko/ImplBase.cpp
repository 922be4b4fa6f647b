#include "trimora/contract/ko/ImplBase.h"

namespace ko {

ImplBase::~ImplBase() = default;

}  // namespace ko
