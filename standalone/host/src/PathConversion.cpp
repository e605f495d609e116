// From the host's path type to a path of the file system.
#include "PathConversion.hpp"

#include <cstddef>
#include <iterator>
#include <stdexcept>
#include <string>

#include <boost/locale/utf.hpp>

namespace agent::host::standalone {

namespace {

using Utf8 = boost::locale::utf::utf_traits<char>;
using Utf16 = boost::locale::utf::utf_traits<char16_t>;

[[noreturn]] void rejectPath(std::string const& reason, std::ptrdiff_t index, std::string const& before) {
    throw std::runtime_error("cannot use a path that " + reason + " at index " + std::to_string(index) +
                             ", after '" + before + "'");
}

} // namespace

std::filesystem::path toFilesystemPath(Path const& path) {
    std::u16string const& text = path.text();
    std::string converted;
    for (auto position = text.begin(); position != text.end();) {
        auto const index = std::distance(text.begin(), position);
        auto const codePoint = Utf16::decode(position, text.end());
        if (codePoint == boost::locale::utf::illegal || codePoint == boost::locale::utf::incomplete) {
            rejectPath("is not well-formed UTF-16: unpaired surrogate", index, converted);
        }
        if (codePoint == 0) {
            rejectPath("contains a null character", index, converted);
        }
        Utf8::encode(codePoint, std::back_inserter(converted));
    }
    return std::filesystem::path(converted);
}

} // namespace agent::host::standalone
