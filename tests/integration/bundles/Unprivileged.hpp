// Lets a test see what is forbidden, whoever runs it.
#ifndef UNPRIVILEGED_HPP
#define UNPRIVILEGED_HPP

#include <unistd.h>

#include <gtest/gtest.h>

namespace bundles_test {

// While it lives, the process has the rights of a user who owns nothing, if it had those of root.
class Unprivileged {
public:
    Unprivileged() {
        if (wasRoot_) {
            EXPECT_EQ(::seteuid(nobody), 0);
        }
    }
    ~Unprivileged() {
        if (wasRoot_) {
            EXPECT_EQ(::seteuid(0), 0);
        }
    }
    Unprivileged(Unprivileged const&) = delete;
    Unprivileged& operator=(Unprivileged const&) = delete;

private:
    static constexpr uid_t nobody = 65534;
    bool const wasRoot_ = ::geteuid() == 0;
};

} // namespace bundles_test

#endif
