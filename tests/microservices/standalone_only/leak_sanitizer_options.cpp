// Options of LeakSanitizer for these tests.

// A test stops Configuration Admin, whose library is unloaded with its thread-local storage; LeakSanitizer of
// g++ 12 then follows a record of that storage which is stale, and ends the process. Not looking there makes
// it stricter: what only thread-local storage refers to counts as a leak.
extern "C" __attribute__((visibility("default"))) char const* __lsan_default_options();
extern "C" char const* __lsan_default_options() {
    return "use_tls=0";
}
