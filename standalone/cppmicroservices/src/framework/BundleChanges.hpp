// Who may change the state of which bundle.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_BUNDLECHANGES_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_BUNDLECHANGES_HPP

#include <condition_variable>
#include <mutex>
#include <thread>

namespace cppmicroservices::detail {

class BundleRecord;

// Gives one thread at a time the right to start, stop or uninstall a bundle. The right is no lock:
// activators and listeners run while it is held, and may change other bundles. Threads that would wait for
// each other without end are found, and the one that would close the circle gets an exception instead.
// Thread safe. Takes no memory: a bundle can be stopped without.
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
        friend class BundleChanges;

        void linkWithLock();
        void unlinkWithLock();

        BundleChanges& changes_;
        BundleRecord const& bundle_;
        std::thread::id const thread_ = std::this_thread::get_id();
        bool isHeld_ = false; // otherwise its thread waits for it
        Right* next_ = nullptr;
    };

private:
    // Null if nobody holds it.
    Right const* findHeldWithLock(BundleRecord const& bundle) const;
    // Null if the thread waits for none.
    Right const* findAwaitedWithLock(std::thread::id thread) const;
    void requireNoCircleWithLock(BundleRecord const& bundle) const;

    std::mutex mutex_; // guards what follows
    std::condition_variable released_;
    Right* rights_ = nullptr; // linked to each other; those that are held or waited for
};

} // namespace cppmicroservices::detail

#endif
