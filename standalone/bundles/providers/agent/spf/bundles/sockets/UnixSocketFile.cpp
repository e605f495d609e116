// Making a socket's file under a lock, and removing it.
#include "agent/spf/bundles/sockets/UnixSocketFile.hpp"

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>
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

std::string errorText(int error) {
    return std::system_category().message(error);
}

sockaddr_un socketName(std::string const& path) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    path.copy(name.sun_path, sizeof(name.sun_path) - 1);
    return name;
}

// The turn of this process at the path of a socket: a lock on a file beside it, which nobody else can open.
// Whoever could only read the directory could lock that, and would keep all others from their sockets in it.
class PathLock {
public:
    // Throws AddressInUse when another process has the turn, std::runtime_error when there is no way to tell.
    explicit PathLock(std::string const& socketPath)
        : path_(socketPath + ".lock")
        , file_(::open(path_.c_str(), O_RDONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC,
                       S_IRUSR | S_IWUSR)) {
        if (file_.get() < 0) {
            auto const error = errno;
            throw std::runtime_error((error == ENOENT ? directoryText() : "cannot open " + path_) + ": " +
                                     errorText(error));
        }
        if (auto const status = fileStatus(); !S_ISREG(status.st_mode) || status.st_uid != ::geteuid()) {
            throw std::runtime_error(path_ + " is not a file of this user");
        }
        auto const error = ::flock(file_.get(), LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
        if (error != 0 && error != EWOULDBLOCK) {
            throw std::runtime_error("cannot lock " + path_ + ": " + errorText(error));
        }
        auto const isGone = fileStatus().st_nlink == 0; // removed by the last who had the turn
        if (error != 0 || isGone) {
            throw AddressInUse(path_ + " is locked by another process");
        }
    }
    ~PathLock() { ::unlink(path_.c_str()); }
    PathLock(PathLock const&) = delete;
    PathLock& operator=(PathLock const&) = delete;

private:
    struct stat fileStatus() const {
        struct stat status {};
        ::fstat(file_.get(), &status);
        return status;
    }

    std::string directoryText() const {
        auto const directory = std::filesystem::path(path_).parent_path();
        return directory.empty() ? "working directory" : "directory " + directory.string();
    }

    std::string const path_;
    FileDescriptor const file_; // closing it gives up the lock
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
    PathLock const lock(path_);
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
    // Needs no lock: nobody takes the place of a socket that still listens.
    struct stat status {};
    if (::lstat(path_.c_str(), &status) == 0 && status.st_dev == device_ && status.st_ino == inode_) {
        ::unlink(path_.c_str());
    }
}

} // namespace agent::spf::bundles::sockets
