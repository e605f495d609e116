// Where the installation lies.
#include <mutex>
#include <optional>

#include "agent/host/standalone/StandaloneHost.hpp"

namespace agent::host::standalone {

namespace {

struct Root {
    std::mutex mutex; // guards path
    std::optional<std::filesystem::path> path;
};

Root& root() {
    static auto* const instance =
        new Root; // never destroyed: usable by every thread until the process is gone
    return *instance;
}

std::filesystem::path parentOfProgramDirectory() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
}

} // namespace

void setInstallationRoot(std::filesystem::path const& path) {
    auto absolute = std::filesystem::absolute(path); // as it is: ".." after a link leads elsewhere
    std::lock_guard const lock(root().mutex);
    root().path = std::move(absolute);
}

std::filesystem::path installationRoot() {
    std::lock_guard const lock(root().mutex);
    if (!root().path) {
        root().path = parentOfProgramDirectory();
    }
    return *root().path;
}

} // namespace agent::host::standalone
