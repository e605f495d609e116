// What changes from one configuration to the next.
#include "configuration/ConfigurationDifference.hpp"

#include <map>
#include <set>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace agent::program {

namespace {

using nlohmann::json;
using Entries = std::map<std::string, json>; // by unique ID
using Lines = std::vector<std::string>;

Entries entriesOf(ConfigurationFile const& configuration, char const* list) {
    Entries entries;
    for (auto const& entry : configuration.document->value(list, json::array())) {
        entries.emplace(entry.at("uniqueID").get<std::string>(), entry);
    }
    return entries;
}

// The value of a member as it is compared and shown; null if it is absent or says nothing.
json memberOf(json const& entry, std::string const& name) {
    auto value = entry.value(name, json());
    bool const saysNothing = value.is_string() ? value.get_ref<std::string const&>().empty() : value.empty();
    return saysNothing ? json() : value;
}

std::string shown(json const& value) {
    return value.is_null() ? "nothing" : value.dump(-1, ' ', false, json::error_handler_t::replace);
}

void compareMembers(std::string const& entryName, json const& before, json const& after, Lines& lines) {
    std::set<std::string> names;
    for (auto const* entry : {&before, &after}) {
        for (auto const& [name, value] : entry->items()) {
            names.insert(name);
        }
    }
    for (auto const& name : names) {
        auto const old = memberOf(before, name);
        auto const next = memberOf(after, name);
        if (old != next) {
            lines.push_back(fmt::format("~ {}: \"{}\": {} -> {}", entryName, name, shown(old), shown(next)));
        }
    }
}

void compareEntries(char const* kind, Entries const& before, Entries const& after, Lines& lines) {
    auto const named = [kind](std::string const& id) { return fmt::format("{} \"{}\"", kind, id); };
    for (auto const& [id, entry] : before) {
        if (after.count(id) == 0) {
            lines.push_back("- " + named(id));
        }
    }
    for (auto const& [id, entry] : after) {
        if (auto const old = before.find(id); old == before.end()) {
            lines.push_back("+ " + named(id));
        } else {
            compareMembers(named(id), old->second, entry, lines);
        }
    }
}

} // namespace

Lines differences(ConfigurationFile const& before, ConfigurationFile const& after) {
    Lines lines;
    compareEntries("service publisher", entriesOf(before, "servicePublishers"),
                   entriesOf(after, "servicePublishers"), lines);
    compareEntries("service interface", entriesOf(before, "serviceInterfaces"),
                   entriesOf(after, "serviceInterfaces"), lines);
    return lines;
}

} // namespace agent::program
