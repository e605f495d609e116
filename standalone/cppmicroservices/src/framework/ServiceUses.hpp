// The objects of one service that bundles hold, and the calls to its factory.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_SERVICEUSES_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_SERVICEUSES_HPP

#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceReferenceBase.h"

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace cppmicroservices {
class ServiceFactory;
}

namespace cppmicroservices::detail {

class BundleRecord;
class ContextRecord;
class ServiceRecord;

// One object of a service in one bundle's hands: the bundle's own one, which all of its holders share, or
// one made for a single holder (prototype). Once released it stays released; the bundle's next use is
// another object.
struct ServiceUse {
    std::shared_ptr<ServiceRecord> const service;
    std::shared_ptr<BundleRecord> const user;
    bool const prototype;
    std::shared_ptr<ServiceFactory> const factory; // null if the service was registered without one
    InterfaceMapConstPtr const object;
    std::size_t holders = 1; // guarded by ServiceUses::mutex_
};

// Thread safe. A factory is called with no lock held; for one bundle by one thread at a time.
class ServiceUses {
public:
    explicit ServiceUses(ServiceRecord& service)
        : service_(service) {}

    // The bundle's object, got or made, with one more holder; null if the service is unregistered, the
    // context no longer valid or the factory failed.
    std::shared_ptr<ServiceUse> acquire(ContextRecord const& context);
    // An object made for this call; null as above. The service's scope must be prototype.
    std::shared_ptr<ServiceUse> acquirePrototype(ContextRecord const& context);
    // Takes one holder away; the last one gives the object back to the factory.
    void release(std::shared_ptr<ServiceUse> const& use) noexcept;

    // Gives all objects back to the factory, which sees their users until the last is given back. The
    // service must be unregistered. Called once.
    void releaseAll();
    // Gives the bundle's objects back to the factory, but for those that it gets meanwhile.
    void releaseAllOf(BundleRecord const& user);

    // Whether the bundle holds an object, or one is being made for it.
    bool usedBy(BundleRecord const& user) const;
    // The bundles that hold an object of their own or for which one is being made, each once; those made for
    // a single holder do not count.
    std::vector<std::shared_ptr<BundleRecord>> users() const;

private:
    using Uses = std::vector<std::shared_ptr<ServiceUse>>;
    enum class EndOfUse { Released, ServiceUnregistered };
    struct Making {
        std::shared_ptr<BundleRecord> user;
        std::thread::id thread;
    };

    std::shared_ptr<ServiceUse> acquireMade(ContextRecord const& context, std::unique_lock<std::mutex>& lock);
    std::shared_ptr<ServiceUse> findWithLock(BundleRecord const& user) const;
    Making const* findMakingWithLock(BundleRecord const& user) const;
    std::size_t countOf(BundleRecord const& user) const;
    // The one that the bundle has had for the longest time; null if it has none.
    std::shared_ptr<ServiceUse> takeOneOf(BundleRecord const& user);
    bool usableWithLock(ContextRecord const& context) const;
    std::shared_ptr<ServiceUse> keepMade(ContextRecord const& context, std::unique_lock<std::mutex>& lock,
                                         bool prototype, std::shared_ptr<ServiceFactory> const& factory,
                                         InterfaceMapConstPtr const& object);
    std::shared_ptr<ServiceUse> addWithLock(ContextRecord const& context, bool prototype,
                                            std::shared_ptr<ServiceFactory> factory,
                                            InterfaceMapConstPtr object);

    InterfaceMapConstPtr makeObject(ServiceFactory& factory, std::shared_ptr<BundleRecord> const& user) const;
    void takeBack(ServiceFactory& factory, std::shared_ptr<BundleRecord> const& user,
                  InterfaceMapConstPtr const& object, EndOfUse end) const noexcept;
    void takeBack(ServiceUse const& use, EndOfUse end) const noexcept;

    ServiceRecord& service_;
    mutable std::mutex mutex_; // guards what follows
    std::condition_variable made_;
    Uses uses_;
    Uses ending_; // those that releaseAll() gives back; written by no other
    std::vector<Making> making_;
};

// A pointer to the object as the interface (as any, if it is null) that releases `use` with its last
// copy; releases it at once and returns an empty one if the object lacks the interface.
std::shared_ptr<void> holdObject(std::shared_ptr<ServiceUse> const& use, std::string const* interfaceId);
// The same for the object as a whole.
InterfaceMapConstPtr holdInterfaceMap(std::shared_ptr<ServiceUse> const& use);

// The service of a pointer that one of the two made. \throws std::runtime_error if neither did
ServiceReferenceBase referenceHeldBy(std::shared_ptr<void> const& object);

} // namespace cppmicroservices::detail

#endif
