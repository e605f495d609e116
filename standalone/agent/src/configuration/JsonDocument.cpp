// Reading a text as JSON, more strictly than the grammar.
#include "configuration/JsonDocument.hpp"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>
#include <vector>

namespace agent::program {

namespace {

using nlohmann::json;

// Walks over a text and leaves behind how far it has come, which the parser does not tell.
class TrackedIterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = char const*;
    using reference = char const&;

    TrackedIterator(char const* at, char const*& reached)
        : at_(at)
        , reached_(&reached) {}

    reference operator*() const { return *at_; }
    TrackedIterator& operator++() {
        *reached_ = ++at_;
        return *this;
    }
    friend bool operator!=(TrackedIterator left, TrackedIterator right) { return left.at_ != right.at_; }

private:
    char const* at_;
    char const** reached_;
};

// What is behind the last colon of "[json.exception.parse_error.101] parse error at line 3, column 5: syntax
// error while ...", or of the shorter messages that name no place.
std::string withoutIntroduction(std::string const& message) {
    auto const bracket = message.find("] ");
    auto const begin = bracket == std::string::npos ? 0 : bracket + 2;
    auto const place = message.find(": ", begin);
    bool const namesPlace = message.compare(begin, 11, "parse error") == 0 && place != std::string::npos;
    return message.substr(namesPlace ? place + 2 : begin);
}

// A problem at the last character that was read.
Problem problemAt(std::string_view read, std::string what) {
    auto const lineBegin = read.find_last_of('\n') + 1; // 0 if there is none
    Problem problem{"", std::move(what)};
    problem.line = 1 + static_cast<std::size_t>(std::count(read.begin(), read.end(), '\n'));
    problem.column = std::max<std::size_t>(1, read.size() - lineBegin);
    return problem;
}

// Follows the parser through the text. Notes where every value is, and what the grammar allows but we do not.
class Follower : public nlohmann::json_sax<json> {
public:
    Follower(std::string_view text, JsonDocument& document)
        : text_(text)
        , document_(document)
        , counted_(text.data())
        , reached_(text.data()) {}

    bool run() {
        char const* const end = text_.data() + text_.size();
        return json::sax_parse(TrackedIterator(text_.data(), reached_), TrackedIterator(end, reached_), this);
    }

    bool null() override { return scalar(0); }
    bool boolean(bool) override { return scalar(0); }
    bool number_integer(number_integer_t) override { return scalar(lookAhead); }
    bool number_unsigned(number_unsigned_t) override { return scalar(lookAhead); }
    bool number_float(number_float_t, string_t const& written) override {
        bool const isWhole = written.find_first_of(".eE") == std::string::npos;
        if (isWhole) {
            report("found " + written + "; expected a whole number of at most 64 bits, or a string");
        }
        return scalar(lookAhead);
    }
    bool string(string_t& value) override {
        checkText(value);
        return scalar(0);
    }
    bool binary(binary_t&) override { return scalar(0); } // does not occur in text

    bool start_object(std::size_t) override { return enter(false); }
    bool start_array(std::size_t) override { return enter(true); }
    bool end_object() override { return leave(); }
    bool end_array() override { return leave(); }

    bool key(string_t& name) override {
        auto& level = levels_.back();
        level.name = name;
        checkText(name);
        if (!level.names.insert(name).second) {
            report("duplicate member; expected a name to occur once in an object");
        }
        document_.lines[pointer()] = line(0);
        return true;
    }

    bool parse_error(std::size_t position, std::string const&,
                     nlohmann::detail::exception const& error) override {
        auto problem =
            problemAt(text_.substr(0, std::min(position, text_.size())), withoutIntroduction(error.what()));
        document_.problems = {std::move(problem)}; // what was noted before may follow from it
        return false;
    }

private:
    static constexpr std::ptrdiff_t lookAhead = 1; // a number ends at the character that is not part of it

    struct Level {
        bool isArray;
        std::string pointer;         // of the object or array itself
        std::set<std::string> names; // of an object: the names so far
        std::string name;            // of an object: the member that is being read
        std::size_t index = 0;       // of an array: the element that is being read
    };

    std::string pointer() const {
        if (levels_.empty()) {
            return {};
        }
        auto const& level = levels_.back();
        return level.isArray ? elementPointer(level.pointer, level.index)
                             : memberPointer(level.pointer, level.name);
    }

    // The line that the parser is in, not counting the last `excess` characters that it has read.
    std::size_t line(std::ptrdiff_t excess) {
        auto const* const until = std::max(counted_, reached_ - std::min(excess, reached_ - text_.data()));
        line_ += static_cast<std::size_t>(std::count(counted_, until, '\n'));
        counted_ = until;
        return line_;
    }

    void noteLine(std::ptrdiff_t excess) {
        document_.lines.emplace(pointer(), line(excess)); // a member is where its name is
    }

    bool scalar(std::ptrdiff_t excess) {
        noteLine(excess);
        return valueEnded();
    }

    bool enter(bool isArray) {
        noteLine(0);
        if (levels_.size() == maximumNesting) {
            report("nested deeper than the " + std::to_string(maximumNesting) + " levels allowed");
            return false;
        }
        levels_.push_back({isArray, pointer(), {}, {}, 0});
        return true;
    }

    bool leave() {
        levels_.pop_back();
        return valueEnded();
    }

    bool valueEnded() {
        if (!levels_.empty() && levels_.back().isArray) {
            ++levels_.back().index;
        }
        return true;
    }

    void checkText(std::string const& text) {
        if (text.find('\0') != std::string::npos) {
            report("found " + excerpt(json(text)) + "; expected a text without the character U+0000");
        }
    }

    void report(std::string what) { document_.problems.push_back({pointer(), std::move(what)}); }

    std::string_view const text_;
    JsonDocument& document_;
    std::vector<Level> levels_;
    char const* counted_;  // up to here line ends are counted
    char const* reached_;  // up to here the parser has read
    std::size_t line_ = 1; // of `counted_`
};

} // namespace

JsonDocument parseJson(std::string_view text) {
    JsonDocument document;
    if (auto const nul = text.find('\0'); nul != std::string_view::npos) { // the parser takes it for the end
        document.problems.push_back(problemAt(text.substr(0, nul + 1), "found a NUL byte; expected text"));
        document.readable = false;
        return document;
    }
    document.readable = Follower(text, document).run();
    if (document.readable) {
        document.root = json::parse(text);
    }
    return document;
}

std::size_t JsonDocument::lineOf(std::string pointer) const {
    for (;;) {
        if (auto const found = lines.find(pointer); found != lines.end()) {
            return found->second;
        }
        if (pointer.empty()) {
            return 0;
        }
        pointer.erase(pointer.find_last_of('/'));
    }
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

std::string excerpt(json const& value) {
    constexpr std::size_t limit = 60;
    auto text = value.dump(-1, ' ', true, json::error_handler_t::replace);
    if (text.size() > limit) {
        text.resize(limit);
        text += "...";
    }
    return text;
}

} // namespace agent::program
