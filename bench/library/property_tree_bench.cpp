// Converting a property tree: the library, the fastest way by hand, and the literal way.
#include <algorithm>
#include <map>
#include <string>

#include <benchmark/benchmark.h>
#include <boost/property_tree/ptree.hpp>

#include "floor/convertTree.hpp"
#include "model/propertyTreeToAnyMap.hpp"
#include "support/measure.hpp"

namespace {

using namespace spf::bench;
using boost::property_tree::ptree;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;

using Convert = AnyMap (*)(ptree const&);
using MakeTree = ptree (*)(std::size_t nodes);

ptree leaf(std::size_t number) {
    return ptree("value " + std::to_string(number));
}

std::string nameOf(std::size_t number) {
    return "property." + std::to_string(number);
}

// All nodes are children of the root.
ptree makeFlat(std::size_t nodes) {
    ptree tree;
    for (std::size_t i = 0; i < nodes; ++i) {
        tree.push_back({nameOf(i), leaf(i)});
    }
    return tree;
}

// Ten children to a node, as many levels as that takes; leaves have values.
ptree makeNested(std::size_t nodes) {
    constexpr std::size_t children = 10;
    ptree tree;
    if (nodes <= children) {
        return makeFlat(nodes);
    }
    for (std::size_t i = 0; i < children; ++i) {
        auto const below = (nodes - children) / children;
        tree.push_back({nameOf(i), below == 0 ? leaf(i) : makeNested(below)});
    }
    return tree;
}

// One child to a node, the last with a value.
ptree makeChain(std::size_t levels) {
    ptree tree = leaf(levels);
    for (std::size_t level = levels; level > 0; --level) {
        ptree parent;
        parent.push_back({nameOf(level), ptree()})->second.swap(tree);
        tree.swap(parent);
    }
    return tree;
}

// Chains of up to 500 levels side by side.
ptree makeDeep(std::size_t nodes) {
    constexpr std::size_t levels = 500;
    ptree tree;
    for (std::size_t made = 0; made < nodes; made += levels) {
        tree.push_back({nameOf(made), makeChain(std::min(levels, nodes - made) - 1)});
    }
    return tree;
}

// Every name needs escaping.
ptree makeEscaped(std::size_t nodes) {
    ptree tree;
    for (std::size_t i = 0; i < nodes; ++i) {
        tree.push_back({"devices/\"rack\"\t" + std::to_string(i), leaf(i)});
    }
    return tree;
}

void convert(benchmark::State& state, Convert way, MakeTree makeTree, std::size_t nodes) {
    auto const tree = makeTree(nodes);
    if (Any(way(tree)) != Any(agent::spf::frameworksetup::propertyTreeToAnyMap(tree))) {
        state.SkipWithError("not the map that the library makes");
        return;
    }
    auto const batch = std::max<std::size_t>(1, 1000 / nodes);
    measureMaking(state, batch, nodes, [&] { return way(tree); });
}

void registerAll() {
    std::map<std::string, Convert> const ways = {
        {"library", agent::spf::frameworksetup::propertyTreeToAnyMap},
        {"floor", convertByHand},
        {"literal", convertLiterally}};
    std::map<std::string, MakeTree> const trees = {
        {"flat", makeFlat}, {"nested", makeNested}, {"deep", makeDeep}, {"escaped", makeEscaped}};
    auto const add = [](std::string const& name, Convert way, MakeTree makeTree, std::size_t nodes) {
        benchmark::RegisterBenchmark(name.c_str(), [way, makeTree, nodes](benchmark::State& state) {
            convert(state, way, makeTree, nodes);
        });
    };
    for (auto const& [wayName, way] : ways) {
        for (auto const& [treeName, makeTree] : trees) {
            for (std::size_t const nodes : {10U, 100U, 1000U, 10000U, 100000U}) {
                // Copied at every level, the deep tree takes minutes the literal way.
                if (way != convertLiterally || makeTree != makeDeep || nodes <= 1000) {
                    add("convert/" + treeName + "/" + std::to_string(nodes) + "/" + wayName, way, makeTree,
                        nodes);
                }
            }
        }
    }
    for (std::size_t const levels : {10U, 100U, 1000U, 2000U}) {
        add("convert/chain/" + std::to_string(levels) + "/library",
            agent::spf::frameworksetup::propertyTreeToAnyMap, makeChain, levels);
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    registerAll();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
