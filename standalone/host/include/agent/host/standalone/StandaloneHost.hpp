// What a program sets up in the standalone host, beside the interface that every host has: where the
// installation lies, how the framework is started and stopped, and which diagnostics are wanted.
#ifndef AGENT_HOST_STANDALONE_STANDALONE_HOST_HPP
#define AGENT_HOST_STANDALONE_STANDALONE_HOST_HPP

#include <cstdint>
#include <filesystem>
#include <memory>

#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkFactory.h>

#include "agent/host/export.hpp"

// All functions are thread safe.
//
// How the standalone host keeps the promises of FrameworkAccess.hpp:
//
// - agent::host::getFramework() starts the process's framework on its first call: it creates the framework
//   with the properties set here, starts it, and installs and starts the bundles in
//   "bin/darwinarm64/microservices" below the installation root, Configuration Admin among them. Callers that
//   arrive meanwhile on other threads wait until this is done; a call from an activator of these bundles, on
//   the thread that starts them, gets the framework at once. If it fails, the framework is stopped again, the
//   caller gets the exception, and the next call tries anew. The result is null once the framework is stopped
//   or stopping, whoever stopped it, until startFramework().
//
// - agent::host::installAndStart() takes a path relative to the installation root, or an absolute one. The
//   bundles of a directory are its entries whose names end in ".so" and do not begin with '.'; subdirectories
//   and other files, such as a README, are passed over. All of them are installed, in ascending byte order of
//   their names, before the first is started, so a file that is no bundle fails the call before any activator
//   has run. Installing a directory again returns the bundles that are there, and starts those that are
//   stopped. With a filter, the second result holds the bundles that do not match: installed, not started.
//   The path must be well-formed UTF-16. Whatever fails is a std::runtime_error that names the file or
//   directory and the reason; what CppMicroServices threw is nested in it, of an activator's exception the
//   text. Bundles that were installed or started before the failure stay so.
namespace agent::host::standalone {

// The directory below which the installation lies; relative paths are resolved when they are set. Bundles
// that are already installed stay where they are. Default: the parent of the directory in which the program
// lies, that is <root> for <root>/bin/<program>. The directory need not exist yet.
AGENT_HOST_EXPORT void setInstallationRoot(std::filesystem::path const& root);
AGENT_HOST_EXPORT std::filesystem::path installationRoot();

// The framework's launching properties, for the framework that is started next; a running one keeps its own.
// Beside those of CppMicroServices the standalone bundles read two, both texts: "qo.spf.runtimedirectory",
// the directory in which agents of one user find each other by name (default: $XDG_RUNTIME_DIR/spf or, if
// that variable holds no absolute path, /tmp/spf-<user ID>), and "qo.spf.agent", by which peers know this
// agent (default: <host name>/<process ID>).
AGENT_HOST_EXPORT void setFrameworkProperties(cppmicroservices::FrameworkConfiguration properties);

// Starts the framework unless it runs, and returns it; after a stop this is a new framework, without bundles
// but those that getFramework() describes. Waits for a stop that is under way. Throws what getFramework()
// throws.
AGENT_HOST_EXPORT std::shared_ptr<cppmicroservices::Framework> startFramework();

// Stops the framework and waits until every bundle is stopped. From the call on, getFramework() returns null,
// even if no framework was ever started. Must not be called from a bundle's activator.
//
// A framework that still runs when the process exits is stopped by an exit handler, before the destruction of
// the static objects that existed when installAndStart() last returned, after that of later ones. When it
// does not stop within two seconds, as when an activator calls exit(), or a listener on the thread that
// delivers an event, or when another thread is still starting it, the process ends at once, with its status
// and its output written, but without the exit handlers and destructors that are left. A program whose
// bundles use, in their deactivators, static objects that they make later calls stopFramework() before main()
// ends.
//
// A forked child has none of the framework's threads, and must not use the framework. The exit handler leaves
// it alone there, so a child that ends without having executed another program takes nothing from its parent.
AGENT_HOST_EXPORT void stopFramework();

// The severities that every DiagnosticLogger of the process reports as wanted: the bitwise or of
// agent::host::Severity values. Default: Warning, Failure and Fatal. Where records go is decided by the
// process's Boost.Log sinks.
AGENT_HOST_EXPORT void setEnabledSeverities(std::uint32_t mask) noexcept;

} // namespace agent::host::standalone

#endif
