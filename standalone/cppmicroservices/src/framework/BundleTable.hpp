// The installed bundles of one framework.
#ifndef SPF_MICROSERVICES_FRAMEWORK_BUNDLETABLE_HPP
#define SPF_MICROSERVICES_FRAMEWORK_BUNDLETABLE_HPP

#include "cppmicroservices/AnyMap.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace cppmicroservices::detail {

class BundleRecord;
class FrameworkCore;
struct Manifest;

/// Thread safe. Files are read with no lock held.
class BundleTable {
public:
    using Record = std::shared_ptr<BundleRecord>;
    struct Installed {
        Record record;
        bool isNew;
    };

    /// The system bundle, which stays, as 0.
    void setSystemBundle(Record system);

    /// As BundleContext::InstallBundles, without an event.
    Installed install(FrameworkCore& core, std::string const& location, AnyMap const& injectedManifests);
    /// Installs the running program if it is a bundle.
    void installProgram(FrameworkCore& core);
    void remove(BundleRecord const& record);
    /// Takes all but the system bundle out of the table; identifiers begin anew.
    std::vector<Record> clear();

    Record find(long id) const;
    Record find(std::string const& location) const;
    /// In the order of their identifiers.
    std::vector<Record> all() const;

private:
    /// The file's, or the given one in place of it.
    Manifest manifestOf(std::string const& location, std::string const& path,
                        AnyMap const& injectedManifests);
    Record add(FrameworkCore& core, std::string const& location, std::string const& path, Manifest manifest,
               bool& isNew);
    void requireUniqueWithLock(std::string const& location, Manifest const& manifest) const;
    void insertWithLock(Record const& record);

    mutable std::mutex mutex_; // guards what follows
    std::map<long, Record> byId_;
    std::unordered_map<std::string, Record> byLocation_;
    long lastId_ = 0;
};

} // namespace cppmicroservices::detail

#endif
