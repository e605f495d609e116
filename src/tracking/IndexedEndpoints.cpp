// The hash table over a long list of outstanding endpoints.
#include "tracking/IndexedEndpoints.hpp"

#include <algorithm>
#include <functional>
#include <utility>

#include "tracking/endpointEquality.hpp"

namespace agent::spf::frameworksetup {

using cppmicroservices::Any;

IndexedEndpoints::IndexedEndpoints(std::vector<Any> listed)
    : endpoints(std::move(listed))
    , outstanding(endpoints.size(), true)
    , outstandingCount(endpoints.size()) {
    std::size_t size = 1;
    while (size < 2 * endpoints.size()) {
        size *= 2;
    }
    slots.resize(size);
    for (Position position = 0; position < endpoints.size(); ++position) {
        if (auto const* const text = asString(endpoints[position])) {
            indexString(position, *text);
        } else {
            searched.push_back(position);
        }
    }
}

void IndexedEndpoints::indexString(Position position, std::string const& text) {
    auto const hash = std::hash<std::string>()(text);
    auto& slot = slotOf(text, hash);
    if (slot.positionPlusOne == 0) {
        slot = {static_cast<std::uint32_t>(hash >> 32U), position + 1};
    } else {
        repetitions[slot.positionPlusOne - 1].push_back(position);
    }
}

// The slot that holds the string, or the free one where it belongs.
IndexedEndpoints::Slot& IndexedEndpoints::slotOf(std::string const& text, std::uint64_t hash) {
    auto const mask = slots.size() - 1;
    for (auto place = hash & mask;; place = (place + 1) & mask) {
        auto& slot = slots[place];
        if (slot.positionPlusOne == 0) {
            return slot;
        }
        if (slot.hash == static_cast<std::uint32_t>(hash >> 32U) &&
            isString(endpoints[slot.positionPlusOne - 1], text)) {
            return slot;
        }
    }
}

bool IndexedEndpoints::remove(Any const& endpoint) noexcept {
    auto const* const text = asString(endpoint);
    return text ? removeString(*text) : removeSearched(endpoint);
}

bool IndexedEndpoints::removeString(std::string const& text) noexcept {
    auto const slot = slotOf(text, std::hash<std::string>()(text));
    if (slot.positionPlusOne == 0) {
        return false;
    }
    auto const first = slot.positionPlusOne - 1;
    if (!outstanding[first]) {
        return false; // removed before
    }
    auto const repeated = repetitions.find(first);
    if (repeated != repetitions.end()) {
        for (auto const position : repeated->second) {
            removeAt(position);
        }
    }
    removeAt(first);
    return true;
}

bool IndexedEndpoints::removeSearched(Any const& endpoint) noexcept {
    auto const left = std::remove_if(searched.begin(), searched.end(), [&](Position position) {
        if (!areEqual(endpoints[position], endpoint)) {
            return false;
        }
        removeAt(position);
        return true;
    });
    auto const removed = left != searched.end();
    searched.erase(left, searched.end());
    return removed;
}

void IndexedEndpoints::removeAt(Position position) noexcept {
    outstanding[position] = false;
    --outstandingCount;
}

std::vector<Any> IndexedEndpoints::list() const {
    std::vector<Any> left;
    left.reserve(outstandingCount);
    for (std::size_t position = 0; position < endpoints.size(); ++position) {
        if (outstanding[position]) {
            left.push_back(endpoints[position]);
        }
    }
    return left;
}

} // namespace agent::spf::frameworksetup
