// The host's path type: UTF-16 text that is built by appending components.
#ifndef AGENT_HOST_PATH_HPP
#define AGENT_HOST_PATH_HPP

#include <string>
#include <string_view>

#include "agent/host/export.hpp"

namespace agent::host {

// A path as the host understands it: components joined by '/'. What a relative path is resolved against is
// the business of the operation that takes it.
//
// Distinct objects may be used by different threads; one object may be read by several threads at once.
// An empty path and a moved-from path hold no component.
class AGENT_HOST_EXPORT Path {
public:
    Path() = default;

    // Takes the text as it is, UTF-16, components joined by '/'.
    explicit Path(std::u16string text);

    // Appends one component, with a '/' before it unless the path is empty.
    Path& operator/=(std::u16string_view component);

    // Whether it holds no component, and the text as it stands.
    bool empty() const noexcept;
    std::u16string const& text() const noexcept;

    // A path with one component more; whether two paths have the same text.
    friend Path operator/(Path left, std::u16string_view right) {
        left /= right;
        return left;
    }
    friend bool operator==(Path const& left, Path const& right) { return left.text() == right.text(); }

private:
    std::u16string text_;
};

} // namespace agent::host

#endif
