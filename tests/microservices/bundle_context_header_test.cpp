// What the header of the bundle context brings with it: bundles name these without including more.
#include <cppmicroservices/BundleContext.h>

// In front of what other headers bring.
namespace {

class Counter {
public:
    int next() {
        std::lock_guard<std::mutex> const lock(mutex_);
        return ++count_;
    }

private:
    std::mutex mutex_;
    int count_ = 0;
};

constexpr std::chrono::milliseconds moment{1};

} // namespace

#include <gtest/gtest.h>

TEST(BundleContextHeader, BringsMutexesAndDurations) {
    EXPECT_EQ(Counter().next(), 1);
    EXPECT_EQ(moment.count(), 1);
}
