// Endpoints as the tests write and compare them.
#ifndef TESTS_UNIT_TRACKING_ENDPOINTS_HPP
#define TESTS_UNIT_TRACKING_ENDPOINTS_HPP

#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/Any.h>

#include "support/describe.hpp"

namespace agent::spf::frameworksetup::test {

using Endpoints = std::vector<cppmicroservices::Any>;

// String endpoints hold a std::string, not the array that the literal is.
inline cppmicroservices::Any endpoint(std::string text) {
    return cppmicroservices::Any(std::move(text));
}

// What is outstanding as one text, the endpoints to connect first: connect ["a"] bind ["b", "c"]
inline std::string describe(std::pair<Endpoints, Endpoints> const& outstanding) {
    return "connect " + describe(cppmicroservices::Any(outstanding.first)) + " bind " +
           describe(cppmicroservices::Any(outstanding.second));
}

} // namespace agent::spf::frameworksetup::test

#endif
