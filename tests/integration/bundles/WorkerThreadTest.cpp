// What becomes of tasks that throw.
#include <stdexcept>

#include <gtest/gtest.h>

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

TEST(WorkerThread, ATaskThatIsWaitedForThrowsToWhoWaits) {
    WorkerThread worker("worker");
    EXPECT_THROW(worker.run([] { throw std::runtime_error("the reason"); }), std::runtime_error);
    EXPECT_TRUE(worker.run([] {}));
}

} // namespace
