// Which directory it is, and whether it is safe to use.
#include "agent/spf/bundles/discovery/RuntimeDirectory.hpp"

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

namespace agent::spf::bundles::discovery {

std::filesystem::path runtimeDirectory(cppmicroservices::Any const& property) {
    if (property.Type() == typeid(std::string)) {
        // Whole, since other processes read it in the endpoints that are announced.
        return std::filesystem::absolute(cppmicroservices::any_cast<std::string>(property));
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment
    if (auto const* const base = ::secure_getenv("XDG_RUNTIME_DIR"); base != nullptr && *base == '/') {
        return std::filesystem::path(base) / "spf";
    }
    return "/tmp/spf-" + std::to_string(::geteuid());
}

void prepareRuntimeDirectory(std::filesystem::path const& directory) {
    auto const fail = [&directory](std::string const& reason) {
        throw std::runtime_error("runtime directory " + directory.string() + ": " + reason);
    };
    std::error_code error;
    std::filesystem::create_directories(directory.parent_path(), error); // what is wrong shows below
    if (::mkdir(directory.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
        fail(std::system_category().message(errno));
    }
    struct stat status {};
    if (::lstat(directory.c_str(), &status) != 0) {
        fail(std::system_category().message(errno));
    }
    if (!S_ISDIR(status.st_mode)) {
        fail("not a directory");
    }
    if (status.st_uid != ::geteuid()) {
        fail("it belongs to another user");
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        fail("other users may write in it");
    }
}

} // namespace agent::spf::bundles::discovery
