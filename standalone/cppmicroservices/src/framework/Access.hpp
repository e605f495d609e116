// The one door between the public handles and the records behind them.
#ifndef CPPMICROSERVICES_SRC_FRAMEWORK_ACCESS_HPP
#define CPPMICROSERVICES_SRC_FRAMEWORK_ACCESS_HPP

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/ListenerToken.h"
#include "cppmicroservices/ServiceReference.h"
#include "cppmicroservices/ServiceRegistration.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace cppmicroservices::detail {

class BundleRecord;
class ContextRecord;
class FrameworkCore;
class ServiceRecord;

struct Access {
    static Bundle bundle(std::shared_ptr<BundleRecord> record, FrameworkCore& core);
    static std::vector<Bundle> bundles(std::vector<std::shared_ptr<BundleRecord>> const& records,
                                       FrameworkCore& core);
    static std::shared_ptr<BundleRecord> const& record(Bundle const& bundle) { return bundle.record_; }

    static std::shared_ptr<ContextRecord> const& record(BundleContext const& context) {
        return context.record_;
    }
    static BundleContext context(std::shared_ptr<ContextRecord> record) {
        return BundleContext(std::move(record));
    }

    static ServiceReferenceBase reference(std::shared_ptr<ServiceRecord> const& record,
                                          std::string const& interfaceId = std::string()) {
        return ServiceReferenceBase(record, interfaceId);
    }
    static ServiceLink::Target target(ServiceReferenceBase const& reference) {
        return reference.link_.load();
    }

    static ServiceRegistrationBase registration(std::shared_ptr<ServiceRecord> record) {
        return ServiceRegistrationBase(std::move(record));
    }

    static ListenerToken token(ListenerTokenId id) { return ListenerToken(id); }
    static ListenerTokenId id(ListenerToken const& token) { return token.id_; }
};

} // namespace cppmicroservices::detail

#endif
