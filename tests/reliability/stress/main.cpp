// Many clients at once, over and over: build, wait for endpoints and services, modify, build again, wait,
// withdraw. Four publishers report; now and then the framework is stopped and a new one started.
//   spf-stress CYCLES [--seed N]
// Built with ThreadSanitizer. Prints the figure on the last line; its status is 1 when a rule is broken: a
// wait that is not reached although the framework stayed, a listener, configuration, descriptor or thread
// that is left, more cycles disturbed than not.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <shared_mutex>
#include <string>
#include <thread>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "Publishers.hpp"
#include "agent/host/FrameworkAccess.hpp"
#include "agent/host/standalone/StandaloneHost.hpp"
#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"

namespace {

using namespace agent::spf::frameworksetup;
using agent::spf::frameworklistener::FrameworkListener;
using cppmicroservices::service::cm::ConfigurationAdmin;
using std::chrono::milliseconds;
using stress::publisherCount;

constexpr auto clients = 8;
constexpr auto cyclesOfAFramework = 250;

class Stress {
public:
    Stress(unsigned long cycles, unsigned long seed)
        : cycles_(cycles)
        , seed_(seed) {}

    // Whether no rule was broken.
    bool run() {
        startFramework();
        std::vector<std::thread> threads;
        for (auto client = 0; client < clients; ++client) {
            threads.emplace_back([this, client] { runClient(client); });
        }
        replaceFrameworks();
        for (auto& thread : threads) {
            thread.join();
        }
        checkNothingIsLeft();
        if (undisturbed_ < cycles_ / 2) {
            fault("most cycles were disturbed, so that little was expected of them");
        }
        agent::host::standalone::stopFramework();
        workers_.reset();
        return faults_ == 0;
    }

    void print() const {
        std::printf(
            "%lu cycles of %d clients and %zu publishers, %lu of them undisturbed, %lu frameworks, seed "
            "%lu, %d faults\n",
            cycles_, clients, publisherCount, undisturbed_.load(), generation_.load() / 2 + 1, seed_,
            faults_.load());
    }

    void fault(std::string const& what) {
        ++faults_;
        std::printf("fault: %s\n", what.c_str());
    }

private:
    void startFramework() {
        stress::Publishers::provide(agent::host::standalone::startFramework(), workers_);
    }

    void replaceFrameworks() {
        for (auto next = cyclesOfAFramework; finished_ < cycles_;) {
            if (finished_ < static_cast<unsigned long>(next)) {
                std::this_thread::sleep_for(milliseconds(1));
                continue;
            }
            ++generation_;
            {
                std::lock_guard<std::shared_mutex> const noRemovalIsAwaited(removals_);
                agent::host::standalone::stopFramework();
                startFramework();
            }
            ++generation_;
            next += cyclesOfAFramework;
        }
    }

    void runClient(int client) {
        std::mt19937_64 random(seed_ + static_cast<unsigned long>(client));
        for (auto cycle = begun_++; cycle < cycles_; cycle = begun_++) {
            auto const before = generation_.load();
            std::string error;
            try {
                error = runCycle("configuration" + std::to_string(cycle), before, random() % 2 == 0);
            } catch (std::exception const& exception) {
                error = exception.what();
            }
            if (before % 2 == 0 && generation_ == before) {
                ++undisturbed_;
                if (!error.empty()) {
                    fault("cycle " + std::to_string(cycle) + ": " + error);
                }
            }
            ++finished_;
        }
    }

    // Returns what went wrong; anything may when the framework is replaced meanwhile.
    std::string runCycle(std::string const& id, unsigned long generation, bool awaitRemoval) {
        SPFConfigurationBuilder builder(id);
        for (std::size_t i = 0; i < publisherCount; ++i) {
            builder.addServicePublisher(publisherID(id, i), "rpcservicepublisher", {}, {"endpoint"}, "", "");
        }
        auto handle = builder.build();
        if (!isReady(handle, id, generation)) {
            return "a publisher of the first build is not ready";
        }
        handle = handle.modify().build();
        if (!isReady(handle, id, generation)) {
            return "a publisher of the second build is not ready";
        }
        if (awaitRemoval && !isRemoved(handle, id, generation)) {
            return "the removal was not reported";
        }
        handle.reset();
        return {};
    }

    bool isReady(SPFConfiguration& handle, std::string const& id, unsigned long generation) const {
        for (std::size_t i = 0; i < publisherCount; ++i) {
            auto const publisher = publisherID(id, i);
            auto const endpoints = [&](auto const& timeout) {
                return handle.waitForAllEndpoints(timeout, publisher);
            };
            auto const services = [&](auto const& timeout) {
                return handle.waitForAllServices(timeout, publisher);
            };
            if (!reaches(endpoints, generation) || !reaches(services, generation)) {
                return false;
            }
        }
        return true;
    }

    // Waits for a minute, or until the framework is replaced.
    bool reaches(std::function<bool(milliseconds const&)> const& wait, unsigned long generation) const {
        for (auto slice = 0; slice < 600; ++slice) {
            if (wait(milliseconds(100))) {
                return true;
            }
            if (generation_ != generation || generation % 2 == 1) {
                return false;
            }
        }
        return false;
    }

    // Withdraws and waits, but not when the framework has been replaced or is about to be.
    bool isRemoved(SPFConfiguration& handle, std::string const& id, unsigned long generation) {
        std::shared_lock<std::shared_mutex> const frameworkStays(removals_);
        return generation % 2 == 0 && generation_ == generation &&
               handle.waitForAllServicesToBeUnpublished(std::chrono::minutes(1), publisherID(id, 0));
    }

    static std::string publisherID(std::string const& id, std::size_t number) {
        return id + "-p" + std::to_string(number);
    }

    void checkNothingIsLeft() {
        auto context = agent::host::getFramework()->GetBundleContext();
        if (!context.GetServiceReferences<FrameworkListener>().empty()) {
            fault("a listener is left");
        }
        auto const admin = context.GetService(context.GetServiceReference<ConfigurationAdmin>());
        // A removal is asynchronous.
        for (auto slice = 0; slice < 600 && !admin->ListConfigurations().empty(); ++slice) {
            std::this_thread::sleep_for(milliseconds(100));
        }
        if (!admin->ListConfigurations().empty()) {
            fault("a configuration is left");
        }
    }

    unsigned long const cycles_;
    unsigned long const seed_;
    std::atomic<unsigned long> begun_{0};
    std::atomic<unsigned long> finished_{0};
    std::atomic<unsigned long> undisturbed_{0};
    std::atomic<unsigned long> generation_{0}; // odd while the framework is being replaced
    std::atomic<int> faults_{0};
    // Held shared by those who await a removal: one that is lost with its framework would be awaited in vain.
    std::shared_mutex removals_;
    std::shared_ptr<std::array<stress::Worker, publisherCount>> workers_ =
        std::make_shared<std::array<stress::Worker, publisherCount>>();
};

std::ptrdiff_t count(char const* directory) {
    return std::distance(std::filesystem::directory_iterator(directory),
                         std::filesystem::directory_iterator());
}

} // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2 && !(argumentCount == 4 && std::string(arguments[2]) == "--seed")) {
        std::fputs("usage: spf-stress CYCLES [--seed N]\n", stderr);
        return 2;
    }
    agent::host::standalone::setInstallationRoot(STRESS_ROOT);
    std::thread([] {}).join(); // with the first thread ThreadSanitizer starts one of its own, which stays
    auto const descriptors = count("/proc/self/fd");
    auto const threads = count("/proc/self/task");
    Stress stress(std::stoul(arguments[1]), argumentCount == 4 ? std::stoul(arguments[3]) : 1);
    auto good = stress.run();
    auto const isAllGone = [&] {
        return count("/proc/self/fd") <= descriptors && count("/proc/self/task") <= threads;
    };
    // A thread that has been joined or has come to its end is still listed for a moment.
    for (auto slice = 0; slice < 300 && !isAllGone(); ++slice) {
        std::this_thread::sleep_for(milliseconds(100));
    }
    if (!isAllGone()) {
        stress.fault(std::to_string(count("/proc/self/fd") - descriptors) + " descriptors and " +
                     std::to_string(count("/proc/self/task") - threads) + " threads are left");
        good = false;
    }
    stress.print();
    return good ? 0 : 1;
}
