#pragma once

/// Marks what the shared libraries export; everything else is hidden.
#define TRIMORA_API __attribute__((visibility("default")))
