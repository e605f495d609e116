// Two frameworks with bundles whose activators do all sorts of things, and everything that was ever got from
// them.
#ifndef TESTS_MICROSERVICES_RANDOM_BUNDLE_STAGE_HPP
#define TESTS_MICROSERVICES_RANDOM_BUNDLE_STAGE_HPP

#include "CallLog.hpp"
#include "Random.hpp"
#include "bundles.hpp"
#include "services.hpp"
#include "transcript.hpp"

#include "../bundles/Recording.hpp"
#include "../bundles/Script.hpp"

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/BundleEvent.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace randomised {

class BundleStage {
public:
    BundleStage(BundleStage const&) = delete;
    BundleStage& operator=(BundleStage const&) = delete;

protected:
    using Bundle = cppmicroservices::Bundle;
    using BundleContext = cppmicroservices::BundleContext;
    using BundleEvent = cppmicroservices::BundleEvent;
    using Framework = cppmicroservices::Framework;
    using FrameworkEvent = cppmicroservices::FrameworkEvent;

    static constexpr std::chrono::milliseconds withoutLimit = std::chrono::milliseconds::zero();
    // Of what activators and listeners do inside what others do.
    static constexpr std::size_t maximumDepth = 3;

    BundleStage(Random& random, std::ostream& transcript)
        : random_(random)
        , transcript_(transcript) {
        for (auto& framework : frameworks_) {
            framework.Start();
            observe(framework);
            bundles_.push_back({framework, frameworkOf(framework.GetBundleContext()), 0});
        }
        bundles_.emplace_back();
        contexts_.emplace_back();
        references_.emplace_back();
        for (char const* name : {"one", "two", "three"}) {
            installScripted(frameworks_[0], name);
        }
        installScripted(frameworks_[1], "one");
    }
    ~BundleStage() {
        held_.clear();
        for (auto& framework : frameworks_) {
            framework.Stop();
            framework.WaitForStop(withoutLimit);
        }
        std::error_code ignored;
        std::filesystem::remove_all(storageDirectory(), ignored);
    }

    // A handle, to which framework it belongs, and to which of its runs.
    struct Kept {
        Bundle bundle;
        std::size_t framework = 0;
        int run = 0;
    };
    struct Listener {
        BundleContext context;
        std::size_t framework = 0;
        cppmicroservices::ListenerToken token;
    };

    static std::size_t frameworkOf(BundleContext const& context) {
        return context.GetProperty("name").ToString() == "one" ? 0 : 1;
    }

    void keepBundle(BundleContext const& context, Bundle const& bundle) {
        auto const framework = frameworkOf(context);
        bundles_.push_back({bundle, framework, runs_[framework]});
    }

    static std::string nameOf(Kept const& kept) {
        return (kept.framework == 0 ? "one:" : "two:") + randomised::nameOf(kept.bundle) + " of run " +
               std::to_string(kept.run);
    }

    bool isOfThisRun(Kept const& kept) const {
        return !kept.bundle || kept.bundle.GetBundleId() == 0 || kept.run == runs_[kept.framework];
    }

    // Not one whose framework has stopped since: the installed provider crashes.
    bool mayUninstall(Kept const& kept) const { return isOfThisRun(kept); }

    // Not one whose framework has stopped since and runs again: the installed provider starts it, although it
    // does not have it any more, and does not stop it again.
    bool mayStart(Kept const& kept) const {
        return isOfThisRun(kept) || !frameworks_[kept.framework].GetBundleContext();
    }

    template <class Elements>
    auto& anyOf(Elements& elements) {
        auto const size = elements.size();
        return elements[random_.percent(60) ? size - 1 - random_.below(std::min<std::size_t>(size, 6))
                                            : random_.below(size)];
    }

    // -- what is told ------------------------------------------------------------------------------------

    static std::string receiverOf(Framework const& framework) {
        return "in " + framework.GetBundleContext().GetProperty("name").ToString();
    }

    // What tells of a listener that fails is a list of its own, as it is open in which order listeners are
    // called.
    static std::string ofListener(std::string const& text) {
        return text.find("istener threw") != std::string::npos ? " " + text : "";
    }

    // From now on until it stops, in one list with what its activators do.
    void observe(Framework& framework) {
        auto context = framework.GetBundleContext();
        auto const receiver = receiverOf(framework);
        context.AddBundleListener([this, receiver](BundleEvent const& event) {
            calls_.add(receiver,
                       withoutDirectory(streamed(event)) + " from " + randomised::nameOf(event.GetOrigin()));
            if (actsOnEvents_ && random_.percent(20)) {
                Change const change(*this, event.GetBundle());
                calls_.add(receiver, "it " + actOn(anyOf(bundles_), random_));
            }
        });
        context.AddFrameworkListener([this, receiver](FrameworkEvent const& event) {
            auto const text = describeEvent(event);
            calls_.add(receiver + ofListener(text), text);
        });
    }

    void hear(std::string const& name, std::string const& text, Bundle const& bundle, bool throws) {
        auto const line = text + " " + randomised::nameOf(bundle);
        calls_.add(name + ofListener(text), line);
        if (throws) {
            throw std::runtime_error(name + " fails");
        }
    }

    // -- what activators and listeners do ----------------------------------------------------------------

    void runScript(BundleContext const& context, testbundles::Moment moment) {
        Change const change(*this, context.GetBundle());
        auto const name = randomised::nameOf(context.GetBundle());
        auto const receiver = "in " + context.GetProperty("name").ToString();
        calls_.add(receiver, name + (moment == testbundles::Moment::start ? " starts" : " stops"));
        contexts_.push_back(context);
        for (auto count = random_.below(4); count > 0; --count) {
            calls_.add(receiver, name + " " + runScriptStep(context));
        }
        if (random_.percent(15)) {
            if (random_.percent(30)) {
                throw std::system_error(std::make_error_code(std::errc::io_error), "not now");
            }
            throw std::logic_error("not today");
        }
    }

    std::string runScriptStep(BundleContext context) {
        switch (random_.below(6)) {
        case 0:
        case 1:
            return "registers " + registerService(context);
        case 2:
            return "uses " + useService(context);
        case 3: {
            if (actsOnEvents_) {
                return "does nothing";
            }
            auto const name = "listener " + std::to_string(++listeners_);
            return name + " " + outcome([&] {
                       tokens_.push_back({context, frameworkOf(context),
                                          context.AddBundleListener([=](BundleEvent const& event) {
                                              hear(name, streamed(event.GetType()), event.GetBundle(), false);
                                          })});
                   });
        }
        default:
            return actOn(anyOf(bundles_), random_);
        }
    }

    // Remembers that a bundle is being started, stopped or uninstalled.
    class Change {
    public:
        Change(BundleStage& owner, Bundle const& bundle)
            : owner_(owner) {
            owner_.changing_.push_back(bundle);
        }
        Change(Change const&) = delete;
        Change& operator=(Change const&) = delete;
        ~Change() { owner_.changing_.pop_back(); }

    private:
        BundleStage& owner_;
    };

    bool mayChange(Bundle const& bundle) const {
        return bundle && std::find(changing_.begin(), changing_.end(), bundle) == changing_.end();
    }

    // Not a framework: what it tells while it stops, on a thread of its own, and what follows here come in
    // any order. Nor a bundle that is being changed: with the installed provider, its thread waits for itself
    // then.
    std::string actOn(Kept const& kept, Random& random) {
        auto bundle = kept.bundle;
        if (changing_.size() > maximumDepth || !mayChange(bundle) || bundle.GetBundleId() == 0) {
            return "does nothing";
        }
        Change const change(*this, bundle);
        auto const name = nameOf(kept);
        std::string text;
        switch (random.below(4)) {
        case 0:
        case 1:
            text =
                mayStart(kept) ? "starts " + name + " " + outcome([&] { bundle.Start(); }) : "does nothing";
            break;
        case 2:
            text = "stops " + name + " " + outcome([&] { bundle.Stop(); });
            break;
        default:
            text = mayUninstall(kept) ? "uninstalls " + name + " " + outcome([&] { bundle.Uninstall(); })
                                      : "does nothing";
        }
        return withoutDirectory(text);
    }

    std::string registerService(BundleContext context) {
        auto const number = std::to_string(++services_);
        return "#" + number + " " + outcome([&] {
                   auto const service = std::make_shared<Both>();
                   service->name = "object of " + number;
                   cppmicroservices::ServiceRegistrationU const registration =
                       context.RegisterService<First>(service, {{"n", number}});
                   references_.push_back(registration.GetReference());
                   registrations_.push_back(registration);
               });
    }

    std::string useService(BundleContext context) {
        auto const reference = anyOf(references_);
        return randomised::nameOf(reference) + " " + outcome([&] {
                   auto const object =
                       context.GetService(cppmicroservices::ServiceReference<First>(reference));
                   if (object) {
                       held_.push_back(object);
                   }
                   return object ? object->name : "nothing";
               });
    }

    void installScripted(Framework const& framework, std::string const& name) {
        auto context = framework.GetBundleContext();
        contexts_.push_back(context);
        keepBundle(context,
                   context.InstallBundles(SPF_TEST_BUNDLE_DIRECTORY "/test_scripted_" + name + ".so").at(0));
    }

    cppmicroservices::FrameworkConfiguration configuration(char const* name) {
        return {{"name", std::string(name)},
                {cppmicroservices::Constants::FRAMEWORK_STORAGE, storageDirectory() + "/" + name},
                {testbundles::otherBundleProperty,
                 std::string(SPF_TEST_BUNDLE_DIRECTORY "/test_scripted_three.so")},
                {testbundles::recordProperty, testbundles::Record([this, name](std::string const& text) {
                     calls_.add(std::string("in ") + name, text);
                 })},
                {testbundles::scriptProperty,
                 testbundles::Script([this](BundleContext const& context, testbundles::Moment moment) {
                     runScript(context, moment);
                 })}};
    }

    Random& random_;
    std::ostream& transcript_;
    CallLog calls_;
    std::array<Framework, 2> frameworks_{
        cppmicroservices::FrameworkFactory().NewFramework(configuration("one")),
        cppmicroservices::FrameworkFactory().NewFramework(configuration("two"))};
    std::array<int, 2> runs_{};
    std::vector<Kept> bundles_; // every handle that was ever given
    std::vector<BundleContext> contexts_;
    std::vector<cppmicroservices::ServiceReferenceU> references_;
    // With the installed provider, a reference whose registration nobody has becomes invalid when the
    // framework stops.
    std::vector<cppmicroservices::ServiceRegistrationU> registrations_;
    std::vector<std::shared_ptr<First>> held_;
    std::vector<Listener> tokens_;
    int services_ = 0;
    int listeners_ = 0;
    std::vector<Bundle> changing_;
    bool const actsOnEvents_ = random_.percent(25); // then nobody else is told: in which order is open
};

} // namespace randomised

#endif
