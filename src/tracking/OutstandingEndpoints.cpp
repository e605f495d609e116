// The choice between searching a short list and looking into the index of a long one.
#include "tracking/OutstandingEndpoints.hpp"

#include <utility>

#include "tracking/IndexedEndpoints.hpp"
#include "tracking/endpointEquality.hpp"
#include "tracking/endpointsLeft.hpp"

namespace agent::spf::frameworksetup {

using cppmicroservices::Any;

OutstandingEndpoints::OutstandingEndpoints(std::vector<Any> listed) {
    if (listed.size() > searchedLength) {
        indexed = std::make_unique<IndexedEndpoints>(std::move(listed));
    } else {
        endpoints = std::move(listed);
        for (std::size_t position = 0; position < endpoints.size(); ++position) {
            outstanding.set(position);
        }
    }
}

OutstandingEndpoints::~OutstandingEndpoints() = default;

bool OutstandingEndpoints::empty() const noexcept {
    return indexed ? indexed->empty() : outstanding.none();
}

bool OutstandingEndpoints::remove(Any const& endpoint) noexcept {
    if (indexed) {
        return indexed->remove(endpoint);
    }
    if (auto const* const text = asString(endpoint)) {
        return removeIf([text](Any const& each) { return isString(each, *text); });
    }
    return removeIf([&endpoint](Any const& each) { return areEqual(each, endpoint); });
}

template <typename IsRemoved>
bool OutstandingEndpoints::removeIf(IsRemoved const& isRemoved) noexcept {
    auto const before = outstanding;
    for (std::size_t position = 0; position < endpoints.size(); ++position) {
        if (before[position] && isRemoved(endpoints[position])) {
            outstanding.reset(position);
        }
    }
    return outstanding != before;
}

std::vector<Any> OutstandingEndpoints::list() const {
    return indexed ? indexed->list() : endpointsLeft(endpoints, outstanding, outstanding.count());
}

} // namespace agent::spf::frameworksetup
