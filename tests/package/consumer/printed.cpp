// Prints a property map that holds another one.
#include <iostream>
#include <string>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

int main() {
    using namespace cppmicroservices;
    AnyMap inner(AnyMap::ORDERED_MAP);
    inner["name"] = std::string("inner");
    AnyMap outer(AnyMap::ORDERED_MAP);
    outer["map"] = inner;
    std::cout << Any(outer).ToJSON() << '\n';
}
