// Reads the manifest out of a bundle's file, without loading it.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_BUNDLEFILE_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_BUNDLEFILE_HPP

#include <optional>
#include <string>
#include <string_view>

namespace cppmicroservices::detail {

// The contents of the section `name` of an ELF image for machines of this kind; nothing if it has no such
// section. The result lies in `image`. \throws std::runtime_error, saying why, if `image` is no such image
std::optional<std::string_view> findElfSection(std::string_view image, std::string_view name);

// The manifest text of the shared library or program `path`; nothing if it carries none.
// \throws std::runtime_error, with path and reason, if the file cannot be read or is neither
std::optional<std::string> readManifestText(std::string const& path);

} // namespace cppmicroservices::detail

#endif
