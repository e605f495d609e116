// Installing and starting the bundles of a directory.
#include <exception>
#include <stdexcept>

#include <cppmicroservices/Bundle.h>

#include "HostTest.hpp"
#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"

namespace {

using agent::host::installAndStart;
using agent::host::Path;
using cppmicroservices::Bundle;
using host_test::messageOf;
using host_test::symbolicNames;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using testing::ThrowsMessage;

class BundleInstallation : public host_test::HostTest {
protected:
    BundleInstallation() { agent::host::standalone::startFramework(); }

    cppmicroservices::LDAPFilter const withoutActivator{"(bundle.activator=false)"};
};

TEST_F(BundleInstallation, BundlesAreInstalledAndStartedInNameOrder) {
    installation.addBundle("host_test_alpha", "some/bundles", "3.so");
    installation.addBundle("host_test_beta", "some/bundles", "1.so");
    installation.addBundle("host_test_gamma", "some/bundles", "2.so");

    auto const bundles = installAndStart(Path(u"some") / u"bundles");

    EXPECT_THAT(symbolicNames(bundles), ElementsAre("host_test_beta", "host_test_gamma", "host_test_alpha"));
    EXPECT_THAT(probe.events(),
                ElementsAre("start host_test_beta", "start host_test_gamma", "start host_test_alpha"));
}

TEST_F(BundleInstallation, InstallingADirectoryAgainReturnsTheBundlesThatAreThere) {
    installation.addBundle("host_test_alpha", "bundles", "alpha.so");
    auto const first = installAndStart(Path(u"bundles"));

    auto const second = installAndStart(Path(u"bundles"));

    EXPECT_EQ(second, first);
    EXPECT_THAT(probe.events(), ElementsAre("start host_test_alpha"));
}

TEST_F(BundleInstallation, InstallingADirectoryAgainStartsBundlesThatWereStopped) {
    installation.addBundle("host_test_alpha", "bundles", "alpha.so");
    installAndStart(Path(u"bundles")).front().Stop();

    auto const bundles = installAndStart(Path(u"bundles"));

    EXPECT_EQ(bundles.front().GetState(), Bundle::STATE_ACTIVE);
}

TEST_F(BundleInstallation, ABundleAddedToADirectoryIsInstalledByTheNextCall) {
    installation.addBundle("host_test_alpha", "bundles", "alpha.so");
    installAndStart(Path(u"bundles"));
    installation.addBundle("host_test_beta", "bundles", "beta.so");

    auto const bundles = installAndStart(Path(u"bundles"));

    EXPECT_THAT(symbolicNames(bundles), ElementsAre("host_test_alpha", "host_test_beta"));
}

TEST_F(BundleInstallation, OtherFilesArePassedOver) {
    installation.addBundle("host_test_alpha", "bundles", "alpha.so");
    installation.addFile("bundles/README", "text");
    installation.addFile("bundles/.hidden.so", "text");
    installation.addFile("bundles/alpha.so.debug", "text");
    installation.addFile("bundles/directory.so/file", "text");

    EXPECT_THAT(symbolicNames(installAndStart(Path(u"bundles"))), ElementsAre("host_test_alpha"));
}

TEST_F(BundleInstallation, AnEmptyDirectoryHoldsNoBundles) {
    std::filesystem::create_directory(installation.root() / "empty");

    EXPECT_THAT(installAndStart(Path(u"empty")), IsEmpty());
}

TEST_F(BundleInstallation, WithAFilterOnlyMatchingBundlesAreStartedAndTheyComeFirst) {
    installation.addBundle("host_test_alpha", "bundles", "alpha.so");
    installation.addBundle("host_test_declarations", "bundles", "declarations.so");

    auto const [matching, others] = installAndStart(Path(u"bundles"), withoutActivator);

    ASSERT_THAT(symbolicNames(matching), ElementsAre("host_test_declarations"));
    EXPECT_EQ(matching.front().GetState(), Bundle::STATE_ACTIVE);
    ASSERT_THAT(symbolicNames(others), ElementsAre("host_test_alpha"));
    EXPECT_NE(others.front().GetState(), Bundle::STATE_ACTIVE);
    EXPECT_THAT(probe.events(), IsEmpty());
}

TEST_F(BundleInstallation, WithAFilterABundleThatRunsAlreadyGoesOnRunning) {
    installation.addBundle("host_test_alpha", "bundles", "alpha.so");
    installAndStart(Path(u"bundles"));

    auto const [matching, others] = installAndStart(Path(u"bundles"), withoutActivator);

    EXPECT_THAT(matching, IsEmpty());
    ASSERT_THAT(symbolicNames(others), ElementsAre("host_test_alpha"));
    EXPECT_EQ(others.front().GetState(), Bundle::STATE_ACTIVE);
}

TEST_F(BundleInstallation, MissingDirectoryIsAnErrorThatNamesIt) {
    auto const directory = installation.root() / "missing";

    EXPECT_THAT(messageOf([] { installAndStart(Path(u"missing")); }),
                AllOf(HasSubstr(directory.string()), HasSubstr("No such file or directory")));
    EXPECT_THAT(messageOf([this] { installAndStart(Path(u"missing"), withoutActivator); }),
                HasSubstr(directory.string()));
}

TEST_F(BundleInstallation, FileThatIsNoBundleIsAnErrorThatNamesItBeforeAnyBundleIsStarted) {
    installation.addBundle("host_test_alpha", "bundles", "alpha.so");
    installation.addFile("bundles/text.so", "no shared library");

    EXPECT_THAT(messageOf([] { installAndStart(Path(u"bundles")); }),
                HasSubstr((installation.root() / "bundles/text.so").string()));
    EXPECT_THAT(probe.events(), IsEmpty());
}

TEST_F(BundleInstallation, SharedLibraryWithoutAManifestIsAnErrorThatNamesIt) {
    auto const file = installation.root() / "bundles/library.so";
    std::filesystem::create_directory(file.parent_path());
    std::filesystem::create_symlink(HOST_TEST_PLAIN_LIBRARY, file);

    EXPECT_THAT(messageOf([] { installAndStart(Path(u"bundles")); }), HasSubstr(file.string()));
}

TEST_F(BundleInstallation, DanglingLinkIsAnErrorThatNamesIt) {
    auto const file = installation.root() / "bundles/dangling.so";
    std::filesystem::create_directory(file.parent_path());
    std::filesystem::create_symlink("nowhere", file);

    EXPECT_THAT(messageOf([] { installAndStart(Path(u"bundles")); }), HasSubstr(file.string()));
}

TEST_F(BundleInstallation, ActivatorThatThrowsIsAnErrorThatNamesItsBundleAndTheReason) {
    installation.addBundle("host_test_alpha", "bundles", "alpha.so");
    probe.onReport([](std::string const&) { throw std::runtime_error("out of coffee"); });

    EXPECT_THAT(messageOf([] { installAndStart(Path(u"bundles")); }),
                AllOf(HasSubstr((installation.root() / "bundles/alpha.so").string()),
                      HasSubstr("host_test_alpha"), HasSubstr("out of coffee")));
}

TEST_F(BundleInstallation, WhatTheFrameworkThrewIsNestedInTheError) {
    installation.addBundle("host_test_alpha", "bundles", "alpha.so");
    probe.onReport([](std::string const&) { throw std::invalid_argument("out of coffee"); });

    auto const nested = [] {
        try {
            installAndStart(Path(u"bundles"));
        } catch (std::nested_exception const& error) {
            error.rethrow_nested();
        }
    };
    EXPECT_THAT(nested,
                ThrowsMessage<std::runtime_error>(AllOf(StartsWith("Bundle"), HasSubstr("out of coffee"))));
}

TEST_F(BundleInstallation, WhatTheFrameworkThrewAtAnInstallationIsNestedInTheError) {
    installation.addFile("bundles/text.so", "no shared library");

    auto const nested = [] {
        try {
            installAndStart(Path(u"bundles"));
        } catch (std::nested_exception const& error) {
            error.rethrow_nested();
        }
    };
    EXPECT_THAT(nested, ThrowsMessage<std::runtime_error>(Not(StartsWith("cannot install the bundle"))));
}

TEST_F(BundleInstallation, ActivatorMayInstallAnotherDirectory) {
    installation.addBundle("host_test_alpha", "outer", "alpha.so");
    installation.addBundle("host_test_beta", "inner", "beta.so");
    probe.onReport([](std::string const& event) {
        if (event == "start host_test_alpha") {
            installAndStart(Path(u"inner"));
        }
    });

    installAndStart(Path(u"outer"));

    EXPECT_THAT(probe.events(), ElementsAre("start host_test_alpha", "start host_test_beta"));
}

TEST_F(BundleInstallation, WithoutAFrameworkItIsAnErrorThatNamesTheDirectory) {
    agent::host::standalone::stopFramework();

    EXPECT_THAT(messageOf([] { installAndStart(Path(u"bundles")); }),
                AllOf(HasSubstr((installation.root() / "bundles").string()), HasSubstr("not running")));
}

TEST_F(BundleInstallation, DirectoryNamesMayUseAnyCharacter) {
    installation.addBundle("host_test_alpha", "b\xc3\xbcndel \xf0\x9d\x84\x9e", "alpha.so");

    EXPECT_THAT(symbolicNames(installAndStart(Path(u"b\u00fcndel \U0001d11e"))),
                ElementsAre("host_test_alpha"));
}

TEST_F(BundleInstallation, UnpairedSurrogatesAreRejectedWithTheirPosition) {
    auto const message = HasSubstr("unpaired surrogate at index 3, after 'abc'");

    EXPECT_THAT(messageOf([] { installAndStart(Path(u"abc\xd834")); }), message);
    EXPECT_THAT(messageOf([] { installAndStart(Path(u"abc\xd834x")); }), message);
    EXPECT_THAT(messageOf([] { installAndStart(Path(u"abc\xdd1e")); }), message);
}

TEST_F(BundleInstallation, NullCharactersAreRejectedWithTheirPosition) {
    EXPECT_THAT(messageOf([] { installAndStart(Path(std::u16string(u"ab\0c", 4))); }),
                HasSubstr("null character at index 2, after 'ab'"));
}

} // namespace
