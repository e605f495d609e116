// The targets, and what they are told.
#include "configurations.hpp"

#include "transcript.hpp"
#include "values.hpp"

#include <cppmicroservices/Any.h>
#include <cppmicroservices/Constants.h>

#include <stdexcept>
#include <utility>
#include <vector>

namespace randomised {

using namespace cppmicroservices;
using service::cm::ConfigurationEvent;
using service::cm::ConfigurationEventType;

std::string randomPid(Random& random) {
    static std::string const pids[] = {"p",   "p",   "P",   "q",     "",   "f", "f~1",
                                       "f~1", "f~2", "g~1", "f~1~2", "~1", "f~"};
    return random.oneOf(pids);
}

std::string randomFactoryPid(Random& random) {
    static std::string const pids[] = {"f", "f", "f", "g", "F", ""};
    return random.oneOf(pids);
}

AnyMap randomConfiguration(Random& random) {
    for (;;) {
        auto map = randomMap(random, randomKind(random), 3);
        if (!holdsEmpty(map)) {
            return map;
        }
    }
}

std::string randomConfigurationFilter(Random& random) {
    static std::string const filters[] = {"",
                                          "",
                                          "(a=1)",
                                          "(A=*)",
                                          "(!(a=*))",
                                          "(b=true)",
                                          "(pid=p)",
                                          "(PID=f~*)",
                                          "(pid=*)",
                                          "(count>=1)",
                                          "(name=a)",
                                          "(x.y=ab)",
                                          "(0=*)",
                                          "(service.pid=p)",
                                          "(|(a=*)(b=*))",
                                          "(&(pid=f*)(!(a=1)))",
                                          "(a=1",
                                          "pid=p"};
    return random.oneOf(filters);
}

ServiceProperties randomTargetProperties(Random& random) {
    auto const anyPid = [&] { return random.percent(50) ? randomPid(random) : randomFactoryPid(random); };
    auto const pid = anyPid();
    ServiceProperties properties;
    if (random.percent(85)) {
        properties[Constants::SERVICE_PID] = random.percent(90)   ? Any(pid)
                                             : random.percent(50) ? Any(std::vector<std::string>{pid, "q"})
                                                                  : Any(5);
    }
    if (!pid.empty() && random.percent(20)) { // with an empty PID, 3.8.0 does otherwise
        properties["component.name"] = anyPid();
    }
    if (random.percent(10)) {
        properties["service.factoryPid"] = anyPid();
    }
    return properties;
}

std::string targetPid(ServiceProperties const& properties) {
    for (auto const& key : {Constants::SERVICE_PID, std::string("component.name")}) {
        if (auto const found = properties.find(key); found != properties.end()) {
            auto const* pid = any_cast<std::string>(&found->second);
            if (pid != nullptr && !pid->empty()) {
                return *pid;
            }
        }
    }
    return {};
}

// Counts when it ends, which is after the action and during an exception.
class Target::Call {
public:
    explicit Call(Target& target)
        : target_(target) {}
    Call(Call const&) = delete;
    Call& operator=(Call const&) = delete;
    ~Call() {
        std::lock_guard const lock(target_.mutex_);
        if (target_.expected_ > 0 && --target_.expected_ == 0) {
            target_.reached_.set_value();
        }
    }

private:
    Target& target_;
};

Target::Target(std::string name, bool fails, Names names, Action action, CallLog& calls)
    : name_(std::move(name))
    , fails_(fails)
    , names_(std::move(names))
    , action_(std::move(action))
    , calls_(calls) {}

std::shared_future<void> Target::expect(std::size_t calls) {
    std::lock_guard const lock(mutex_);
    reached_ = {};
    expected_ = calls;
    if (calls == 0) {
        reached_.set_value();
    }
    return reached_.get_future().share();
}

void Target::Updated(AnyMap const& properties) {
    told(ownPid, "updated " + textOf(properties), true);
}

void Target::Updated(std::string const& pid, AnyMap const& properties) {
    told(pid, "updated " + textOf(properties), true);
}

void Target::Removed(std::string const& pid) {
    told(pid, "removed", true);
}

void Target::configurationEvent(ConfigurationEvent const& event) {
    auto const& pid = event.getPid().empty() ? event.getFactoryPid() : event.getPid();
    std::string const type = event.getType() == ConfigurationEventType::CM_UPDATED ? "updated" : "deleted";
    told(pid,
         type + (event.getPid().empty() ? " of a factory" : "") + (event.getReference() ? "" : " by nobody"),
         false);
}

void Target::told(std::string const& pid, std::string const& text, bool mayFail) {
    Call const call(*this);
    // One list for each PID: in which order different PIDs are told of is open.
    auto const receiver = name_ + " of " + names_(pid);
    calls_.add(receiver, text);
    if (auto const done = action_ ? action_(pid) : ""; !done.empty()) {
        calls_.add(receiver, "it " + done);
    }
    if (mayFail && fails_) {
        throw std::runtime_error(name_ + " fails");
    }
}

} // namespace randomised
