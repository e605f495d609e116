// The installed bundles of one framework.
#include "BundleTable.hpp"

#include "Access.hpp"
#include "BundleFile.hpp"
#include "BundleRecord.hpp"
#include "FrameworkCore.hpp"
#include "Manifest.hpp"

#include <algorithm>
#include <filesystem>
#include <iterator>
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

std::set<std::string> keysOf(AnyMap const& map) {
    std::set<std::string> keys;
    for (auto const& entry : map) {
        keys.insert(entry.first);
    }
    return keys;
}

// None if none are given. \throws BadAnyCastException if what is given is no map
AnyMap takeHeaders(AnyMap& given, std::string const& name) {
    auto const found = given.find(name);
    if (found == given.end()) {
        return AnyMap(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    }
    auto* const headers = any_cast<AnyMap>(&found->second);
    return headers ? std::move(*headers) : any_cast<AnyMap>(found->second);
}

} // namespace

// What a file says of its bundle; read when it is asked for first.
class BundleTable::FileManifest {
public:
    explicit FileManifest(std::string path)
        : path_(std::move(path)) {}

    // \throws std::runtime_error, with path and reason, if the file is no bundle
    std::string const& name() {
        read();
        return name_;
    }
    // None if the file's bundle has another name.
    AnyMap const& headersOf(std::string const& name) {
        read();
        return name == name_ ? headers_ : none_;
    }
    bool wasRead() const { return !name_.empty(); }

private:
    void read() {
        if (wasRead()) {
            return;
        }
        auto const text = readManifestText(path_);
        if (!text) {
            throw std::runtime_error(path_ + " is no bundle: it carries no manifest");
        }
        try {
            headers_ = parseHeaders(*text);
            name_ = nameIn(headers_);
        } catch (std::runtime_error const& error) {
            throw std::runtime_error(path_ + " is no bundle: " + error.what());
        }
    }

    std::string const path_;
    std::string name_;
    AnyMap headers_{any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS};
    AnyMap const none_{any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS};
};

void BundleTable::setSystemBundle(Record system) {
    insert(system->location(), {system->symbolicName()}, {system});
}

BundleTable::Installed BundleTable::install(FrameworkCore& core, std::string const& location,
                                            AnyMap const& givenManifests) {
    // These hold values of foreign types, and outlive the lock.
    auto given = givenManifests;
    std::vector<Candidate> candidates;
    Installed installed;

    std::lock_guard const lock(installing_);
    auto const path = core.absolutePath(location);
    FileManifest file(path);
    auto contents = contentsOf(location);
    if (contents.bundles.empty()) {
        requireFile(location, path);
        contents.names = given.empty() ? std::set<std::string>{file.name()} : keysOf(given);
    }
    try {
        addCandidates(candidates, contents, given);
        for (auto& candidate : candidates) {
            installed.added.push_back(makeRecord(core, location, candidate, file));
            requireUnique(*installed.added.back());
        }
    } catch (std::exception const& error) {
        learnNames(location, file);
        throw std::runtime_error("Failed to install bundle library at " + location + ": " + error.what());
    }
    contents.bundles.insert(contents.bundles.end(), installed.added.begin(), installed.added.end());
    installed.bundles = Access::bundles(contents.bundles, core);
    insert(location, contents.names, installed.added);
    return installed;
}

// Their identifiers are used up even if one of them is refused.
void BundleTable::addCandidates(std::vector<Candidate>& candidates, Contents const& contents, AnyMap& given) {
    std::set<std::string> missing = contents.names;
    for (auto const& bundle : contents.bundles) {
        missing.erase(bundle->symbolicName());
    }
    for (auto const& name : missing) {
        auto headers = takeHeaders(given, name);
        candidates.push_back({nextId(), name, std::move(headers)});
    }
}

BundleTable::Record BundleTable::makeRecord(FrameworkCore& core, std::string const& location,
                                            Candidate& candidate, FileManifest& file) {
    if (candidate.headers.empty()) {
        candidate.headers = file.headersOf(candidate.name);
    }
    return std::make_shared<BundleRecord>(
        core.weak_from_this(), candidate.id, location, core.absolutePath(location),
        interpretHeaders(candidate.name, location, std::move(candidate.headers)));
}

void BundleTable::requireUnique(BundleRecord const& record) const {
    std::lock_guard const lock(mutex_);
    // All are compared, as a version that is undefined refuses to be compared with one that is not.
    auto const same = std::count_if(byId_.begin(), byId_.end(), [&record](auto const& entry) {
        return record.symbolicName() == entry.second->symbolicName() &&
               record.version() == entry.second->version();
    });
    if (same > 0) {
        throw std::runtime_error(record.description() +
                                 ", a bundle with same symbolic name and version is already installed (" +
                                 record.symbolicName() + ", " + record.version().ToString() + ")");
    }
}

void BundleTable::installProgram(FrameworkCore& core) {
    auto const path = programPath();
    try {
        if (readManifestText(path)) {
            install(core, path, AnyMap(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS));
        }
    } catch (std::runtime_error const& error) {
        core.log(error.what());
    }
}

void BundleTable::remove(BundleRecord const& record) {
    std::lock_guard const lock(mutex_);
    auto const found = byId_.find(record.id());
    if (found == byId_.end() || found->second.get() != &record) {
        return;
    }
    auto const there = byLocation_.find(record.location());
    auto& bundles = there->second.bundles;
    bundles.erase(std::find(bundles.begin(), bundles.end(), found->second));
    if (bundles.empty()) {
        byLocation_.erase(there);
    }
    byId_.erase(found);
}

std::map<long, BundleTable::Record> BundleTable::clear() {
    std::lock_guard const lock(mutex_);
    std::map<long, Record> cleared;
    cleared.swap(byId_);
    byId_.insert(cleared.extract(cleared.begin()));
    for (auto const& [id, record] : cleared) {
        byLocation_.erase(record->location());
    }
    lastId_ = 0;
    return cleared;
}

BundleTable::Record BundleTable::find(long id) const {
    std::lock_guard const lock(mutex_);
    auto const found = byId_.find(id);
    return found == byId_.end() ? nullptr : found->second;
}

std::vector<BundleTable::Record> BundleTable::find(std::string const& location) const {
    return contentsOf(location).bundles;
}

std::vector<BundleTable::Record> BundleTable::all() const {
    std::lock_guard const lock(mutex_);
    std::vector<Record> records;
    for (auto const& entry : byLocation_) {
        auto const& bundles = entry.second.bundles;
        records.insert(records.end(), bundles.begin(), bundles.end());
    }
    return records;
}

BundleTable::Record BundleTable::findLastBefore(BundleRecord const* end) const {
    auto const isBefore = [end](Record const& record) {
        return !end || record->location() != end->location() || record->id() < end->id();
    };
    std::lock_guard const lock(mutex_);
    auto next = end ? byLocation_.upper_bound(end->location()) : byLocation_.end();
    while (next != byLocation_.begin()) {
        auto const& bundles = (--next)->second.bundles;
        auto const found = std::find_if(bundles.rbegin(), bundles.rend(), isBefore);
        if (found != bundles.rend()) {
            return *found;
        }
    }
    return nullptr;
}

BundleTable::Contents BundleTable::contentsOf(std::string const& location) const {
    std::lock_guard const lock(mutex_);
    auto const found = byLocation_.find(location);
    return found == byLocation_.end() ? Contents() : found->second;
}

long BundleTable::nextId() {
    std::lock_guard const lock(mutex_);
    return ++lastId_;
}

void BundleTable::insert(std::string const& location, std::set<std::string> const& names,
                         std::vector<Record> const& added) {
    std::lock_guard const lock(mutex_);
    if (added.empty()) {
        return;
    }
    std::map<long, Record> addedById;
    for (auto const& record : added) {
        addedById.emplace(record->id(), record);
    }
    auto& contents = byLocation_[location];
    contents.names.insert(names.begin(), names.end());
    contents.bundles.reserve(contents.bundles.size() + added.size());
    // From here on nothing throws.
    contents.bundles.insert(contents.bundles.end(), added.begin(), added.end());
    byId_.merge(addedById);
}

void BundleTable::learnNames(std::string const& location, FileManifest& file) {
    std::lock_guard const lock(mutex_);
    auto const found = byLocation_.find(location);
    if (file.wasRead() && found != byLocation_.end()) {
        found->second.names.insert(file.name());
    }
}

} // namespace cppmicroservices::detail
