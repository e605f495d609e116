// What a listener is removed with.
#ifndef CPPMICROSERVICES_LISTENERTOKEN_H
#define CPPMICROSERVICES_LISTENERTOKEN_H

#include "cppmicroservices/FrameworkExport.h"

#include <cstdint>

namespace cppmicroservices {

namespace detail {
struct Access;
}

using ListenerTokenId = std::uint64_t;

// Names one registered listener of any kind. Move-only; destroying a token leaves its listener registered,
// which then stays until the bundle that added it stops. Not thread safe.
class US_Framework_EXPORT ListenerToken {
public:
    // Names no listener; removing it does nothing. Moved-from tokens are the same.
    ListenerToken();
    ListenerToken(ListenerToken const&) = delete;
    ListenerToken& operator=(ListenerToken const&) = delete;
    ListenerToken(ListenerToken&& other) noexcept;
    ListenerToken& operator=(ListenerToken&& other) noexcept;

    // Whether this token names a listener; the listener may have been removed meanwhile.
    explicit operator bool() const;

private:
    friend struct detail::Access;
    explicit ListenerToken(ListenerTokenId id);

    ListenerTokenId id_ = 0;
};

} // namespace cppmicroservices

#endif
