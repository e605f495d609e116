// Records what happens to its activator.
#include "Recording.hpp"

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/GetBundleContext.h>

#include <exception>

namespace {

class Activator : public cppmicroservices::BundleActivator {
public:
    ~Activator() override {
        try {
            record("destroyed");
        } catch (std::exception const&) {
            // The context is no longer valid. 3.8.0 destroys some activators as late as that.
        }
    }

    void Start(cppmicroservices::BundleContext context) override {
        context_ = context;
        bool const same = context == cppmicroservices::GetBundleContext();
        record(same ? "start" : "start with another context than GetBundleContext()");
    }

    void Stop(cppmicroservices::BundleContext context) override {
        record(context == context_ ? "stop" : "stop with another context than Start");
    }

private:
    void record(std::string const& text) {
        if (context_) {
            testbundles::record(context_, context_.GetBundle().GetSymbolicName() + " " + text);
        }
    }

    cppmicroservices::BundleContext context_;
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
