# trimora_flags: what this project's own sources are compiled with. Private to the build: nothing
# of it reaches the users of the installed package.
add_library(trimora_flags INTERFACE)
target_compile_features(trimora_flags INTERFACE cxx_std_20)
target_compile_options(trimora_flags INTERFACE
  -Wall -Wextra -Wshadow -Wconversion -Werror
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>  # g++ 12 takes string concatenation for overlapping copies (its bug 105651)
  -ffp-contract=off                       # results must not depend on the target's fused operations
  -fvisibility=hidden -fvisibility-inlines-hidden)
