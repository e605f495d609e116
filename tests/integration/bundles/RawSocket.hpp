// Sockets without any of the project's code, to see it from outside.
#ifndef RAW_SOCKET_HPP
#define RAW_SOCKET_HPP

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace bundles_test {

// A blocking stream socket. Every operation gives up after the tests' patience and throws std::runtime_error.
class RawSocket {
public:
    explicit RawSocket(int descriptor);                    // takes it over
    explicit RawSocket(std::filesystem::path const& path); // connects

    // Connects to a TCP port of 127.0.0.1, from another address of this machine's own, such as 127.0.0.2.
    RawSocket(std::string const& source, std::uint16_t port);
    RawSocket(RawSocket&& other) noexcept;
    RawSocket& operator=(RawSocket&&) = delete;
    ~RawSocket();

    static std::string frame(std::string const& text);
    void send(std::string const& bytes);
    void sendFrame(std::string const& text) { send(frame(text)); }
    std::string readFrame();

    // Whether there is something to read, or the end, right now.
    bool hasInput() const;

    // Whether the other side closes the connection within the patience; what it sends before is passed over.
    bool isClosedByPeer();
    void close();

private:
    std::string read(std::size_t size);

    int descriptor_;
};

// A unix socket that listens; its file stays when it is destroyed.
class RawListener {
public:
    struct NotYet {};    // listens only when it is told to
    struct Datagrams {}; // takes datagrams, no connections

    explicit RawListener(std::filesystem::path const& path, int backlog = 8);
    RawListener(std::filesystem::path const& path, NotYet);
    RawListener(std::filesystem::path const& path, Datagrams);
    ~RawListener();
    RawListener(RawListener const&) = delete;
    RawListener& operator=(RawListener const&) = delete;

    void listen(int backlog = 8);
    RawSocket accept() const;

private:
    RawListener(std::filesystem::path const& path, unsigned type);

    int const descriptor_;
};

// A TCP port of 127.0.0.1 at which nobody answers: attempts to connect to it neither succeed nor fail.
class SilentPort {
public:
    SilentPort();
    ~SilentPort();
    SilentPort(SilentPort const&) = delete;
    SilentPort& operator=(SilentPort const&) = delete;

    std::uint16_t number() const noexcept { return number_; }

private:
    int const descriptor_;
    std::uint16_t number_ = 0;
    std::vector<RawSocket> taken_; // all the places in its queue
};

// A port that is free at every address of IPv4, and which the system gives to nobody else who asks it for one
// soon.
std::uint16_t freeTcpPort();

} // namespace bundles_test

#endif
