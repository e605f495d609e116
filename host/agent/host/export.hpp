// Export macro of the host's library: marks what the host defines and other libraries call.
#ifndef AGENT_HOST_EXPORT_HPP
#define AGENT_HOST_EXPORT_HPP

#define AGENT_HOST_EXPORT __attribute__((visibility("default")))

#endif
