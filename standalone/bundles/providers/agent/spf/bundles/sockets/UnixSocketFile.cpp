// Making and removing a socket's file under the directory's lock.
#include "agent/spf/bundles/sockets/UnixSocketFile.hpp"

#include <cerrno>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "agent/spf/bundles/common/FileDescriptor.hpp"

namespace agent::spf::bundles::sockets {

namespace {

// How long to wait for one's turn. It is taken for moments only, but any process may lock a directory that it
// can read, and must not be able to hold up all sockets of this one.
constexpr std::chrono::milliseconds lockPatience{1000};
constexpr std::chrono::milliseconds lockPause{2};

std::string errorText(int error) {
    return std::system_category().message(error);
}

std::string directoryOf(std::string const& path) {
    auto const slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

sockaddr_un socketName(std::string const& path) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    path.copy(name.sun_path, sizeof(name.sun_path) - 1);
    return name;
}

// Holds the turn of this process in a directory.
class DirectoryLock {
public:
    // Throws std::runtime_error when the directory cannot be opened, or when others hold its lock for longer
    // than lockPatience.
    explicit DirectoryLock(std::string const& directory)
        : directory_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (directory_.get() < 0) {
            throw std::runtime_error("directory " + directory + ": " + errorText(errno));
        }
        auto const deadline = std::chrono::steady_clock::now() + lockPatience;
        while (::flock(directory_.get(), LOCK_EX | LOCK_NB) != 0) {
            if (errno != EWOULDBLOCK && errno != EINTR) {
                throw std::runtime_error("cannot lock directory " + directory + ": " + errorText(errno));
            }
            if (std::chrono::steady_clock::now() >= deadline) {
                throw std::runtime_error("directory " + directory + " is locked by another process");
            }
            std::this_thread::sleep_for(lockPause);
        }
    }

private:
    FileDescriptor const directory_; // closing it gives up the lock
};

// Connects to the socket of this name and leaves at once. Returns 0 or the system's error.
int tryToConnect(std::string const& path) {
    FileDescriptor const probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (probe.get() < 0) {
        return errno;
    }
    auto const name = socketName(path);
    return ::connect(probe.get(), reinterpret_cast<sockaddr const*>(&name), sizeof(name)) == 0 ? 0 : errno;
}

// Removes `path` if it is a socket on which no process listens. Throws std::runtime_error, saying who uses
// it, if it is anything else.
void removeStaleSocket(std::string const& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        return; // gone by now, or the next attempt to bind tells why not
    }
    if (!S_ISSOCK(status.st_mode)) {
        throw std::runtime_error("the file exists and is not a socket");
    }
    auto const error = tryToConnect(path);
    if (error == ECONNREFUSED) {
        ::unlink(path.c_str());
        return;
    }
    if (error == 0 || error == EAGAIN) { // who has a full queue listens, too
        throw AddressInUse(errorText(EADDRINUSE) + " (a running process listens there)");
    }
    throw std::runtime_error(errorText(EADDRINUSE) + " (cannot tell who uses it: " + errorText(error) + ")");
}

int bindSocket(int descriptor, std::string const& path) {
    auto const name = socketName(path);
    return ::bind(descriptor, reinterpret_cast<sockaddr const*>(&name), sizeof(name)) == 0 ? 0 : errno;
}

void bindReplacingStaleSocket(int descriptor, std::string const& path) {
    auto error = bindSocket(descriptor, path);
    if (error == EADDRINUSE) {
        removeStaleSocket(path);
        error = bindSocket(descriptor, path);
    }
    if (error != 0) {
        throw std::runtime_error(errorText(error));
    }
}

} // namespace

UnixSocketFile::UnixSocketFile(int descriptor, std::string path)
    : path_(std::move(path)) {
    DirectoryLock const lock(directoryOf(path_));
    // The file takes its mode from the socket, so it never exists with a wider one.
    if (::fchmod(descriptor, S_IRUSR | S_IWUSR) != 0) {
        throw std::runtime_error("cannot set the mode: " + errorText(errno));
    }
    bindReplacingStaleSocket(descriptor, path_);
    struct stat status {};
    if (::lstat(path_.c_str(), &status) == 0) {
        device_ = status.st_dev;
        inode_ = status.st_ino;
    }
    if (::listen(descriptor, SOMAXCONN) != 0) {
        auto const error = errno;
        ::unlink(path_.c_str());
        throw std::runtime_error(errorText(error));
    }
}

UnixSocketFile::~UnixSocketFile() {
    std::optional<DirectoryLock> lock;
    try {
        lock.emplace(directoryOf(path_));
    } catch (std::exception const&) {
        // Others hold the lock: nobody who respects it can have replaced a socket that still listens.
    }
    struct stat status {};
    if (::lstat(path_.c_str(), &status) == 0 && status.st_dev == device_ && status.st_ino == inode_) {
        ::unlink(path_.c_str());
    }
}

} // namespace agent::spf::bundles::sockets
