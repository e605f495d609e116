// The operations of the framework that the library calls, each counted before it runs. The linker sends calls
// of them here (its option --wrap; CMakeLists.txt has the symbols); `real` leads to the operation itself. An
// object's member function takes the object's address as its first argument, as these do.
#include <memory>
#include <string>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceObjects.h>
#include <cppmicroservices/ServiceRegistration.h>

#include "faults/CallFault.hpp"

namespace agent::spf::frameworksetup::test {

using cppmicroservices::Bundle;
using cppmicroservices::BundleContext;
using cppmicroservices::LDAPFilter;

#define REAL(symbol) asm("__real_" symbol)
#define WRAP(symbol) asm("__wrap_" symbol)

void realStart(Bundle*) REAL(SYMBOL_START);
void wrapStart(Bundle*) WRAP(SYMBOL_START);
void wrapStart(Bundle* bundle) {
    passCall();
    realStart(bundle);
}

BundleContext realGetBundleContext(Bundle const*) REAL(SYMBOL_GET_BUNDLE_CONTEXT);
BundleContext wrapGetBundleContext(Bundle const*) WRAP(SYMBOL_GET_BUNDLE_CONTEXT);
BundleContext wrapGetBundleContext(Bundle const* bundle) {
    passCall();
    return realGetBundleContext(bundle);
}

using FoundServices = std::shared_ptr<void const>;
FoundServices realFindServices(BundleContext*, std::string const&, std::string const&)
    REAL(SYMBOL_FIND_SERVICES);
FoundServices wrapFindServices(BundleContext*, std::string const&, std::string const&)
    WRAP(SYMBOL_FIND_SERVICES);
FoundServices wrapFindServices(BundleContext* context, std::string const& interfaceID,
                               std::string const& filter) {
    passCall();
    return realFindServices(context, interfaceID, filter);
}

std::shared_ptr<void> realGetService(void const*) REAL(SYMBOL_GET_SERVICE);
std::shared_ptr<void> wrapGetService(void const*) WRAP(SYMBOL_GET_SERVICE);
std::shared_ptr<void> wrapGetService(void const* objects) {
    passCall();
    return realGetService(objects);
}

cppmicroservices::ServiceRegistrationU realRegisterService(BundleContext*,
                                                           cppmicroservices::InterfaceMapConstPtr const&,
                                                           cppmicroservices::ServiceProperties const&)
    REAL(SYMBOL_REGISTER_SERVICE);
cppmicroservices::ServiceRegistrationU wrapRegisterService(BundleContext*,
                                                           cppmicroservices::InterfaceMapConstPtr const&,
                                                           cppmicroservices::ServiceProperties const&)
    WRAP(SYMBOL_REGISTER_SERVICE);
cppmicroservices::ServiceRegistrationU
wrapRegisterService(BundleContext* context, cppmicroservices::InterfaceMapConstPtr const& service,
                    cppmicroservices::ServiceProperties const& properties) {
    passCall();
    return realRegisterService(context, service, properties);
}

void realUnregister(cppmicroservices::ServiceRegistrationBase*) REAL(SYMBOL_UNREGISTER);
void wrapUnregister(cppmicroservices::ServiceRegistrationBase*) WRAP(SYMBOL_UNREGISTER);
void wrapUnregister(cppmicroservices::ServiceRegistrationBase* registration) {
    try {
        passCall();
    } catch (...) {
        ++refusedUnregistrations;
        throw;
    }
    realUnregister(registration);
}

void realMakeFilter(LDAPFilter*, std::string const&) REAL(SYMBOL_MAKE_FILTER);
void wrapMakeFilter(LDAPFilter*, std::string const&) WRAP(SYMBOL_MAKE_FILTER);
void wrapMakeFilter(LDAPFilter* filter, std::string const& text) {
    passCall();
    realMakeFilter(filter, text);
}

std::string realFilterText(LDAPFilter const*) REAL(SYMBOL_FILTER_TEXT);
std::string wrapFilterText(LDAPFilter const*) WRAP(SYMBOL_FILTER_TEXT);
std::string wrapFilterText(LDAPFilter const* filter) {
    passCall();
    return realFilterText(filter);
}

} // namespace agent::spf::frameworksetup::test
