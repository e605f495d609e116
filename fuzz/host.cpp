// A host without a framework and without a log: the library's own behaviour is all that is fuzzed.
#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/Path.hpp"

namespace agent::host {

std::shared_ptr<cppmicroservices::Framework> getFramework() {
    return nullptr;
}

std::vector<cppmicroservices::Bundle> installAndStart(Path const&) {
    return {};
}

std::pair<std::vector<cppmicroservices::Bundle>, std::vector<cppmicroservices::Bundle>>
installAndStart(Path const&, cppmicroservices::LDAPFilter const&) {
    return {};
}

} // namespace agent::host
