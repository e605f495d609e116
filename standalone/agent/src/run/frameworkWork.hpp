// What a session does with the service framework on a thread of its own.
#ifndef AGENT_PROGRAM_RUN_FRAMEWORK_WORK_HPP
#define AGENT_PROGRAM_RUN_FRAMEWORK_WORK_HPP

#include <functional>

#include "run/Message.hpp"

namespace agent::program {

// Does the work and then stops the framework. Tells what either throws: ConfigurationFailed; in the end
// FrameworkStopped.
void workAndStopFramework(std::function<void()> const& work, MessageBox& messages);

} // namespace agent::program

#endif
