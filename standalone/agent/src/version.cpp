// Which release of the program this is.
#include "version.hpp"

namespace agent::program {

char const* programVersion() {
    return "spf-agent " SPF_AGENT_VERSION;
}

} // namespace agent::program
