// How the processes of the shutdown tests end; orders.py expects the same.
#ifndef TESTS_RELIABILITY_SHUTDOWN_EXIT_STATUS_HPP
#define TESTS_RELIABILITY_SHUTDOWN_EXIT_STATUS_HPP

namespace shutdown_test {

inline constexpr int ended = 40;
inline constexpr int exitedFromActivator = 41;
inline constexpr int exitedFromEvent = 42;
inline constexpr int failed = 49;

} // namespace shutdown_test

#endif
