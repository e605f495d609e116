// Out of line so that every library shares one type description of the exception.
#include "cppmicroservices/IllegalStateException.h"

namespace cppmicroservices {

IllegalStateException::IllegalStateException(std::string what)
    : std::runtime_error(what) {}

IllegalStateException::~IllegalStateException() = default;

} // namespace cppmicroservices
