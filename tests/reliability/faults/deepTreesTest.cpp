// A tree so deep that the recursion of its conversion needs much of the stack.
#include <cstddef>

#include <pthread.h>

#include <boost/property_tree/ptree.hpp>
#include <cppmicroservices/AnyMap.h>
#include <gtest/gtest.h>

#include "model/propertyTreeToAnyMap.hpp"

namespace agent::spf::frameworksetup::test {
namespace {

using boost::property_tree::ptree;

ptree chain(std::size_t depth) {
    ptree root;
    auto* innermost = &root;
    for (std::size_t level = 0; level < depth; ++level) {
        innermost = &innermost->push_back({"a", ptree()})->second;
    }
    innermost->data() = "value";
    return root;
}

void* convert(void* tree) {
    EXPECT_FALSE(propertyTreeToAnyMap(*static_cast<ptree const*>(tree)).empty());
    return nullptr;
}

// The process ends where that is too little.
TEST(DeepTrees, AreConvertedOnTheDocumentedStack) {
    auto tree = chain(4000);
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{8} << 20U), 0);
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, &attributes, convert, &tree), 0);
    pthread_attr_destroy(&attributes);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
}

} // namespace
} // namespace agent::spf::frameworksetup::test
