// Loaded before the agent's libraries: the system refuses every thread after the first SPF_TEST_THREADS.
#include <atomic>
#include <cerrno>
#include <cstdlib>

#include <dlfcn.h>
#include <pthread.h>

extern "C" __attribute__((visibility("default"))) int
pthread_create(pthread_t* thread, pthread_attr_t const* attributes, void* (*run)(void*), void* argument) {
    static auto* const create =
        reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    static int const most = std::atoi(std::getenv("SPF_TEST_THREADS"));
    static std::atomic<int> made{0};
    return made++ < most ? create(thread, attributes, run, argument) : EAGAIN;
}
