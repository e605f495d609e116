// Service interfaces: how a C++ type becomes an interface identifier, and maps from identifiers to service
// objects.
#ifndef CPPMICROSERVICES_SERVICEINTERFACE_H
#define CPPMICROSERVICES_SERVICEINTERFACE_H

#include "cppmicroservices/FrameworkConfig.h"
#include "cppmicroservices/GlobalConfig.h"
#include "cppmicroservices/ServiceException.h"

#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <unordered_map>
#include <utility>

// The identifier of the service interface `T`: its demangled name, unless
// CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE gives another. Empty for void. Thread safe.
template <class T>
std::string const& us_service_interface_iid();

namespace cppmicroservices {

class ServiceFactory;

// A whole service object: for each interface identifier a pointer to the object as that interface.
using InterfaceMap = std::unordered_map<std::string, std::shared_ptr<void>>;
using InterfaceMapPtr = std::shared_ptr<InterfaceMap>;
using InterfaceMapConstPtr = std::shared_ptr<InterfaceMap const>;

namespace detail {

US_Framework_EXPORT std::string GetDemangledName(std::type_info const& typeInfo);

// The key under which an interface map carries a service factory instead of a service object.
US_Framework_EXPORT extern std::string const serviceFactoryKey;

// Whether `T` is among `List`.
template <class T, class... List>
struct Contains : std::disjunction<std::is_same<T, List>...> {};

} // namespace detail
} // namespace cppmicroservices

template <class T>
std::string const& us_service_interface_iid() {
    // Never destroyed: services come and go until the framework stops, which may be at the end of the
    // process.
    static auto const& name = *new std::string(cppmicroservices::detail::GetDemangledName(typeid(T)));
    return name;
}

template <>
inline std::string const& us_service_interface_iid<void>() {
    static std::string const name;
    return name;
}

// Gives the interface type the identifier, a string literal. Stands outside every namespace, after the type
// and before its first use as a service.
#define CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(_service_interface_type, _service_interface_id)           \
    template <>                                                                                              \
    inline std::string const& us_service_interface_iid<_service_interface_type>() {                          \
        static std::string const identifier(_service_interface_id);                                          \
        return identifier;                                                                                   \
    }

namespace cppmicroservices {

// Builds the interface map of a service object, or of a factory, under all of `Interfaces`:
// `InterfaceMapPtr map = MakeInterfaceMap<I1, I2>(service)`.
template <class... Interfaces>
class MakeInterfaceMap {
public:
    // `impl` may be empty; registering the map then fails.
    template <class Impl>
    MakeInterfaceMap(std::shared_ptr<Impl> const& impl)
        : map_(std::make_shared<InterfaceMap>()) {
        (map_->emplace(us_service_interface_iid<Interfaces>(), std::static_pointer_cast<Interfaces>(impl)),
         ...);
    }

    // \throws ServiceException if `factory` is empty
    MakeInterfaceMap(std::shared_ptr<ServiceFactory> factory)
        : map_(std::make_shared<InterfaceMap>()) {
        if (!factory) {
            throw ServiceException("The service factory argument must not be nullptr.");
        }
        (map_->emplace(us_service_interface_iid<Interfaces>(), std::shared_ptr<void>()), ...);
        map_->emplace(detail::serviceFactoryKey, std::move(factory));
    }

    operator InterfaceMapPtr() { return map_; }
    operator InterfaceMapConstPtr() { return map_; }

private:
    InterfaceMapPtr map_;
};

// The service object of `map` as `Interface`; empty if the map lacks it. `map` must not be empty.
template <class Interface>
std::shared_ptr<Interface> ExtractInterface(InterfaceMapConstPtr const& map) {
    auto const found = map->find(us_service_interface_iid<Interface>());
    return found == map->end() ? nullptr : std::static_pointer_cast<Interface>(found->second);
}

// The service object of `map` under `interfaceId`, or under any of its interfaces if `interfaceId` is empty;
// empty if there is none.
inline std::shared_ptr<void> ExtractInterface(InterfaceMapConstPtr const& map,
                                              std::string const& interfaceId) {
    if (!map) {
        return nullptr;
    }
    auto const found = interfaceId.empty() ? map->begin() : map->find(interfaceId);
    return found == map->end() ? nullptr : found->second;
}

// The factory as what RegisterService takes, so that it is not mistaken for the service itself.
template <class T>
std::shared_ptr<ServiceFactory> ToFactory(std::shared_ptr<T> const& factory) {
    return std::static_pointer_cast<ServiceFactory>(factory);
}

} // namespace cppmicroservices

#endif
