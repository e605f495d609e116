// Installing and starting the bundles of a directory in a given framework.
#include "BundleInstallation.hpp"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <dirent.h>

#include "FrameworkLifecycle.hpp"

namespace agent::host::standalone {

namespace {

bool namesBundle(std::filesystem::path const& file) {
    return file.extension() == ".so" && file.filename().native().front() != '.';
}

// Reads the directory itself: the standard library's iterator ends the process when it runs out of memory.
std::vector<std::filesystem::path> bundleFiles(std::filesystem::path const& directory) {
    std::vector<std::filesystem::path> files;
    std::unique_ptr<DIR, int (*)(DIR*)> const entries(::opendir(directory.c_str()), &::closedir);
    dirent const* entry = nullptr;
    auto const readNext = [&] {
        errno = 0; // what readdir() says of an error and leaves alone at the end
        entry = ::readdir(entries.get());
        return entry != nullptr;
    };
    while (entries && readNext()) {
        if (auto file = directory / entry->d_name; namesBundle(file) && !is_directory(file)) {
            files.push_back(std::move(file));
        }
    }
    if (auto const error = errno; error != 0) {
        throw std::runtime_error("cannot read the bundle directory '" + directory.string() +
                                 "': " + std::generic_category().message(error));
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<cppmicroservices::Bundle> installBundle(cppmicroservices::BundleContext& context,
                                                    std::filesystem::path const& file) {
    std::vector<cppmicroservices::Bundle> bundles;
    try {
        bundles = context.InstallBundles(file.string());
    } catch (std::exception const& error) {
        std::throw_with_nested(
            std::runtime_error("cannot install the bundle '" + file.string() + "': " + error.what()));
    }
    if (bundles.empty()) {
        throw std::runtime_error("cannot install the bundle '" + file.string() +
                                 "': the file is no bundle (no manifest found in it)");
    }
    return bundles;
}

} // namespace

std::vector<cppmicroservices::Bundle> installBundles(cppmicroservices::BundleContext context,
                                                     std::filesystem::path const& directory) {
    std::vector<cppmicroservices::Bundle> installed;
    for (auto const& file : bundleFiles(directory)) {
        auto bundles = installBundle(context, file);
        std::move(bundles.begin(), bundles.end(), std::back_inserter(installed));
    }
    return installed;
}

void startBundles(std::vector<cppmicroservices::Bundle>& bundles) {
    for (auto& bundle : bundles) {
        try {
            bundle.Start();
        } catch (std::exception const& error) {
            std::throw_with_nested(std::runtime_error("cannot start the bundle '" + bundle.GetSymbolicName() +
                                                      "' in '" + bundle.GetLocation() +
                                                      "': " + error.what()));
        }
    }
    stopFrameworkFirstAtExit();
}

} // namespace agent::host::standalone
