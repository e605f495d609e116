// Reading a text as JSON, more strictly than the grammar.
#include "configuration/JsonDocument.hpp"

#include <algorithm>
#include <iterator>
#include <map>
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

// Follows the parser through a text, and knows in which line it is.
class Follower : public nlohmann::json_sax<json> {
public:
    explicit Follower(std::string_view text)
        : text_(text)
        , counted_(text.data())
        , reached_(text.data()) {}

    bool run() {
        char const* const end = text_.data() + text_.size();
        return json::sax_parse(TrackedIterator(text_.data(), reached_), TrackedIterator(end, reached_), this);
    }

protected:
    static constexpr std::ptrdiff_t lookAhead = 1; // a number ends at the character that is not part of it

    // The line that the parser is in, not counting the last `excess` characters that it has read.
    std::size_t line(std::ptrdiff_t excess) {
        auto const* const until = std::max(counted_, reached_ - std::min(excess, reached_ - text_.data()));
        line_ += static_cast<std::size_t>(std::count(counted_, until, '\n'));
        counted_ = until;
        return line_;
    }

    std::string_view const text_;

private:
    char const* counted_;  // up to here line ends are counted
    char const* reached_;  // up to here the parser has read
    std::size_t line_ = 1; // of `counted_`
};

// Notes what the grammar allows but we do not.
class Checker : public Follower {
public:
    Checker(std::string_view text, JsonDocument& document)
        : Follower(text)
        , document_(document) {}

    bool null() override { return valueEnded(); }
    bool boolean(bool) override { return valueEnded(); }
    bool number_integer(number_integer_t) override { return valueEnded(); }
    bool number_unsigned(number_unsigned_t) override { return valueEnded(); }
    bool number_float(number_float_t, string_t const& written) override {
        bool const isWhole = written.find_first_of(".eE") == std::string::npos;
        if (isWhole) {
            report("found " + written + "; expected a whole number of at most 64 bits, or a string");
        }
        return valueEnded();
    }
    bool string(string_t& value) override {
        checkText(value);
        return valueEnded();
    }
    bool binary(binary_t&) override { return valueEnded(); } // does not occur in text

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
    struct Level {
        bool isArray;
        std::set<std::string> names; // of an object: the names so far
        std::string name;            // of an object: the member that is being read
        std::size_t index = 0;       // of an array: the element that is being read
    };

    // To the value that is being read. It is put together for a problem only: of many values in something
    // whose name is long, the pointers together are far longer than the text.
    std::string pointer() const {
        std::string result;
        for (auto const& level : levels_) {
            result = level.isArray ? elementPointer(result, level.index) : memberPointer(result, level.name);
        }
        return result;
    }

    bool enter(bool isArray) {
        if (levels_.size() == maximumNesting) {
            report("nested deeper than the " + std::to_string(maximumNesting) + " levels allowed");
            return false;
        }
        levels_.push_back({isArray, {}, {}, 0});
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

    JsonDocument& document_;
    std::vector<Level> levels_;
};

// A value that is looked for, and those in it that are.
struct Wanted {
    std::map<std::string, Wanted> inside; // by what leads there: a name or an index, as pointers have it
    std::size_t line = 0;                 // 0: not found
};

// Finds the lines of the values that are looked for.
class Finder : public Follower {
public:
    Finder(std::string_view text, Wanted& root)
        : Follower(text)
        , root_(root) {}

    bool null() override { return found(0); }
    bool boolean(bool) override { return found(0); }
    bool number_integer(number_integer_t) override { return found(lookAhead); }
    bool number_unsigned(number_unsigned_t) override { return found(lookAhead); }
    bool number_float(number_float_t, string_t const&) override { return found(lookAhead); }
    bool string(string_t&) override { return found(0); }
    bool binary(binary_t&) override { return found(0); }

    bool start_object(std::size_t) override { return enter(false); }
    bool start_array(std::size_t) override { return enter(true); }
    bool end_object() override { return leave(); }
    bool end_array() override { return leave(); }

    bool key(string_t& name) override {
        auto& level = levels_.back();
        level.member = level.value == nullptr ? nullptr : inside(*level.value, memberPointer({}, name));
        if (level.member != nullptr) {
            level.member->line = line(0); // a member is where its name is; of duplicates the last counts
        }
        return true;
    }

    bool parse_error(std::size_t, std::string const&, nlohmann::detail::exception const&) override {
        return false; // does not occur in a readable text
    }

private:
    struct Level {
        bool isArray;
        Wanted* value;            // the object or array itself; null: nothing in it is looked for
        Wanted* member = nullptr; // of an object: the one that is being read
        std::size_t index = 0;    // of an array: the element that is being read
    };

    static Wanted* inside(Wanted& value, std::string const& pointer) {
        auto const wanted = value.inside.find(pointer);
        return wanted == value.inside.end() ? nullptr : &wanted->second;
    }

    // The value that is being read, if it is looked for.
    Wanted* current() {
        if (levels_.empty()) {
            return &root_;
        }
        auto const& level = levels_.back();
        if (level.value == nullptr || !level.isArray) {
            return level.member;
        }
        return inside(*level.value, elementPointer({}, level.index));
    }

    void noteLine(std::ptrdiff_t excess) {
        if (auto* const value = current(); value != nullptr && value->line == 0) {
            value->line = line(excess);
        }
    }

    bool found(std::ptrdiff_t excess) {
        noteLine(excess);
        return ended();
    }

    bool enter(bool isArray) {
        noteLine(0);
        levels_.push_back({isArray, current()});
        return true;
    }

    bool leave() {
        levels_.pop_back();
        return ended();
    }

    bool ended() {
        if (!levels_.empty()) {
            ++levels_.back().index;
        }
        return true;
    }

    Wanted& root_;
    std::vector<Level> levels_;
};

// The steps of a pointer, each with its slash.
std::vector<std::string> stepsOf(std::string const& pointer) {
    std::vector<std::string> steps;
    for (std::size_t at = 0; at < pointer.size();) {
        auto const next = std::min(pointer.find('/', at + 1), pointer.size());
        steps.push_back(pointer.substr(at, next - at));
        at = next;
    }
    return steps;
}

} // namespace

JsonDocument parseJson(std::string_view text) {
    JsonDocument document;
    if (auto const nul = text.find('\0'); nul != std::string_view::npos) { // the parser takes it for the end
        document.problems.push_back(problemAt(text.substr(0, nul + 1), "found a NUL byte; expected text"));
        document.readable = false;
        return document;
    }
    document.readable = Checker(text, document).run();
    if (document.readable) {
        document.root = json::parse(text);
    }
    return document;
}

void findLines(std::string_view text, Problems& problems) {
    if (problems.empty()) {
        return;
    }
    Wanted root;
    for (auto const& problem : problems) {
        auto* value = &root;
        for (auto const& step : stepsOf(problem.where)) {
            value = &value->inside[step];
        }
    }
    Finder(text, root).run();
    for (auto& problem : problems) {
        auto const* value = &root;
        problem.line = root.line;
        for (auto const& step : stepsOf(problem.where)) {
            value = &value->inside.at(step);
            problem.line = value->line == 0 ? problem.line : value->line;
        }
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
