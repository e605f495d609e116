// Checks of a configuration that a schema cannot express.
#include "configuration/ContentCheck.hpp"

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <boost/algorithm/string/case_conv.hpp>
#include <cppmicroservices/LDAPFilter.h>

#include "configuration/JsonDocument.hpp"

namespace agent::program {

namespace {

using nlohmann::json;

std::string shown(std::string const& text) {
    return excerpt(json(text));
}

// The member of that name and type; null if there is none.
json const* memberOf(json const& object, char const* name, json::value_t type) {
    if (!object.is_object()) {
        return nullptr;
    }
    auto const found = object.find(name);
    return found != object.end() && found->type() == type ? &*found : nullptr;
}

// Calls `check` with each element of a list of the object at `pointer`, if it has that list, and with the
// element's pointer.
template <typename Check>
void forEachElement(json const& object, char const* listName, std::string const& pointer,
                    Check const& check) {
    auto const* const list = memberOf(object, listName, json::value_t::array);
    if (list == nullptr) {
        return;
    }
    auto const listPointer = memberPointer(pointer, listName);
    std::size_t index = 0;
    for (auto const& element : *list) {
        check(element, elementPointer(listPointer, index++));
    }
}

// The same for a list of the document.
template <typename Check>
void forEachEntry(json const& document, char const* listName, Check const& check) {
    forEachElement(document, listName, "", check);
}

class ContentCheck {
public:
    explicit ContentCheck(json const& document)
        : document_(document) {}

    Problems run() && {
        forEachEntry(document_, "serviceInterfaces", [this](json const& entry, std::string const& pointer) {
            checkIdentity(entry, pointer, interfaces_);
            checkThatEachIsThereOnce(entry, "servicePublishers", pointer);
            checkProperties(entry, pointer);
            checkLevelsOfNames(entry, pointer);
        });
        forEachEntry(document_, "servicePublishers", [this](json const& entry, std::string const& pointer) {
            checkIdentity(entry, pointer, publishers_);
            checkThatEachIsThereOnce(entry, "endpointsToConnectTo", pointer);
            checkThatEachIsThereOnce(entry, "endpointsToBindTo", pointer);
            checkFilter(entry, "importFilter", pointer);
            checkFilter(entry, "exportFilter", pointer);
        });
        forEachEntry(document_, "serviceInterfaces", [this](json const& entry, std::string const& pointer) {
            checkMappings(entry, pointer);
        });
        return std::move(problems_);
    }

private:
    struct Identities {
        std::map<std::string, std::string> pointers; // from a unique ID to the pointer of its entry
        bool areAllKnown = true;
    };

    void checkIdentity(json const& entry, std::string const& pointer, Identities& identities) {
        auto const* const member = memberOf(entry, "uniqueID", json::value_t::string);
        if (member == nullptr) {
            identities.areAllKnown = false;
            return;
        }
        auto const id = member->get<std::string>();
        auto const [known, isNew] = identities.pointers.emplace(id, pointer);
        if (!isNew) {
            report(memberPointer(pointer, "uniqueID"),
                   "found " + shown(id) + ", which is taken by " + known->second +
                       "; expected an ID that no other entry of the list has");
        }
    }

    void checkThatEachIsThereOnce(json const& entry, char const* name, std::string const& pointer) {
        std::map<json, std::string> pointers; // from an element to where it is first
        forEachElement(entry, name, pointer, [&](json const& element, std::string const& where) {
            auto const [known, isNew] = pointers.emplace(element, where);
            if (!isNew) {
                report(where, "found " + excerpt(element) + ", which is " + known->second +
                                  ", too; expected each once");
            }
        });
    }

    void checkMappings(json const& entry, std::string const& pointer) {
        if (!publishers_.areAllKnown) {
            return;
        }
        forEachElement(entry, "servicePublishers", pointer, [&](json const& id, std::string const& where) {
            if (id.is_string() && publishers_.pointers.count(id.get<std::string>()) == 0) {
                report(where, "found " + excerpt(id) + "; expected " + knownPublishers());
            }
        });
    }

    // Some of them, if there are many.
    std::string knownPublishers() const {
        constexpr std::size_t shownAtMost = 10;
        auto const count = publishers_.pointers.size();
        std::string list;
        auto publisher = publishers_.pointers.begin();
        for (std::size_t index = 0; index < std::min(count, shownAtMost); ++index, ++publisher) {
            list += (list.empty() ? "" : ", ") + shown(publisher->first);
        }
        if (count > shownAtMost) {
            list += " and " + std::to_string(count - shownAtMost) + " others";
        }
        return list.empty() ? "the unique ID of a publisher, but the file has no publishers"
                            : "the unique ID of a publisher: one of " + list;
    }

    void checkFilter(json const& entry, char const* name, std::string const& pointer) {
        auto const* const member = memberOf(entry, name, json::value_t::string);
        auto const text = member == nullptr ? std::string() : member->get<std::string>();
        if (text.empty()) { // lets everything pass
            return;
        }
        try {
            cppmicroservices::LDAPFilter const filter(text);
        } catch (std::exception const& error) {
            report(memberPointer(pointer, name),
                   "found " + shown(text) + "; expected an LDAP filter (" + error.what() + ")");
        }
    }

    void checkProperties(json const& entry, std::string const& pointer) {
        for (auto const* name : {"requestedProperties", "requiredRuntimeProperties"}) {
            if (auto const* const object = memberOf(entry, name, json::value_t::object)) {
                checkLetterCase(*object, memberPointer(pointer, name));
            }
        }
    }

    void checkLetterCase(json const& object, std::string const& pointer) {
        std::map<std::string, std::string> names; // from lower case to the name as it stands
        for (auto const& [name, value] : object.items()) {
            auto const member = memberPointer(pointer, name);
            auto const [known, isNew] = names.emplace(boost::algorithm::to_lower_copy(name), name);
            if (!isNew) {
                report(member, "differs from " + shown(known->second) +
                                   " in letter case only; expected names that differ otherwise");
            }
            if (value.is_object()) {
                checkLetterCase(value, member);
            }
        }
    }

    // A dot in the name of a required property begins another level of the tree that holds it.
    void checkLevelsOfNames(json const& entry, std::string const& pointer) {
        constexpr char const* list = "requiredRuntimeProperties";
        auto const* const object = memberOf(entry, list, json::value_t::object);
        if (object == nullptr) {
            return;
        }
        auto const listPointer = memberPointer(pointer, list);
        std::vector<std::string> names; // those that can be taken apart
        for (auto const& [name, value] : object->items()) {
            if (std::count(name.begin(), name.end(), '.') >= static_cast<std::ptrdiff_t>(maximumNesting)) {
                report(listPointer, "found " + shown(name) + ", whose dots make more than the " +
                                        std::to_string(maximumNesting) + " levels allowed");
            } else if (!name.empty() && name.back() == '.') {
                report(memberPointer(listPointer, name),
                       "found " + shown(name) + "; expected a name that does not end in a dot");
            } else {
                names.push_back(name);
            }
        }
        checkConflictsOfLevels(names, listPointer);
    }

    // A published map has one value for a name, and letter case makes no other name.
    void checkConflictsOfLevels(std::vector<std::string> const& names, std::string const& pointer) {
        std::map<std::string, std::string>
            levels; // what stands before a dot: from lower case to how it stands
        for (auto const& name : names) {
            for (auto dot = name.find('.'); dot != std::string::npos; dot = name.find('.', dot + 1)) {
                auto const level = name.substr(0, dot);
                auto const& known =
                    levels.emplace(boost::algorithm::to_lower_copy(level), level).first->second;
                if (known != level) {
                    report(memberPointer(pointer, name),
                           "what stands before a dot differs from " + shown(known) +
                               " in letter case only; expected names that differ otherwise");
                    break;
                }
            }
        }
        for (auto const& name : names) {
            if (levels.count(boost::algorithm::to_lower_copy(name)) != 0) {
                report(
                    memberPointer(pointer, name),
                    "stands before a dot in another name, too; expected a name that has a value or further "
                    "levels, not both");
            }
        }
    }

    void report(std::string where, std::string what) {
        problems_.push_back({std::move(where), std::move(what)});
    }

    json const& document_;
    Identities interfaces_;
    Identities publishers_;
    Problems problems_;
};

} // namespace

Problems checkContent(json const& document) {
    return ContentCheck(document).run();
}

Problems notesOn(json const& document) {
    bool const hasPublishers =
        document.contains("servicePublishers") && !document["servicePublishers"].empty();
    Problems notes;
    forEachEntry(document, "serviceInterfaces", [&](json const& entry, std::string const& pointer) {
        auto const mapping = entry.find("servicePublishers");
        if (!hasPublishers || mapping == entry.end() || mapping->empty()) {
            notes.push_back(
                {pointer, hasPublishers
                              ? "note: offered to nobody, because its \"servicePublishers\" name none"
                              : "note: offered to nobody, because the file has no publishers"});
        }
    });
    return notes;
}

} // namespace agent::program
