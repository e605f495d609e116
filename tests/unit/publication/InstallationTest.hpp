// The fixture of the installation's tests.
#ifndef TESTS_UNIT_PUBLICATION_INSTALLATION_TEST_HPP
#define TESTS_UNIT_PUBLICATION_INSTALLATION_TEST_HPP

#include <exception>
#include <string>
#include <vector>

#include "publication/BundlesTest.hpp"
#include "publication/installAndStartMicroServices.hpp"
#include "support/installationCalls.hpp"

namespace agent::spf::frameworksetup::test {

class InstallationTest : public BundlesTest {
protected:
    static constexpr char const* firstDirectory = "bin/darwinarm64/spf/serialisationproviders";
    static constexpr char const* laterDirectory = "bin/darwinarm64/spf/clients";
    static constexpr char const* lastDirectory = "bin/darwinarm64/spf/serviceproviders";

    // What was recorded so far.
    static std::vector<std::string> installations() { return callLog().callsOf("installAndStart"); }
    static std::vector<std::string> starts() { return callLog().callsOf("start "); }

    // The message of the exception that installing throws.
    static std::string messageOfInstalling() { return messageOf(installAndStartMicroServices); }

    template <typename Call>
    static std::string messageOf(Call const& call) {
        try {
            call();
        } catch (std::exception const& error) {
            return error.what();
        }
        return "nothing was thrown";
    }
};

} // namespace agent::spf::frameworksetup::test

#endif
