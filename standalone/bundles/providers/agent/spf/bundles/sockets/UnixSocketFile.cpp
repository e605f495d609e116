#include "agent/spf/bundles/sockets/UnixSocketFile.hpp"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace agent::spf::bundles::sockets {

namespace {

class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor)
        : descriptor_(descriptor) {}
    ~FileDescriptor() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    FileDescriptor(FileDescriptor const&) = delete;
    FileDescriptor& operator=(FileDescriptor const&) = delete;
    int get() const noexcept { return descriptor_; }

private:
    int const descriptor_;
};

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
    explicit DirectoryLock(std::string const& directory)
        : directory_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (directory_.get() < 0) {
            throw std::runtime_error("directory " + directory + ": " + errorText(errno));
        }
        while (::flock(directory_.get(), LOCK_EX) != 0) {
            if (errno != EINTR) {
                throw std::runtime_error("cannot lock directory " + directory + ": " + errorText(errno));
            }
        }
    }

private:
    FileDescriptor const directory_; // closing it gives up the lock
};

// Whether `path` is a socket on which no process listens: connecting to it is refused.
bool isStaleSocket(std::string const& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        return false;
    }
    if (!S_ISSOCK(status.st_mode)) {
        throw std::runtime_error("the file exists and is not a socket");
    }
    FileDescriptor const probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (probe.get() < 0) {
        return false;
    }
    auto const name = socketName(path);
    auto const result = ::connect(probe.get(), reinterpret_cast<sockaddr const*>(&name), sizeof(name));
    return result != 0 && errno == ECONNREFUSED;
}

int bindSocket(int descriptor, std::string const& path) {
    auto const name = socketName(path);
    return ::bind(descriptor, reinterpret_cast<sockaddr const*>(&name), sizeof(name)) == 0 ? 0 : errno;
}

void bindReplacingStaleSocket(int descriptor, std::string const& path) {
    auto error = bindSocket(descriptor, path);
    if (error == EADDRINUSE && isStaleSocket(path)) {
        ::unlink(path.c_str());
        error = bindSocket(descriptor, path);
    }
    if (error == EADDRINUSE) {
        throw std::runtime_error(errorText(error) + " (a running process listens there)");
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
    ::fchmod(descriptor, S_IRUSR | S_IWUSR);
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
    try {
        DirectoryLock const lock(directoryOf(path_));
        struct stat status {};
        if (::lstat(path_.c_str(), &status) == 0 && status.st_dev == device_ && status.st_ino == inode_) {
            ::unlink(path_.c_str());
        }
    } catch (std::exception const&) {
        // The directory is gone, and with it the file.
    }
}

} // namespace agent::spf::bundles::sockets
