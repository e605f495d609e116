// How the test's bundles tell the test that they are started and stopped.
#ifndef TESTS_UNIT_PUBLICATION_BUNDLES_ACTIVATOR_LISTENER_HPP
#define TESTS_UNIT_PUBLICATION_BUNDLES_ACTIVATOR_LISTENER_HPP

#include <string>

namespace agent::spf::frameworksetup::test {

// A service that the test registers before it starts the bundles. What an operation throws, the activator
// throws.
class __attribute__((visibility("default"))) ActivatorListener {
public:
    virtual ~ActivatorListener() = default;
    virtual void started(std::string const& symbolicName) = 0;
    virtual void stopped(std::string const& symbolicName) = 0;
};

} // namespace agent::spf::frameworksetup::test

#endif
