// The list of the objects that are open.
#include "agent/spf/bundles/sockets/IoObject.hpp"

#include <algorithm>
#include <utility>

namespace agent::spf::bundles::sockets {

void IoObjects::add(std::weak_ptr<IoObject> object) {
    if (closed_) {
        if (auto const open = object.lock()) {
            open->close();
        }
        return;
    }
    if (objects_.size() >= pruneAt_) {
        objects_.erase(
            std::remove_if(objects_.begin(), objects_.end(), [](auto const& one) { return one.expired(); }),
            objects_.end());
        pruneAt_ = std::max(pruneAt_, 2 * objects_.size());
    }
    objects_.push_back(std::move(object));
}

void IoObjects::closeAll() {
    closed_ = true;
    for (auto const& object : std::exchange(objects_, {})) {
        if (auto const open = object.lock()) {
            open->close();
        }
    }
}

} // namespace agent::spf::bundles::sockets
