// The objects of one service that bundles hold, and the calls to its factory.
#include "ServiceUses.hpp"

#include "Access.hpp"
#include "BundleRecord.hpp"
#include "ContextRecord.hpp"
#include "FrameworkCore.hpp"
#include "ServiceRecord.hpp"
#include "cppmicroservices/FrameworkEvent.h"
#include "cppmicroservices/ServiceException.h"
#include "cppmicroservices/ServiceFactory.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace cppmicroservices::detail {

namespace {

// The reports come in the middle of getting and giving back objects, which must not end half done: a report
// for which there is no memory is dropped.

void report(ServiceRecord& service, std::shared_ptr<BundleRecord> const& bundle, std::string_view message,
            std::exception_ptr error, FrameworkEvent::Type type = FrameworkEvent::FRAMEWORK_ERROR) noexcept {
    if (auto const core = service.core()) {
        core->report(type, bundle, message, std::move(error));
    }
}

void report(ServiceRecord& service, std::shared_ptr<BundleRecord> const& user, char const* message,
            ServiceException::Type type) noexcept {
    try {
        report(service, user, message, std::make_exception_ptr(ServiceException(message, type)));
    } catch (...) {
    }
}

void reportMissing(ServiceRecord& service, std::shared_ptr<BundleRecord> const& user,
                   std::string const& interfaceId) noexcept {
    try {
        auto const message = "ServiceFactory produced an object that did not implement: " + interfaceId;
        report(service, user, message, std::make_exception_ptr(std::logic_error(message)),
               FrameworkEvent::FRAMEWORK_WARNING);
    } catch (...) {
    }
}

// The exception being handled as a ServiceException with the same text and itself nested; what comes in its
// way if there is no memory for it.
std::exception_ptr asFactoryException() noexcept {
    try {
        std::throw_with_nested(
            ServiceException(textOf(std::current_exception()), ServiceException::FACTORY_EXCEPTION));
    } catch (...) {
        return std::current_exception();
    }
}

// One of the service's interfaces that the object lacks; null if it has all.
std::string const* findMissingInterface(InterfaceMap const& object, ServiceRecord const& service) {
    auto const& interfaces = service.interfaces();
    auto const missing =
        std::find_if(interfaces.begin(), interfaces.end(), [&object](std::string const& interfaceId) {
            auto const found = object.find(interfaceId);
            return found == object.end() || !found->second;
        });
    return missing == interfaces.end() ? nullptr : &*missing;
}

// The deleter of the pointers that bundles get: keeps the object, and releases the use with the last
// pointer.
struct ReleaseUse {
    std::shared_ptr<ServiceUse> use;
    std::shared_ptr<void const> object;

    void operator()(void const*) {
        object.reset();
        // A weak pointer keeps this deleter; it must not keep the service with it.
        auto const released = std::move(use);
        released->service->uses().release(released);
    }
};

} // namespace

std::shared_ptr<ServiceUse> ServiceUses::acquire(ContextRecord const& context) {
    std::unique_lock lock(mutex_);
    if (!usableWithLock(context)) {
        return nullptr;
    }
    if (auto use = findWithLock(*context.bundle())) {
        ++use->holders;
        return use;
    }
    return service_.scope() == ServiceScope::Singleton
               ? addWithLock(context, false, nullptr, service_.service())
               : acquireMade(context, lock);
}

std::shared_ptr<ServiceUse> ServiceUses::acquireMade(ContextRecord const& context,
                                                     std::unique_lock<std::mutex>& lock) {
    auto const& user = context.bundle();
    while (auto const* const making = findMakingWithLock(*user)) {
        if (making->thread == std::this_thread::get_id()) {
            lock.unlock();
            report(service_, user, "Recursive call to ServiceFactory::GetService",
                   ServiceException::FACTORY_RECURSION);
            return nullptr;
        }
        made_.wait(lock);
    }
    if (!usableWithLock(context)) {
        return nullptr;
    }
    if (auto use = findWithLock(*user)) {
        ++use->holders;
        return use;
    }
    making_.push_back({user, std::this_thread::get_id()});
    auto const factory = service_.factory();
    lock.unlock();
    auto const object = makeObject(*factory, user);
    lock.lock();
    making_.erase(making_.begin() + (findMakingWithLock(*user) - making_.data()));
    made_.notify_all();
    return object ? keepMade(context, lock, false, factory, object) : nullptr;
}

std::shared_ptr<ServiceUse> ServiceUses::acquirePrototype(ContextRecord const& context) {
    std::unique_lock lock(mutex_);
    if (!usableWithLock(context)) {
        return nullptr;
    }
    auto const factory = service_.factory();
    lock.unlock();
    auto const object = makeObject(*factory, context.bundle());
    lock.lock();
    return object ? keepMade(context, lock, true, factory, object) : nullptr;
}

std::shared_ptr<ServiceUse> ServiceUses::keepMade(ContextRecord const& context,
                                                  std::unique_lock<std::mutex>& lock, bool prototype,
                                                  std::shared_ptr<ServiceFactory> const& factory,
                                                  InterfaceMapConstPtr const& object) {
    auto const giveBack = [&] {
        lock.unlock();
        takeBack(*factory, context.bundle(), object, EndOfUse::Released);
    };
    if (!usableWithLock(context)) {
        giveBack();
        return nullptr;
    }
    try {
        return addWithLock(context, prototype, factory, object);
    } catch (...) {
        giveBack();
        throw;
    }
}

void ServiceUses::release(std::shared_ptr<ServiceUse> const& use) noexcept {
    {
        std::lock_guard const lock(mutex_);
        auto const found = std::find(uses_.begin(), uses_.end(), use);
        if (found == uses_.end() || --use->holders > 0) {
            return;
        }
        uses_.erase(found);
    }
    takeBack(*use, EndOfUse::Released);
}

void ServiceUses::releaseAll() {
    {
        std::lock_guard const lock(mutex_);
        ending_.swap(uses_);
    }
    for (auto const& use : ending_) {
        takeBack(*use, EndOfUse::ServiceUnregistered);
    }
    Uses ended; // declared before the lock, so that the objects are destroyed without it
    std::lock_guard const lock(mutex_);
    ended.swap(ending_);
}

void ServiceUses::releaseAllOf(BundleRecord const& user) {
    for (auto left = countOf(user); left > 0; --left) {
        if (auto const ended = takeOneOf(user)) {
            takeBack(*ended, EndOfUse::Released);
        }
    }
}

std::size_t ServiceUses::countOf(BundleRecord const& user) const {
    std::lock_guard const lock(mutex_);
    return static_cast<std::size_t>(std::count_if(
        uses_.begin(), uses_.end(), [&user](auto const& use) { return use->user.get() == &user; }));
}

std::shared_ptr<ServiceUse> ServiceUses::takeOneOf(BundleRecord const& user) {
    std::lock_guard const lock(mutex_);
    auto const found = std::find_if(uses_.begin(), uses_.end(),
                                    [&user](auto const& use) { return use->user.get() == &user; });
    if (found == uses_.end()) {
        return nullptr;
    }
    auto use = std::move(*found);
    uses_.erase(found);
    return use;
}

bool ServiceUses::usedBy(BundleRecord const& user) const {
    auto const isOfUser = [&user](auto const& one) { return one.user.get() == &user; };
    std::lock_guard const lock(mutex_);
    return std::any_of(making_.begin(), making_.end(), isOfUser) ||
           std::any_of(uses_.begin(), uses_.end(), [&](auto const& use) { return isOfUser(*use); });
}

std::vector<std::shared_ptr<BundleRecord>> ServiceUses::users() const {
    std::vector<std::shared_ptr<BundleRecord>> users;
    auto const addThoseOf = [&users](Uses const& uses) {
        for (auto const& use : uses) {
            if (!use->prototype) {
                users.push_back(use->user);
            }
        }
    };
    std::lock_guard const lock(mutex_);
    addThoseOf(uses_);
    addThoseOf(ending_);
    for (auto const& making : making_) {
        users.push_back(making.user);
    }
    return users;
}

std::shared_ptr<ServiceUse> ServiceUses::findWithLock(BundleRecord const& user) const {
    auto const found = std::find_if(uses_.begin(), uses_.end(), [&user](auto const& use) {
        return use->user.get() == &user && !use->prototype;
    });
    return found == uses_.end() ? nullptr : *found;
}

ServiceUses::Making const* ServiceUses::findMakingWithLock(BundleRecord const& user) const {
    auto const found = std::find_if(making_.begin(), making_.end(),
                                    [&user](Making const& making) { return making.user.get() == &user; });
    return found == making_.end() ? nullptr : &*found;
}

// Checked under the lock: once the service or the context is invalid, whoever releases the uses finds all of
// them.
bool ServiceUses::usableWithLock(ContextRecord const& context) const {
    return service_.available() && context.valid();
}

std::shared_ptr<ServiceUse> ServiceUses::addWithLock(ContextRecord const& context, bool prototype,
                                                     std::shared_ptr<ServiceFactory> factory,
                                                     InterfaceMapConstPtr object) {
    uses_.push_back(std::make_shared<ServiceUse>(ServiceUse{
        service_.shared_from_this(), context.bundle(), prototype, std::move(factory), std::move(object)}));
    return uses_.back();
}

InterfaceMapConstPtr ServiceUses::makeObject(ServiceFactory& factory,
                                             std::shared_ptr<BundleRecord> const& user) const {
    auto const core = service_.core();
    if (!core) {
        return nullptr;
    }
    InterfaceMapConstPtr object;
    try {
        object = factory.GetService(Access::bundle(user, *core),
                                    Access::registration(service_.shared_from_this()));
    } catch (...) {
        report(service_, user, "ServiceFactory threw an unknown exception.", asFactoryException());
        return nullptr;
    }
    if (!object || object->empty()) {
        report(service_, user, "ServiceFactory returned an empty or nullptr interface map.",
               ServiceException::FACTORY_ERROR);
        return nullptr;
    }
    if (auto const* const missing = findMissingInterface(*object, service_)) {
        reportMissing(service_, user, *missing);
        return nullptr;
    }
    return object;
}

void ServiceUses::takeBack(ServiceFactory& factory, std::shared_ptr<BundleRecord> const& user,
                           InterfaceMapConstPtr const& object, EndOfUse end) const noexcept {
    auto const core = service_.core();
    if (!core) {
        return;
    }
    try {
        factory.UngetService(Access::bundle(user, *core), Access::registration(service_.shared_from_this()),
                             object);
    } catch (...) {
        if (end == EndOfUse::Released) {
            report(service_, user, "ServiceFactory threw an exception", asFactoryException());
        } else {
            report(service_, service_.registrant(),
                   "ServiceFactory UngetService implementation threw an exception", asFactoryException());
        }
    }
}

void ServiceUses::takeBack(ServiceUse const& use, EndOfUse end) const noexcept {
    if (use.factory) {
        takeBack(*use.factory, use.user, use.object, end);
    }
}

std::shared_ptr<void> holdObject(std::shared_ptr<ServiceUse> const& use, std::string const* interfaceId) {
    auto object = interfaceId ? ExtractInterface(use->object, *interfaceId)
                              : ExtractInterface(use->object, std::string());
    if (!object) {
        use->service->uses().release(use);
        return nullptr;
    }
    return {object.get(), ReleaseUse{use, object}};
}

InterfaceMapConstPtr holdInterfaceMap(std::shared_ptr<ServiceUse> const& use) {
    return {use->object.get(), ReleaseUse{use, use->object}};
}

ServiceReferenceBase referenceHeldBy(std::shared_ptr<void> const& object) {
    auto const* const held = std::get_deleter<ReleaseUse>(object);
    if (!held) {
        throw std::runtime_error("The input is not a CppMicroServices managed ServiceObject");
    }
    return Access::reference(held->use->service);
}

} // namespace cppmicroservices::detail
