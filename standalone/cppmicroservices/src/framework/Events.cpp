// What listeners are told: bundle events, framework events, service events.
#include "Access.hpp"
#include "BundleRecord.hpp"
#include "ServiceRecord.hpp"
#include "cppmicroservices/BundleEvent.h"
#include "cppmicroservices/Constants.h"
#include "cppmicroservices/FrameworkEvent.h"
#include "cppmicroservices/ServiceEvent.h"

#include <ostream>
#include <stdexcept>

namespace cppmicroservices {

BundleEvent::BundleEvent() = default;

BundleEvent::BundleEvent(Type type, Bundle const& bundle)
    : BundleEvent(type, bundle, bundle) {}

BundleEvent::BundleEvent(Type type, Bundle const& bundle, Bundle const& origin)
    : type_(type)
    , bundle_(bundle)
    , origin_(origin) {
    if (!bundle || !origin) {
        throw std::invalid_argument(bundle ? "invalid origin" : "invalid bundle");
    }
}

BundleEvent::operator bool() const {
    return static_cast<bool>(bundle_);
}

Bundle BundleEvent::GetBundle() const {
    return bundle_;
}

BundleEvent::Type BundleEvent::GetType() const {
    return type_;
}

Bundle BundleEvent::GetOrigin() const {
    return origin_;
}

bool BundleEvent::operator==(BundleEvent const& evt) const {
    return GetType() == evt.GetType() && GetBundle() == evt.GetBundle() && GetOrigin() == evt.GetOrigin();
}

std::ostream& operator<<(std::ostream& os, BundleEvent::Type eventType) {
    switch (eventType) {
    case BundleEvent::BUNDLE_INSTALLED:
        return os << "INSTALLED";
    case BundleEvent::BUNDLE_STARTED:
        return os << "STARTED";
    case BundleEvent::BUNDLE_STOPPED:
        return os << "STOPPED";
    case BundleEvent::BUNDLE_UNINSTALLED:
        return os << "UNINSTALLED";
    case BundleEvent::BUNDLE_RESOLVED:
        return os << "RESOLVED";
    case BundleEvent::BUNDLE_UNRESOLVED:
        return os << "UNRESOLVED";
    case BundleEvent::BUNDLE_STARTING:
        return os << "STARTING";
    case BundleEvent::BUNDLE_STOPPING:
        return os << "STOPPING";
    case BundleEvent::BUNDLE_LAZY_ACTIVATION:
        return os << "LAZY_ACTIVATION";
    default:
        return os << "Unknown bundle event type (" << static_cast<uint32_t>(eventType) << ")";
    }
}

std::ostream& operator<<(std::ostream& os, BundleEvent const& event) {
    if (!event) {
        return os << "NONE";
    }
    auto const bundle = event.GetBundle();
    return os << event.GetType() << " #" << bundle.GetBundleId() << " (" << bundle.GetSymbolicName() << " at "
              << bundle.GetLocation() << ")";
}

struct FrameworkEvent::Data {
    Type type;
    Bundle bundle;
    std::string message;
    std::exception_ptr exception;
};

FrameworkEvent::FrameworkEvent() = default;

FrameworkEvent::FrameworkEvent(Type type, Bundle const& bundle, std::string const& message,
                               std::exception_ptr const exception)
    : data_(std::make_shared<Data const>(Data{type, bundle, message, exception})) {}

FrameworkEvent::operator bool() const {
    return data_ != nullptr;
}

Bundle FrameworkEvent::GetBundle() const {
    return data_ ? data_->bundle : Bundle();
}

std::string FrameworkEvent::GetMessage() const {
    return data_ ? data_->message : std::string();
}

std::exception_ptr FrameworkEvent::GetThrowable() const {
    return data_ ? data_->exception : nullptr;
}

FrameworkEvent::Type FrameworkEvent::GetType() const {
    return data_ ? data_->type : FRAMEWORK_ERROR;
}

std::ostream& operator<<(std::ostream& os, FrameworkEvent::Type eventType) {
    switch (eventType) {
    case FrameworkEvent::FRAMEWORK_STARTED:
        return os << "STARTED";
    case FrameworkEvent::FRAMEWORK_ERROR:
        return os << "ERROR";
    case FrameworkEvent::FRAMEWORK_WARNING:
        return os << "WARNING";
    case FrameworkEvent::FRAMEWORK_INFO:
        return os << "INFO";
    case FrameworkEvent::FRAMEWORK_STOPPED:
        return os << "STOPPED";
    case FrameworkEvent::FRAMEWORK_STOPPED_UPDATE:
        return os << "STOPPED_UPDATE";
    case FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT:
        return os << "WAIT_TIMEDOUT";
    default:
        return os << "Unknown bundle event type (" << static_cast<uint32_t>(eventType) << ")";
    }
}

namespace {

std::string exceptionText(FrameworkEvent const& event) {
    auto const exception = event.GetThrowable();
    return exception ? detail::textOf(exception) : "NONE";
}

} // namespace

std::ostream& operator<<(std::ostream& os, FrameworkEvent const& evt) {
    if (!evt) {
        return os << "NONE";
    }
    return os << evt.GetType() << "\n " << evt.GetMessage() << "\n " << evt.GetBundle()
              << "\n Exception: " << exceptionText(evt);
}

bool operator==(FrameworkEvent const& rhs, FrameworkEvent const& lhs) {
    return rhs.GetType() == lhs.GetType() && rhs.GetBundle() == lhs.GetBundle() &&
           rhs.GetMessage() == lhs.GetMessage() && exceptionText(rhs) == exceptionText(lhs);
}

ServiceEvent::ServiceEvent()
    : type_() {}

ServiceEvent::ServiceEvent(Type type, ServiceReferenceBase const& reference)
    : type_(type)
    , reference_(reference) {}

ServiceEvent::ServiceEvent(ServiceEvent const& other) = default;
ServiceEvent& ServiceEvent::operator=(ServiceEvent const& other) = default;

ServiceEvent::operator bool() const {
    return type_ != Type();
}

ServiceReferenceU ServiceEvent::GetServiceReference() const {
    return reference_;
}

ServiceEvent::Type ServiceEvent::GetType() const {
    return type_;
}

std::ostream& operator<<(std::ostream& os, ServiceEvent::Type const& type) {
    switch (type) {
    case ServiceEvent::SERVICE_REGISTERED:
        return os << "REGISTERED";
    case ServiceEvent::SERVICE_MODIFIED:
        return os << "MODIFIED";
    case ServiceEvent::SERVICE_UNREGISTERING:
        return os << "UNREGISTERING";
    case ServiceEvent::SERVICE_MODIFIED_ENDMATCH:
        return os << "MODIFIED_ENDMATCH";
    default:
        return os << "unknown service event type (" << static_cast<uint32_t>(type) << ")";
    }
}

std::ostream& operator<<(std::ostream& os, ServiceEvent const& event) {
    if (!event) {
        return os << "NONE";
    }
    os << event.GetType();
    auto const reference = event.GetServiceReference();
    if (!reference) {
        return os;
    }
    return os << ' ' << reference.GetProperty(Constants::SERVICE_ID).ToStringNoExcept()
              << " objectClass=" << reference.GetProperty(Constants::OBJECTCLASS).ToStringNoExcept() << ")";
}

} // namespace cppmicroservices
