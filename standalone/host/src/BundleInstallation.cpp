// Installing and starting the bundles of a directory in a given framework.
#include "BundleInstallation.hpp"

#include <algorithm>
#include <exception>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "FrameworkLifecycle.hpp"

namespace agent::host::standalone {

namespace {

bool namesBundle(std::filesystem::path const& file) {
    return file.extension() == ".so" && file.native().front() != '.';
}

std::vector<std::filesystem::path> bundleFiles(std::filesystem::path const& directory) {
    std::vector<std::filesystem::path> files;
    std::error_code error;
    std::filesystem::directory_iterator entry(directory, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        if (namesBundle(entry->path().filename()) && !entry->is_directory()) {
            files.push_back(entry->path());
        }
    }
    if (error) {
        throw std::runtime_error("cannot read the bundle directory '" + directory.string() +
                                 "': " + error.message());
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
