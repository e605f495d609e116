// What becomes of tasks that throw, and of the owner that a worker keeps.
#include <future>
#include <memory>
#include <stdexcept>
#include <utility>

#include <gtest/gtest.h>

#include "BundlesTest.hpp"
#include "agent/spf/bundles/common/WorkerThread.hpp"

namespace {

using agent::spf::bundles::WorkerThread;

TEST(WorkerThread, ATaskThatThrowsIsGivenUpAndToldAndThoseBehindItRun) {
    testing::internal::CaptureStderr();
    WorkerThread worker("worker");
    worker.post([] { throw std::runtime_error("the reason"); });
    worker.post([] { throw 5; });
    auto hasRun = false;
    EXPECT_TRUE(worker.run([&] { hasRun = true; }));
    EXPECT_TRUE(hasRun);
    worker.stop();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "worker: a task is given up: the reason\n"
              "worker: a task is given up: an exception of unknown type\n");
}

// A worker that is its own owner, as bundles are that a listener stops in the middle of a task.
class WorkerThreadWithAnOwner : public testing::Test {
protected:
    using Owner = std::shared_ptr<WorkerThread>;

    // Whether the owner is still there as a task runs behind one that stops the worker.
    template <class Stop>
    bool isKeptAfter(Stop const& stop) {
        auto owner = Owner(new WorkerThread("worker"), [this](WorkerThread* worker) {
            delete worker;
            gone_.set_value();
        });
        std::weak_ptr<WorkerThread> const weak(owner);
        std::promise<void> begun;
        std::promise<bool> kept;
        auto& worker = *owner;
        worker.post([&, start = begun.get_future().share()] {
            start.wait();
            stop(worker, std::move(owner));
        });
        worker.post([&] { kept.set_value(!weak.expired()); });
        begun.set_value();
        auto isKept = kept.get_future();
        return isKept.wait_for(bundles_test::patience) == std::future_status::ready && isKept.get();
    }

    bool goes() { return gone_.get_future().wait_for(bundles_test::patience) == std::future_status::ready; }

private:
    std::promise<void> gone_;
};

TEST_F(WorkerThreadWithAnOwner, KeepsItUntilTheTasksBehindTheStopHaveRun) {
    EXPECT_TRUE(isKeptAfter([](auto& worker, auto owner) { worker.stop(std::move(owner)); }));
    EXPECT_TRUE(goes());
}

TEST_F(WorkerThreadWithAnOwner, KeepsItWhenItIsStoppedAgain) {
    EXPECT_TRUE(isKeptAfter([](auto& worker, auto owner) {
        worker.stop(std::move(owner));
        worker.stop();
    }));
    EXPECT_TRUE(goes());
}

TEST(WorkerThread, ATaskThatIsWaitedForThrowsToWhoWaits) {
    WorkerThread worker("worker");
    EXPECT_THROW(worker.run([] { throw std::runtime_error("the reason"); }), std::runtime_error);
    EXPECT_TRUE(worker.run([] {}));
}

} // namespace
