#pragma once

/// Which sanitizer a test is built for: each makes a run ten to fifty times slower, and brings an allocator of its own.

#if defined(__SANITIZE_ADDRESS__)
#define TRIMORA_TEST_ADDRESS_SANITIZER 1
#elif defined(__SANITIZE_THREAD__)
#define TRIMORA_TEST_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TRIMORA_TEST_ADDRESS_SANITIZER 1
#elif __has_feature(thread_sanitizer)
#define TRIMORA_TEST_THREAD_SANITIZER 1
#endif
#endif

namespace support {

#if defined(TRIMORA_TEST_ADDRESS_SANITIZER)
inline constexpr bool hasAddressSanitizer = true;
#else
inline constexpr bool hasAddressSanitizer = false;
#endif

#if defined(TRIMORA_TEST_THREAD_SANITIZER)
inline constexpr bool hasThreadSanitizer = true;
#else
inline constexpr bool hasThreadSanitizer = false;
#endif

}  // namespace support
