// Symbol visibility. Shared objects are built with hidden visibility; only
// what is marked SHADOW_EXPORT is exported. A target that compiles a shared
// source for private use (the host runtime, the command line) defines
// SHADOW_NO_EXPORT so that nothing it contains is exported.
#pragma once

#if defined(SHADOW_NO_EXPORT)
#define SHADOW_EXPORT
#else
#define SHADOW_EXPORT __attribute__((visibility("default")))
#endif
