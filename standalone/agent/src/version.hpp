// Which release of the program this is.
#ifndef AGENT_PROGRAM_VERSION_HPP
#define AGENT_PROGRAM_VERSION_HPP

namespace agent::program {

char const* programVersion(); // "spf-agent 1.2.3"

} // namespace agent::program

#endif
