// The installed bundles of one framework.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_BUNDLETABLE_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_BUNDLETABLE_HPP

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/Bundle.h"

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace cppmicroservices::detail {

class BundleRecord;
class FrameworkCore;

// Thread safe.
class BundleTable {
public:
    using Record = std::shared_ptr<BundleRecord>;
    struct Installed {
        std::vector<Bundle> bundles; // of the location, in the order of their installation
        std::vector<Record> added;   // those of them that were not there before
    };

    // The system bundle, which stays, as 0.
    void setSystemBundle(Record system);

    // As BundleContext::InstallBundles, without events. Whatever it throws, nothing is installed.
    Installed install(FrameworkCore& core, std::string const& location, AnyMap const& givenManifests);
    // Installs the running program if it is a bundle.
    void installProgram(FrameworkCore& core);
    void remove(BundleRecord const& record);
    // Takes all but the system bundle out of the table, without need of memory; identifiers begin anew.
    std::map<long, Record> clear();

    Record find(long id) const;
    // Those of the location, in the order of their installation.
    std::vector<Record> find(std::string const& location) const;
    // In the order of their locations, byte by byte; those of one location in that of their installation.
    std::vector<Record> all() const;
    // The last one in this order that comes before `end`, which may be gone, or of all if that is null; null
    // if there is none.
    Record findLastBefore(BundleRecord const* end) const;

private:
    // What a location holds while bundles of it are installed.
    struct Contents {
        std::set<std::string> names; // of all its bundles, as far as they are known
        std::vector<Record> bundles; // the installed ones
    };
    struct Candidate {
        long id;
        std::string name;
        AnyMap headers;
    };
    class FileManifest;

    void addCandidates(std::vector<Candidate>& candidates, Contents const& contents, AnyMap& given);
    static Record makeRecord(FrameworkCore& core, std::string const& location, Candidate& candidate,
                             FileManifest& file);
    void requireUnique(BundleRecord const& record) const;
    // A file that has been read has told the name of its bundle.
    void learnNames(std::string const& location, FileManifest& file);
    Contents contentsOf(std::string const& location) const;
    long nextId();
    void insert(std::string const& location, std::set<std::string> const& names,
                std::vector<Record> const& added);

    std::mutex installing_; // one installs at a time; files are read under it, but no foreign code runs

    mutable std::mutex mutex_; // guards what follows
    std::map<long, Record> byId_;
    std::map<std::string, Contents> byLocation_;
    long lastId_ = 0;
};

} // namespace cppmicroservices::detail

#endif
