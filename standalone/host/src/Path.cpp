// The host's path type.
#include "agent/host/Path.hpp"

#include <utility>

namespace agent::host {

Path::Path(std::u16string text)
    : text_(std::move(text)) {}

Path& Path::operator/=(std::u16string_view component) {
    if (!text_.empty()) {
        text_ += u'/';
    }
    text_ += component;
    return *this;
}

bool Path::empty() const noexcept {
    return text_.empty();
}

std::u16string const& Path::text() const noexcept {
    return text_;
}

} // namespace agent::host
