// A bundle's shared library and what it exports to the framework.
#include "BundleLibrary.hpp"

#include "cppmicroservices/GlobalConfig.h"

#include <dlfcn.h>
#include <filesystem>
#include <system_error>
#include <utility>

namespace cppmicroservices::detail {

namespace {

bool isProgram(std::string const& path) {
    std::error_code error;
    return std::filesystem::equivalent(path, "/proc/self/exe", error) && !error;
}

void* load(std::string const& path, int loadOptions) {
    // The loader refuses to load a program, even the running one; null stands for that.
    void* const handle = dlopen(isProgram(path) ? nullptr : path.c_str(), loadOptions);
    if (!handle) {
        // The loader gives a text, but no error code.
        // NOLINTNEXTLINE(concurrency-mt-unsafe): the C library keeps the text for each thread
        throw std::system_error(0, std::generic_category(), "Error loading " + path + ". " + dlerror());
    }
    return handle;
}

} // namespace

BundleLibrary::BundleLibrary(std::string const& path, std::string symbolicName, int loadOptions)
    : symbolicName_(std::move(symbolicName))
    , handle_(load(path, loadOptions)) {}

BundleLibrary::ActivatorPointer BundleLibrary::makeActivator() const {
    auto* const create = reinterpret_cast<BundleActivator* (*)()>(symbol(US_STR(US_CREATE_ACTIVATOR_PREFIX)));
    auto* const destroy =
        reinterpret_cast<void (*)(BundleActivator*)>(symbol(US_STR(US_DESTROY_ACTIVATOR_PREFIX)));
    if (!create || !destroy) {
        return {nullptr, nullptr};
    }
    return {create(), destroy};
}

BundleContextSlot* BundleLibrary::findContextSlot() const {
    auto* const slot = reinterpret_cast<BundleContextSlot* (*)()>(symbol(US_STR(US_GET_CTX_PREFIX)));
    return slot ? slot() : nullptr;
}

void* BundleLibrary::symbol(char const* prefix) const {
    return dlsym(handle_, (prefix + symbolicName_).c_str());
}

std::string programPath() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).string();
}

} // namespace cppmicroservices::detail
