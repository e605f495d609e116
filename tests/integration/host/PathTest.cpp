// The host's path type.
#include <gtest/gtest.h>

#include "agent/host/Path.hpp"

namespace {

using agent::host::Path;

TEST(HostPath, ANewPathIsEmpty) {
    EXPECT_TRUE(Path().empty());
    EXPECT_EQ(Path().text(), u"");
}

TEST(HostPath, TheFirstComponentOfAnEmptyPathHasNoSeparator) {
    EXPECT_EQ((Path() / u"bin").text(), u"bin");
}

TEST(HostPath, ComponentsAreJoinedBySlashes) {
    auto path = Path() / u"bin" / u"darwinarm64";
    path /= u"spf";

    EXPECT_EQ(path.text(), u"bin/darwinarm64/spf");
    EXPECT_FALSE(path.empty());
}

TEST(HostPath, MayBeAppendedToItself) {
    Path path(u"a path that is longer than what a string keeps without allocating");
    auto const text = path.text();
    path /= path.text();

    EXPECT_EQ(path.text(), text + u"/" + text);
}

TEST(HostPath, PathsWithTheSameTextAreEqual) {
    EXPECT_TRUE(Path(u"a/b") == Path(u"a") / u"b");
    EXPECT_FALSE(Path(u"a/b") == Path(u"a"));
}

} // namespace
