// From the host's path type to a path of the file system.
#ifndef AGENT_HOST_STANDALONE_PATH_CONVERSION_HPP
#define AGENT_HOST_STANDALONE_PATH_CONVERSION_HPP

#include <filesystem>

#include "agent/host/Path.hpp"

namespace agent::host::standalone {

// The path in UTF-8. Throws std::runtime_error, which says what is wrong and where, when the text is not
// well-formed UTF-16 or contains a null character: neither can name a file.
std::filesystem::path toFilesystemPath(Path const& path);

} // namespace agent::host::standalone

#endif
