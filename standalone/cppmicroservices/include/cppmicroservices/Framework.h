// The framework: the system bundle, which starts and stops all others.
#ifndef CPPMICROSERVICES_FRAMEWORK_H
#define CPPMICROSERVICES_FRAMEWORK_H

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/FrameworkConfig.h"

#include <chrono>
#include <memory>

namespace cppmicroservices {

class FrameworkEvent;
class FrameworkFactory;

// A handle to a framework, which is the bundle with the identifier 0 and the location "System Bundle".
// Thread safe.
//
// Start() initialises the framework if need be, makes it active and delivers FRAMEWORK_STARTED; it does
// nothing if the framework is active. Stop() returns at once; on another thread all bundles are stopped in
// the reverse order of their locations, those of one location in that of their installation, their services
// are unregistered, and all contexts become invalid.
// Bundles are not carried over into the next run. Uninstall() always throws std::runtime_error.
class US_Framework_EXPORT Framework : public Bundle {
public:
    // \throws std::logic_error if `b` is not a framework
    // \throws std::invalid_argument if `b` is invalid
    explicit Framework(Bundle b);
    Framework(Framework const& fw);
    Framework(Framework&& fw) noexcept;
    Framework& operator=(Framework const& fw);
    Framework& operator=(Framework&& fw) noexcept;

    // Gives the framework a context and a new FRAMEWORK_UUID, so that bundles can be installed, and makes it
    // starting. Does nothing if it is starting, active or stopping.
    void Init();

    // Waits until the framework has stopped; zero waits without end. Returns at once if it is not running.
    // \return FRAMEWORK_STOPPED, FRAMEWORK_WAIT_TIMEDOUT, or FRAMEWORK_ERROR if it has never run
    FrameworkEvent WaitForStop(std::chrono::milliseconds const& timeout);

private:
    friend class FrameworkFactory;
    explicit Framework(std::shared_ptr<detail::FrameworkCore> core);
};

} // namespace cppmicroservices

#endif
