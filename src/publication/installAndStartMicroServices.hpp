// Installation and start of the service framework's bundles.
#ifndef PUBLICATION_INSTALL_AND_START_MICRO_SERVICES_HPP
#define PUBLICATION_INSTALL_AND_START_MICRO_SERVICES_HPP

namespace agent::spf::frameworksetup {

// Sees to it that the SPF bundles are installed in the host's framework and started, once per framework
// instance however many threads call. The first caller installs; whoever calls meanwhile waits until that
// ends, well or badly; later callers start again what somebody may have stopped. A call from code that a
// starting bundle runs, on the thread that starts it, returns at once. Throws what the host and
// CppMicroServices throw; after a failed installation the next call installs again.
void installAndStartMicroServices();

} // namespace agent::spf::frameworksetup

#endif
