// An installed bundle: its identity, its manifest, its life cycle.
#ifndef CPPMICROSERVICES_BUNDLE_H
#define CPPMICROSERVICES_BUNDLE_H

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/BundleVersion.h"
#include "cppmicroservices/FrameworkConfig.h"
#include "cppmicroservices/GlobalConfig.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace cppmicroservices {

class BundleContext;
template <class S>
class ServiceReference;
using ServiceReferenceU = ServiceReference<void>;

namespace detail {
class BundleRecord;
class FrameworkCore;
struct Access;
} // namespace detail

// A handle to a bundle. Handles are cheap to copy and equal if they stand for the same bundle. The framework
// runs for as long as there is a handle to it or to one of its bundles; the last one stops it, and waits
// until it has stopped.
//
// Thread safe, but for assignment to one handle while others use it. Every member function but the
// comparisons and the conversion to bool throws std::invalid_argument on an invalid handle.
class US_Framework_EXPORT Bundle {
public:
    using TimeStamp = std::chrono::steady_clock::time_point;

    // Distinct bits, so that sets of states can be written as one number.
    enum State : uint32_t {
        STATE_UNINSTALLED = 0x00000001, // gone for good; only handles are left
        STATE_INSTALLED = 0x00000002,
        STATE_RESOLVED = 0x00000004, // can be started
        STATE_STARTING = 0x00000008, // its activator's Start runs
        STATE_STOPPING = 0x00000010, // its activator's Stop runs
        STATE_ACTIVE = 0x00000020
    };

    // Transient: without a say in whether the framework's start starts the bundle. The policy has no effect.
    enum StartOptions : uint32_t { START_TRANSIENT = 0x00000001, START_ACTIVATION_POLICY = 0x00000002 };
    enum StopOptions : uint32_t { STOP_TRANSIENT = 0x00000001 };

    // An invalid handle.
    Bundle();
    Bundle(Bundle const&);
    Bundle(Bundle&&) noexcept;
    Bundle& operator=(Bundle const&);
    Bundle& operator=(Bundle&&) noexcept;
    Bundle& operator=(std::nullptr_t);
    virtual ~Bundle();

    bool operator==(Bundle const& rhs) const;
    bool operator!=(Bundle const& rhs) const;
    // By framework, then by bundle identifier; invalid handles come last.
    bool operator<(Bundle const& rhs) const;
    explicit operator bool() const;

    State GetState() const;

    // The context to act for this bundle; invalid unless the bundle is starting, active or stopping.
    BundleContext GetBundleContext() const;

    // Unique within the framework's run; 0 is the framework itself.
    long GetBundleId() const;

    // Where the bundle was installed from, as given to InstallBundles.
    std::string GetLocation() const;

    std::string GetSymbolicName() const;

    // As the manifest gives it; BundleVersion::EmptyVersion() if it does not.
    BundleVersion GetVersion() const;

    // The manifest. Keys are compared without regard to case; a leading "%" of a text is removed. The
    // reference holds as long as the handle.
    AnyMap const& GetHeaders() const;

    // Older forms of GetHeaders(): keys by their exact names, and nothing of the system bundle. GetProperty
    // also searches the framework's properties.
    US_DEPRECATED std::map<std::string, Any> GetProperties() const;
    US_DEPRECATED Any GetProperty(std::string const& key) const;
    US_DEPRECATED std::vector<std::string> GetPropertyKeys() const;

    // The services that this bundle has registered.
    // \throws std::logic_error if the bundle is uninstalled
    std::vector<ServiceReferenceU> GetRegisteredServices() const;

    // The services of which this bundle holds objects.
    // \throws std::logic_error if the bundle is uninstalled
    std::vector<ServiceReferenceU> GetServicesInUse() const;

    // The symbol's address in the bundle's library, whose handle is given; null if it has none.
    // \throws std::invalid_argument if `handle` or `symname` is empty
    // \throws std::runtime_error if the bundle is not active
    void* GetSymbol(void* handle, std::string const& symname) const;

    // When the bundle was last installed or uninstalled.
    TimeStamp GetLastModified() const;

    // Loads the bundle's library and calls its activator's Start, if the manifest says that it has one. Does
    // nothing if the bundle is active; waits if another thread is starting or stopping it. If anything
    // fails, what the activator registered, added or got is taken back, and the bundle is resolved again.
    // \throws SharedLibraryException if its library cannot be loaded or its activator throws a
    // std::system_error
    // \throws std::runtime_error if the bundle cannot be started for another reason
    // \throws std::logic_error if the bundle is uninstalled, or if its own activator calls this
    void Start(uint32_t options);
    void Start();

    // Calls the activator's Stop, then takes back what the bundle still has registered, added or got. Does
    // nothing if the bundle is not active. If the activator throws, the bundle is stopped all the same.
    // \throws std::runtime_error if the activator threw
    // \throws std::logic_error if the bundle is uninstalled, or if its own activator calls this
    void Stop(uint32_t options);
    void Stop();

    // Stops the bundle and takes it out of the framework. What the activator throws is reported as a
    // FrameworkEvent.
    // \throws std::runtime_error for the framework itself
    // \throws std::logic_error if the bundle is uninstalled, or if its own activator calls this
    void Uninstall();

protected:
    friend struct detail::Access;
    Bundle(std::shared_ptr<detail::BundleRecord> record, std::shared_ptr<detail::FrameworkCore> core);

    // The record, or std::invalid_argument.
    detail::BundleRecord& Record() const;

    std::shared_ptr<detail::BundleRecord> record_;
    std::shared_ptr<detail::FrameworkCore> core_; // keeps the framework running
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, Bundle const& bundle);
US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, Bundle const* bundle);
US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, Bundle::State state);

} // namespace cppmicroservices

template <>
struct std::hash<cppmicroservices::Bundle> {
    std::size_t operator()(cppmicroservices::Bundle const& bundle) const {
        return std::hash<std::string>()(bundle.GetSymbolicName());
    }
};

#endif
