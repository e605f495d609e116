// The services that a service tracker tracks between one opening and the next closing.
#ifndef CPPMICROSERVICES_DETAIL_TRACKEDSERVICES_H
#define CPPMICROSERVICES_DETAIL_TRACKEDSERVICES_H

#include "cppmicroservices/ServiceEvent.h"
#include "cppmicroservices/ServiceTrackerCustomizer.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace cppmicroservices::detail {

// Thread safe. The customizer is called with no lock held, and not after close() has returned. The mutex is
// the tracker's: whoever holds it already may call what ends in "WithLock".
template <class S, class T>
class TrackedServices {
public:
    using Reference = ServiceReference<S>;
    using Customizer = ServiceTrackerCustomizer<S, T>;
    using Object = std::shared_ptr<typename Customizer::TrackedParamType>;
    using Objects = std::unordered_map<Reference, Object>;
    using Clock = std::chrono::steady_clock;

    TrackedServices(Customizer& customizer, std::shared_ptr<std::mutex> mutex)
        : customizer_(customizer)
        , shared_(std::move(mutex)) {}

    void handle(ServiceEvent const& event) {
        Reference const reference(event.GetServiceReference());
        switch (event.GetType()) {
        case ServiceEvent::SERVICE_REGISTERED:
        case ServiceEvent::SERVICE_MODIFIED:
            track(reference);
            break;
        default:
            untrack(reference);
        }
    }

    // Tracks the services that were found after the tracker began to listen, unless they are gone or an
    // event has brought them already. An exception of the customizer is thrown when all are done.
    void trackFound(std::vector<ServiceReferenceU> const& found) {
        std::exception_ptr error;
        Call const call(*this);
        for (auto const& service : found) {
            try {
                Reference const reference(service);
                if (beginAdding(reference, true)) {
                    add(reference);
                }
            } catch (...) {
                error = error ? error : std::current_exception();
            }
        }
        {
            std::lock_guard const lock(mutex_);
            finding_ = false;
            gone_.clear();
        }
        if (error) {
            std::rethrow_exception(error);
        }
    }

    void untrack(Reference const& reference) {
        Object object;
        Call const call(*this);
        {
            std::lock_guard const lock(mutex_);
            if (finding_) {
                gone_.insert(reference);
            }
            auto const found = objects_.find(reference);
            if (adding_.erase(reference) > 0 || found == objects_.end()) {
                return; // add() sees that its service is gone
            }
            object = std::move(found->second);
            objects_.erase(found);
            changedWithLock();
        }
        customizer_.RemovedService(reference, object);
    }

    // Untracks all services and waits for the calls of the customizer that other threads are in, unless the
    // calling thread is in one itself. An exception of the customizer is thrown when all are done.
    void close() {
        Objects objects;
        {
            std::lock_guard const lock(mutex_);
            closed_ = true;
            adding_.clear();
            objects.swap(objects_);
            forgetBestWithLock();
            changed_.notify_all();
        }
        std::exception_ptr error;
        for (auto const& [reference, object] : objects) {
            try {
                Call const call(*this);
                customizer_.RemovedService(reference, object);
            } catch (...) {
                error = error ? error : std::current_exception();
            }
        }
        waitForCalls();
        if (error) {
            std::rethrow_exception(error);
        }
    }

    Objects objects() const {
        std::lock_guard const lock(mutex_);
        return objects_;
    }

    Object find(Reference const& reference) const {
        std::lock_guard const lock(mutex_);
        auto const found = objects_.find(reference);
        return found == objects_.end() ? nullptr : found->second;
    }

    // The most preferred service; invalid if there is none.
    Reference best() const {
        std::lock_guard const lock(mutex_);
        auto const* const best = bestWithLock();
        return best ? best->first : Reference();
    }

    // Its object; null if there is none, or if the service is unregistered, which the tracker of a stopped
    // bundle is not told of. Once given, it is given again until what is tracked changes.
    Object bestObjectWithLock() const {
        if (!given_) {
            auto const* const best = bestWithLock();
            given_ = best && best->first ? best : nullptr;
        }
        return given_ ? given_->second : nullptr;
    }

    std::size_t size() const {
        std::lock_guard const lock(mutex_);
        return objects_.size();
    }

    int trackingCount() const {
        std::lock_guard const lock(mutex_);
        return trackingCount_;
    }

    // Waits until a service is tracked, the tracker is closed, `cancelled()` or the deadline is past;
    // without deadline for ever. Whoever makes `cancelled()` true calls wake().
    template <class Cancelled>
    void wait(std::optional<Clock::time_point> const& deadline, Cancelled const& cancelled) {
        std::unique_lock lock(mutex_);
        auto const ended = [&] { return !objects_.empty() || closed_ || cancelled(); };
        if (deadline) {
            changed_.wait_until(lock, *deadline, ended);
        } else {
            changed_.wait(lock, ended);
        }
    }

    void wake() {
        std::lock_guard const lock(mutex_);
        changed_.notify_all();
    }

private:
    // That the calling thread may call the customizer; begins before it looks whether it is to, so that
    // close() waits for it. Links itself, so that a service can be untracked without memory.
    class Call {
    public:
        explicit Call(TrackedServices& services)
            : services_(services) {
            std::lock_guard const lock(services_.mutex_);
            next_ = std::exchange(services_.calls_, this);
        }
        Call(Call const&) = delete;
        Call& operator=(Call const&) = delete;
        ~Call() {
            std::lock_guard const lock(services_.mutex_);
            auto** link = &services_.calls_;
            while (*link != this) {
                link = &(*link)->next_;
            }
            *link = next_;
            services_.changed_.notify_all();
        }

        // Whether the thread is in this call or in one that is linked behind it.
        bool orNextIsBy(std::thread::id thread) const {
            auto const* call = this;
            while (call && call->thread_ != thread) {
                call = call->next_;
            }
            return call;
        }

    private:
        TrackedServices& services_;
        std::thread::id const thread_ = std::this_thread::get_id();
        Call* next_ = nullptr;
    };

    void track(Reference const& reference) {
        Object object;
        Call const call(*this);
        {
            std::lock_guard const lock(mutex_);
            auto const found = objects_.find(reference);
            if (found != objects_.end()) {
                object = found->second;
                changedWithLock();
            }
        }
        if (object) {
            customizer_.ModifiedService(reference, object);
        } else if (beginAdding(reference, false)) {
            add(reference);
        }
    }

    // Whether the calling thread is to add the service. One without the interface is not added, as its
    // reference is invalid, nor is one that is being unregistered: it may have been untracked already, and
    // its properties may be changed after that.
    bool beginAdding(Reference const& reference, bool found) {
        std::lock_guard const lock(mutex_);
        if (closed_ || !reference.IsToStay() || objects_.count(reference) > 0 ||
            (found && gone_.count(reference) > 0)) {
            return false;
        }
        makeRoomWithLock();
        return adding_.emplace(reference, nullptr).second;
    }

    // So that keep() needs no memory for one more: an object that the customizer has given is not lost. The
    // one bucket of a new table is none to put anything in.
    void makeRoomWithLock() {
        auto const room = static_cast<float>(objects_.bucket_count()) * objects_.max_load_factor();
        if (static_cast<float>(objects_.size() + adding_.size() + 1) > room || objects_.bucket_count() == 1) {
            objects_.rehash(2 * objects_.bucket_count());
        }
    }

    void add(Reference const& reference) {
        Object object;
        try {
            object = customizer_.AddingService(reference);
        } catch (...) {
            std::lock_guard const lock(mutex_);
            adding_.erase(reference);
            throw;
        }
        if (!keep(reference, object) && object) {
            customizer_.RemovedService(reference, object);
        }
    }

    // Whether the service is tracked with the object now; not if it has gone meanwhile.
    bool keep(Reference const& reference, Object const& object) {
        std::lock_guard const lock(mutex_);
        auto entry = adding_.extract(reference);
        if (entry.empty() || !object) {
            return false;
        }
        entry.mapped() = object;
        objects_.insert(std::move(entry));
        changedWithLock();
        return true;
    }

    typename Objects::value_type const* bestWithLock() const {
        if ((!best_ || !best_->first) && !objects_.empty()) {
            best_ = &*std::max_element(objects_.begin(), objects_.end(),
                                       [](auto const& a, auto const& b) { return a.first < b.first; });
        }
        return best_;
    }

    void forgetBestWithLock() {
        best_ = nullptr;
        given_ = nullptr;
    }

    void changedWithLock() {
        ++trackingCount_;
        forgetBestWithLock();
        changed_.notify_all();
    }

    void waitForCalls() {
        std::unique_lock lock(mutex_);
        if (calls_ && !calls_->orNextIsBy(std::this_thread::get_id())) {
            changed_.wait(lock, [this] { return !calls_; });
        }
    }

    Customizer& customizer_;

    std::shared_ptr<std::mutex> const shared_;
    std::mutex& mutex_ = *shared_; // guards what follows
    std::condition_variable changed_;
    Objects objects_;
    Objects adding_;                     // the customizer is asked for their objects
    std::unordered_set<Reference> gone_; // since the tracker began to listen; only while finding_
    Call* calls_ = nullptr;              // the calls of the customizer under way
    // In objects_. The best is looked for again if it is not known, null, or has been unregistered; it is the
    // given one once its object was given.
    mutable typename Objects::value_type const* best_ = nullptr;
    mutable typename Objects::value_type const* given_ = nullptr;
    int trackingCount_ = 0;
    bool finding_ = true;
    bool closed_ = false;
};

} // namespace cppmicroservices::detail

#endif
