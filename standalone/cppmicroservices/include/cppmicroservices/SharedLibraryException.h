// The error of a bundle whose shared library cannot be loaded, or whose activator throws a std::system_error.
#ifndef CPPMICROSERVICES_SHAREDLIBRARYEXCEPTION_H
#define CPPMICROSERVICES_SHAREDLIBRARYEXCEPTION_H

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/FrameworkConfig.h"

#include <string>
#include <system_error>

namespace cppmicroservices {

class US_Framework_EXPORT SharedLibraryException final : public std::system_error {
public:
    explicit SharedLibraryException(std::error_code ec, std::string what, cppmicroservices::Bundle origin);
    ~SharedLibraryException() override;

    // The bundle that failed to start.
    Bundle GetBundle() const;

private:
    Bundle origin_;
};

} // namespace cppmicroservices

#endif
