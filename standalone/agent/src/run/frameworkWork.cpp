// What a session does with the service framework on a thread of its own.
#include "run/frameworkWork.hpp"

#include <exception>
#include <optional>

#include "agent/host/standalone/StandaloneHost.hpp"

namespace agent::program {

void workAndStopFramework(std::function<void()> const& work, MessageBox& messages) {
    // A framework cannot be stopped either when the system has no thread left for it.
    for (auto const& step : {work, std::function<void()>(host::standalone::stopFramework)}) {
        try {
            step();
        } catch (std::exception const& error) {
            messages.put(ConfigurationFailed{error.what(), std::nullopt});
        }
    }
    messages.put(FrameworkStopped{});
}

} // namespace agent::program
