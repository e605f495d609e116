// The smallest host on which the library runs: a framework with Configuration Admin, and a logger that takes
// nothing.
#ifndef BENCH_LIBRARY_SUPPORT_BENCH_HOST_HPP
#define BENCH_LIBRARY_SUPPORT_BENCH_HOST_HPP

#include <filesystem>
#include <memory>
#include <string>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

namespace spf::bench {

// While it exists, the host has a running framework in which Configuration Admin is active; installing a
// directory of SPF bundles yields that one bundle, so that a start-up check starts seven. Without one the
// host has no framework. One at a time.
class BenchHost {
public:
    BenchHost();
    ~BenchHost();
    BenchHost(BenchHost const&) = delete;
    BenchHost& operator=(BenchHost const&) = delete;

    cppmicroservices::BundleContext context() const;

    // Returns when Configuration Admin has begun what it was asked before.
    void settle();

    // Returns when it has done all that it was asked for this published configuration.
    void settle(std::string const& configurationID);

private:
    std::filesystem::path storage_;
    std::shared_ptr<cppmicroservices::service::cm::ConfigurationAdmin> admin_;
};

} // namespace spf::bench

#endif
