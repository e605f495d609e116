// Checking a document against the schema of configuration files. The validator finds the places; what is said
// about a place is worked out from the schema and the document, so that every message has the same shape.
#include "configuration/SchemaCheck.hpp"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

#include "configuration/JsonDocument.hpp"

namespace agent::program {

namespace {

using nlohmann::json;
using Place = std::vector<std::string>; // member names and element indices from the root to a value

json const& schemaDocument() {
    static auto const document = json::parse(configurationSchema());
    return document;
}

// The validator compares each element of a list with each other, which takes long with thousands of
// endpoints. Which elements are there twice belongs to the content's check.
json withoutUniqueItems(json schema) {
    if (schema.is_object()) {
        schema.erase("uniqueItems");
    }
    for (auto& part : schema) {
        if (part.is_structured()) {
            part = withoutUniqueItems(std::move(part));
        }
    }
    return schema;
}

// The validator writes a place as "<root>", "[name]", "[0]".
Place toPlace(std::vector<std::string> const& context) {
    Place place;
    for (std::size_t index = 1; index < context.size(); ++index) {
        place.push_back(context[index].substr(1, context[index].size() - 2));
    }
    return place;
}

std::set<Place> placesOfErrors(json const& document) {
    valijson::Schema schema;
    static auto const checkedSchema = withoutUniqueItems(schemaDocument());
    valijson::adapters::NlohmannJsonAdapter const schemaAdapter(checkedSchema);
    valijson::SchemaParser().populateSchema(schemaAdapter, schema);
    valijson::ValidationResults results;
    valijson::adapters::NlohmannJsonAdapter const documentAdapter(document);
    valijson::Validator().validate(schema, documentAdapter, &results);
    std::set<Place> places;
    for (auto const& error : results) {
        places.insert(toPlace(error.context));
    }
    return places;
}

json const& dereference(json const& schema) {
    if (!schema.contains("$ref")) {
        return schema;
    }
    auto const& reference = schema.at("$ref").get_ref<std::string const&>();
    return schemaDocument().at(json::json_pointer(reference.substr(1))); // without the '#'
}

// The part of the schema that describes a member or an element of what `schema` describes.
json const& schemaBelow(json const& schema, json const& value, std::string const& step) {
    if (value.is_array()) {
        return dereference(schema.at("items"));
    }
    if (schema.contains("properties") && schema.at("properties").contains(step)) {
        return dereference(schema.at("properties").at(step));
    }
    return dereference(schema.at("additionalProperties"));
}

bool isPrefix(Place const& shorter, Place const& longer) {
    return shorter.size() < longer.size() && std::equal(shorter.begin(), shorter.end(), longer.begin());
}

// A place in the document together with what the schema says about it.
struct Location {
    json const* schema = &schemaDocument();
    json const* value;
    std::string pointer;

    explicit Location(json const& document)
        : value(&document) {}

    void descend(std::string const& step) {
        schema = &schemaBelow(*schema, *value, step);
        if (value->is_array()) {
            auto const index = std::stoul(step);
            value = &value->at(index);
            pointer = elementPointer(pointer, index);
        } else {
            value = &value->at(step);
            pointer = memberPointer(pointer, step);
        }
    }
};

std::string quotedList(json const& members) {
    std::string list;
    for (auto const& [name, schema] : members.items()) {
        list += (list.empty() ? "\"" : ", \"") + name + '"';
    }
    return list;
}

void reportUnknownMembers(Location const& location, Problems& problems) {
    auto const& known = location.schema->at("properties");
    for (auto const& [name, value] : location.value->items()) {
        if (!known.contains(name)) {
            problems.push_back(
                {memberPointer(location.pointer, name),
                 "unknown member, found with " + excerpt(value) + "; expected one of " + quotedList(known)});
        }
    }
}

void reportMissingMembers(Location const& location, Problems& problems) {
    for (auto const& name : location.schema->at("required")) {
        auto const& text = name.get_ref<std::string const&>();
        if (!location.value->contains(text)) {
            auto const& member = dereference(location.schema->at("properties").at(text));
            problems.push_back({memberPointer(location.pointer, text),
                                "missing; expected " + member.at("description").get<std::string>()});
        }
    }
}

void explain(Location const& location, bool errorsBelow, Problems& problems) {
    auto const before = problems.size();
    if (location.value->is_object() && location.schema->contains("properties")) {
        reportUnknownMembers(location, problems);
        reportMissingMembers(location, problems);
    }
    if (problems.size() == before && !errorsBelow) {
        problems.push_back({location.pointer, "found " + excerpt(*location.value) + "; expected " +
                                                  location.schema->at("description").get<std::string>()});
    }
}

} // namespace

Problems checkAgainstSchema(json const& document) {
    auto const places = placesOfErrors(document);
    Problems problems;
    for (auto place = places.begin(); place != places.end(); ++place) {
        Location location(document);
        for (auto const& step : *place) {
            location.descend(step);
        }
        auto const next = std::next(place); // places are sorted: what lies below a place follows it
        explain(location, next != places.end() && isPrefix(*place, *next), problems);
    }
    return problems;
}

} // namespace agent::program
