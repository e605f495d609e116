// Text as a terminal shows it.
#include "progress/displayText.hpp"

#include <algorithm>
#include <array>
#include <cwchar>

#include <fmt/format.h>

namespace agent::program {

namespace {

struct Character {
    std::size_t size; // bytes; 0: not UTF-8
    char32_t code;
};

bool isContinuation(unsigned char byte) {
    return (byte & 0xC0U) == 0x80U;
}

// The first character of a text that is not empty. Overlong forms, surrogates and what lies beyond Unicode
// are not UTF-8.
Character firstCharacter(std::string_view text) {
    constexpr std::array<char32_t, 5> smallestOfSize{0, 0, 0x80, 0x800, 0x10000};
    auto const lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80) {
        return {1, lead};
    }
    std::size_t const size = lead >= 0xF8 ? 0 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 0;
    if (size == 0 || size > text.size()) {
        return {0, lead};
    }
    char32_t code = lead & (0x7FU >> size);
    for (std::size_t index = 1; index < size; ++index) {
        auto const byte = static_cast<unsigned char>(text[index]);
        if (!isContinuation(byte)) {
            return {0, lead};
        }
        code = (code << 6U) | (byte & 0x3FU);
    }
    bool const isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    bool const isCharacter = code >= smallestOfSize[size] && code <= 0x10FFFF && !isSurrogate;
    return isCharacter ? Character{size, code} : Character{0, lead};
}

std::size_t columnsOf(char32_t code) {
    auto const width = wcwidth(static_cast<wchar_t>(code));
    return width < 0 ? 1 : static_cast<std::size_t>(width); // unknown to this locale: most have one column
}

bool isControl(char32_t code) {
    return code < 0x20 || (code >= 0x7f && code < 0xa0);
}

} // namespace

std::string printable(std::string const& text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        auto const character = firstCharacter(std::string_view(text).substr(at));
        if (character.size == 0 || isControl(character.code)) {
            result += fmt::format("\\x{:02x}", static_cast<unsigned>(character.code));
            at += std::max<std::size_t>(character.size, 1);
        } else {
            result.append(text, at, character.size);
            at += character.size;
        }
    }
    return result;
}

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        auto const character = firstCharacter(text);
        width += columnsOf(character.code);
        text.remove_prefix(std::max<std::size_t>(character.size, 1));
    }
    return width;
}

std::string shortened(std::string const& text, std::size_t columns) {
    if (displayWidth(text) <= columns) {
        return text;
    }
    if (columns == 0) {
        return {};
    }
    std::size_t width = 0;
    std::size_t at = 0;
    while (at < text.size()) {
        auto const character = firstCharacter(std::string_view(text).substr(at));
        width += columnsOf(character.code);
        if (width > columns - 1) {
            break;
        }
        at += std::max<std::size_t>(character.size, 1);
    }
    return text.substr(0, at) + '~';
}

} // namespace agent::program
