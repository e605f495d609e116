// What becomes of the memory that a scheduled program frees.
#ifndef TESTS_RELIABILITY_INTERLEAVING_ALLOCATION_HPP
#define TESTS_RELIABILITY_INTERLEAVING_ALLOCATION_HPP

#include <cstddef>

namespace interleaving {

// From beginHolding() to the next releaseHeld() freed memory is filled with a pattern and held back, so that
// whatever touches it is found out: releaseHeld() returns whether the pattern is whole. With
// AddressSanitizer, which sees more, nothing is held back.
void beginHolding();
bool releaseHeld();

// Whether all of it is filled with the pattern.
bool isFreed(void const* memory, std::size_t size);

// The pieces of memory that operator new has given out and that have not come back. Not counted with
// AddressSanitizer, whose leak detection does.
std::size_t livePieces();

} // namespace interleaving

#endif
