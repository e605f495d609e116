// A file descriptor that is closed with its owner.
#ifndef AGENT_PROGRAM_RUN_FILE_DESCRIPTOR_HPP
#define AGENT_PROGRAM_RUN_FILE_DESCRIPTOR_HPP

#include <cerrno>
#include <system_error>

#include <unistd.h>

namespace agent::program {

class FileDescriptor {
public:
    // Takes the result of the system call `call`; throws std::system_error if that failed.
    FileDescriptor(int descriptor, char const* call)
        : descriptor_(descriptor) {
        if (descriptor < 0) {
            throw std::system_error(errno, std::generic_category(), call);
        }
    }
    ~FileDescriptor() { close(descriptor_); }
    FileDescriptor(FileDescriptor const&) = delete;
    FileDescriptor& operator=(FileDescriptor const&) = delete;

    int get() const { return descriptor_; }

private:
    int const descriptor_;
};

} // namespace agent::program

#endif
