// The public handle to a bundle's context.
#include "cppmicroservices/BundleContext.h"

#include "Access.hpp"
#include "BundleRecord.hpp"
#include "ContextRecord.hpp"
#include "FrameworkCore.hpp"
#include "ServiceReferences.hpp"
#include "ServiceUses.hpp"
#include "cppmicroservices/BundleEvent.h"
#include "cppmicroservices/detail/BundleContextSlot.h"

#include <atomic>
#include <functional>
#include <stdexcept>
#include <utility>

namespace cppmicroservices {

namespace detail {

BundleContext MakeBundleContext(std::shared_ptr<ContextRecord> record) {
    return Access::context(std::move(record));
}

} // namespace detail

namespace {

// Counts in the whole process, so that the token of one framework is none of another's.
ListenerTokenId nextListenerId() noexcept {
    static std::atomic<ListenerTokenId> last{0};
    return ++last;
}

detail::ServiceLink::Target requireService(ServiceReferenceBase const& reference) {
    auto target = detail::Access::target(reference);
    if (!target.record || !target.record->present()) {
        throw std::invalid_argument(
            "Default constructed ServiceReference is not a valid input to GetService()");
    }
    return target;
}

template <class Event>
auto samePlainFunction(std::function<void(Event const&)> const& listener) {
    using Function = void (*)(Event const&);
    auto const* const function = listener.template target<Function>();
    return [function = function ? *function : nullptr](std::function<void(Event const&)> const& other) {
        auto const* const otherFunction = other.template target<Function>();
        return otherFunction && *otherFunction == function;
    };
}

} // namespace

BundleContext::BundleContext() = default;

BundleContext::BundleContext(std::shared_ptr<detail::ContextRecord> record)
    : record_(std::move(record)) {}

BundleContext& BundleContext::operator=(std::nullptr_t) {
    record_.reset();
    return *this;
}

BundleContext::operator bool() const {
    return record_ && record_->valid();
}

bool BundleContext::operator==(BundleContext const& rhs) const {
    return record_ == rhs.record_ || (!*this && !rhs);
}

bool BundleContext::operator!=(BundleContext const& rhs) const {
    return !(*this == rhs);
}

bool BundleContext::operator<(BundleContext const& rhs) const {
    if (!*this || !rhs) {
        return *this && !rhs;
    }
    return std::less<>()(record_, rhs.record_);
}

std::shared_ptr<detail::ContextRecord> const& BundleContext::ValidRecord() const {
    if (!*this) {
        detail::throwInvalidContext();
    }
    return record_;
}

std::shared_ptr<detail::ContextRecord> const& BundleContext::RequiredRecord() const {
    if (!record_) {
        detail::throwInvalidContext();
    }
    return record_;
}

Any BundleContext::GetProperty(std::string const& key) const {
    return ValidRecord()->core()->property(key);
}

AnyMap BundleContext::GetProperties() const {
    return ValidRecord()->core()->properties();
}

Bundle BundleContext::GetBundle() const {
    auto const core = ValidRecord()->core();
    return detail::Access::bundle(record_->bundle(), *core);
}

Bundle BundleContext::GetBundle(long id) const {
    auto const core = ValidRecord()->core();
    auto bundle = core->bundles().find(id);
    return bundle ? detail::Access::bundle(std::move(bundle), *core) : Bundle();
}

std::vector<Bundle> BundleContext::GetBundles(std::string const& location) const {
    auto const core = ValidRecord()->core();
    return detail::Access::bundles(core->bundles().find(location), *core);
}

std::vector<Bundle> BundleContext::GetBundles() const {
    auto const core = ValidRecord()->core();
    return detail::Access::bundles(core->bundles().all(), *core);
}

ServiceRegistrationU BundleContext::RegisterService(InterfaceMapConstPtr const& service,
                                                    ServiceProperties const& properties) {
    auto const core = ValidRecord()->core();
    return detail::Access::registration(core->services().registerService(*record_, service, properties));
}

std::vector<ServiceReferenceU> BundleContext::GetServiceReferences(std::string const& clazz,
                                                                   std::string const& filter) {
    return detail::referencesTo(*FindServices(clazz, filter), clazz);
}

std::shared_ptr<detail::ServiceRecords const> BundleContext::FindServices(std::string const& interfaceId,
                                                                          std::string const& filter) const {
    return ValidRecord()->core()->services().find(interfaceId, filter);
}

ServiceReferenceU BundleContext::GetServiceReference(std::string const& clazz) {
    auto const record = ValidRecord()->core()->services().findBest(clazz);
    return record ? ServiceReferenceU(detail::Access::reference(record, clazz)) : ServiceReferenceU();
}

std::shared_ptr<void> BundleContext::GetService(ServiceReferenceBase const& reference) {
    auto const target = requireService(reference);
    auto const use = target.record->uses().acquire(*ValidRecord());
    return use ? detail::holdObject(use, target.interfaceId) : nullptr;
}

InterfaceMapConstPtr BundleContext::GetService(ServiceReferenceU const& reference) {
    auto const target = requireService(reference);
    auto const use = target.record->uses().acquire(*ValidRecord());
    return use ? detail::holdInterfaceMap(use) : nullptr;
}

ListenerToken BundleContext::AddServiceListener(ServiceListener const& listener, std::string const& filter) {
    auto const core = ValidRecord()->core();
    auto const id = nextListenerId();
    core->serviceListeners().add(id, record_, listener, filter);
    return detail::Access::token(id);
}

ListenerToken BundleContext::AddBundleListener(BundleListener const& listener) {
    auto const core = ValidRecord()->core();
    auto const id = nextListenerId();
    core->bundleListeners().add(id, record_, listener);
    return detail::Access::token(id);
}

ListenerToken BundleContext::AddFrameworkListener(FrameworkListener const& listener) {
    auto const core = ValidRecord()->core();
    auto const id = nextListenerId();
    core->frameworkListeners().add(id, record_, listener);
    return detail::Access::token(id);
}

void BundleContext::RemoveListener(ListenerToken token) {
    auto const core = ValidRecord()->core();
    if (token) {
        auto const id = detail::Access::id(token);
        core->serviceListeners().remove(id, *record_);
        core->bundleListeners().remove(id, *record_);
        core->frameworkListeners().remove(id, *record_);
    }
}

void BundleContext::RemoveServiceListener(ServiceListener const& listener) {
    RemoveServiceListeners(samePlainFunction<ServiceEvent>(listener));
}

void BundleContext::RemoveBundleListener(BundleListener const& listener) {
    RemoveBundleListeners(samePlainFunction<BundleEvent>(listener));
}

void BundleContext::RemoveFrameworkListener(FrameworkListener const& listener) {
    RemoveFrameworkListeners(samePlainFunction<FrameworkEvent>(listener));
}

void BundleContext::RemoveServiceListeners(Predicate<ServiceEvent> const& isMeant) {
    ValidRecord()->core()->serviceListeners().removeAllOf(*record_, isMeant);
}

void BundleContext::RemoveBundleListeners(Predicate<BundleEvent> const& isMeant) {
    ValidRecord()->core()->bundleListeners().removeAllOf(*record_, isMeant);
}

void BundleContext::RemoveFrameworkListeners(Predicate<FrameworkEvent> const& isMeant) {
    ValidRecord()->core()->frameworkListeners().removeAllOf(*record_, isMeant);
}

std::string BundleContext::GetDataFile(std::string const& filename) const {
    auto const core = ValidRecord()->core();
    return core->dataFile(*record_->bundle(), filename);
}

std::vector<Bundle> BundleContext::InstallBundles(std::string const& location, AnyMap const& bundleManifest) {
    auto const core = ValidRecord()->core();
    auto installed = core->bundles().install(*core, location, bundleManifest);
    for (auto const& bundle : installed.added) {
        core->fire(BundleEvent::BUNDLE_INSTALLED, bundle);
    }
    return std::move(installed.bundles);
}

ListenerToken::ListenerToken() = default;

ListenerToken::ListenerToken(ListenerTokenId id)
    : id_(id) {}

ListenerToken::ListenerToken(ListenerToken&& other) noexcept
    : id_(std::exchange(other.id_, 0)) {}

ListenerToken& ListenerToken::operator=(ListenerToken&& other) noexcept {
    id_ = std::exchange(other.id_, 0);
    return *this;
}

ListenerToken::operator bool() const {
    return id_ != 0;
}

} // namespace cppmicroservices
