#pragma once

#include "trimora/export.h"

namespace ko {

/// Base of the implementation objects behind exported handle classes.
///
/// A handle holds a pointer to its implementation and a flag that says whether it owns it. A copied handle shares the
/// implementation and does not own it: it must not outlive the handle it was copied from.
class TRIMORA_API ImplBase {
public:
    ImplBase() = default;
    ImplBase(ImplBase const&) = default;
    ImplBase& operator=(ImplBase const&) = default;
    virtual ~ImplBase();
};

}  // namespace ko
