// What a terminal gets to see of texts that came from elsewhere.
#include <clocale>

#include <gtest/gtest.h>

#include "progress/displayText.hpp"

namespace {

using agent::program::displayWidth;
using agent::program::printable;
using agent::program::shortened;

class DisplayText : public testing::Test {
protected:
    void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
};

TEST_F(DisplayText, ControlCharactersCannotReachATerminal) {
    EXPECT_EQ(printable("a\x1b[2Jb\nc\x7f"), "a\\x1b[2Jb\\x0ac\\x7f");
    EXPECT_EQ(printable("\xc2\x9b"), "\\x9b") << "the one-character form of ESC [";
}

TEST_F(DisplayText, BytesThatAreNotUtf8AreEscaped) {
    EXPECT_EQ(printable("\xff"), "\\xff");
    EXPECT_EQ(printable("a\xc3"), "a\\xc3") << "cut off";
    EXPECT_EQ(printable("\xc0\xaf"), "\\xc0\\xaf") << "overlong";
    EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80") << "a surrogate";
}

TEST_F(DisplayText, OtherTextIsUnchanged) {
    EXPECT_EQ(printable("t\xc3\xbcr ~"), "t\xc3\xbcr ~");
}

TEST_F(DisplayText, WidthCountsColumnsNotBytes) {
    EXPECT_EQ(displayWidth("t\xc3\xbcr"), 3U);
    EXPECT_EQ(displayWidth("\xe6\x97\xa5\xe6\x9c\xac"), 4U) << "two East Asian characters";
    EXPECT_EQ(displayWidth("e\xcc\x81"), 1U) << "a combining accent";
}

TEST_F(DisplayText, ShortenedTextFitsAndIsMarked) {
    EXPECT_EQ(shortened("abcd", 4), "abcd");
    EXPECT_EQ(shortened("abcde", 4), "abc~");
    EXPECT_EQ(shortened("abcde", 1), "~");
    EXPECT_EQ(shortened("abcde", 0), "");
    EXPECT_EQ(shortened("\xe6\x97\xa5\xe6\x9c\xac", 3), "\xe6\x97\xa5~") << "no half of a wide character";
    EXPECT_EQ(shortened("\xe6\x97\xa5\xe6\x9c\xac", 2), "~");
}

} // namespace
