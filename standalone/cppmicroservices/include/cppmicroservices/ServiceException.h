// The error of the service registry: a service or its factory failed.
#ifndef CPPMICROSERVICES_SERVICEEXCEPTION_H
#define CPPMICROSERVICES_SERVICEEXCEPTION_H

#include "cppmicroservices/FrameworkConfig.h"

#include <iosfwd>
#include <stdexcept>
#include <string>

namespace cppmicroservices {

class US_Framework_EXPORT ServiceException : public std::runtime_error {
public:
    enum Type {
        UNSPECIFIED = 0,
        UNREGISTERED = 1,      // the service is gone
        FACTORY_ERROR = 2,     // the factory returned no usable service object
        FACTORY_EXCEPTION = 3, // the factory threw; what it threw is nested
        REMOTE = 5,            // a remote service failed
        FACTORY_RECURSION = 6  // the factory asked for its own service on behalf of the same bundle
    };

    ServiceException(std::string const& msg, Type const& type = UNSPECIFIED);
    ServiceException(ServiceException const& o);
    ServiceException& operator=(ServiceException const& o);
    ~ServiceException() override;

    Type GetType() const;

private:
    Type type_;
};

} // namespace cppmicroservices

// Writes "ServiceException: " and the message.
US_Framework_EXPORT std::ostream& operator<<(std::ostream& os, cppmicroservices::ServiceException const& exc);

#endif
