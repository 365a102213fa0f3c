#ifndef BIZ_TESTS_HOST_THREAD_SANITIZER_H
#define BIZ_TESTS_HOST_THREAD_SANITIZER_H

namespace biz::test {

/**
 * Whether this is the thread sanitizer's build. What Qt itself hands from one thread to another
 * is ordered by locks inside Qt, which the sanitizer does not see.
 */
#if defined(__SANITIZE_THREAD__)
constexpr bool isUnderThreadSanitizer = true;
#elif defined(__has_feature)
constexpr bool isUnderThreadSanitizer = __has_feature(thread_sanitizer);
#else
constexpr bool isUnderThreadSanitizer = false;
#endif

} // namespace biz::test

#endif
