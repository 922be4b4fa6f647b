# trimora_flags: what this project's own sources are compiled with. Private to the build: nothing
# of it reaches the users of the installed package.
add_library(trimora_flags INTERFACE)
target_compile_features(trimora_flags INTERFACE cxx_std_20)
target_compile_options(trimora_flags INTERFACE
  -Wall -Wextra -Wshadow -Wconversion -Werror
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>  # g++ 12 takes string concatenation for overlapping copies (its bug 105651)
  -ffp-contract=off                       # results must not depend on the target's fused operations
  # g++ 12 drops a narrowing that is widened again at once, double to float to double, on two neighbouring values
  # (tests/contract/linearVectors_test.cpp shows it); the debug trees compile below the level where it does.
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<NOT:$<CONFIG:Debug>>>:-fno-tree-slp-vectorize>
  -fvisibility=hidden -fvisibility-inlines-hidden)
