// Frameworks and bundles: random sequences of their life cycles, with listeners, activators that do all sorts
// of things, and handles and contexts that are used long after their time.
#include "BundleStage.hpp"
#include "areas.hpp"

#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceObjects.h>

#include <string_view>

namespace randomised {

using namespace cppmicroservices;

namespace {

class BundleCase : private BundleStage {
public:
    BundleCase(Random& random, std::ostream& transcript)
        : BundleStage(random, transcript) {}

    void runStep() {
        static constexpr Step steps[] = {
            {"install", &BundleCase::install},
            {"install", &BundleCase::install},
            {"start", &BundleCase::start},
            {"start", &BundleCase::start},
            {"start", &BundleCase::start},
            {"stop", &BundleCase::stop},
            {"stop", &BundleCase::stop},
            {"uninstall", &BundleCase::uninstall},
            {"describe", &BundleCase::describe},
            {"services", &BundleCase::listServices},
            {"compare", &BundleCase::compare},
            {"compare references", &BundleCase::compareReferences},
            {"keep", &BundleCase::keepContext},
            {"use", &BundleCase::useContext},
            {"use", &BundleCase::useContext},
            {"use", &BundleCase::useContext},
            {"listen", &BundleCase::listen},
            {"do not listen", &BundleCase::stopListening},
            {"initialise framework", &BundleCase::initialiseFramework},
            {"start framework", &BundleCase::startFramework},
            {"stop framework", &BundleCase::stopFramework},
            {"wait", &BundleCase::waitForFramework},
        };
        auto const& step = random_.oneOf(steps);
        held_.clear(); // with the installed provider, the objects of one run of a bundle count in the next
        transcript_ << "  " << step.name << std::flush; // lest a crash takes it away
        transcript_ << ' ' << withoutDirectory((this->*step.run)()) << '\n';
        calls_.flush(transcript_);
        transcript_ << std::flush;
    }

private:
    struct Step {
        std::string_view name;
        std::string (BundleCase::*run)();
    };
    std::string listen() {
        auto context = anyOf(contexts_);
        auto const name = "listener " + std::to_string(++listeners_);
        bool const throws = random_.percent(15);
        bool const toBundles = !actsOnEvents_ && random_.percent(70);
        return name + (toBundles ? " to bundles" : " to the framework") + (throws ? " fails " : " ") +
               outcome([&] {
                   ListenerToken token;
                   if (toBundles) {
                       token = context.AddBundleListener([=](BundleEvent const& event) {
                           hear(name, streamed(event.GetType()), event.GetBundle(), throws);
                       });
                   } else {
                       token = context.AddFrameworkListener([=](FrameworkEvent const& event) {
                           hear(name, describeEvent(event), event.GetBundle(), throws);
                       });
                   }
                   tokens_.push_back({context, frameworkOf(context), std::move(token)});
               });
    }

    std::string stopListening() {
        if (tokens_.empty()) {
            return "none";
        }
        auto const place = tokens_.begin() + static_cast<std::ptrdiff_t>(random_.below(tokens_.size()));
        auto listener = std::move(*place);
        tokens_.erase(place);
        auto const other = anyOf(contexts_);
        auto context = random_.percent(20) && mayRemove(listener, other) ? other : listener.context;
        return outcome([&] { context.RemoveListener(std::move(listener.token)); });
    }

    // With the installed provider, a token of one framework can be that of some listener of the other.
    static bool mayRemove(Listener const& listener, BundleContext const& context) {
        try {
            return frameworkOf(context) == listener.framework;
        } catch (std::exception const&) {
            return true; // it removes nothing
        }
    }

    // -- bundles -----------------------------------------------------------------------------------------

    std::string install() {
        auto context = random_.percent(70) ? frameworkContext() : anyOf(contexts_);
        auto const location = randomLocation(random_);
        auto const manifests = randomManifests(random_);
        auto const result = outcome([&] {
            auto const installed = context.InstallBundles(location, manifests);
            for (auto const& bundle : installed) {
                keepBundle(context, bundle);
            }
            return namesOf(installed);
        });
        return location + " " + textOf(manifests) + " " + withoutReason(result);
    }

    std::string start() {
        auto const kept = anyBundle();
        if (!mayStart(kept)) {
            return "not";
        }
        auto bundle = kept.bundle;
        Change const change(*this, bundle);
        auto const options = static_cast<std::uint32_t>(random_.below(4));
        return nameOf(kept) + " " + std::to_string(options) + " " +
               outcome([&] { random_.percent(50) ? bundle.Start() : bundle.Start(options); });
    }

    std::string stop() {
        auto const kept = anyBundle();
        auto bundle = kept.bundle;
        Change const change(*this, bundle);
        auto const options = static_cast<std::uint32_t>(random_.below(2));
        return nameOf(kept) + " " + std::to_string(options) + " " +
               outcome([&] { random_.percent(50) ? bundle.Stop() : bundle.Stop(options); });
    }

    std::string uninstall() {
        auto const kept = anyOf(bundles_);
        if (!mayUninstall(kept)) {
            return "not";
        }
        auto bundle = kept.bundle;
        Change const change(*this, bundle);
        return nameOf(kept) + " " + outcome([&] { bundle.Uninstall(); });
    }

    std::string describe() {
        auto const kept = anyOf(bundles_);
        return nameOf(kept) + " " + describeBundle(kept.bundle);
    }

    std::string listServices() {
        auto const kept = anyOf(bundles_);
        auto const& bundle = kept.bundle;
        return nameOf(kept) + outcome([&] { return sortedNames(bundle.GetRegisteredServices()); }) +
               outcome([&] { return sortedNames(bundle.GetServicesInUse()); });
    }

    static std::string sortedNames(std::vector<ServiceReferenceU> references) {
        std::sort(references.begin(), references.end());
        return namesOf(references);
    }

    std::string compare() {
        auto const keptLeft = anyOf(bundles_);
        auto const keptRight = anyOf(bundles_);
        auto const& left = keptLeft.bundle;
        auto const& right = keptRight.bundle;
        return nameOf(keptLeft) + " " + nameOf(keptRight) + " " + textOf(left == right) +
               textOf(left != right) + textOf(left < right) +
               outcome([&] { return textOf(std::hash<Bundle>()(left) == std::hash<Bundle>()(right)); });
    }

    std::string compareReferences() {
        auto const left = anyOf(references_);
        auto const right = anyOf(references_);
        return randomised::nameOf(left) + " " + randomised::nameOf(right) + " " +
               textOf(static_cast<bool>(left)) + textOf(left == right) + textOf(left < right) +
               randomised::nameOf(left.GetBundle());
    }

    // Not a framework: their life is in other steps.
    Kept anyBundle() {
        for (;;) {
            auto const kept = anyOf(bundles_);
            if (!kept.bundle || kept.bundle.GetBundleId() != 0) {
                return kept;
            }
        }
    }

    // -- contexts ----------------------------------------------------------------------------------------

    BundleContext frameworkContext() {
        contexts_.push_back(anyOf(frameworks_).GetBundleContext());
        return contexts_.back();
    }

    std::string keepContext() {
        auto const kept = anyOf(bundles_);
        return nameOf(kept) + " " + outcome([&] { contexts_.push_back(kept.bundle.GetBundleContext()); });
    }

    std::string useContext() {
        auto context = anyOf(contexts_);
        auto const other = anyOf(contexts_);
        auto const kind = random_.below(17);
        auto const owner = context ? randomised::nameOf(context.GetBundle()) : "none";
        return std::to_string(kind) + " of " + owner + " " + textOf(static_cast<bool>(context)) +
               textOf(context == other) + " " + outcome([&] { return useContext(context, kind); });
    }

    std::string useContext(BundleContext& context, std::size_t kind) {
        switch (kind) {
        case 0:
            return textOf(context.GetProperty("name"));
        case 1:
            return textOf(context.GetProperties().at("name"));
        case 2:
            return randomised::nameOf(context.GetBundle());
        case 3:
            return randomised::nameOf(context.GetBundle(static_cast<long>(random_.below(8)) - 1));
        case 4:
            return namesOf(context.GetBundles(randomLocation(random_)));
        case 5:
            // With the installed provider, another framework that has stopped makes it throw.
            return bothRun() ? namesOf(context.GetBundles()) : "not";
        case 6:
        case 7:
            return registerService(context);
        case 8:
            return namesOf(context.GetServiceReferences("", random_.percent(50) ? "" : "(n=1"));
        case 9:
            return randomised::nameOf(context.GetServiceReference("randomised::First"));
        case 10:
            return randomised::nameOf(context.GetServiceReference<First>());
        case 11:
            return useService(context);
        case 12:
            return textOf(
                static_cast<bool>(context.GetServiceObjects(ServiceReference<First>(anyOf(references_)))
                                      .GetServiceReference()));
        case 13:
            context.RemoveListener(ListenerToken());
            return "removed";
        case 14:
            return inQuotes(context.GetDataFile(random_.percent(50) ? "x" : ""));
        case 15:
            return textOf(static_cast<bool>(context.AddServiceListener(
                [this](ServiceEvent const& event) {
                    calls_.add("service listener " + randomised::nameOf(event.GetServiceReference()),
                               streamed(event.GetType()) + " " +
                                   randomised::nameOf(event.GetServiceReference()));
                },
                random_.percent(50) ? "" : "(n=1")));
        default:
            context = nullptr;
            return textOf(static_cast<bool>(context));
        }
    }

    bool bothRun() const {
        return std::all_of(frameworks_.begin(), frameworks_.end(),
                           [](Framework const& framework) { return framework.GetBundleContext(); });
    }

    // -- frameworks --------------------------------------------------------------------------------------

    std::string initialiseFramework() {
        auto& framework = anyOf(frameworks_);
        bool const wasStopped = !framework.GetBundleContext();
        auto const result = outcome([&] { framework.Init(); });
        if (wasStopped) {
            observe(framework);
        }
        return result + " " + streamed(framework.GetState());
    }

    std::string startFramework() {
        auto& framework = anyOf(frameworks_);
        bool const wasStopped = !framework.GetBundleContext();
        auto const result = outcome([&] { framework.Start(); });
        if (wasStopped) {
            observe(framework);
        }
        return result + " " + streamed(framework.GetState());
    }

    std::string stopFramework() {
        if (random_.percent(70)) {
            return "not";
        }
        auto const number = random_.below(frameworks_.size());
        auto& framework = frameworks_[number];
        auto const limit = random_.percent(50) ? withoutLimit : std::chrono::milliseconds(30000);
        auto const result = outcome([&] { framework.Stop(); });
        auto const event = outcome([&] { return describeEvent(framework.WaitForStop(limit)); });
        runs_[number] += framework.GetState() == Bundle::STATE_RESOLVED ? 1 : 0;
        return result + " " + event + " " + streamed(framework.GetState());
    }

    // Without a limit, only for one that does not run.
    std::string waitForFramework() {
        auto& framework = anyOf(frameworks_);
        auto const limit = framework.GetBundleContext() ? std::chrono::milliseconds(1) : withoutLimit;
        return outcome([&] { return describeEvent(framework.WaitForStop(limit)); });
    }
};

} // namespace

void runBundleCase(Random& random, std::ostream& transcript) {
    BundleCase bundles(random, transcript);
    for (int step = 0; step < 60; ++step) {
        bundles.runStep();
    }
}

} // namespace randomised
