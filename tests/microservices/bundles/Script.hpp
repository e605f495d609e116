// What the activators of scripted bundles do, which the test decides: a function among the framework's
// properties.
#ifndef TESTS_MICROSERVICES_BUNDLES_SCRIPT_HPP
#define TESTS_MICROSERVICES_BUNDLES_SCRIPT_HPP

#include <cppmicroservices/Any.h>
#include <cppmicroservices/BundleContext.h>

#include <functional>
#include <ostream>
#include <string>
#include <utility>

namespace testbundles {

enum class Moment { start, stop };

// Has a text, as not every release of the interface holds a value without one.
class Script {
public:
    using Function = std::function<void(cppmicroservices::BundleContext const&, Moment)>;

    explicit Script(Function function)
        : function_(std::move(function)) {}
    void operator()(cppmicroservices::BundleContext const& context, Moment moment) const {
        function_(context, moment);
    }
    friend std::ostream& operator<<(std::ostream& os, Script const&) { return os << "a script"; }

private:
    Function function_;
};

inline std::string const scriptProperty = "test.script";

// Does nothing if the framework has no such property.
inline void runScript(cppmicroservices::BundleContext const& context, Moment moment) {
    auto const property = context.GetProperty(scriptProperty);
    if (auto const* script = cppmicroservices::any_cast<Script>(&property)) {
        (*script)(context, moment);
    }
}

} // namespace testbundles

#endif
