// The services, factories and customizers.
#include "services.hpp"

#include "transcript.hpp"

#include <cppmicroservices/Constants.h>

#include <algorithm>

namespace randomised {

using namespace cppmicroservices;

namespace {

std::string usersOf(ServiceReferenceU const& reference) {
    if (mayFail(reference)) {
        return {};
    }
    std::vector<std::string> users;
    for (auto const& bundle : reference.GetUsingBundles()) {
        users.push_back(" " + bundle.GetSymbolicName());
    }
    std::sort(users.begin(), users.end());
    std::string text;
    for (auto const& user : users) {
        text += user;
    }
    return text;
}

} // namespace

std::string nameOf(ServiceReferenceBase const& reference) {
    if (reference == ServiceReferenceU()) { // the installed provider crashes when it is asked for a property
        return "no reference";
    }
    auto const number = reference.GetProperty("n");
    return "#" + (number.Empty() ? "" : number.ToString());
}

bool mayFail(ServiceReferenceU const& reference) {
    return nameOf(reference).back() == failingSuffix.back();
}

ServiceProperties randomServiceProperties(Random& random, std::string const& name) {
    static std::string const keys[] = {"x", "y", "Z"};
    ServiceProperties properties{{"n", name}};
    for (auto count = random.below(3); count > 0; --count) {
        auto const& key = random.oneOf(keys);
        properties[key] = static_cast<int>(random.below(3));
    }
    // Always an int: what a ranking of another type means is the provider's choice.
    if (random.percent(30)) {
        properties[Constants::SERVICE_RANKING] = static_cast<int>(random.below(4)) - 1;
    }
    return properties;
}

std::string randomServiceFilter(Random& random) {
    static std::string const filters[] = {"",
                                          "",
                                          "(x=1)",
                                          "(!(x=1))",
                                          "(&(x>=1)(y=2))",
                                          "(|(x=0)(y=0))",
                                          "(objectclass=*First)",
                                          "(objectclass=randomised::First)",
                                          "(objectClass=randomised::Second)",
                                          "(&(objectclass=randomised::First)(x=1))",
                                          "(|(objectclass=randomised::First)(x=2))",
                                          "(!(objectclass=randomised::First))",
                                          "(service.ranking>=1)",
                                          "(service.scope=prototype)",
                                          std::string(malformedServiceFilter)};
    return random.oneOf(filters);
}

std::string describeService(ServiceReferenceU const& reference) {
    auto keys = reference.GetPropertyKeys();
    std::sort(keys.begin(), keys.end());
    std::string text = nameOf(reference) + (reference ? " valid" : " invalid");
    for (auto const& key : keys) {
        // Interfaces and identifiers come in an order, and begin with a number, of the provider's choice.
        bool const isOpen = key == Constants::OBJECTCLASS || key == Constants::SERVICE_ID;
        text += " " + key + " " + (isOpen ? "" : textOf(reference.GetProperty(key)));
    }
    auto const bundle = reference.GetBundle();
    return text + " of " + (bundle ? bundle.GetSymbolicName() : "none") + " used by" + usersOf(reference) +
           " " + textOf(reference.IsConvertibleTo("randomised::First")) +
           textOf(reference.IsConvertibleTo("randomised::Second")) +
           ServiceReference<Second>(reference).GetInterfaceId();
}

} // namespace randomised
