// A map whose values can be handed out as an immutable list, so that they can be walked without a lock.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_SNAPSHOTMAP_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_SNAPSHOTMAP_HPP

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace cppmicroservices::detail {

// The list is made at the first request after a change and shared until the next change, so that a run of
// changes costs nothing beyond the map's own, and neither does a run of requests. Not thread safe; the lists
// are.
template <class Key, class Value, class Compare = std::less<Key>>
class SnapshotMap {
public:
    using Map = std::map<Key, Value, Compare>;
    using Values = std::vector<Value>;

    bool contains(Key const& key) const { return values_.count(key) > 0; }

    void insert(Key const& key, Value value) {
        values_.emplace(key, std::move(value));
        snapshot_.reset();
    }

    void erase(Key const& key) {
        values_.erase(key);
        snapshot_.reset();
    }

    // Moves the values for which `isMeant` is true out of the map, without need of memory.
    template <class Predicate>
    Map extractIf(Predicate const& isMeant) {
        Map extracted;
        for (auto next = values_.begin(); next != values_.end();) {
            auto const current = next++;
            if (isMeant(current->second)) {
                extracted.insert(extracted.end(), values_.extract(current));
            }
        }
        snapshot_.reset();
        return extracted;
    }

    // The first value whose key comes after `key` and for which `isMeant` is true; null if there is
    // none.
    template <class Predicate>
    Value const* findAfter(Key const& key, Predicate const& isMeant) const {
        auto const found = std::find_if(values_.upper_bound(key), values_.end(),
                                        [&isMeant](auto const& entry) { return isMeant(entry.second); });
        return found == values_.end() ? nullptr : &found->second;
    }

    bool empty() const { return values_.empty(); }

    // The value with the first key. The map must not be empty.
    Value const& front() const { return values_.begin()->second; }

    // All values in the order of their keys.
    std::shared_ptr<Values const> snapshot() {
        if (!snapshot_) {
            auto values = std::make_shared<Values>();
            values->reserve(values_.size());
            for (auto const& [key, value] : values_) {
                values->push_back(value);
            }
            snapshot_ = std::move(values);
        }
        return snapshot_;
    }

private:
    Map values_;
    std::shared_ptr<Values const> snapshot_; // null if it does not hold values_
};

} // namespace cppmicroservices::detail

#endif
