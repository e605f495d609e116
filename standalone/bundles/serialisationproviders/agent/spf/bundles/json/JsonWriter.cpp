// Writes property maps value by value.
#include "agent/spf/bundles/json/JsonWriter.hpp"

#include <cmath>
#include <cstddef>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/spf/bundles/common/Properties.hpp"
#include "agent/spf/bundles/json/JsonSerialiser.hpp"

namespace agent::spf::bundles::json {

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

class Writer {
public:
    std::string take() { return std::move(text_); }

    void write(AnyMap const& map) {
        enter();
        if (map.size() > maximumMembers) {
            fail("has more than " + std::to_string(maximumMembers) + " members");
        }
        std::set<std::string> keys;
        for (auto const& entry : map) {
            keys.insert(entry.first);
        }
        text_ += '{';
        char const* separator = "";
        for (auto const& key : keys) {
            path_.push_back(key);
            text_ += separator;
            writeLeaf(key);
            text_ += ':';
            write(map.at(key));
            separator = ",";
            path_.pop_back();
        }
        text_ += '}';
        --depth_;
    }

private:
    void write(AnyList const& list) {
        enter();
        text_ += '[';
        char const* separator = "";
        for (std::size_t i = 0; i < list.size(); ++i) {
            path_.push_back(std::to_string(i));
            text_ += separator;
            write(list[i]);
            separator = ",";
            path_.pop_back();
        }
        text_ += ']';
        --depth_;
    }

    void write(Any const& value) {
        if (value.Empty()) {
            text_ += "null";
        } else if (value.Type() == typeid(AnyMap)) {
            write(cppmicroservices::ref_any_cast<AnyMap>(value));
        } else if (value.Type() == typeid(AnyList)) {
            write(cppmicroservices::ref_any_cast<AnyList>(value));
        } else if (!writeAs<std::string, bool>(value) && !writeFloatingPoint<double, float>(value) &&
                   !writeAs<int, unsigned, long, unsigned long, long long, unsigned long long, short,
                            unsigned short>(value)) {
            fail("has a type that JSON text cannot express");
        }
    }

    // Writes the value if it is of one of the types.
    template <class... Types>
    bool writeAs(Any const& value) {
        return (writeIf<Types>(value) || ...);
    }

    template <class T>
    bool writeIf(Any const& value) {
        if (value.Type() != typeid(T)) {
            return false;
        }
        writeLeaf(cppmicroservices::ref_any_cast<T>(value));
        return true;
    }

    template <class... Types>
    bool writeFloatingPoint(Any const& value) {
        auto const isFinite = [&value](auto number) {
            using T = decltype(number);
            return value.Type() != typeid(T) || std::isfinite(cppmicroservices::ref_any_cast<T>(value));
        };
        if (!(isFinite(Types{}) && ...)) {
            fail("is not a finite number");
        }
        return writeAs<Types...>(value);
    }

    template <class T>
    void writeLeaf(T const& value) {
        try {
            text_ += nlohmann::json(value).dump();
        } catch (nlohmann::json::exception const&) {
            fail("is not UTF-8 text");
        }
    }

    void enter() {
        if (++depth_ > maximumDepth) {
            fail("is nested deeper than " + std::to_string(maximumDepth) + " levels");
        }
    }

    [[noreturn]] void fail(std::string const& what) const {
        std::string path;
        for (auto const& component : path_) {
            path += "/" + component;
        }
        throw std::invalid_argument((path.empty() ? "the map" : "property " + path) + " " + what);
    }

    std::string text_;
    std::vector<std::string> path_; // keys and indices that lead to the value being written
    std::size_t depth_ = 0;
};

} // namespace

std::string writeJson(AnyMap const& map) {
    Writer writer;
    writer.write(map);
    return writer.take();
}

} // namespace agent::spf::bundles::json
