#pragma once
// KQ_EXPORT marks the public API. The library is built with hidden visibility,
// so a shared build exports only what carries this mark.
#if defined(_WIN32)
#define KQ_EXPORT
#else
#define KQ_EXPORT __attribute__((visibility("default")))
#endif
