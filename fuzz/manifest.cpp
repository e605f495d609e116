// Any text as a bundle's manifest: refused with a std::runtime_error, or read.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "framework/Manifest.hpp"
#include "require.hpp"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    using namespace cppmicroservices::detail;
    std::string const text(reinterpret_cast<char const*>(data), size);
    try {
        auto const manifest = interpretHeaders(nameIn(parseHeaders(text)), "x", parseHeaders(text));
        require(!manifest.symbolicName.empty(), "a bundle has a name");
        require(manifest.headers.count("bundle.symbolic_name") == 1, "the name is among the headers");
    } catch (std::runtime_error const& error) {
        require(error.what()[0] != '\0', "a refusal says why");
    }
    return 0;
}
