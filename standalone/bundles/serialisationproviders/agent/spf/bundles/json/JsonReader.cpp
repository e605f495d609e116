// Builds property maps from what the JSON parser reports.
#include "agent/spf/bundles/json/JsonReader.hpp"

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/spf/bundles/common/Properties.hpp"
#include "agent/spf/bundles/json/JsonSerialiser.hpp"

namespace agent::spf::bundles::json {

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using Json = nlohmann::json;

template <class Small, class Large>
bool fits(Large value) {
    return value <= static_cast<Large>(std::numeric_limits<Small>::max());
}

// Builds the map while the text is read, so that no second tree of the values ever exists.
class MapBuilder : public nlohmann::json_sax<Json> {
public:
    AnyMap takeResult() { return std::move(result_); }

    bool null() override { return value(Any()); }
    bool boolean(bool flag) override { return value(flag); }

    bool number_integer(number_integer_t number) override {
        auto const isInt =
            number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max();
        return isInt ? value(static_cast<int>(number)) : value(static_cast<std::int64_t>(number));
    }

    bool number_unsigned(number_unsigned_t number) override {
        if (fits<int>(number)) {
            return value(static_cast<int>(number));
        }
        return fits<std::int64_t>(number) ? value(static_cast<std::int64_t>(number))
                                          : value(static_cast<std::uint64_t>(number));
    }

    bool number_float(number_float_t number, string_t const&) override { return value(number); }
    bool string(string_t& text) override { return value(std::move(text)); }
    bool binary(binary_t&) override { throw std::invalid_argument("JSON text: binary value"); }

    bool start_object(std::size_t) override { return open(makeMap()); }
    bool end_object() override { return close(); }
    bool start_array(std::size_t) override { return open(AnyList()); }
    bool end_array() override { return close(); }

    bool key(string_t& text) override {
        auto const& map = std::get<AnyMap>(open_.back());
        if (map.count(text) != 0) {
            throw std::invalid_argument("JSON text: the key \"" + text + "\" appears twice in " + path());
        }
        if (map.size() == maximumMembers) {
            throw std::invalid_argument("JSON text: more than " + std::to_string(maximumMembers) +
                                        " members in " + path());
        }
        keys_.back() = std::move(text);
        return true;
    }

    bool parse_error(std::size_t, std::string const&, Json::exception const& error) override {
        std::string const text = error.what();
        auto const bracket = text.find("] "); // the library's own name of the error ends there
        throw std::invalid_argument("JSON text: " +
                                    (bracket == std::string::npos ? text : text.substr(bracket + 2)));
    }

private:
    using Container = std::variant<AnyMap, AnyList>;

    bool open(Container container) {
        if (open_.empty() && !std::holds_alternative<AnyMap>(container)) {
            throw std::invalid_argument("JSON text: an array where an object was expected");
        }
        if (open_.size() == maximumDepth) {
            throw std::invalid_argument("JSON text: nested deeper than " + std::to_string(maximumDepth) +
                                        " levels");
        }
        open_.push_back(std::move(container));
        keys_.emplace_back();
        return true;
    }

    bool close() {
        auto container = std::move(open_.back());
        open_.pop_back();
        keys_.pop_back();
        if (open_.empty()) {
            result_ = std::move(std::get<AnyMap>(container));
            return true;
        }
        return std::visit([this](auto& inner) { return value(std::move(inner)); }, container);
    }

    bool value(Any any) {
        if (open_.empty()) {
            throw std::invalid_argument("JSON text: a single value where an object was expected");
        }
        if (auto* map = std::get_if<AnyMap>(&open_.back())) {
            (*map)[keys_.back()] = std::move(any);
        } else {
            std::get<AnyList>(open_.back()).push_back(std::move(any));
        }
        return true;
    }

    // Where the innermost open map is, for messages.
    std::string path() const {
        std::string text = "the object";
        for (std::size_t i = 0; i + 1 < keys_.size(); ++i) {
            text += keys_[i].empty() ? "/[]" : "/" + keys_[i];
        }
        return text;
    }

    std::vector<Container> open_;
    std::vector<std::string> keys_; // of each open container, the key whose value is being read
    AnyMap result_ = makeMap();
};

} // namespace

AnyMap readJson(std::string_view text) {
    MapBuilder builder;
    Json::sax_parse(text.begin(), text.end(), &builder);
    return builder.takeResult();
}

} // namespace agent::spf::bundles::json
