// Tells AddressSanitizer, where there is one, which stack the program is on.
#ifndef TESTS_RELIABILITY_INTERLEAVING_SANITIZERS_HPP
#define TESTS_RELIABILITY_INTERLEAVING_SANITIZERS_HPP

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
#define INTERLEAVING_ADDRESS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define INTERLEAVING_ADDRESS_SANITIZER
#endif
#endif

#ifdef INTERLEAVING_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#include <sanitizer/common_interface_defs.h>
#endif

namespace interleaving::sanitizers {

#ifdef INTERLEAVING_ADDRESS_SANITIZER

// Called before a switch to the stack. `save` keeps what entered() needs when the present stack goes on; null
// when it never does.
inline void aboutToEnter(void** save, void const* stack, std::size_t size) {
    __sanitizer_start_switch_fiber(save, stack, size);
}

// The stack on which run() was called, as entered() learnt it.
inline void const*& outsideStack() {
    static void const* stack = nullptr;
    return stack;
}
inline std::size_t& outsideSize() {
    static std::size_t size = 0;
    return size;
}

// Called after a switch, by whoever goes on.
inline void entered(void* saved, bool fromOutside = false) {
    void const* stack = nullptr;
    std::size_t size = 0;
    __sanitizer_finish_switch_fiber(saved, &stack, &size);
    if (fromOutside) {
        outsideStack() = stack;
        outsideSize() = size;
    }
}

// Called before the last switch, back to the stack of run().
inline void aboutToLeave() {
    __sanitizer_start_switch_fiber(nullptr, outsideStack(), outsideSize());
}

// A stack that is used again.
inline void forgetStack(void const* stack, std::size_t size) {
    __asan_unpoison_memory_region(stack, size);
}

#else

inline void aboutToEnter(void**, void const*, std::size_t) {}
inline void entered(void*, bool = false) {}
inline void aboutToLeave() {}
inline void forgetStack(void const*, std::size_t) {}

#endif

} // namespace interleaving::sanitizers

#endif
