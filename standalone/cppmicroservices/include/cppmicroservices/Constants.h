// Names of manifest headers, framework properties and service properties, and their fixed values.
#ifndef CPPMICROSERVICES_CONSTANTS_H
#define CPPMICROSERVICES_CONSTANTS_H

#include "cppmicroservices/FrameworkConfig.h"

#include <string>

namespace cppmicroservices {

// A value that belongs to one of these names is a std::string unless said otherwise.
namespace Constants {

// Framework identity

// "System Bundle": Location of the system bundle.
US_Framework_EXPORT extern std::string const SYSTEM_BUNDLE_LOCATION;

// "system_bundle": Symbolic name of the system bundle.
US_Framework_EXPORT extern std::string const SYSTEM_BUNDLE_SYMBOLICNAME;

// Manifest headers

// "bundle.activator": bool: whether the bundle has an activator; absent means false.
US_Framework_EXPORT extern std::string const BUNDLE_ACTIVATOR;

// "bundle.category": Category of the bundle.
US_Framework_EXPORT extern std::string const BUNDLE_CATEGORY;

// "bundle.copyright": Copyright notice.
US_Framework_EXPORT extern std::string const BUNDLE_COPYRIGHT;

// "bundle.description": Short description of what the bundle does.
US_Framework_EXPORT extern std::string const BUNDLE_DESCRIPTION;

// "bundle.manifest_version": Version of the manifest's own format.
US_Framework_EXPORT extern std::string const BUNDLE_MANIFESTVERSION;

// "bundle.name": Name for people.
US_Framework_EXPORT extern std::string const BUNDLE_NAME;

// "bundle.vendor": Who made the bundle.
US_Framework_EXPORT extern std::string const BUNDLE_VENDOR;

// "bundle.version": Version of the bundle; see BundleVersion.
US_Framework_EXPORT extern std::string const BUNDLE_VERSION;

// "bundle.doc_url": Where documentation is found.
US_Framework_EXPORT extern std::string const BUNDLE_DOCURL;

// "bundle.contact_address": Where to report problems.
US_Framework_EXPORT extern std::string const BUNDLE_CONTACTADDRESS;

// "bundle.symbolic_name": Unique name of the bundle, a C identifier.
US_Framework_EXPORT extern std::string const BUNDLE_SYMBOLICNAME;

// "bundle.localization": Base name of the localisation entries.
US_Framework_EXPORT extern std::string const BUNDLE_LOCALIZATION;

// "US-INF/l10n/bundle": Base name used when the header above is absent.
US_Framework_EXPORT extern std::string const BUNDLE_LOCALIZATION_DEFAULT_BASENAME;

// "bundle.activation_policy": When the bundle is activated.
US_Framework_EXPORT extern std::string const BUNDLE_ACTIVATIONPOLICY;

// "lazy": Activation policy: activate when the library is loaded.
US_Framework_EXPORT extern std::string const ACTIVATION_LAZY;

// Framework properties

// "org.cppmicroservices.framework.version": Version of the framework.
US_Framework_EXPORT extern std::string const FRAMEWORK_VERSION;

// "org.cppmicroservices.framework.vendor": Vendor of the framework.
US_Framework_EXPORT extern std::string const FRAMEWORK_VENDOR;

// "org.cppmicroservices.framework.storage": Directory of the persistent storage area; default "fwdir" below
// the working directory.
US_Framework_EXPORT extern std::string const FRAMEWORK_STORAGE;

// "org.cppmicroservices.framework.storage.clean": When the storage area is emptied; absent means never.
US_Framework_EXPORT extern std::string const FRAMEWORK_STORAGE_CLEAN;

// "onFirstInit": Value of the property above: before the first Init() only.
US_Framework_EXPORT extern std::string const FRAMEWORK_STORAGE_CLEAN_ONFIRSTINIT;

// "org.cppmicroservices.framework.threading.support": Read-only: whether the framework may be used by
// several threads.
US_Framework_EXPORT extern std::string const FRAMEWORK_THREADING_SUPPORT;

// "single": Value of the property above: one thread only.
US_Framework_EXPORT extern std::string const FRAMEWORK_THREADING_SINGLE;

// "multi": Value of the property above: any number of threads.
US_Framework_EXPORT extern std::string const FRAMEWORK_THREADING_MULTI;

// "org.cppmicroservices.framework.log": bool: whether the framework logs diagnostics.
US_Framework_EXPORT extern std::string const FRAMEWORK_LOG;

// "org.cppmicroservices.framework.uuid": RFC 4122 identifier, new with each Init().
US_Framework_EXPORT extern std::string const FRAMEWORK_UUID;

// "org.cppmicroservices.framework.working.dir": Directory against which relative paths are resolved.
US_Framework_EXPORT extern std::string const FRAMEWORK_WORKING_DIR;

// "org.cppmicroservices.framework.bundle.validation.function": Callable that decides whether a bundle's
// library may be loaded.
US_Framework_EXPORT extern std::string const FRAMEWORK_BUNDLE_VALIDATION_FUNC;

// "org.cppmicroservices.framework.shutdown.function": std::function<void()> called after the framework has
// stopped; must not throw.
US_Framework_EXPORT extern std::string const FRAMEWORK_EXTRA_SHUTDOWN_FUNC;

// Service properties

// "objectclass": std::vector<std::string>, set by the framework: the interfaces a service is registered
// under.
US_Framework_EXPORT extern std::string const OBJECTCLASS;

// "service.id": long, set by the framework: registration number, larger than every earlier one.
US_Framework_EXPORT extern std::string const SERVICE_ID;

// "service.pid": std::string or std::vector<std::string>: persistent identifier.
US_Framework_EXPORT extern std::string const SERVICE_PID;

// "service.ranking": int: higher is preferred; 0 when absent or of another type.
US_Framework_EXPORT extern std::string const SERVICE_RANKING;

// "service.vendor": Who offers the service.
US_Framework_EXPORT extern std::string const SERVICE_VENDOR;

// "service.description": What the service does.
US_Framework_EXPORT extern std::string const SERVICE_DESCRIPTION;

// "service.scope": Set by the framework: one of the three scopes below.
US_Framework_EXPORT extern std::string const SERVICE_SCOPE;

// "singleton": One service object for all bundles.
US_Framework_EXPORT extern std::string const SCOPE_SINGLETON;

// "bundle": One service object for each bundle that uses the service.
US_Framework_EXPORT extern std::string const SCOPE_BUNDLE;

// "prototype": As many service objects as are asked for.
US_Framework_EXPORT extern std::string const SCOPE_PROTOTYPE;

// Loading

// "org.cppmicroservices.library.load.options": int: flags for dlopen() when a bundle's library is loaded.
US_Framework_EXPORT extern std::string const LIBRARY_LOAD_OPTIONS;

} // namespace Constants
} // namespace cppmicroservices

#endif
