// The list of outstanding endpoints, and the hash table over a long one.
#include "tracking/OutstandingEndpoints.hpp"

#include <algorithm>
#include <functional>
#include <numeric>
#include <utility>

namespace agent::spf::frameworksetup {

using cppmicroservices::Any;

namespace {

// Up to this length searching the list is as fast as looking into a table.
constexpr std::size_t searchedLength = 12;

// CppMicroServices does not define comparing with an empty `Any`.
bool areEqual(Any const& left, Any const& right) noexcept {
    try {
        return !left.Empty() && !right.Empty() && left == right;
    } catch (...) {
        return false;
    }
}

} // namespace

OutstandingEndpoints::OutstandingEndpoints(std::vector<Any> listed)
    : endpoints(std::move(listed))
    , outstanding(endpoints.size(), true)
    , outstandingCount(endpoints.size()) {
    if (endpoints.size() > searchedLength) {
        makeIndex();
    } else {
        searched.resize(endpoints.size());
        std::iota(searched.begin(), searched.end(), Position{0});
    }
}

void OutstandingEndpoints::makeIndex() {
    std::size_t size = 1;
    while (size < 2 * endpoints.size()) {
        size *= 2;
    }
    slots.resize(size);
    for (Position position = 0; position < endpoints.size(); ++position) {
        if (auto const* const text =
                cppmicroservices::any_cast<std::string>(&std::as_const(endpoints[position]))) {
            indexString(position, *text);
        } else {
            searched.push_back(position);
        }
    }
}

void OutstandingEndpoints::indexString(Position position, std::string const& text) {
    auto const hash = std::hash<std::string>()(text);
    auto& slot = slotOf(text, hash);
    if (slot.positionPlusOne == 0) {
        slot = {static_cast<std::uint32_t>(hash >> 32U), position + 1};
    } else {
        repetitions[slot.positionPlusOne - 1].push_back(position);
    }
}

// The slot that holds the string, or the free one where it belongs.
OutstandingEndpoints::Slot& OutstandingEndpoints::slotOf(std::string const& text, std::uint64_t hash) {
    auto const mask = slots.size() - 1;
    for (auto place = hash & mask;; place = (place + 1) & mask) {
        auto& slot = slots[place];
        if (slot.positionPlusOne == 0) {
            return slot;
        }
        if (slot.hash == static_cast<std::uint32_t>(hash >> 32U)) {
            auto const* const held =
                cppmicroservices::any_cast<std::string>(&std::as_const(endpoints[slot.positionPlusOne - 1]));
            if (held && *held == text) {
                return slot;
            }
        }
    }
}

bool OutstandingEndpoints::remove(Any const& endpoint) noexcept {
    auto const* const text = slots.empty() ? nullptr : cppmicroservices::any_cast<std::string>(&endpoint);
    return text ? removeIndexed(*text) : removeSearched(endpoint);
}

bool OutstandingEndpoints::removeIndexed(std::string const& text) {
    auto const slot = slotOf(text, std::hash<std::string>()(text));
    if (slot.positionPlusOne == 0) {
        return false; // never listed, or removed: a removed endpoint is empty and equals nothing
    }
    auto const first = slot.positionPlusOne - 1;
    auto const repeated = repetitions.find(first);
    if (repeated != repetitions.end()) {
        for (auto const position : repeated->second) {
            removeAt(position);
        }
        repetitions.erase(repeated);
    }
    return removeAt(first);
}

bool OutstandingEndpoints::removeSearched(Any const& endpoint) {
    auto const left = std::remove_if(searched.begin(), searched.end(), [&](Position position) {
        return areEqual(endpoints[position], endpoint) && removeAt(position);
    });
    auto const removed = left != searched.end();
    searched.erase(left, searched.end());
    return removed;
}

bool OutstandingEndpoints::removeAt(Position position) noexcept {
    endpoints[position] = Any();
    outstanding[position] = false;
    --outstandingCount;
    return true;
}

std::vector<Any> OutstandingEndpoints::list() const {
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
