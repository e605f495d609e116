// What a framework says about itself: its properties and its headers as a bundle.
#include "FrameworkProperties.hpp"

#include "cppmicroservices/Constants.h"
#include "cppmicroservices/FrameworkConfig.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <dlfcn.h>
#include <filesystem>
#include <random>
#include <system_error>
#include <typeinfo>

namespace cppmicroservices::detail {

namespace {

constexpr int defaultLibraryLoadOptions = RTLD_LAZY;

std::string currentDirectory() {
    std::error_code error;
    return std::filesystem::current_path(error).string();
}

// When the library was loaded: a program that changes its directory later does not lose sight of its
// bundles.
std::string const initialDirectory = currentDirectory();

} // namespace

AnyMap launchingProperties(FrameworkConfiguration const& configuration) {
    AnyMap properties(any_map::UNORDERED_MAP);
    properties.emplace(Constants::FRAMEWORK_THREADING_SUPPORT, Constants::FRAMEWORK_THREADING_MULTI);
    for (auto const& entry : configuration) {
        properties.insert(entry);
    }
    if (auto const options = properties.find(Constants::LIBRARY_LOAD_OPTIONS);
        options != properties.end() && options->second.Type() != typeid(int)) {
        properties.erase(Constants::LIBRARY_LOAD_OPTIONS);
    }
    properties.emplace(Constants::FRAMEWORK_LOG, false);
    properties.emplace(Constants::FRAMEWORK_STORAGE, std::string(defaultStorage));
    properties.emplace(Constants::FRAMEWORK_VENDOR, std::string("CppMicroServices"));
    properties.emplace(Constants::FRAMEWORK_VERSION, std::string(US_FRAMEWORK_VERSION_STR));
    properties.emplace(Constants::FRAMEWORK_WORKING_DIR, initialDirectory);
    properties.emplace(Constants::LIBRARY_LOAD_OPTIONS, defaultLibraryLoadOptions);
    (void)any_cast<bool>(properties.at(Constants::FRAMEWORK_LOG));
    (void)ref_any_cast<std::string>(properties.at(Constants::FRAMEWORK_WORKING_DIR));
    return properties;
}

AnyMap systemBundleHeaders() {
    AnyMap headers(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    headers.emplace(Constants::BUNDLE_SYMBOLICNAME, Constants::SYSTEM_BUNDLE_SYMBOLICNAME);
    headers.emplace(Constants::BUNDLE_VERSION, std::string(US_FRAMEWORK_VERSION_STR));
    headers.emplace(Constants::BUNDLE_NAME, std::string("System Bundle"));
    headers.emplace(Constants::BUNDLE_DESCRIPTION, std::string("C++ Micro Services System Bundle"));
    headers.emplace(Constants::BUNDLE_VENDOR, std::string("C++ Micro Services"));
    headers.emplace(Constants::BUNDLE_MANIFESTVERSION, std::string("2"));
    return headers;
}

std::string makeUuid() {
    std::random_device random;
    std::array<std::uint8_t, 16> bytes{};
    for (auto& byte : bytes) {
        byte = static_cast<std::uint8_t>(random());
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0f) | 0x40); // version 4: random
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3f) | 0x80); // the variant of RFC 4122
    std::string text;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        if (index == 4 || index == 6 || index == 8 || index == 10) {
            text += '-';
        }
        text += "0123456789abcdef"[bytes[index] >> 4];
        text += "0123456789abcdef"[bytes[index] & 0x0f];
    }
    return text;
}

} // namespace cppmicroservices::detail
