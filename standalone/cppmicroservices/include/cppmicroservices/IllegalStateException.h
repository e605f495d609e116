// Thrown when an object no longer permits what is asked of it.
#ifndef CPPMICROSERVICES_ILLEGALSTATEEXCEPTION_H
#define CPPMICROSERVICES_ILLEGALSTATEEXCEPTION_H

#include "cppmicroservices/FrameworkConfig.h"

#include <stdexcept>
#include <string>

namespace cppmicroservices {

class US_Framework_EXPORT IllegalStateException final : public std::runtime_error {
public:
    explicit IllegalStateException(std::string what);
    ~IllegalStateException() override;
};

} // namespace cppmicroservices

#endif
