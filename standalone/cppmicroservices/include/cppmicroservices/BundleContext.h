// What a bundle reaches the framework with.
#ifndef CPPMICROSERVICES_BUNDLECONTEXT_H
#define CPPMICROSERVICES_BUNDLECONTEXT_H

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/GlobalConfig.h"
#include "cppmicroservices/IllegalStateException.h"
#include "cppmicroservices/ListenerFunctors.h"
#include "cppmicroservices/ListenerToken.h"
#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceRegistration.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace cppmicroservices {

class Bundle;
class ServiceFactory;
template <class S>
class ServiceObjects;

namespace detail {
class ContextRecord;
struct Access;
using ServiceRecords = std::vector<std::shared_ptr<ServiceRecord>>;

// The identifier of `S`. \throws ServiceException if it is empty
template <class S>
std::string const& RequiredInterfaceId() {
    std::string const& interfaceId = us_service_interface_iid<S>();
    if (interfaceId.empty()) {
        throw ServiceException("The service interface class has no "
                               "CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE macro");
    }
    return interfaceId;
}
} // namespace detail

// A bundle's access to the framework, valid from before its activator's Start until after its Stop. All that
// a bundle registers, adds or gets with its context is taken back when it stops.
//
// Thread safe, but for assignment to one object while others use it. With a context that is invalid every
// member function but the comparisons and the conversion to bool throws an IllegalStateException, which is a
// std::runtime_error, "The bundle context is no longer valid".
class US_Framework_EXPORT BundleContext {
public:
    // An invalid context.
    BundleContext();
    BundleContext& operator=(std::nullptr_t);

    bool operator==(BundleContext const& rhs) const;
    bool operator!=(BundleContext const& rhs) const;
    // Some order, with invalid contexts last.
    bool operator<(BundleContext const& rhs) const;
    explicit operator bool() const;

    // The framework's property with exactly this name; empty if there is none.
    Any GetProperty(std::string const& key) const;
    AnyMap GetProperties() const;

    // The bundle whose context this is.
    Bundle GetBundle() const;
    // The bundle with the identifier; invalid if there is none.
    Bundle GetBundle(long id) const;
    // The bundles that were installed from exactly this location, in the order of their installation.
    std::vector<Bundle> GetBundles(std::string const& location) const;
    // All installed bundles, the framework included, in the order of their locations.
    std::vector<Bundle> GetBundles() const;

    // Registers the service under every interface of the map, then delivers SERVICE_REGISTERED. The
    // framework adds the properties SERVICE_ID, OBJECTCLASS and SERVICE_SCOPE; given ones of those names are
    // ignored.
    // \throws std::invalid_argument if the map is empty or has an empty object
    // \throws std::runtime_error if two keys of `properties` differ in case only
    [[nodiscard]] ServiceRegistrationU
    RegisterService(InterfaceMapConstPtr const& service,
                    ServiceProperties const& properties = ServiceProperties());

    template <class I1, class... Interfaces, class Impl>
    ServiceRegistration<I1, Interfaces...>
    RegisterService(std::shared_ptr<Impl> const& impl,
                    ServiceProperties const& properties = ServiceProperties()) {
        InterfaceMapConstPtr const service = MakeInterfaceMap<I1, Interfaces...>(impl);
        return RegisterService(service, properties);
    }

    // \throws ServiceException if `factory` is empty
    template <class I1, class... Interfaces>
    ServiceRegistration<I1, Interfaces...>
    RegisterService(std::shared_ptr<ServiceFactory> const& factory,
                    ServiceProperties const& properties = ServiceProperties()) {
        InterfaceMapConstPtr const service = MakeInterfaceMap<I1, Interfaces...>(factory);
        return RegisterService(service, properties);
    }

    // The services registered under the interface `clazz`, or all if it is empty, whose properties match
    // `filter`: the most preferred first; in the order of registration if neither `clazz` nor `filter` names
    // the interfaces that are asked for. \throws std::invalid_argument if `filter` is neither empty nor a
    // filter expression; it is not looked at if no service is registered under `clazz`
    std::vector<ServiceReferenceU> GetServiceReferences(std::string const& clazz,
                                                        std::string const& filter = std::string());

    // \throws ServiceException if the interface identifier of `S` is empty
    template <class S>
    std::vector<ServiceReference<S>> GetServiceReferences(std::string const& filter = std::string()) {
        std::string const& interfaceId = detail::RequiredInterfaceId<S>();
        auto const found = FindServices(interfaceId, filter);
        std::vector<ServiceReference<S>> references;
        references.reserve(found->size());
        for (auto const& record : *found) {
            references.push_back(ServiceReference<S>(record, interfaceId));
        }
        return references;
    }

    // The most preferred service under the interface: the one with the highest ranking, of those the first
    // registered. The first registered of all, if `clazz` is empty. Invalid if there is none.
    ServiceReferenceU GetServiceReference(std::string const& clazz);

    // \throws ServiceException if the interface identifier of `S` is empty
    template <class S>
    ServiceReference<S> GetServiceReference() {
        return ServiceReference<S>(GetServiceReference(detail::RequiredInterfaceId<S>()));
    }

    // The service object, as the interface that the reference names. The bundle uses the service until the
    // last copy of the pointer is gone; do not keep it when the service is unregistered. Empty if the
    // service is unregistered meanwhile or its factory failed. \throws std::invalid_argument if `reference`
    // is invalid
    std::shared_ptr<void> GetService(ServiceReferenceBase const& reference);
    // The service object with all of its interfaces.
    InterfaceMapConstPtr GetService(ServiceReferenceU const& reference);

    template <class S>
    std::shared_ptr<S> GetService(ServiceReference<S> const& reference) {
        return std::static_pointer_cast<S>(GetService(static_cast<ServiceReferenceBase const&>(reference)));
    }

    // May be called when the context is no longer valid, but then gives an object that throws when it is
    // asked for a service. \throws std::invalid_argument if `reference` is invalid
    template <class S>
    ServiceObjects<S> GetServiceObjects(ServiceReference<S> const& reference) {
        return ServiceObjects<S>(RequiredRecord(), reference);
    }

    // Adds a listener that is told of the services which match `filter`; of all if it is empty.
    // \throws std::invalid_argument if `filter` is neither empty nor a filter expression
    ListenerToken AddServiceListener(ServiceListener const& listener,
                                     std::string const& filter = std::string());
    ListenerToken AddBundleListener(BundleListener const& listener);
    ListenerToken AddFrameworkListener(FrameworkListener const& listener);

    // Removes the listener if this context's bundle has added it. No call to it begins after this returns;
    // one that another thread has begun may still run.
    void RemoveListener(ListenerToken token);

    // The forms of earlier releases. The first remove a plain function that this context's bundle has added
    // as a listener; nothing if it has not, or if the listener is another callable, which cannot be found
    // again without its token.
    US_DEPRECATED void RemoveServiceListener(ServiceListener const& listener);
    US_DEPRECATED void RemoveBundleListener(BundleListener const& listener);
    US_DEPRECATED void RemoveFrameworkListener(FrameworkListener const& listener);

    // Adds a member function, which replaces the listener with the same receiver and member function.
    template <class R>
    US_DEPRECATED ListenerToken AddServiceListener(R* receiver, void (R::*callback)(ServiceEvent const&),
                                                   std::string const& filter = std::string()) {
        detail::MemberListener<R, ServiceEvent> const listener{receiver, callback};
        RemoveServiceListeners(SameAs(listener));
        return AddServiceListener(ServiceListener(listener), filter);
    }
    template <class R>
    US_DEPRECATED ListenerToken AddBundleListener(R* receiver, void (R::*callback)(BundleEvent const&)) {
        detail::MemberListener<R, BundleEvent> const listener{receiver, callback};
        RemoveBundleListeners(SameAs(listener));
        return AddBundleListener(BundleListener(listener));
    }
    template <class R>
    US_DEPRECATED ListenerToken AddFrameworkListener(R* receiver,
                                                     void (R::*callback)(FrameworkEvent const&)) {
        detail::MemberListener<R, FrameworkEvent> const listener{receiver, callback};
        RemoveFrameworkListeners(SameAs(listener));
        return AddFrameworkListener(FrameworkListener(listener));
    }

    template <class R>
    US_DEPRECATED void RemoveServiceListener(R* receiver, void (R::*callback)(ServiceEvent const&)) {
        RemoveServiceListeners(SameAs(detail::MemberListener<R, ServiceEvent>{receiver, callback}));
    }
    template <class R>
    US_DEPRECATED void RemoveBundleListener(R* receiver, void (R::*callback)(BundleEvent const&)) {
        RemoveBundleListeners(SameAs(detail::MemberListener<R, BundleEvent>{receiver, callback}));
    }
    template <class R>
    US_DEPRECATED void RemoveFrameworkListener(R* receiver, void (R::*callback)(FrameworkEvent const&)) {
        RemoveFrameworkListeners(SameAs(detail::MemberListener<R, FrameworkEvent>{receiver, callback}));
    }

    // The path of a file in the bundle's directory in the framework's storage, FRAMEWORK_STORAGE; of that
    // directory if `filename` is empty. The directory is made when it is first asked for, and removed with
    // all that is in it when the bundle is uninstalled. Empty for the framework's own context.
    // \throws std::invalid_argument if the directory cannot be made
    std::string GetDataFile(std::string const& filename) const;

    // Installs the bundle of the file `location`, or those for which manifests are given. If bundles of the
    // same location are installed, they are returned, too, and only those are installed that were
    // uninstalled since. A relative path starts from the framework's property FRAMEWORK_WORKING_DIR.
    // \param bundleManifest the headers of each bundle by its symbolic name, taken in place of those in the
    // file; if they are empty, the file's
    // \return the bundles of the location, in the order of their installation; new ones are in the order of
    // their names
    // \throws std::runtime_error, and nothing is installed, if the file does not exist, is no bundle or has
    // a bad manifest, or if a bundle of the same symbolic name and version is installed from elsewhere
    std::vector<Bundle>
    InstallBundles(std::string const& location,
                   cppmicroservices::AnyMap const& bundleManifest = cppmicroservices::AnyMap(
                       cppmicroservices::any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS));

private:
    friend struct detail::Access;
    explicit BundleContext(std::shared_ptr<detail::ContextRecord> record);

    // The record, or IllegalStateException.
    std::shared_ptr<detail::ContextRecord> const& ValidRecord() const;
    // As above, but of a context that is no longer valid, too.
    std::shared_ptr<detail::ContextRecord> const& RequiredRecord() const;
    std::shared_ptr<detail::ServiceRecords const> FindServices(std::string const& interfaceId,
                                                               std::string const& filter) const;

    // Which of the listeners are meant; called with a lock held, it only compares.
    template <class Event>
    using Predicate = std::function<bool(std::function<void(Event const&)> const&)>;
    template <class R, class Event>
    static Predicate<Event> SameAs(detail::MemberListener<R, Event> const& member) {
        return [member](std::function<void(Event const&)> const& other) { return member.isIn(other); };
    }
    void RemoveServiceListeners(Predicate<ServiceEvent> const& isMeant);
    void RemoveBundleListeners(Predicate<BundleEvent> const& isMeant);
    void RemoveFrameworkListeners(Predicate<FrameworkEvent> const& isMeant);

    std::shared_ptr<detail::ContextRecord> record_;
};

} // namespace cppmicroservices

#endif
