// The installed bundles of one framework.
#include "BundleTable.hpp"

#include "BundleFile.hpp"
#include "BundleRecord.hpp"
#include "FrameworkCore.hpp"
#include "Manifest.hpp"
#include "cppmicroservices/Constants.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace cppmicroservices::detail {

namespace {

void requireFile(std::string const& location, std::string const& path) {
    std::error_code error;
    if (location.empty() || !std::filesystem::exists(path, error)) {
        throw std::runtime_error(location + " does not exist");
    }
}

[[noreturn]] void throwFailed(std::string const& location, std::string const& reason) {
    throw std::runtime_error("Failed to install bundle library at " + location + ": " + reason);
}

/// The bundle's symbolic name is the key of the manifest, whatever the headers say; they only must have one.
Manifest injectedManifest(std::string const& name, AnyMap const& headers) {
    auto named = headers;
    if (named.count(Constants::BUNDLE_SYMBOLICNAME) > 0) {
        named[Constants::BUNDLE_SYMBOLICNAME] = name;
    }
    auto manifest = interpretHeaders(std::move(named));
    manifest.headers = headers;
    return manifest;
}

/// Nothing if the file carries no manifest.
std::optional<Manifest> readManifest(std::string const& path) {
    auto const text = readManifestText(path);
    if (!text) {
        return std::nullopt;
    }
    try {
        return interpretHeaders(parseHeaders(*text));
    } catch (std::runtime_error const& error) {
        throw std::runtime_error(path + " is no bundle: " + error.what());
    }
}

Manifest requireManifest(std::string const& path) {
    auto manifest = readManifest(path);
    if (!manifest) {
        throw std::runtime_error(path + " is no bundle: it carries no manifest");
    }
    return *std::move(manifest);
}

} // namespace

void BundleTable::setSystemBundle(Record system) {
    std::lock_guard const lock(mutex_);
    insertWithLock(system);
}

BundleTable::Installed BundleTable::install(FrameworkCore& core, std::string const& location,
                                            AnyMap const& injectedManifests) {
    if (auto installed = find(location)) {
        return {std::move(installed), false};
    }
    auto const path = core.absolutePath(location);
    requireFile(location, path);
    bool isNew = false;
    auto record = add(core, location, path, manifestOf(location, path, injectedManifests), isNew);
    return {std::move(record), isNew};
}

Manifest BundleTable::manifestOf(std::string const& location, std::string const& path,
                                 AnyMap const& injectedManifests) {
    if (injectedManifests.empty()) {
        return requireManifest(path);
    }
    auto const& [name, value] = *injectedManifests.begin();
    auto const* const headers = any_cast<AnyMap>(&value);
    if (injectedManifests.size() != 1 || !headers) {
        throwFailed(location, "the given manifests must be one map of headers, under the symbolic name");
    }
    try {
        return injectedManifest(name, *headers);
    } catch (std::runtime_error const& error) {
        std::lock_guard const lock(mutex_);
        ++lastId_; // used up even if the bundle is refused
        throwFailed(location, error.what());
    }
}

void BundleTable::installProgram(FrameworkCore& core) {
    auto const path = programPath();
    try {
        if (auto manifest = readManifest(path)) {
            bool isNew = false;
            add(core, path, path, *std::move(manifest), isNew);
        }
    } catch (std::runtime_error const& error) {
        core.log(error.what());
    }
}

void BundleTable::remove(BundleRecord const& record) {
    std::lock_guard const lock(mutex_);
    auto const found = byId_.find(record.id());
    if (found != byId_.end() && found->second.get() == &record) {
        byLocation_.erase(record.location());
        byId_.erase(found);
    }
}

std::vector<BundleTable::Record> BundleTable::clear() {
    std::lock_guard const lock(mutex_);
    std::vector<Record> records;
    for (auto const& [id, record] : byId_) {
        if (id != 0) {
            records.push_back(record);
            byLocation_.erase(record->location());
        }
    }
    byId_.erase(std::next(byId_.begin()), byId_.end());
    lastId_ = 0;
    return records;
}

BundleTable::Record BundleTable::find(long id) const {
    std::lock_guard const lock(mutex_);
    auto const found = byId_.find(id);
    return found == byId_.end() ? nullptr : found->second;
}

BundleTable::Record BundleTable::find(std::string const& location) const {
    std::lock_guard const lock(mutex_);
    auto const found = byLocation_.find(location);
    return found == byLocation_.end() ? nullptr : found->second;
}

std::vector<BundleTable::Record> BundleTable::all() const {
    std::lock_guard const lock(mutex_);
    std::vector<Record> records;
    for (auto const& entry : byId_) {
        records.push_back(entry.second);
    }
    return records;
}

BundleTable::Record BundleTable::add(FrameworkCore& core, std::string const& location,
                                     std::string const& path, Manifest manifest, bool& isNew) {
    std::lock_guard const lock(mutex_);
    auto const found = byLocation_.find(location);
    if (found != byLocation_.end()) {
        return found->second; // another thread was faster
    }
    auto const id = ++lastId_; // used up even if the bundle is refused
    requireUniqueWithLock(location, manifest);
    auto record =
        std::make_shared<BundleRecord>(core.weak_from_this(), id, location, path, std::move(manifest));
    insertWithLock(record);
    isNew = true;
    return record;
}

void BundleTable::requireUniqueWithLock(std::string const& location, Manifest const& manifest) const {
    auto const same = std::find_if(byId_.begin(), byId_.end(), [&manifest](auto const& entry) {
        return entry.second->symbolicName() == manifest.symbolicName &&
               entry.second->version() == manifest.version;
    });
    if (same != byId_.end()) {
        throwFailed(location, "Bundle " + manifest.symbolicName + " (location=" + location +
                                  "), a bundle with same symbolic name and version is already installed (" +
                                  manifest.symbolicName + ", " + manifest.version.ToString() + ")");
    }
}

void BundleTable::insertWithLock(Record const& record) {
    byId_.emplace(record->id(), record);
    byLocation_.emplace(record->location(), record);
}

} // namespace cppmicroservices::detail
