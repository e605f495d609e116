// How the program ends, as its caller sees it. After an interrupt it is 128 and the signal's number.
#ifndef AGENT_PROGRAM_EXIT_STATUS_HPP
#define AGENT_PROGRAM_EXIT_STATUS_HPP

namespace agent::program::exitstatus {

inline constexpr int success = 0;  // was ready and was withdrawn
inline constexpr int failed = 1;   // something permanent stands in the way
inline constexpr int invalid = 2;  // usage, or an invalid configuration file
inline constexpr int notReady = 3; // not ready before the time-out

} // namespace agent::program::exitstatus

#endif
