// What a person can try next when something is in the way.
#ifndef AGENT_PROGRAM_PROGRESS_ADVICE_HPP
#define AGENT_PROGRAM_PROGRESS_ADVICE_HPP

#include <string>

#include "progress/Board.hpp"

namespace agent::program {

// For an endpoint that is outstanding for the reason given, which may be empty.
std::string adviceFor(EndpointRole role, std::string const& reason);

// For a failure that is told in words; empty if there is none.
std::string adviceForFailure(std::string const& reason);

// For an interface that no peer offers.
std::string adviceForInterface();

// The text with the advice behind it, if there is any.
std::string withAdvice(std::string text, std::string const& advice);

} // namespace agent::program

#endif
