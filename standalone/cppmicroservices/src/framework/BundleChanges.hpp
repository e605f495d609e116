// Who may change the state of which bundle.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_BUNDLECHANGES_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_BUNDLECHANGES_HPP

#include <condition_variable>
#include <mutex>
#include <thread>
#include <unordered_map>

namespace cppmicroservices::detail {

class BundleRecord;

// Gives one thread at a time the right to start, stop or uninstall a bundle. The right is no lock:
// activators and listeners run while it is held, and may change other bundles. Threads that would wait for
// each other without end are found, and the one that would close the circle gets an exception instead.
// Thread safe.
class BundleChanges {
public:
    // The calling thread's right to change `bundle`, for as long as this object lives.
    class Right {
    public:
        // Waits while another thread has the right.
        // \throws std::logic_error if the calling thread itself has it
        // \throws std::runtime_error if the thread that has it waits, over however many others, for this one
        Right(BundleChanges& changes, BundleRecord const& bundle);
        Right(Right const&) = delete;
        Right& operator=(Right const&) = delete;
        ~Right();

    private:
        BundleChanges& changes_;
        BundleRecord const& bundle_;
    };

private:
    void requireNoCircleWithLock(BundleRecord const& bundle) const;

    std::mutex mutex_; // guards what follows
    std::condition_variable released_;
    std::unordered_map<BundleRecord const*, std::thread::id> holders_;
    std::unordered_map<std::thread::id, BundleRecord const*> waiting_;
};

} // namespace cppmicroservices::detail

#endif
