// Configurations from manifests: reading them, and following the bundles.
#include "ManifestConfigurations.hpp"

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

#include <algorithm>
#include <exception>
#include <optional>
#include <string>
#include <utility>

namespace agent::configurationadmin {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using cppmicroservices::Bundle;
using cppmicroservices::BundleEvent;

namespace {

constexpr int supportedVersion = 1;

// Null unless there is such an entry of this type.
template <typename Value>
Value const* entryOf(AnyMap const& map, std::string const& key) {
    auto const found = map.find(key);
    return found == map.end() ? nullptr : any_cast<Value>(&found->second);
}

// Null if the bundle brings none along, or something else in their place.
std::vector<Any> const* configurationsOf(Bundle const& bundle) {
    auto const* const section = entryOf<AnyMap>(bundle.GetHeaders(), "cm");
    auto const* const version = section ? entryOf<int>(*section, "version") : nullptr;
    if (!version || *version != supportedVersion) {
        return nullptr;
    }
    auto const* const configurations = entryOf<std::vector<Any>>(*section, "configurations");
    auto const isMap = [](Any const& element) { return any_cast<AnyMap>(&element) != nullptr; };
    bool const allAreMaps =
        configurations != nullptr && std::all_of(configurations->begin(), configurations->end(), isMap);
    return allAreMaps ? configurations : nullptr;
}

// Nothing if the configuration is incomplete, or comparing it failed: that concerns no other.
std::optional<ConfigurationStore::Provided> provideOne(ConfigurationStore& store,
                                                       AnyMap const& configuration) {
    auto const* const pid = entryOf<std::string>(configuration, "pid");
    auto const* const properties = entryOf<AnyMap>(configuration, "properties");
    if (!pid || !properties) {
        return std::nullopt;
    }
    try {
        return store.provide(*pid, *properties);
    } catch (std::exception const&) {
        return std::nullopt;
    }
}

} // namespace

ManifestConfigurations::ManifestConfigurations(cppmicroservices::BundleContext context,
                                               std::shared_ptr<ConfigurationStore> store)
    : context_(std::move(context))
    , store_(std::move(store)) {}

void ManifestConfigurations::open() {
    context_.AddBundleListener(
        [self = shared_from_this()](BundleEvent const& event) { self->bundleChanged(event); });
    for (auto const& bundle : context_.GetBundles()) {
        provide(bundle);
    }
}

void ManifestConfigurations::close() {
    std::lock_guard lock{mutex_};
    isOpen_ = false;
    for (auto const& [bundleId, configurations] : byBundle_) {
        withdrawWithLock(configurations);
    }
    byBundle_.clear();
}

void ManifestConfigurations::bundleChanged(BundleEvent const& event) {
    if (event.GetType() == BundleEvent::BUNDLE_STARTED) {
        provide(event.GetBundle());
    } else if (event.GetType() == BundleEvent::BUNDLE_STOPPING) {
        withdraw(event.GetBundle().GetBundleId());
    }
}

// A bundle is no longer active when it is about to be announced that it stops.
void ManifestConfigurations::provide(Bundle const& bundle) {
    auto const* const configurations = configurationsOf(bundle);
    if (!configurations) {
        return;
    }
    std::lock_guard lock{mutex_};
    if (!isOpen_ || bundle.GetState() != Bundle::STATE_ACTIVE || byBundle_.count(bundle.GetBundleId()) > 0) {
        return;
    }
    auto& provided = byBundle_[bundle.GetBundleId()];
    provided.reserve(configurations->size()); // what is provided must not be forgotten for lack of memory
    for (auto const& configuration : *configurations) {
        if (auto one = provideOne(*store_, cppmicroservices::ref_any_cast<AnyMap>(configuration))) {
            provided.push_back(std::move(*one));
        }
    }
}

void ManifestConfigurations::withdraw(long bundleId) {
    std::lock_guard lock{mutex_};
    auto const found = byBundle_.find(bundleId);
    if (found != byBundle_.end()) {
        withdrawWithLock(found->second);
        byBundle_.erase(found);
    }
}

void ManifestConfigurations::withdrawWithLock(Provided const& configurations) {
    for (auto const& configuration : configurations) {
        store_->withdraw(configuration);
    }
}

} // namespace agent::configurationadmin
