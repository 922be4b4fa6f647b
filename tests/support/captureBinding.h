#pragma once

#include <doctest/doctest.h>

/// CAPTURE of a structured binding, which clang 14 lets no lambda hold.
#define CAPTURE_BINDING(name)           \
    auto const& captured_##name = name; \
    INFO(#name " := ", captured_##name)
