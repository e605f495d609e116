// Shows when exit() destroys static objects.
#ifndef HOST_TEST_FAREWELL_HPP
#define HOST_TEST_FAREWELL_HPP

#include <cstdio>

namespace host_test {

// Prints the text when it is destroyed.
class Farewell {
public:
    explicit Farewell(char const* text)
        : text_(text) {}
    Farewell(Farewell const&) = delete;
    Farewell& operator=(Farewell const&) = delete;
    ~Farewell() { std::puts(text_); }

private:
    char const* text_;
};

} // namespace host_test

#endif
