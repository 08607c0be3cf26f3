// Is the program compiled with a sanitizer that makes it many times slower, GCC's or clang's?
#ifndef TESTS_SUPPORT_SANITIZED_H_
#define TESTS_SUPPORT_SANITIZED_H_

namespace nexa_test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kIsSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool kIsSanitized = true;
#else
inline constexpr bool kIsSanitized = false;
#endif
#else
inline constexpr bool kIsSanitized = false;
#endif

}  // namespace nexa_test

#endif  // TESTS_SUPPORT_SANITIZED_H_
