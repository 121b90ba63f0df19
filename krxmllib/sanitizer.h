// Internal to the library: whether this build runs under a sanitizer. Pools and arenas hand
// out memory from the heap one block at a time there, so that a stale pointer or an overrun is
// caught at the object, not somewhere inside a shared block.
#ifndef KRXMLLIB_INTERNAL_SANITIZER_H
#define KRXMLLIB_INTERNAL_SANITIZER_H

// gcc names the sanitizers by macro; clang answers __has_feature instead.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KRXML_UNDER_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer) || __has_feature(thread_sanitizer)
#define KRXML_UNDER_SANITIZER 1
#endif
#endif
#ifndef KRXML_UNDER_SANITIZER
#define KRXML_UNDER_SANITIZER 0
#endif

#endif
