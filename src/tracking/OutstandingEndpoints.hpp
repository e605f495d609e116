// The endpoints of one publisher that are still to be bound, or still to be connected.
#ifndef TRACKING_OUTSTANDING_ENDPOINTS_HPP
#define TRACKING_OUTSTANDING_ENDPOINTS_HPP

#include <bitset>
#include <cstddef>
#include <memory>
#include <vector>

#include <cppmicroservices/Any.h>

namespace agent::spf::frameworksetup {

class IndexedEndpoints;

// A list from which endpoints only leave. `Any` equality decides what an endpoint is; an empty one equals
// nothing, nor does one whose comparison throws. A short list is searched; a long one has an index. Not
// thread safe.
class OutstandingEndpoints {
public:
    explicit OutstandingEndpoints(std::vector<cppmicroservices::Any> listed);
    ~OutstandingEndpoints();

    bool empty() const noexcept;

    // Removes every occurrence of the endpoint and returns whether there was one. Never throws.
    bool remove(cppmicroservices::Any const& endpoint) noexcept;

    // Copies of those that are left, in the order in which they were listed.
    std::vector<cppmicroservices::Any> list() const;

private:
    // Up to this length searching the list is no slower than looking into an index, and there is none to
    // make.
    static constexpr std::size_t searchedLength = 12;

    template <typename IsRemoved>
    bool removeIf(IsRemoved const& isRemoved) noexcept;

    // A short list stays as it is, those that are removed in it: to move the others up takes longer than to
    // find one.
    std::vector<cppmicroservices::Any> endpoints;
    std::bitset<searchedLength> outstanding;   // which of them are left
    std::unique_ptr<IndexedEndpoints> indexed; // what is left of a long list; null for a short one
};

} // namespace agent::spf::frameworksetup

#endif
