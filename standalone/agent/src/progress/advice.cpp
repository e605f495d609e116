// What a person can try next when something is in the way.
#include "progress/advice.hpp"

#include <array>

namespace agent::program {

namespace {

struct Advice {
    char const* reason; // a part of the reason's text: the system's words, or those of the bundles
    char const* whenBinding;
    char const* whenConnecting;
};

constexpr char const* otherProcess =
    "find the process that listens there (ss -ltnp, ss -lxp) and stop it, or choose "
    "another endpoint";
constexpr char const* permissions = "check the permissions of the socket and of the directories above it";
constexpr char const* missingBundle = "check the installation (--root): a bundle is missing";
constexpr char const* addressOfPeer = "check that the endpoint is the one that the other agent binds";

constexpr char const* directoryOfUser = "name one that belongs to you alone (--runtime-directory)";
constexpr char const* limitOfFiles = "raise the limit of open files (ulimit -n)";

// The first that fits counts.
constexpr std::array<Advice, 15> advices{{
    {"Too many open files", limitOfFiles, limitOfFiles}, // whatever could not be opened for that
    {"Resource temporarily unavailable", "raise the limit of threads or of memory (ulimit -u, ulimit -v)",
     "check the agent that listens there: it accepts nobody at the moment"},
    {": runtime directory ", directoryOfUser, directoryOfUser},
    {"in use", otherProcess, otherProcess},
    {"Permission denied", permissions, permissions},
    {"no such host", "check the host's name, or write its address",
     "check the host's name, or write its address"},
    {"Cannot assign requested address", "choose an address of this machine (ip address)", addressOfPeer},
    {"cannot read the bundle directory", missingBundle, missingBundle},
    {"No such file or directory", "create the directory first",
     "start the agent that binds it, or check the path"},
    {"Connection refused", "", "start the agent that binds it: nobody listens there"},
    {"the handshake", "", "check that an agent listens there: something accepts and says nothing"},
    {"no answer", "", "check the network and its firewalls: nobody answers there"},
    {"no running process announces", "",
     "start the process that announces the name, with the same --runtime-directory"},
    {"waits for the", missingBundle, missingBundle},
    {"unknown scheme", "write unix:<path> or tcp:<host>:<port>", "write unix:<path> or tcp:<host>:<port>"},
}};

Advice const* findAdvice(std::string const& reason) {
    for (auto const& advice : advices) {
        if (reason.find(advice.reason) != std::string::npos) {
            return &advice;
        }
    }
    return nullptr;
}

} // namespace

std::string adviceFor(EndpointRole role, std::string const& reason) {
    bool const binding = role == EndpointRole::Bind;
    if (auto const* const advice = findAdvice(reason)) {
        return binding ? advice->whenBinding : advice->whenConnecting;
    }
    return binding ? std::string() : addressOfPeer;
}

std::string adviceForFailure(std::string const& reason) {
    bool const connecting = reason.find("cannot connect") != std::string::npos;
    auto const* const advice = findAdvice(reason);
    if (advice == nullptr) {
        return {};
    }
    return connecting ? advice->whenConnecting : advice->whenBinding;
}

std::string adviceForInterface() {
    return "check that the other agent maps it to a publisher whose endpoint is connected, and the filters "
           "of both";
}

std::string withAdvice(std::string text, std::string const& advice) {
    return advice.empty() ? text : text + "; " + advice;
}

} // namespace agent::program
