// Reading a text as JSON, more strictly than the grammar.
#include "configuration/JsonDocument.hpp"

#include <set>
#include <stdexcept>
#include <vector>

namespace agent::program {

namespace {

using Event = nlohmann::json::parse_event_t;

struct NestingError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Follows the parser through the document and notes every member whose name its object has already.
class DuplicateFinder {
public:
    explicit DuplicateFinder(Problems& problems)
        : problems_(problems) {}

    void follow(Event event, nlohmann::json const& parsed) {
        switch (event) {
        case Event::object_start:
        case Event::array_start:
            enter(event == Event::array_start);
            break;
        case Event::key:
            name(parsed.get_ref<std::string const&>());
            break;
        case Event::object_end:
        case Event::array_end:
            levels_.pop_back();
            valueEnded();
            break;
        case Event::value:
            valueEnded();
            break;
        }
    }

private:
    struct Level {
        bool isArray;
        std::string pointer;         // of the object or array itself
        std::set<std::string> names; // of an object: the names so far
        std::string name;            // of an object: the member that is being read
        std::size_t index = 0;       // of an array: the element that is being read
    };

    std::string pointerToValue() const {
        if (levels_.empty()) {
            return {};
        }
        auto const& level = levels_.back();
        return level.isArray ? elementPointer(level.pointer, level.index)
                             : memberPointer(level.pointer, level.name);
    }

    void enter(bool isArray) {
        auto pointer = pointerToValue();
        if (levels_.size() == maximumNesting) {
            problems_.push_back(
                {pointer, "nested deeper than the " + std::to_string(maximumNesting) + " levels allowed"});
            throw NestingError("nested too deeply");
        }
        levels_.push_back({isArray, std::move(pointer), {}, {}, 0});
    }

    void name(std::string const& text) {
        auto& level = levels_.back();
        level.name = text;
        if (!level.names.insert(text).second) {
            problems_.push_back({pointerToValue(), "duplicate member; a name may occur once in an object"});
        }
    }

    void valueEnded() {
        if (!levels_.empty() && levels_.back().isArray) {
            ++levels_.back().index;
        }
    }

    Problems& problems_;
    std::vector<Level> levels_;
};

// "[json.exception.parse_error.101] parse error at line 3, column 5: syntax error while ..." in two parts.
Problem syntaxProblem(std::string const& message) {
    constexpr std::string_view intro = "parse error at ";
    auto const begin = message.find(intro);
    auto const colon = message.find(": ", begin);
    if (begin == std::string::npos || colon == std::string::npos) {
        return {"", message};
    }
    auto const whereBegin = begin + intro.size();
    return {message.substr(whereBegin, colon - whereBegin), message.substr(colon + 2)};
}

} // namespace

JsonDocument parseJson(std::string_view text) {
    JsonDocument document;
    DuplicateFinder finder(document.problems);
    auto const follow = [&finder](int, Event event, nlohmann::json const& parsed) {
        finder.follow(event, parsed);
        return true;
    };
    try {
        document.root = nlohmann::json::parse(text, follow);
    } catch (NestingError const&) {
        document.readable = false;
    } catch (nlohmann::json::exception const& error) {
        document.readable = false;
        document.problems = {syntaxProblem(error.what())};
    }
    return document;
}

std::string memberPointer(std::string const& pointer, std::string_view name) {
    auto result = pointer + '/';
    for (char const character : name) {
        if (character == '~') {
            result += "~0";
        } else if (character == '/') {
            result += "~1";
        } else {
            result += character;
        }
    }
    return result;
}

std::string elementPointer(std::string const& pointer, std::size_t index) {
    return pointer + '/' + std::to_string(index);
}

std::string excerpt(nlohmann::json const& value) {
    constexpr std::size_t limit = 60;
    auto text = value.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
    if (text.size() > limit) {
        text.resize(limit);
        text += "...";
    }
    return text;
}

} // namespace agent::program
