// The replaced operator new, and the book that a recorder keeps.
#include "support/AllocationRecorder.hpp"

#include <cstdlib>
#include <new>
#include <stdexcept>
#include <unordered_map>

namespace spf::bench {

namespace {

// The book must not be recorded itself.
template <typename T>
struct MallocAllocator {
    using value_type = T;
    MallocAllocator() = default;
    template <typename U>
    MallocAllocator(MallocAllocator<U> const&) {}
    T* allocate(std::size_t count) {
        if (auto* const memory = static_cast<T*>(std::malloc(count * sizeof(T)))) {
            return memory;
        }
        throw std::bad_alloc();
    }
    void deallocate(T* memory, std::size_t) { std::free(memory); }
    bool operator==(MallocAllocator const&) const { return true; }
    bool operator!=(MallocAllocator const&) const { return false; }
};

struct Book {
    std::size_t allocations = 0;
    std::size_t bytesKept = 0;
    std::unordered_map<void*, std::size_t, std::hash<void*>, std::equal_to<>,
                       MallocAllocator<std::pair<void* const, std::size_t>>>
        sizes;
};

thread_local Book* book = nullptr;

void* allocate(std::size_t size) {
    auto* const memory = std::malloc(size == 0 ? 1 : size);
    if (!memory) {
        throw std::bad_alloc();
    }
    if (book) {
        ++book->allocations;
        book->bytesKept += size;
        book->sizes[memory] = size;
    }
    return memory;
}

void release(void* memory) noexcept {
    if (book) {
        auto const found = book->sizes.find(memory);
        if (found != book->sizes.end()) {
            book->bytesKept -= found->second;
            book->sizes.erase(found);
        }
    }
    std::free(memory);
}

} // namespace

AllocationRecorder::AllocationRecorder() {
    if (book) {
        throw std::logic_error("AllocationRecorder: the thread has one already");
    }
    book = new (MallocAllocator<Book>().allocate(1)) Book();
}

AllocationRecorder::~AllocationRecorder() {
    auto* const ended = book;
    book = nullptr;
    ended->~Book();
    std::free(ended);
}

std::size_t AllocationRecorder::allocations() const {
    return book->allocations;
}

std::size_t AllocationRecorder::bytesKept() const {
    return book->bytesKept;
}

} // namespace spf::bench

void* operator new(std::size_t size) {
    return spf::bench::allocate(size);
}

void* operator new[](std::size_t size) {
    return spf::bench::allocate(size);
}

void operator delete(void* memory) noexcept {
    spf::bench::release(memory);
}

void operator delete[](void* memory) noexcept {
    spf::bench::release(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    spf::bench::release(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    spf::bench::release(memory);
}
