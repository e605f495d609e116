// Marks what the framework library exports.
#ifndef CPPMICROSERVICES_FRAMEWORKEXPORT_H
#define CPPMICROSERVICES_FRAMEWORKEXPORT_H

#include "cppmicroservices/GlobalConfig.h"

// Import and export are the same attribute on the platforms supported, so one definition serves both sides.
#define US_Framework_EXPORT US_ABI_EXPORT

#endif
