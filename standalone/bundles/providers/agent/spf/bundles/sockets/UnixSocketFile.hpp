// The file of a unix socket that listens: made for its user alone, in place of one that a dead process left,
// never in place of a live one, and removed with the listener.
#ifndef AGENT_SPF_BUNDLES_SOCKETS_UNIX_SOCKET_FILE_HPP
#define AGENT_SPF_BUNDLES_SOCKETS_UNIX_SOCKET_FILE_HPP

#include <stdexcept>
#include <string>

#include <sys/types.h>

namespace agent::spf::bundles::sockets {

// Somebody uses the address now, and may not soon.
class AddressInUse : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Processes take turns at making the same path, by a lock on a file beside it, `<path>.lock`, so that nobody
// takes a socket for stale between its owner's bind and listen, or removes one that has just taken the place
// of a stale one. The lock's file has mode 0600 and is there only for the moment in which the socket is made.
class UnixSocketFile {
public:
    // Binds the socket `descriptor` to `path`, mode 0600 from the first instant, and makes it listen. Waits
    // for nobody. Throws AddressInUse, also while another process has its turn, or another std::runtime_error
    // with the reason.
    UnixSocketFile(int descriptor, std::string path);

    // Removes the file if it is still this socket's, which must listen until then.
    ~UnixSocketFile();
    UnixSocketFile(UnixSocketFile const&) = delete;
    UnixSocketFile& operator=(UnixSocketFile const&) = delete;

private:
    std::string const path_;
    dev_t device_ = 0; // device and inode tell this socket's file from a later one of the same path
    ino_t inode_ = 0;
};

} // namespace agent::spf::bundles::sockets

#endif
