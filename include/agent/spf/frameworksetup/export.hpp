// Export macros of the library.
#ifndef AGENT_SPF_FRAMEWORKSETUP_EXPORT_HPP
#define AGENT_SPF_FRAMEWORKSETUP_EXPORT_HPP

// Marks what the shared library offers.
#define AGENT_SPF_FRAMEWORKSETUP_EXPORT __attribute__((visibility("default")))

// Marks what an exported class keeps to itself.
#define AGENT_SPF_FRAMEWORKSETUP_LOCAL __attribute__((visibility("hidden")))

#endif
