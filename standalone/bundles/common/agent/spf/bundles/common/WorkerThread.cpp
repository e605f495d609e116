#include "agent/spf/bundles/common/WorkerThread.hpp"

#include <future>
#include <utility>

#include <pthread.h>

#include <boost/asio/post.hpp>

namespace agent::spf::bundles {

struct WorkerThread::Loop {
    boost::asio::io_context context{1};
};

WorkerThread::WorkerThread(std::string const& name)
    : loop_(std::make_shared<Loop>())
    , guard_(boost::asio::make_work_guard(loop_->context))
    , thread_([loop = loop_, name] {
        ::pthread_setname_np(::pthread_self(), name.substr(0, 15).c_str());
        loop->context.run();
    })
    , threadID_(thread_.get_id()) {}

WorkerThread::~WorkerThread() {
    stop();
}

bool WorkerThread::post(Task task) {
    std::lock_guard lock(mutex_);
    if (stopping_) {
        return false;
    }
    boost::asio::post(loop_->context, std::move(task));
    return true;
}

bool WorkerThread::run(Task const& task) {
    if (isCurrentThread()) {
        task();
        return true;
    }
    std::packaged_task<void()> packaged(task);
    auto done = packaged.get_future();
    if (!post([&packaged] { packaged(); })) {
        return false;
    }
    done.get();
    return true;
}

bool WorkerThread::isCurrentThread() const noexcept {
    return std::this_thread::get_id() == threadID_;
}

void WorkerThread::stop(Task last) {
    {
        std::lock_guard lock(mutex_);
        if (last && !stopping_) {
            boost::asio::post(loop_->context, std::move(last));
        }
        stopping_ = true;
        guard_.reset();
    }
    std::lock_guard lock(joinMutex_);
    if (!thread_.joinable()) {
        return;
    }
    if (isCurrentThread()) {
        thread_.detach();
    } else {
        thread_.join();
    }
}

boost::asio::io_context& WorkerThread::context() noexcept {
    return loop_->context;
}

} // namespace agent::spf::bundles
