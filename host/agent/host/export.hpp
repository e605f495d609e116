// Export macro of the host's library.
#ifndef AGENT_HOST_EXPORT_HPP
#define AGENT_HOST_EXPORT_HPP

// Marks what the host defines and other libraries call.
#define AGENT_HOST_EXPORT __attribute__((visibility("default")))

#endif
