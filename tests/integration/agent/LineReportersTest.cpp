// What reporters do to texts that came from elsewhere.
#include <gtest/gtest.h>

#include "progress/LineReporters.hpp"

namespace {

TEST(Printable, ControlCharactersCannotReachATerminal) {
    EXPECT_EQ(agent::program::printable("a\x1b[2Jb\nc\x7f"), "a\\x1b[2Jb\\x0ac\\x7f");
}

TEST(Printable, OtherTextIsUnchanged) {
    EXPECT_EQ(agent::program::printable("t\xc3\xbcr ~"), "t\xc3\xbcr ~");
}

} // namespace
