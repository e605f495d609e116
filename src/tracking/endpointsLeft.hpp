// What is left of a list of endpoints.
#ifndef TRACKING_ENDPOINTS_LEFT_HPP
#define TRACKING_ENDPOINTS_LEFT_HPP

#include <cstddef>
#include <vector>

#include <cppmicroservices/Any.h>

namespace agent::spf::frameworksetup {

// Copies of the endpoints that are outstanding, in their order; `outstanding` tells for each position whether
// it is, `count` how many are.
template <typename Bits>
std::vector<cppmicroservices::Any> endpointsLeft(std::vector<cppmicroservices::Any> const& endpoints,
                                                 Bits const& outstanding, std::size_t count) {
    std::vector<cppmicroservices::Any> left;
    left.reserve(count);
    for (std::size_t position = 0; position < endpoints.size(); ++position) {
        if (outstanding[position]) {
            left.push_back(endpoints[position]);
        }
    }
    return left;
}

} // namespace agent::spf::frameworksetup

#endif
