// Checks of a configuration that a schema cannot express.
#include "configuration/ContentCheck.hpp"

#include <map>
#include <stdexcept>
#include <string>

#include <boost/algorithm/string/case_conv.hpp>
#include <cppmicroservices/LDAPFilter.h>

#include "configuration/JsonDocument.hpp"

namespace agent::program {

namespace {

using nlohmann::json;

std::string shown(std::string const& text) {
    return excerpt(json(text));
}

class ContentCheck {
public:
    explicit ContentCheck(json const& document)
        : document_(document) {}

    Problems run() && {
        forEachEntry("serviceInterfaces", [this](json const& entry, std::string const& pointer) {
            checkIdentity(entry, pointer, interfaces_);
            checkProperties(entry, pointer);
        });
        forEachEntry("servicePublishers", [this](json const& entry, std::string const& pointer) {
            checkIdentity(entry, pointer, publishers_);
            checkFilter(entry, "importFilter", pointer);
            checkFilter(entry, "exportFilter", pointer);
        });
        forEachEntry("serviceInterfaces", [this](json const& entry, std::string const& pointer) {
            checkMappings(entry, pointer);
        });
        return std::move(problems_);
    }

private:
    using Identities = std::map<std::string, std::string>; // from a unique ID to the pointer of its entry

    template <typename Check>
    void forEachEntry(char const* listName, Check const& check) {
        if (!document_.contains(listName)) {
            return;
        }
        auto const list = memberPointer("", listName);
        std::size_t index = 0;
        for (auto const& entry : document_.at(listName)) {
            check(entry, elementPointer(list, index++));
        }
    }

    void checkIdentity(json const& entry, std::string const& pointer, Identities& identities) {
        auto const id = entry.at("uniqueID").get<std::string>();
        auto const [known, isNew] = identities.emplace(id, pointer);
        if (!isNew) {
            report(memberPointer(pointer, "uniqueID"),
                   "found " + shown(id) + ", which is taken by " + known->second +
                       "; expected an ID that no other entry of the list has");
        }
    }

    void checkMappings(json const& entry, std::string const& pointer) {
        if (!entry.contains("servicePublishers") || !entry.at("servicePublishers").is_array()) {
            return;
        }
        auto const list = memberPointer(pointer, "servicePublishers");
        std::size_t index = 0;
        for (auto const& publisher : entry.at("servicePublishers")) {
            auto const& id = publisher.get_ref<std::string const&>();
            if (publishers_.count(id) == 0) {
                report(elementPointer(list, index), "found " + shown(id) + "; expected " + knownPublishers());
            }
            ++index;
        }
    }

    std::string knownPublishers() const {
        std::string list;
        for (auto const& [id, pointer] : publishers_) {
            list += (list.empty() ? "" : ", ") + shown(id);
        }
        return list.empty() ? "the unique ID of a publisher, but the file has no publishers"
                            : "the unique ID of a publisher: one of " + list;
    }

    void checkFilter(json const& entry, char const* name, std::string const& pointer) {
        auto const text = entry.value(name, std::string());
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
            if (entry.contains(name)) {
                checkLetterCase(entry.at(name), memberPointer(pointer, name));
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

} // namespace agent::program
