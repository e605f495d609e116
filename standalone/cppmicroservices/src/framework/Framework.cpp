// The public handle to a framework, and what makes it.
#include "cppmicroservices/Framework.h"

#include "BundleRecord.hpp"
#include "FrameworkCore.hpp"
#include "cppmicroservices/FrameworkEvent.h"
#include "cppmicroservices/FrameworkFactory.h"

#include <stdexcept>
#include <utility>

namespace cppmicroservices {

Framework::Framework(Bundle b)
    : Bundle(std::move(b)) {
    if (Record().id() != 0) {
        throw std::logic_error("Not a framework bundle");
    }
}

Framework::Framework(std::shared_ptr<detail::FrameworkCore> core)
    : Bundle(core->systemBundle(), core) {}

Framework::Framework(Framework const& fw) = default;
Framework::Framework(Framework&& fw) noexcept = default;
Framework& Framework::operator=(Framework const& fw) = default;
Framework& Framework::operator=(Framework&& fw) noexcept = default;

void Framework::Init() {
    Record();
    core_->init();
}

FrameworkEvent Framework::WaitForStop(std::chrono::milliseconds const& timeout) {
    Record();
    return core_->waitForStop(timeout);
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): callers ask a factory object
Framework FrameworkFactory::NewFramework(FrameworkConfiguration const& configuration, std::ostream* logger) {
    return Framework(detail::FrameworkCore::make(configuration, logger));
}

Framework FrameworkFactory::NewFramework() {
    return NewFramework(FrameworkConfiguration());
}

Framework FrameworkFactory::NewFramework(std::map<std::string, Any> const& configuration,
                                         std::ostream* logger) {
    return NewFramework(FrameworkConfiguration(configuration.begin(), configuration.end()), logger);
}

} // namespace cppmicroservices
