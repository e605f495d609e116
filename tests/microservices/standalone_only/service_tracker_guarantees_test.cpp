// What the standalone service tracker guarantees when its customizer throws, or closes it, or blocks.
#include "FrameworkFixture.hpp"
#include "waitUntilAsleep.hpp"

#include <cppmicroservices/ServiceTracker.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include <unistd.h>

using namespace cppmicroservices;

namespace {

// Numbers its calls, of each kind from 1.
class Customizer : public ServiceTrackerCustomizer<int> {
public:
    std::shared_ptr<int> AddingService(ServiceReference<int> const&) override {
        auto const number = ++added;
        onAdding(number);
        return std::make_shared<int>(number);
    }
    void ModifiedService(ServiceReference<int> const&, std::shared_ptr<int> const&) override {}
    void RemovedService(ServiceReference<int> const&, std::shared_ptr<int> const&) override {
        onRemoved(++removed);
    }

    std::atomic<int> added{0};
    std::atomic<int> removed{0};
    std::function<void(int)> onAdding = [](int) {};
    std::function<void(int)> onRemoved = [](int) {};
};

class ServiceTrackerGuarantees : public FrameworkTest {
protected:
    ServiceRegistration<int> registerService() {
        return context().RegisterService<int>(std::make_shared<int>());
    }

    static void refuse(int number) {
        if (number < 3) {
            throw std::runtime_error("not number " + std::to_string(number));
        }
    }

    Customizer customizer_;
};

} // namespace

TEST_F(ServiceTrackerGuarantees, OpenAddsTheOtherServicesBeforeItThrowsTheFirstException) {
    for (int i = 0; i < 3; ++i) {
        registerService();
    }
    ServiceTracker<int> tracker(context(), &customizer_);
    customizer_.onAdding = refuse;
    EXPECT_EQ(messageOf<std::runtime_error>([&tracker] { tracker.Open(); }), "not number 1");
    EXPECT_EQ(tracker.Size(), 1);
    EXPECT_EQ(customizer_.added, 3);
}

TEST_F(ServiceTrackerGuarantees, CloseRemovesTheOtherServicesBeforeItThrowsTheFirstException) {
    for (int i = 0; i < 3; ++i) {
        registerService();
    }
    ServiceTracker<int> tracker(context(), &customizer_);
    tracker.Open();
    customizer_.onRemoved = refuse;
    EXPECT_EQ(messageOf<std::runtime_error>([&tracker] { tracker.Close(); }), "not number 1");
    EXPECT_EQ(customizer_.removed, 3);
}

TEST_F(ServiceTrackerGuarantees, CloseInsideACallReturnsThoughAnotherThreadIsInALaterCall) {
    ServiceTracker<int> tracker(context(), &customizer_);
    tracker.Open();
    std::promise<void> entered;
    std::promise<void> closed;
    std::thread other;
    customizer_.onAdding = [&](int number) {
        if (number == 2) {
            entered.set_value();
            EXPECT_EQ(closed.get_future().wait_for(failureTimeout), std::future_status::ready);
            return;
        }
        other = std::thread([this] { registerService(); });
        entered.get_future().wait();
        tracker.Close();
        closed.set_value();
    };
    registerService();
    other.join();
    EXPECT_EQ(customizer_.removed, 2);
}

TEST_F(ServiceTrackerGuarantees, CloseWaitsForTheCallThatOpenIsIn) {
    registerService();
    ServiceTracker<int> tracker(context(), &customizer_);
    std::promise<void> entered;
    std::promise<void> mayLeave;
    std::atomic<bool> left{false};
    customizer_.onAdding = [&](int) {
        entered.set_value();
        mayLeave.get_future().wait();
        left = true;
    };
    auto opening = std::async(std::launch::async, [&tracker] { tracker.Open(); });
    entered.get_future().wait();
    std::promise<pid_t> beginning;
    auto closing = std::async(std::launch::async, [&] {
        beginning.set_value(::gettid());
        tracker.Close();
        return left.load();
    });
    waitUntilAsleep(beginning.get_future().get());
    mayLeave.set_value();
    EXPECT_TRUE(closing.get());
    opening.get();
}

TEST_F(ServiceTrackerGuarantees, WaitEndsWhenOneServiceIsTrackedThoughOpenIsStillAddingAnother) {
    registerService();
    registerService();
    ServiceTracker<int> tracker(context(), &customizer_);
    std::promise<pid_t> beginning;
    std::promise<void> waited;
    customizer_.onAdding = [&](int number) {
        if (number == 1) {
            waitUntilAsleep(beginning.get_future().get());
        } else {
            EXPECT_EQ(waited.get_future().wait_for(failureTimeout), std::future_status::ready);
        }
    };
    std::thread opening([&tracker] { tracker.Open(); });
    while (customizer_.added == 0) { // the tracker is open
        std::this_thread::yield();
    }
    beginning.set_value(::gettid());
    EXPECT_NE(tracker.WaitForService(), nullptr);
    waited.set_value();
    opening.join();
    EXPECT_EQ(tracker.Size(), 2);
}
