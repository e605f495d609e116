// A bundle's shared library and what it exports to the framework.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_BUNDLELIBRARY_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_BUNDLELIBRARY_HPP

#include <memory>
#include <string>

namespace cppmicroservices {
struct BundleActivator;
}

namespace cppmicroservices::detail {

class BundleContextSlot;

// Thread safe. A library stays loaded until the process ends: service objects, exceptions and deleters whose
// code lies in it may outlive its bundle.
class BundleLibrary {
public:
    using ActivatorPointer = std::unique_ptr<BundleActivator, void (*)(BundleActivator*)>;

    // Loads the file, unless it is the running program. \throws std::system_error with the loader's message
    BundleLibrary(std::string const& path, std::string symbolicName, int loadOptions);

    // A new activator object; null if the library exports none.
    ActivatorPointer makeActivator() const;
    // Where the bundle's code looks for its context; null if the library has no such place.
    BundleContextSlot* contextSlot() const noexcept { return contextSlot_; }

private:
    void* symbol(char const* prefix) const;
    BundleContextSlot* findContextSlot() const;

    std::string const symbolicName_;
    void* const handle_;
    BundleContextSlot* const contextSlot_ = findContextSlot();
};

// The path of the running program.
std::string programPath();

} // namespace cppmicroservices::detail

#endif
