// A minimal host: what a process offers to spf-frameworksetup when it brings a host of its own.
#ifndef EXAMPLES_MINIMAL_HOST_HPP
#define EXAMPLES_MINIMAL_HOST_HPP

#include <filesystem>

namespace minimal {

// The process's host while it lives; there is one at a time. It starts a framework with Configuration Admin
// in it and stops it at the end, so every configuration is withdrawn before that, and main() ends after it.
class Host {
public:
    // Below `root` lies an installation, as `cmake --install` makes it. Throws what starting the framework
    // throws.
    explicit Host(std::filesystem::path root);
    ~Host();
    Host(Host const&) = delete;
    Host& operator=(Host const&) = delete;

private:
    Host(); // starts the framework; as the other constructor delegates to it, the destructor stops it
            // whatever fails
};

} // namespace minimal

#endif
