// The host's path type.
#include "agent/host/Path.hpp"

#include <utility>

namespace agent::host {

Path::Path(std::u16string text)
    : text_(std::move(text)) {}

Path& Path::operator/=(std::u16string_view component) {
    std::u16string appended(component); // a copy, for it may be part of the text that grows
    if (!text_.empty()) {
        appended.insert(appended.begin(), u'/');
    }
    text_ += appended;
    return *this;
}

bool Path::empty() const noexcept {
    return text_.empty();
}

std::u16string const& Path::text() const noexcept {
    return text_;
}

} // namespace agent::host
