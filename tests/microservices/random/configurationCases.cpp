// Configuration Admin: random sequences of operations on configurations, with services that are told of them,
// come and go, change their PIDs, throw, and cause changes themselves.
//
// Everything is awaited before the next step, as deliveries are asynchronous. Left out is what the installed
// provider leaves open or cannot bear:
// - Several changes of one PID at a time: it delivers what the configuration is like by then.
// - Listeners that throw: it then passes over the services, and over whichever listeners come later.
// - Handles that outlive a stop of Configuration Admin: their end can hang.
#include "StartedFramework.hpp"
#include "areas.hpp"
#include "configurations.hpp"
#include "transcript.hpp"

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/ServiceRegistration.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace randomised {

using namespace cppmicroservices;
using service::cm::Configuration;
using service::cm::ConfigurationAdmin;
using service::cm::ConfigurationListener;
using service::cm::ManagedService;
using service::cm::ManagedServiceFactory;

namespace {

class ConfigurationCase {
public:
    ConfigurationCase(Random& random, std::ostream& transcript)
        : random_(random)
        , transcript_(transcript) {
        client_.Start();
        startAdmin();
    }

    void runStep() {
        static constexpr Step steps[] = {
            {"get", &ConfigurationCase::get},
            {"get", &ConfigurationCase::get},
            {"create", &ConfigurationCase::create},
            {"list", &ConfigurationCase::list},
            {"update", &ConfigurationCase::update},
            {"update", &ConfigurationCase::update},
            {"update", &ConfigurationCase::update},
            {"update all", &ConfigurationCase::updateAll},
            {"update if different", &ConfigurationCase::updateIfDifferent},
            {"update if different", &ConfigurationCase::updateIfDifferent},
            {"remove", &ConfigurationCase::remove},
            {"describe", &ConfigurationCase::describe},
            {"drop", &ConfigurationCase::drop},
            {"register", &ConfigurationCase::registerTarget},
            {"register", &ConfigurationCase::registerTarget},
            {"set properties", &ConfigurationCase::setProperties},
            {"unregister", &ConfigurationCase::unregister},
            {"restart", &ConfigurationCase::restart},
        };
        auto const& step = random_.oneOf(steps);
        transcript_ << "  " << step.name << std::flush; // lest a crash takes it away
        transcript_ << ' ' << (this->*step.run)() << settle() << '\n';
        mayAct_ = false;
        calls_.flush(transcript_);
        transcript_ << std::flush;
    }

    void stopFramework() {
        stopClient(); // before: a framework stops bundles in the order of their paths, which builds differ in
        release();
        framework_.reset();
        transcript_ << "  stop\n";
        calls_.flush(transcript_);
    }

private:
    struct Step {
        std::string_view name;
        std::string (ConfigurationCase::*run)();
    };
    struct Held {
        std::shared_ptr<Configuration> configuration;
        std::string name;
        std::string pid;
    };
    enum class Kind { service, factory, listener };
    struct Registered {
        std::shared_ptr<Target> target;
        Kind kind;
        ServiceRegistrationU registration;
        ServiceProperties properties;
        std::string pid; // by which Configuration Admin knows it
        bool ofClient;
        bool acts;
    };

    // -- Configuration Admin -----------------------------------------------------------------------------

    void startAdmin() {
        bundle_.Start();
        auto context = framework_->context();
        admin_ = context.GetService(context.GetServiceReference<ConfigurationAdmin>());
        for (auto& registered : registered_) {
            know(registered);
        }
    }

    void release() {
        held_.clear();
        admin_.reset();
    }

    void stopAdmin() {
        release();
        bundle_.Stop();
    }

    std::string restart() {
        if (admin_ && random_.percent(75)) {
            return "not";
        }
        if (!admin_) {
            return "start " + outcome([&] { startAdmin(); });
        }
        return "stop " + outcome([&] { stopAdmin(); });
    }

    // -- what is awaited ---------------------------------------------------------------------------------

    void await(std::shared_future<void> future) {
        std::lock_guard const lock(mutex_);
        awaited_.push_back(std::move(future));
    }

    std::string settle() {
        std::string text;
        for (;;) {
            std::shared_future<void> future;
            {
                std::lock_guard const lock(mutex_);
                if (awaited_.empty()) {
                    return text;
                }
                future = awaited_.back();
                awaited_.pop_back();
            }
            if (future.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
                text += " never told";
            } else {
                auto const result = outcome([&] { future.get(); });
                text += result == "done" ? "" : " " + result;
            }
        }
    }

    std::size_t countFor(Kind kind, std::string const& pid) {
        if (!admin_ || pid.empty()) {
            return 0;
        }
        auto const all = admin_->ListConfigurations();
        return static_cast<std::size_t>(std::count_if(all.begin(), all.end(), [&](auto const& configuration) {
            return kind == Kind::service   ? configuration->GetPid() == pid
                   : kind == Kind::factory ? configuration->GetFactoryPid() == pid
                                           : false;
        }));
    }

    // To be called when Configuration Admin finds the target with its properties of now.
    void know(Registered& registered) {
        registered.pid = targetPid(registered.properties);
        registered.target->ownPid = registered.pid;
        await(registered.target->expect(countFor(registered.kind, registered.pid)));
    }

    // -- configurations ----------------------------------------------------------------------------------

    std::string nameOf(std::string const& pid) {
        std::lock_guard const lock(mutex_);
        auto const found = generatedPids_.find(pid);
        return found == generatedPids_.end() ? inQuotes(pid) : found->second;
    }

    std::string hold(std::shared_ptr<Configuration> const& configuration) {
        for (auto const& held : held_) {
            if (held.configuration == configuration) {
                return held.name;
            }
        }
        auto const pid = configuration->GetPid();
        held_.push_back({configuration, "#" + std::to_string(++handles_) + " of " + nameOf(pid), pid});
        return held_.back().name;
    }

    // A copy, as targets that act get others meanwhile; possibly none.
    Held anyHeld() { return held_.empty() ? Held() : held_[random_.below(held_.size())]; }

    // With the name of what `operation` is applied to.
    template <class Operation>
    static std::string outcomeOf(Held const& held, Operation const& operation) {
        return held.configuration ? held.name + " " + outcome([&] { return operation(*held.configuration); })
                                  : "none";
    }

    std::string get() {
        if (!admin_) {
            return "not";
        }
        static std::string const instances[] = {"1", "2", "", "1~2"};
        bool const ofFactory = random_.percent(40);
        auto const pid = ofFactory ? randomFactoryPid(random_) : randomPid(random_);
        auto const& instance = random_.oneOf(instances);
        return inQuotes(pid) + " " + (ofFactory ? inQuotes(instance) : "") + " " + outcome([&] {
                   return hold(ofFactory ? admin_->GetFactoryConfiguration(pid, instance)
                                         : admin_->GetConfiguration(pid));
               });
    }

    std::string create() {
        if (!admin_) {
            return "not";
        }
        auto const factoryPid = randomFactoryPid(random_);
        return inQuotes(factoryPid) + " " + outcome([&] {
                   auto const configuration = admin_->CreateFactoryConfiguration(factoryPid);
                   auto const pid = configuration->GetPid();
                   {
                       std::lock_guard const lock(mutex_);
                       generatedPids_[pid] = pid.substr(0, factoryPid.size() + 1) + "created " +
                                             std::to_string(generatedPids_.size());
                   }
                   return hold(configuration);
               });
    }

    std::string list() { return admin_ ? listed(randomConfigurationFilter(random_)) : "not"; }

    // In any order. Which case variant of a key is found depends on the order of a hash table.
    std::string listed(std::string const& filter) {
        auto const text = filter + " " + outcome([&] {
                              std::vector<std::string> names;
                              for (auto const& configuration : admin_->ListConfigurations(filter)) {
                                  auto const pid = configuration->GetPid();
                                  auto const holds =
                                      std::any_of(held_.begin(), held_.end(), [&](auto const& held) {
                                          return held.configuration == configuration;
                                      });
                                  names.push_back(nameOf(pid) + (holds ? " held" : ""));
                              }
                              std::sort(names.begin(), names.end());
                              std::string all;
                              for (auto const& name : names) {
                                  all += name + " ";
                              }
                              return all;
                          });
        return text.substr(0, text.find("variants of the key"));
    }

    std::string update() {
        auto const held = anyHeld();
        auto const properties = randomConfiguration(random_);
        bool const empties = random_.percent(10);
        mayAct_ = true;
        return outcomeOf(held, [&](Configuration& configuration) {
            await(empties ? configuration.Update() : configuration.Update(properties));
            return textOf(properties);
        });
    }

    // At a time, but each PID only once.
    std::string updateAll() {
        std::set<std::string> pids;
        std::string text;
        for (auto const& held : held_) {
            if (pids.insert(held.pid).second) {
                auto const properties = randomConfiguration(random_);
                text += outcomeOf(held,
                                  [&](Configuration& configuration) {
                                      await(configuration.Update(properties));
                                      return textOf(properties);
                                  }) +
                        " ";
            }
        }
        return text;
    }

    std::string updateIfDifferent() {
        auto const held = anyHeld();
        auto const random = randomConfiguration(random_);
        bool const repeats = random_.percent(50);
        mayAct_ = true;
        return outcomeOf(held, [&](Configuration& configuration) {
            auto const properties = repeats ? configuration.GetProperties() : random;
            auto [updated, told] = configuration.UpdateIfDifferent(properties);
            await(std::move(told));
            return textOf(updated) + textOf(properties);
        });
    }

    std::string remove() {
        auto const held = anyHeld();
        mayAct_ = true;
        return outcomeOf(held, [&](Configuration& configuration) {
            await(configuration.Remove());
            return std::string("removed");
        });
    }

    std::string describe() { return describe(anyHeld()); }

    std::string describe(Held const& held) {
        return outcomeOf(held, [&](Configuration& configuration) {
            return outcome([&] { return nameOf(configuration.GetPid()); }) + " " +
                   outcome([&] { return configuration.GetFactoryPid(); }) + " " +
                   outcome([&] { return textOf(configuration.GetProperties()); }) + " " +
                   outcome([&] { return std::to_string(configuration.GetChangeCount()); });
        });
    }

    std::string drop() {
        if (held_.empty()) {
            return "none";
        }
        auto const place = held_.begin() + static_cast<std::ptrdiff_t>(random_.below(held_.size()));
        auto const name = place->name;
        held_.erase(place);
        return name;
    }

    // -- targets -----------------------------------------------------------------------------------------

    std::string registerTarget() {
        auto const kind = static_cast<Kind>(random_.below(3));
        bool const acts = random_.percent(40) && std::none_of(registered_.begin(), registered_.end(),
                                                              [](auto const& each) { return each.acts; });
        auto const properties = randomTargetProperties(random_);
        bool const fails = random_.percent(20);
        bool const ofClient = random_.percent(30);
        return registerTarget(kind, properties, fails, ofClient, acts);
    }

    std::string registerTarget(Kind kind, ServiceProperties const& properties, bool fails, bool ofClient,
                               bool acts) {
        static constexpr char const* kinds[] = {"service ", "factory ", "listener "};
        auto const name = kinds[static_cast<int>(kind)] + std::to_string(++targets_);
        Target::Action action;
        if (acts) {
            action = [this, random = Random(random_.bits())](std::string const& pid) mutable {
                return mayAct_.exchange(false) ? act(pid, random) : std::string();
            };
        }
        auto const target = std::make_shared<Target>(
            name, fails, [this](std::string const& pid) { return nameOf(pid); }, action, calls_);
        Registered registered{target, kind, {}, properties, {}, ofClient, acts};
        know(registered);
        auto context = ofClient ? client_.GetBundleContext() : framework_->context();
        switch (kind) {
        case Kind::service:
            registered.registration = context.RegisterService<ManagedService>(target, properties);
            break;
        case Kind::factory:
            registered.registration = context.RegisterService<ManagedServiceFactory>(target, properties);
            break;
        case Kind::listener:
            registered.registration = context.RegisterService<ConfigurationListener>(target, properties);
        }
        registered_.push_back(registered);
        return name + (fails ? " fails " : " ") + (acts ? "acts " : "") + (ofClient ? "of client " : "") +
               textOf(AnyMap(properties));
    }

    std::string setProperties() {
        if (registered_.empty()) {
            return "of none";
        }
        auto& registered = registered_[random_.below(registered_.size())];
        registered.properties = randomTargetProperties(random_);
        if (admin_ && registered.pid.empty()) { // one that has a PID keeps it
            know(registered);
        }
        registered.registration.SetProperties(registered.properties);
        return registered.target->name() + " " + textOf(AnyMap(registered.properties));
    }

    std::string unregister() {
        if (random_.percent(15)) {
            auto const result = outcome([&] { stopClient(); });
            client_.Start();
            return "those of the client " + result;
        }
        if (registered_.empty()) {
            return "none";
        }
        return unregister(random_.below(registered_.size()));
    }

    std::string unregister(std::size_t number) {
        auto const place = registered_.begin() + static_cast<std::ptrdiff_t>(number);
        auto registered = *place;
        registered_.erase(place);
        return registered.target->name() + " " + outcome([&] { registered.registration.Unregister(); });
    }

    void stopClient() {
        client_.Stop();
        registered_.erase(std::remove_if(registered_.begin(), registered_.end(),
                                         [](auto const& registered) { return registered.ofClient; }),
                          registered_.end());
    }

    // Whether a change of `pid` concerns a target of `targetPid`.
    static bool concerns(std::string const& pid, Kind kind, std::string const& targetPid) {
        return kind == Kind::listener || pid == targetPid || pid.substr(0, pid.find('~')) == targetPid;
    }

    // What a target does when it is told of a change of `pid`, to another one: those who are told of one are
    // told in any order.
    std::string act(std::string const& pid, Random& random) {
        auto const held = held_[random.below(held_.size())];
        auto const other = randomPid(random);
        auto const filter = randomConfigurationFilter(random);
        auto const properties = randomConfiguration(random);
        auto const number = random.below(registered_.size());
        switch (random.below(8)) {
        case 0:
            return "lists " + listed(filter);
        case 1:
            return "describes " + describe(held);
        case 2:
            return "gets " + outcome([&] { return hold(admin_->GetConfiguration(other)); });
        case 3:
            return concerns(pid, Kind::service, other)
                       ? ""
                       : "registers " + registerTarget(Kind::service, {{"service.pid", other}},
                                                       random.percent(20), false, false);
        case 4:
            return concerns(pid, registered_[number].kind, registered_[number].pid)
                       ? ""
                       : "unregisters " + unregister(number);
        case 5:
            return held.pid == pid ? "" : "removes " + outcomeOf(held, [&](Configuration& configuration) {
                                              await(configuration.Remove());
                                              return std::string("removed");
                                          });
        default:
            return held.pid == pid ? "" : "updates " + outcomeOf(held, [&](Configuration& configuration) {
                                              await(configuration.Update(properties));
                                              return textOf(properties);
                                          });
        }
    }

    Random& random_;
    std::ostream& transcript_;
    CallLog calls_;    // outlives the framework, whose end calls targets
    std::mutex mutex_; // guards awaited_ and generatedPids_
    std::vector<std::shared_future<void>> awaited_;
    std::map<std::string, std::string> generatedPids_;
    std::atomic<bool> mayAct_{false}; // once in a step, and only if one PID is told of
    std::optional<StartedFramework> framework_{std::in_place};
    Bundle client_{framework_->install("manifest_only")};
    Bundle bundle_{framework_->context().InstallBundles(SPF_CONFIGURATION_ADMIN_BUNDLE).at(0)};
    std::shared_ptr<ConfigurationAdmin> admin_; // while it runs
    std::vector<Registered> registered_;
    std::vector<Held> held_;
    int handles_ = 0;
    int targets_ = 0;
};

} // namespace

void runConfigurationCase(Random& random, std::ostream& transcript) {
    std::clog.setstate(std::ios::failbit); // where the standalone provider writes what targets throw
    ConfigurationCase configurations(random, transcript);
    for (int step = 0; step < 80; ++step) {
        configurations.runStep();
    }
    configurations.stopFramework();
}

} // namespace randomised
