// How much memory is asked for at once.
#ifndef CPPMICROSERVICES_SRC_VALUES_QUICKBLOCK_HPP
#define CPPMICROSERVICES_SRC_VALUES_QUICKBLOCK_HPP

#include <cstddef>

namespace cppmicroservices::detail {

// Before the C library's allocator hands out more bytes than these, it merges all small blocks that were
// given back, and has to cut them up again for the next texts (glibc, malloc/malloc.c: a request below
// MIN_LARGE_SIZE less the header of a block). So maps that are made of smaller blocks are made and copied
// in less time, though there are more of them.
inline constexpr std::size_t largestQuickBlock = 1008;

} // namespace cppmicroservices::detail

#endif
