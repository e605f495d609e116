// Trees so deep that recursion exhausts the stack: converting one must not need more of it than Boost's own
// copy of the tree does, which every client makes that hands a tree over.
#include <cstddef>
#include <functional>
#include <iostream>

#include <fcntl.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/property_tree/ptree.hpp>
#include <cppmicroservices/AnyMap.h>
#include <gtest/gtest.h>

#include "model/propertyTreeToAnyMap.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using boost::property_tree::ptree;
using Operation = std::function<void(ptree const&)>;

constexpr std::size_t smallStack = 256 * 1024; // bytes; small, so that the trees are, too

ptree chain(std::size_t depth) {
    ptree root;
    auto* innermost = &root;
    for (std::size_t level = 0; level < depth; ++level) {
        innermost = &innermost->push_back({"a", ptree()})->second;
    }
    innermost->data() = "value";
    return root;
}

struct Run {
    Operation const& operation;
    ptree const& tree;
    std::size_t stackSize; // bytes
};

void* runOnThread(void* argument) {
    auto const& run = *static_cast<Run const*>(argument);
    run.operation(run.tree);
    return nullptr;
}

// In a child process, which says nothing of its end: runs the operation on a thread with such a stack.
[[noreturn]] void runAndExit(Run run) {
    ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, run.stackSize);
    pthread_t thread{};
    auto const started = pthread_create(&thread, &attributes, runOnThread, &run) == 0;
    ::_exit(started && pthread_join(thread, nullptr) == 0 ? 0 : 1);
}

bool survives(std::size_t depth, Operation const& operation, std::size_t stackSize = smallStack) {
    auto const tree = chain(depth);
    auto const child = ::fork();
    if (child == 0) {
        runAndExit({operation, tree, stackSize});
    }
    auto status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// The deepest tree, to about a hundredth, with which the operation does not exhaust the stack.
std::size_t deepest(Operation const& operation) {
    std::size_t good = 16;
    EXPECT_TRUE(survives(good, operation));
    auto bad = good;
    while (survives(bad, operation)) {
        good = bad;
        bad *= 2;
    }
    while (bad - good > good / 100 + 1) {
        auto const middle = good + (bad - good) / 2;
        (survives(middle, operation) ? good : bad) = middle;
    }
    return good;
}

void copy(ptree const& tree) {
    auto const copied = tree;
    ASSERT_FALSE(copied.empty());
}

void convert(ptree const& tree) {
    auto const converted = propertyTreeToAnyMap(tree);
    ASSERT_FALSE(converted.empty());
}

TEST(DeepTrees, AreConvertedIfTheyCanBeCopied) {
    auto const copied = deepest(copy);
    auto const converted = deepest(convert);
    std::cout << "deep trees: copied up to " << copied << " levels, converted up to " << converted
              << " on a stack of " << smallStack << " bytes" << std::endl;
    EXPECT_GE(converted, copied);
}

TEST(DeepTrees, AreConvertedWithTheDocumentedDepth) {
    EXPECT_TRUE(survives(4000, convert, 8 * 1024 * 1024));
}

} // namespace
} // namespace agent::spf::frameworksetup::test
