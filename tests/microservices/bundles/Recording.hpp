// How test bundles tell the test what happens to them: through a function among the framework's properties.
#ifndef TESTS_MICROSERVICES_BUNDLES_RECORDING_HPP
#define TESTS_MICROSERVICES_BUNDLES_RECORDING_HPP

#include <cppmicroservices/Any.h>
#include <cppmicroservices/BundleContext.h>

#include <functional>
#include <ostream>
#include <string>
#include <utility>

namespace testbundles {

// Has a text, as not every release of the interface holds a value without one.
class Record {
public:
    explicit Record(std::function<void(std::string const&)> function)
        : function_(std::move(function)) {}
    void operator()(std::string const& text) const { function_(text); }
    friend std::ostream& operator<<(std::ostream& os, Record const&) { return os << "a function"; }

private:
    std::function<void(std::string const&)> function_;
};

inline std::string const recordProperty = "test.record";
inline std::string const otherBundleProperty = "test.other";

// Does nothing if the framework has no such property.
inline void record(cppmicroservices::BundleContext const& context, std::string const& text) {
    auto const property = context.GetProperty(recordProperty);
    if (auto const* record = cppmicroservices::any_cast<Record>(&property)) {
        (*record)(text);
    }
}

} // namespace testbundles

#endif
