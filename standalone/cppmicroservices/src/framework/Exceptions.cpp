// The exceptions of the framework.
#include "cppmicroservices/ServiceException.h"
#include "cppmicroservices/SharedLibraryException.h"

#include <ostream>
#include <utility>

namespace cppmicroservices {

ServiceException::ServiceException(std::string const& msg, Type const& type)
    : std::runtime_error(msg)
    , type_(type) {}

ServiceException::ServiceException(ServiceException const& o) = default;
ServiceException& ServiceException::operator=(ServiceException const& o) = default;
ServiceException::~ServiceException() = default;

ServiceException::Type ServiceException::GetType() const {
    return type_;
}

SharedLibraryException::SharedLibraryException(std::error_code ec, std::string what, Bundle origin)
    : std::system_error(ec, what)
    , origin_(std::move(origin)) {}

SharedLibraryException::~SharedLibraryException() = default;

Bundle SharedLibraryException::GetBundle() const {
    return origin_;
}

} // namespace cppmicroservices

std::ostream& operator<<(std::ostream& os, cppmicroservices::ServiceException const& exc) {
    return os << "ServiceException: " << exc.what();
}
