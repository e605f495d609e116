// Stands for the framework's publishers: four threads that report what is published and removed.
#ifndef TESTS_RELIABILITY_STRESS_PUBLISHERS_HPP
#define TESTS_RELIABILITY_STRESS_PUBLISHERS_HPP

#include <array>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>

namespace stress {

inline constexpr std::size_t publisherCount = 4;

// A thread that runs what is posted, in order. Thread safe.
class Worker {
public:
    Worker();
    Worker(Worker const&) = delete;
    Worker& operator=(Worker const&) = delete;
    ~Worker(); // after all that was posted has run

    void post(std::function<void()> work);

private:
    void run();

    std::mutex mutex_; // guards work_ and ending_
    std::condition_variable posted_;
    std::deque<std::function<void()>> work_;
    bool ending_ = false;
    std::thread thread_;
};

// The framework's ManagedServiceFactory of SPF configurations: every publisher of a configuration binds its
// endpoints, publishes its services, and is reported as removed with the configuration; the first publisher
// of each by the first worker and so on.
class Publishers : public cppmicroservices::service::cm::ManagedServiceFactory {
public:
    // Registers one in the framework, to which it then delivers.
    static void provide(std::shared_ptr<cppmicroservices::Framework> const& framework,
                        std::shared_ptr<std::array<Worker, publisherCount>> workers);

    void Updated(std::string const& pid, cppmicroservices::AnyMap const& properties) override;
    void Removed(std::string const& pid) override;

private:
    Publishers(std::shared_ptr<cppmicroservices::Framework> const& framework,
               std::shared_ptr<std::array<Worker, publisherCount>> workers);

    struct Published {
        std::vector<std::string> publisherIDs;
        std::uint32_t modificationCount;
    };

    std::weak_ptr<cppmicroservices::Framework> const framework_;
    std::shared_ptr<std::array<Worker, publisherCount>> const workers_;
    std::mutex mutex_;                           // guards `published_`
    std::map<std::string, Published> published_; // by PID
};

} // namespace stress

#endif
