// What is taken from a mailbox, and who waits for room in it.
#include <future>
#include <utility>

#include <gtest/gtest.h>
#include <unistd.h>

#include "run/Mailbox.hpp"
#include "waitUntilAsleep.hpp"

namespace {

using agent::program::Mailbox;
using namespace std::chrono_literals;

class MailboxTest : public testing::Test {
protected:
    int take() { return box.take(Mailbox<int>::Clock::now()).value_or(-1); }

    void fill() {
        for (std::size_t index = 0; index < Mailbox<int>::capacity; ++index) {
            box.put(0);
        }
    }

    // Puts a message when there is room, on a thread that waits for it when this returns.
    std::future<void> waitForRoom(int message) {
        std::promise<pid_t> thread;
        auto started = thread.get_future();
        auto put = std::async(std::launch::async, [this, message, thread = std::move(thread)]() mutable {
            thread.set_value(gettid());
            box.putWhenThereIsRoom(message);
        });
        waitUntilAsleep(started.get());
        return put;
    }

    Mailbox<int> box;
};

TEST_F(MailboxTest, GivesTheOldestMessageFirst) {
    box.put(1);
    box.putWhenThereIsRoom(2);

    EXPECT_EQ(take(), 1);
    EXPECT_EQ(take(), 2);
    EXPECT_EQ(take(), -1);
}

TEST_F(MailboxTest, WhatIsPutFirstOvertakesTheOthers) {
    box.put(1);
    box.put(2);
    box.putFirst(3);

    EXPECT_EQ(take(), 3);
    EXPECT_EQ(take(), 1);
}

TEST_F(MailboxTest, IsEmptyWhenEverythingIsTaken) {
    EXPECT_TRUE(box.isEmpty());
    box.put(1);
    EXPECT_FALSE(box.isEmpty());
    take();
    EXPECT_TRUE(box.isEmpty());
}

TEST_F(MailboxTest, AFullOneTakesMoreOfThoseWhoCannotWait) {
    fill();

    box.put(1);
    box.putFirst(2);

    EXPECT_EQ(take(), 2);
}

TEST_F(MailboxTest, OfAFullOneWhoCanWaitDoesUntilThereIsRoom) {
    fill();
    auto const put = waitForRoom(1);
    EXPECT_EQ(put.wait_for(0s), std::future_status::timeout);

    take();
    put.wait();

    for (std::size_t index = 1; index < Mailbox<int>::capacity; ++index) {
        EXPECT_EQ(take(), 0);
    }
    EXPECT_EQ(take(), 1);
}

TEST_F(MailboxTest, NobodyWaitsForRoomInAClosedOne) {
    fill();
    auto const put = waitForRoom(1);

    box.close();
    put.wait();

    box.putWhenThereIsRoom(2);
}

} // namespace
