// The service of the greeter bundle.
#ifndef CONSUMER_GREETER_HPP
#define CONSUMER_GREETER_HPP

#include <string>

namespace consumer {

// Visible by default, so that the bundle and the program mean the same type.
class __attribute__((visibility("default"))) Greeter {
public:
    virtual ~Greeter() = default;
    virtual std::string greet(std::string const& name) = 0;
};

} // namespace consumer

#endif
