// The property map that the library publishes for a configuration.
#include "show/publishedMap.hpp"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include <nlohmann/json.hpp>

#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"
#include "agent/spf/bundles/json/JsonSerialiser.hpp"
#include "run/frameworkConfigurations.hpp"
#include "run/publishing.hpp"

namespace agent::program {

namespace {

namespace filesystem = std::filesystem;

// The signals that end the process arrive when this ends: not before what is to be removed has been. To be
// made before any other thread.
class SignalsHeldBack {
public:
    SignalsHeldBack() {
        sigset_t signals;
        sigemptyset(&signals);
        for (auto const signal : {SIGINT, SIGTERM, SIGHUP}) {
            sigaddset(&signals, signal);
        }
        pthread_sigmask(SIG_BLOCK, &signals, &before_);
    }
    ~SignalsHeldBack() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsHeldBack(SignalsHeldBack const&) = delete;
    SignalsHeldBack& operator=(SignalsHeldBack const&) = delete;

private:
    sigset_t before_{};
};

// An installation like another one, but with empty bundle directories: only Configuration Admin is the
// other's.
class InertInstallation {
public:
    explicit InertInstallation(filesystem::path const& installation)
        : InertInstallation() { // from here on the destructor runs, also when the rest fails
        filesystem::path const bundles = SPF_BUNDLE_DIRECTORY;
        std::error_code error;
        filesystem::directory_iterator const directories(installation / bundles, error);
        if (error) {
            throw std::runtime_error("cannot read the bundle directory '" +
                                     (installation / bundles).string() + "': " + error.message());
        }
        for (auto const& entry : directories) {
            filesystem::create_directories(root_ / bundles / entry.path().filename());
        }
        filesystem::path const microservices = SPF_MICROSERVICES_BUNDLE_DIRECTORY;
        filesystem::create_directories((root_ / microservices).parent_path());
        filesystem::create_directory_symlink(installation / microservices, root_ / microservices);
    }
    ~InertInstallation() {
        std::error_code ignored;
        filesystem::remove_all(root_, ignored);
    }
    InertInstallation(InertInstallation const&) = delete;
    InertInstallation& operator=(InertInstallation const&) = delete;

    filesystem::path const& root() const { return root_; }

private:
    InertInstallation()
        : root_(makeDirectory()) {}

    static filesystem::path makeDirectory() {
        std::error_code error;
        auto name = (filesystem::temp_directory_path(error) / "spf-agent-show.XXXXXX").string();
        if (error) {
            throw std::system_error(error, "cannot use the directory for temporary files (TMPDIR)");
        }
        if (mkdtemp(name.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), "cannot make the directory " + name);
        }
        return name;
    }

    filesystem::path const root_;
};

class StoppedAtEnd {
public:
    StoppedAtEnd() = default;
    ~StoppedAtEnd() {
        try {
            host::standalone::stopFramework();
        } catch (std::exception const&) {
            // The system has no thread left for it. The map is right all the same, and the process ends soon.
        }
    }
    StoppedAtEnd(StoppedAtEnd const&) = delete;
    StoppedAtEnd& operator=(StoppedAtEnd const&) = delete;
};

} // namespace

std::string publishedMap(ConfigurationFile const& configuration) {
    SignalsHeldBack const signals;
    InertInstallation const installation(host::standalone::installationRoot());
    host::standalone::setInstallationRoot(installation.root());
    StoppedAtEnd const stopped;
    auto const published = publish(configuration);
    auto const context = host::getFramework()->GetBundleContext();
    auto const map = frameworkConfigurations(context).at(published.getConfigurationID());
    auto const json = spf::bundles::json::JsonSerialiser().serialise(map);
    return nlohmann::json::parse(json).dump(2);
}

} // namespace agent::program
