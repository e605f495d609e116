// Export macros of the library: what the shared library offers, and what of an exported class it keeps to
// itself.
#ifndef AGENT_SPF_FRAMEWORKSETUP_EXPORT_HPP
#define AGENT_SPF_FRAMEWORKSETUP_EXPORT_HPP

#define AGENT_SPF_FRAMEWORKSETUP_EXPORT __attribute__((visibility("default")))
#define AGENT_SPF_FRAMEWORKSETUP_LOCAL __attribute__((visibility("hidden")))

#endif
