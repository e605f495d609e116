// The choice between searching a short list and looking into the index of a long one.
#include "tracking/OutstandingEndpoints.hpp"

#include <algorithm>
#include <utility>

#include "tracking/IndexedEndpoints.hpp"
#include "tracking/endpointEquality.hpp"

namespace agent::spf::frameworksetup {

using cppmicroservices::Any;

namespace {

// Up to this length searching the list is no slower than looking into an index, and there is none to make.
constexpr std::size_t searchedLength = 12;

template <typename IsRemoved>
bool removeIf(std::vector<Any>& endpoints, IsRemoved const& isRemoved) noexcept {
    auto const left = std::remove_if(endpoints.begin(), endpoints.end(), isRemoved);
    auto const removed = left != endpoints.end();
    endpoints.erase(left, endpoints.end());
    return removed;
}

} // namespace

OutstandingEndpoints::OutstandingEndpoints(std::vector<Any> listed) {
    if (listed.size() > searchedLength) {
        indexed = std::make_unique<IndexedEndpoints>(std::move(listed));
    } else {
        endpoints = std::move(listed);
    }
}

OutstandingEndpoints::~OutstandingEndpoints() = default;

bool OutstandingEndpoints::empty() const noexcept {
    return indexed ? indexed->empty() : endpoints.empty();
}

bool OutstandingEndpoints::remove(Any const& endpoint) noexcept {
    if (indexed) {
        return indexed->remove(endpoint);
    }
    if (auto const* const text = asString(endpoint)) {
        return removeIf(endpoints, [text](Any const& each) { return isString(each, *text); });
    }
    return removeIf(endpoints, [&endpoint](Any const& each) { return areEqual(each, endpoint); });
}

std::vector<Any> OutstandingEndpoints::list() const {
    return indexed ? indexed->list() : endpoints;
}

} // namespace agent::spf::frameworksetup
