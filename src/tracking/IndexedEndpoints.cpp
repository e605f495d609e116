// The hash table over a long list of outstanding endpoints.
#include "tracking/IndexedEndpoints.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "tracking/endpointEquality.hpp"
#include "tracking/endpointHash.hpp"
#include "tracking/endpointsLeft.hpp"

namespace agent::spf::frameworksetup {

using cppmicroservices::Any;

namespace {

constexpr std::size_t indexedAtATime = 16;

// The upper bits; the lower ones choose the place.
std::uint16_t tagOf(std::uint64_t hash) noexcept {
    return static_cast<std::uint16_t>(hash >> 48U);
}

} // namespace

IndexedEndpoints::IndexedEndpoints(std::vector<Any> listed)
    : endpoints(std::move(listed))
    , outstanding(endpoints.size(), true)
    , outstandingCount(endpoints.size()) {
    std::size_t size = 1; // there is always a free place, for there the search for another string ends
    while (size <= endpoints.size() + endpoints.size() / 4) {
        size *= 2;
    }
    slots.resize(size);
    for (std::size_t begin = 0; begin < endpoints.size(); begin += indexedAtATime) {
        indexRange(begin, std::min(begin + indexedAtATime, endpoints.size()));
    }
}

// The places of a few strings are asked for before the first is needed: the table does not fit into the
// caches.
void IndexedEndpoints::indexRange(std::size_t begin, std::size_t end) {
    std::array<std::string const*, indexedAtATime> texts; // not zeroed: that took longer than to fill them
    std::array<std::uint64_t, indexedAtATime> hashes;
    for (std::size_t i = 0; begin + i < end; ++i) {
        texts[i] = asString(endpoints[begin + i]);
        if (texts[i] != nullptr) {
            hashes[i] = hashOfEndpoint(*texts[i]);
            __builtin_prefetch(&slots[firstPlaceOf(hashes[i])], 1);
        }
    }
    for (std::size_t i = 0; begin + i < end; ++i) {
        auto const position = static_cast<Position>(begin + i);
        if (texts[i] != nullptr) {
            indexString(position, *texts[i], hashes[i]);
        } else {
            searched.push_back(position);
        }
    }
}

void IndexedEndpoints::indexString(Position position, std::string const& text, std::uint64_t hash) {
    auto& slot = slotOf(text, hash);
    if (slot.positionPlusOne == 0) {
        slot = {text.data(), tagOf(hash), shortened(text.size()), position + 1};
    } else {
        repetitions[slot.positionPlusOne - 1].push_back(position);
    }
}

// The slot that holds the string, or the free one where it belongs.
IndexedEndpoints::Slot& IndexedEndpoints::slotOf(std::string const& text, std::uint64_t hash) noexcept {
    auto const mask = slots.size() - 1;
    auto const tag = tagOf(hash);
    auto const endsAt = [&](Slot const& slot) {
        return slot.positionPlusOne == 0 || (slot.tag == tag && holds(slot, text));
    };
    auto place = firstPlaceOf(hash);
    while (!endsAt(slots[place])) {
        place = (place + 1) & mask;
    }
    return slots[place];
}

bool IndexedEndpoints::holds(Slot const& slot, std::string const& text) const noexcept {
    if (slot.length != shortened(text.size())) {
        return false;
    }
    return slot.length == longest ? isString(endpoints[slot.positionPlusOne - 1], text)
                                  : std::memcmp(slot.characters, text.data(), text.size()) == 0;
}

bool IndexedEndpoints::remove(Any const& endpoint) noexcept {
    auto const* const text = asString(endpoint);
    return text ? removeString(*text) : removeSearched(endpoint);
}

// Endpoints are mostly reported in the order in which they are listed: then no text is hashed, and the list
// is read from one end to the other, which the caches are made for.
bool IndexedEndpoints::removeNext(std::string const& text) noexcept {
    auto const mayBeNext = inOrder && next < endpoints.size() && outstanding[next] && repetitions.empty();
    if (!mayBeNext || !isString(endpoints[next], text)) {
        return false;
    }
    removeAt(next++);
    return true;
}

bool IndexedEndpoints::removeString(std::string const& text) noexcept {
    if (removeNext(text)) {
        return true;
    }
    auto const& slot = slotOf(text, hashOfEndpoint(text));
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
    inOrder = first == next;
    next = first + 1;
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
    return endpointsLeft(endpoints, outstanding, outstandingCount);
}

} // namespace agent::spf::frameworksetup
