// A listener's reference to itself, for the time in which it handles an event.
#ifndef TRACKING_SELF_REFERENCE_HPP
#define TRACKING_SELF_REFERENCE_HPP

#include <memory>

namespace agent::spf::frameworksetup {

class FrameworkSetupListener;

// A report may wake a client that then drops the listener, and the callback may unregister it. So the
// listener, and with it its trackers, must be kept alive from before the report takes effect until the event
// is handled. Counting references costs more than finding an endpoint, hence not for the thousands of events
// that finish nothing.
class SelfReference {
public:
    // Of a tracker without a listener: keeps nothing alive.
    SelfReference() = default;
    explicit SelfReference(FrameworkSetupListener& handlingListener)
        : listener(&handlingListener) {}
    SelfReference(SelfReference const&) = delete;
    SelfReference& operator=(SelfReference const&) = delete;

    // From now on the listener lives as long as this does, if a shared pointer owns it.
    void take() noexcept;

private:
    FrameworkSetupListener* listener = nullptr;
    std::shared_ptr<FrameworkSetupListener> kept;
};

} // namespace agent::spf::frameworksetup

#endif
