// How test bundles tell the test what happens to them: through a function among the framework's properties.
#pragma once

#include <cppmicroservices/Any.h>
#include <cppmicroservices/BundleContext.h>

#include <functional>
#include <string>

namespace testbundles {

using Record = std::function<void(std::string const&)>;

inline std::string const recordProperty = "test.record";
inline std::string const otherBundleProperty = "test.other";

/// Does nothing if the framework has no such property.
inline void record(cppmicroservices::BundleContext const& context, std::string const& text) {
    auto const property = context.GetProperty(recordProperty);
    if (auto const* function = cppmicroservices::any_cast<Record>(&property)) {
        (*function)(text);
    }
}

} // namespace testbundles
