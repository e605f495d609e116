// Reading the configuration file of the agent.
#include "configuration/ConfigurationFile.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <nlohmann/json.hpp>

#include "agent/spf/frameworksetup/frameworksetup.hpp"
#include "configuration/ContentCheck.hpp"
#include "configuration/JsonDocument.hpp"
#include "configuration/SchemaCheck.hpp"

namespace agent::program {

namespace {

using boost::property_tree::ptree;
using nlohmann::json;

// Property trees hold texts: a number or a boolean becomes the text that JSON has for it.
std::string scalarText(json const& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

ptree toTree(json const& object) {
    ptree tree;
    for (auto const& [name, value] : object.items()) {
        tree.push_back({name, value.is_object() ? toTree(value) : ptree(scalarText(value))});
    }
    return tree;
}

InterfaceEntry toInterface(json const& object) {
    InterfaceEntry entry;
    entry.uniqueID = object.at("uniqueID");
    entry.name = object.at("name");
    entry.requestedProperties = toTree(object.value("requestedProperties", json::object()));
    auto const required = object.value("requiredRuntimeProperties", json::object());
    for (auto const& [name, value] : required.items()) {
        spf::frameworksetup::addRequiredRuntimeServiceProperties(entry.requestedProperties, name,
                                                                 scalarText(value));
    }
    auto const publishers = object.value("servicePublishers", json::array());
    entry.mappedToAllPublishers = publishers.is_string();
    if (!entry.mappedToAllPublishers) {
        entry.publishers = publishers.get<std::vector<std::string>>();
    }
    return entry;
}

PublisherEntry toPublisher(json const& object) {
    auto const endpoints = [&object](char const* name) {
        return object.value(name, json::array()).get<std::vector<std::string>>();
    };
    auto const text = [&object](char const* name) { return object.value(name, std::string()); };
    return {text("uniqueID"),
            text("name"),
            endpoints("endpointsToConnectTo"),
            endpoints("endpointsToBindTo"),
            text("importFilter"),
            text("exportFilter")};
}

ConfigurationFile toConfiguration(json document) {
    ConfigurationFile configuration;
    configuration.configurationID = document.at("configurationID");
    for (auto const& object : document.value("serviceInterfaces", json::array())) {
        configuration.interfaces.push_back(toInterface(object));
    }
    for (auto const& object : document.value("servicePublishers", json::array())) {
        configuration.publishers.push_back(toPublisher(object));
    }
    configuration.document = std::make_shared<json const>(std::move(document));
    return configuration;
}

void append(Problems& problems, Problems&& more) {
    problems.insert(problems.end(), std::make_move_iterator(more.begin()),
                    std::make_move_iterator(more.end()));
}

void sortByLine(Problems& problems, std::string_view text) {
    findLines(text, problems);
    std::stable_sort(problems.begin(), problems.end(),
                     [](Problem const& left, Problem const& right) { return left.line < right.line; });
}

std::string systemMessage() {
    return std::generic_category().message(errno);
}

} // namespace

ParsedConfiguration parseConfiguration(std::string_view text) {
    if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) {
        return {{}, {Problem{"", "it is empty; expected a configuration in JSON"}}};
    }
    auto document = parseJson(text);
    ParsedConfiguration parsed{{}, std::move(document.problems)};
    if (document.readable) {
        append(parsed.problems, checkAgainstSchema(document.root));
        append(parsed.problems, checkContent(document.root));
        sortByLine(parsed.problems, text);
    }
    if (parsed.problems.empty()) {
        parsed.notes = notesOn(document.root);
        sortByLine(parsed.notes, text);
        parsed.configuration = toConfiguration(std::move(document.root));
    }
    return parsed;
}

std::string readConfigurationText(std::string const& file) {
    constexpr std::size_t maximumSize = std::size_t{16} << 20U; // bytes; far beyond any configuration
    auto const close = [](std::FILE* stream) { return stream == stdin ? 0 : std::fclose(stream); };
    std::unique_ptr<std::FILE, decltype(close)> const stream(
        file == "-" ? stdin : std::fopen(file.c_str(), "rbe"), close);
    if (!stream) {
        throw std::runtime_error("cannot open it: " + systemMessage());
    }
    std::string text;
    std::array<char, 65536> buffer{};
    while (auto const count = std::fread(buffer.data(), 1, buffer.size(), stream.get())) {
        text.append(buffer.data(), count);
        if (text.size() > maximumSize) {
            throw std::runtime_error("it is larger than the " + std::to_string(maximumSize) +
                                     " bytes allowed");
        }
    }
    if (std::ferror(stream.get()) != 0) {
        throw std::runtime_error("cannot read it: " + systemMessage());
    }
    return text;
}

} // namespace agent::program
