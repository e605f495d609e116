// What the test bundles report to, and the place where a test lets something happen inside an activator.
#ifndef HOST_TEST_PROBE_HPP
#define HOST_TEST_PROBE_HPP

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace host_test {

// Thread safe.
class __attribute__((visibility("default"))) Probe {
public:
    static Probe& instance();

    // Called by activators. Records the event, then runs the hook, which may block, throw or call anything.
    void report(std::string const& event);

    std::vector<std::string> events() const;

    // Forgets the events and the hook.
    void clear();

    void onReport(std::function<void(std::string const& event)> hook);

private:
    mutable std::mutex mutex_; // guards the members below; not held while the hook runs
    std::vector<std::string> events_;
    std::function<void(std::string const&)> hook_;
};

} // namespace host_test

#endif
