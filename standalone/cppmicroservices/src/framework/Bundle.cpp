// The public handle to a bundle.
#include "cppmicroservices/Bundle.h"

#include "Access.hpp"
#include "BundleRecord.hpp"
#include "ContextRecord.hpp"
#include "FrameworkCore.hpp"
#include "ServiceReferences.hpp"
#include "cppmicroservices/LDAPFilter.h"

#include <dlfcn.h>
#include <ostream>
#include <stdexcept>
#include <utility>

namespace cppmicroservices {

namespace detail {

Bundle Access::bundle(std::shared_ptr<BundleRecord> record, FrameworkCore& core) {
    return {std::move(record), core.handle()};
}

std::vector<Bundle> Access::bundles(std::vector<std::shared_ptr<BundleRecord>> const& records,
                                    FrameworkCore& core) {
    std::vector<Bundle> bundles;
    bundles.reserve(records.size());
    for (auto const& record : records) {
        bundles.push_back(bundle(record, core));
    }
    return bundles;
}

} // namespace detail

Bundle::Bundle() = default;
Bundle::Bundle(Bundle const&) = default;
Bundle::Bundle(Bundle&&) noexcept = default;
Bundle& Bundle::operator=(Bundle const&) = default;
Bundle& Bundle::operator=(Bundle&&) noexcept = default;

Bundle& Bundle::operator=(std::nullptr_t) {
    return *this = Bundle();
}

Bundle::~Bundle() = default;

Bundle::Bundle(std::shared_ptr<detail::BundleRecord> record, std::shared_ptr<detail::FrameworkCore> core)
    : record_(std::move(record))
    , core_(std::move(core)) {}

detail::BundleRecord& Bundle::Record() const {
    if (!record_) {
        throw std::invalid_argument("invalid bundle");
    }
    return *record_;
}

bool Bundle::operator==(Bundle const& rhs) const {
    if (!record_ || !rhs.record_) {
        return record_ == rhs.record_;
    }
    return core_ == rhs.core_ && record_->id() == rhs.record_->id();
}

bool Bundle::operator!=(Bundle const& rhs) const {
    return !(*this == rhs);
}

bool Bundle::operator<(Bundle const& rhs) const {
    if (!record_ || !rhs.record_) {
        return record_ && !rhs.record_;
    }
    return std::pair(core_->number(), record_->id()) < std::pair(rhs.core_->number(), rhs.record_->id());
}

Bundle::operator bool() const {
    return record_ != nullptr;
}

Bundle::State Bundle::GetState() const {
    return Record().state();
}

BundleContext Bundle::GetBundleContext() const {
    return detail::Access::context(Record().context());
}

long Bundle::GetBundleId() const {
    return Record().id();
}

std::string Bundle::GetLocation() const {
    return Record().location();
}

std::string Bundle::GetSymbolicName() const {
    return Record().symbolicName();
}

BundleVersion Bundle::GetVersion() const {
    return Record().version();
}

AnyMap const& Bundle::GetHeaders() const {
    return Record().headers();
}

namespace {

// The headers that a manifest gave; the system bundle has no manifest.
AnyMap const& manifestOf(detail::BundleRecord const& record) {
    static AnyMap const none(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    return record.id() == 0 ? none : record.headers();
}

} // namespace

std::map<std::string, Any> Bundle::GetProperties() const {
    auto const& manifest = manifestOf(Record());
    return {manifest.begin(), manifest.end()};
}

Any Bundle::GetProperty(std::string const& key) const {
    auto const& manifest = manifestOf(Record());
    auto const found = manifest.find(key);
    return found != manifest.end() && found->first == key ? found->second : core_->property(key);
}

std::vector<std::string> Bundle::GetPropertyKeys() const {
    std::vector<std::string> keys;
    for (auto const& entry : manifestOf(Record())) {
        keys.push_back(entry.first);
    }
    return keys;
}

namespace {

detail::BundleRecord const& requireInstalled(detail::BundleRecord const& record) {
    if (record.state() == Bundle::STATE_UNINSTALLED) {
        throw std::logic_error(record.description() + " is in UNINSTALLED state");
    }
    return record;
}

} // namespace

std::vector<ServiceReferenceU> Bundle::GetRegisteredServices() const {
    auto const& record = requireInstalled(Record());
    return detail::referencesTo(core_->services().registeredBy(record));
}

std::vector<ServiceReferenceU> Bundle::GetServicesInUse() const {
    auto const& record = requireInstalled(Record());
    return detail::referencesTo(core_->services().usedBy(record));
}

void* Bundle::GetSymbol(void* handle, std::string const& symname) const {
    if (!record_ || !handle || symname.empty()) {
        throw std::invalid_argument("Error : Either bundle or inputs supplied are invalid!");
    }
    if (record_->state() != STATE_ACTIVE) {
        throw std::runtime_error("Bundle is not started and active!");
    }
    return dlsym(handle, symname.c_str());
}

Bundle::TimeStamp Bundle::GetLastModified() const {
    return Record().lastModified();
}

void Bundle::Start(uint32_t options) {
    Record().start(*core_, options);
}

void Bundle::Start() {
    Start(0);
}

void Bundle::Stop(uint32_t options) {
    Record().stop(*core_, options);
}

void Bundle::Stop() {
    Stop(0);
}

void Bundle::Uninstall() {
    Record().uninstall(*core_);
}

bool LDAPFilter::Match(Bundle const& bundle) const {
    return *this && Match(bundle.GetHeaders());
}

std::ostream& operator<<(std::ostream& os, Bundle const& bundle) {
    return os << "Bundle[id=" << bundle.GetBundleId() << ", loc=" << bundle.GetLocation()
              << ", name=" << bundle.GetSymbolicName() << ", state=" << bundle.GetState() << "]";
}

std::ostream& operator<<(std::ostream& os, Bundle const* bundle) {
    return os << *bundle;
}

std::ostream& operator<<(std::ostream& os, Bundle::State state) {
    switch (state) {
    case Bundle::STATE_UNINSTALLED:
        return os << "UNINSTALLED";
    case Bundle::STATE_INSTALLED:
        return os << "INSTALLED";
    case Bundle::STATE_RESOLVED:
        return os << "RESOLVED";
    case Bundle::STATE_STARTING:
        return os << "STARTING";
    case Bundle::STATE_STOPPING:
        return os << "STOPPING";
    case Bundle::STATE_ACTIVE:
        return os << "ACTIVE";
    }
    return os;
}

} // namespace cppmicroservices
