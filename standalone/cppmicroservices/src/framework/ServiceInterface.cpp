// How a C++ type becomes an interface identifier.
#include "cppmicroservices/ServiceInterface.h"

#include <cstdlib>
#include <cxxabi.h>

namespace cppmicroservices::detail {

std::string const serviceFactoryKey = "org.cppmicroservices.factory";

std::string GetDemangledName(std::type_info const& typeInfo) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> const name(
        abi::__cxa_demangle(typeInfo.name(), nullptr, nullptr, &status), std::free);
    return status == 0 ? std::string(name.get()) : std::string();
}

} // namespace cppmicroservices::detail
