#ifndef BIZ_TESTS_SUPPORT_PROCESS_USE_H
#define BIZ_TESTS_SUPPORT_PROCESS_USE_H

namespace biz::test {

/** Files, sockets and everything else that this process has open. */
int openDescriptors();

/** Memory of this process that is resident, after what its allocator holds unused has been given back. */
int residentKibibytes();

/** Whether this is a sanitizer's build, which keeps memory that has been freed. */
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr bool keepsFreedMemory = true;
#elif defined(__has_feature)
constexpr bool keepsFreedMemory = __has_feature(thread_sanitizer) || __has_feature(address_sanitizer);
#else
constexpr bool keepsFreedMemory = false;
#endif

/** Whether this is the build of the sanitizers that look at objects through a pipe, for which they need descriptors. */
#if defined(__SANITIZE_ADDRESS__)
constexpr bool needsDescriptors = true;
#else
constexpr bool needsDescriptors = false;
#endif

} // namespace biz::test

#endif
