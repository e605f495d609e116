// Operators new and delete of the programs under the scheduler.
#include "allocation.hpp"

#include "sanitizers.hpp"

#ifdef INTERLEAVING_ADDRESS_SANITIZER

namespace interleaving {

void beginHolding() {}
bool releaseHeld() {
    return true;
}
bool isFreed(void const*, std::size_t) {
    return false;
}
std::size_t livePieces() {
    return 0;
}

} // namespace interleaving

#else

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include <malloc.h>

namespace interleaving {

namespace {

constexpr auto pattern = static_cast<unsigned char>(0xDD);

struct Piece {
    unsigned char* memory;
    std::size_t size;
};

// Not in vectors: these serve operator delete itself.
constexpr std::size_t mostHeld = 1 << 16;
Piece held[mostHeld];
std::size_t heldCount = 0;
bool holding = false;
std::size_t live = 0;

bool isFilled(unsigned char const* memory, std::size_t size) {
    return std::all_of(memory, memory + size, [](unsigned char byte) { return byte == pattern; });
}

} // namespace

void beginHolding() {
    holding = true;
}

bool releaseHeld() {
    holding = false;
    auto whole = true;
    for (; heldCount > 0; --heldCount) {
        auto const& piece = held[heldCount - 1];
        whole = isFilled(piece.memory, piece.size) && whole;
        std::free(piece.memory);
    }
    return whole;
}

bool isFreed(void const* memory, std::size_t size) {
    return isFilled(static_cast<unsigned char const*>(memory), size);
}

std::size_t livePieces() {
    return live;
}

} // namespace interleaving

void* operator new(std::size_t size) {
    auto* const memory = std::malloc(size == 0 ? 1 : size);
    if (!memory) {
        throw std::bad_alloc();
    }
    ++interleaving::live;
    return memory;
}

void operator delete(void* memory) noexcept {
    using namespace interleaving;
    if (!memory) {
        return;
    }
    --live;
    if (!holding || heldCount == mostHeld) {
        std::free(memory);
        return;
    }
    auto const size = ::malloc_usable_size(memory);
    std::memset(memory, pattern, size);
    held[heldCount++] = {static_cast<unsigned char*>(memory), size};
}

void operator delete(void* memory, std::size_t) noexcept {
    operator delete(memory);
}

#endif
