// The result of an asynchronous operation on which the threads that carry out such operations may wait, too.
#ifndef CPPMICROSERVICES_THREADPOOLSAFEFUTURE_H
#define CPPMICROSERVICES_THREADPOOLSAFEFUTURE_H

#include <cstdint>
#include <future>

namespace cppmicroservices {

// Only the service that runs the operation creates objects of this class. Thread-safe.
class ThreadpoolSafeFuture {
public:
    virtual ~ThreadpoolSafeFuture() = default;

    ThreadpoolSafeFuture(ThreadpoolSafeFuture const& other) = default;
    ThreadpoolSafeFuture& operator=(ThreadpoolSafeFuture const& other) = default;
    ThreadpoolSafeFuture(ThreadpoolSafeFuture&& other) noexcept = default;
    ThreadpoolSafeFuture& operator=(ThreadpoolSafeFuture&& other) noexcept = default;

    bool operator==(ThreadpoolSafeFuture const& other) const = delete;
    bool operator!=(ThreadpoolSafeFuture const& other) const = delete;
    bool operator<(ThreadpoolSafeFuture const& other) const = delete;

    // Waits until the operation is done and throws what it threw. On a thread of the service that runs the
    // operation, work that the operation has to wait for may run on this thread inside the call.
    virtual void get() const = 0;

    // Like get(), without the exception.
    virtual void wait() const = 0;

    // Waits at most `timeout_duration_ms` milliseconds and runs nothing meanwhile; 0 polls.
    virtual std::future_status wait_for(std::uint32_t const& timeout_duration_ms) const = 0;

protected:
    ThreadpoolSafeFuture() = default;
};

} // namespace cppmicroservices

#endif
