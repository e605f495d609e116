// The directory in which the processes of one user announce themselves to each other.
#ifndef AGENT_SPF_BUNDLES_DISCOVERY_RUNTIME_DIRECTORY_HPP
#define AGENT_SPF_BUNDLES_DISCOVERY_RUNTIME_DIRECTORY_HPP

#include <filesystem>

#include <cppmicroservices/Any.h>

namespace agent::spf::bundles::discovery {

// The framework property that names the directory.
inline constexpr char const* runtimeDirectoryProperty = "qo.spf.runtimedirectory";

// The directory to use, as an absolute path: the property's value if that is a string, else "spf" below
// $XDG_RUNTIME_DIR, else "spf-<uid>" in /tmp, of the user whose rights the process has. A program that has
// the rights of another user than the one who started it does not ask the environment, which is the latter's.
std::filesystem::path runtimeDirectory(cppmicroservices::Any const& property);

// Makes the directory, mode 0700, if it is not there. Throws std::runtime_error, naming the directory, when
// it cannot be made, or when it is no directory, belongs to another user, or lets others write in it.
void prepareRuntimeDirectory(std::filesystem::path const& directory);

} // namespace agent::spf::bundles::discovery

#endif
