// Bundles, their manifests and what they say about themselves, for random operations on frameworks.
#ifndef TESTS_MICROSERVICES_RANDOM_BUNDLES_HPP
#define TESTS_MICROSERVICES_RANDOM_BUNDLES_HPP

#include "Random.hpp"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/FrameworkEvent.h>

#include <sstream>
#include <string>
#include <vector>

namespace randomised {

// Where the frameworks of this process store files.
std::string storageDirectory();

// Without the directories, which differ between processes.
std::string withoutDirectory(std::string text);

// Without what is wrong with a file that is no bundle: how a bundle is packed differs between the providers.
std::string withoutReason(std::string const& text);

// Where a test bundle lies, or something that is no bundle. Not the location of the system bundle, with
// which the installed provider crashes.
std::string randomLocation(Random& random);

// Mostly empty; otherwise manifests to take in place of the file's, good or bad.
cppmicroservices::AnyMap randomManifests(Random& random);

template <class Value>
std::string streamed(Value const& value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

// The name and the identifier.
std::string nameOf(cppmicroservices::Bundle const& bundle);
std::string namesOf(std::vector<cppmicroservices::Bundle> const& bundles);

// Everything but the services.
std::string describeBundle(cppmicroservices::Bundle const& bundle);

std::string describeEvent(cppmicroservices::FrameworkEvent const& event);

} // namespace randomised

#endif
