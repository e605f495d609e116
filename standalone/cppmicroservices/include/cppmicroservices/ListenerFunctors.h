// The kinds of event listener that a bundle context takes.
#ifndef CPPMICROSERVICES_LISTENERFUNCTORS_H
#define CPPMICROSERVICES_LISTENERFUNCTORS_H

#include "cppmicroservices/FrameworkExport.h"
#include "cppmicroservices/GlobalConfig.h"

#include <cstddef>
#include <functional>

namespace cppmicroservices {

class ServiceEvent;
class BundleEvent;
class FrameworkEvent;

// Listeners run on the thread that causes the event, before the call that causes it returns, and with no
// lock of the framework held: a listener may call anything, and several threads may call it at once. A
// listener that throws disturbs nothing else; the exception is reported as a FrameworkEvent of type
// FRAMEWORK_ERROR, unless a framework listener itself threw it.
using ServiceListener = std::function<void(ServiceEvent const&)>;
using BundleListener = std::function<void(BundleEvent const&)>;
using FrameworkListener = std::function<void(FrameworkEvent const&)>;

namespace detail {
// A member function bound as a listener, comparable, so that the listener can be found again.
template <class R, class Event>
struct MemberListener {
    void operator()(Event const& event) const { (receiver->*callback)(event); }
    bool isIn(std::function<void(Event const&)> const& listener) const {
        auto const* const other = listener.template target<MemberListener>();
        return other && other->receiver == receiver && other->callback == callback;
    }

    R* receiver;
    void (R::*callback)(Event const&);
};
} // namespace detail

// Binds a member function as a listener. `receiver` must outlive the listener's registration.
template <class R>
US_DEPRECATED ServiceListener ServiceListenerMemberFunctor(R* receiver,
                                                           void (R::*callback)(ServiceEvent const&)) {
    return detail::MemberListener<R, ServiceEvent>{receiver, callback};
}

template <class R>
US_DEPRECATED BundleListener BundleListenerMemberFunctor(R* receiver,
                                                         void (R::*callback)(BundleEvent const&)) {
    return detail::MemberListener<R, BundleEvent>{receiver, callback};
}

template <class R>
US_DEPRECATED FrameworkListener BindFrameworkListenerToFunctor(R* receiver,
                                                               void (R::*callback)(FrameworkEvent const&)) {
    return detail::MemberListener<R, FrameworkEvent>{receiver, callback};
}

} // namespace cppmicroservices

#endif
