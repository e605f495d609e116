// A file descriptor that is closed when its owner goes.
#ifndef AGENT_SPF_BUNDLES_COMMON_FILE_DESCRIPTOR_HPP
#define AGENT_SPF_BUNDLES_COMMON_FILE_DESCRIPTOR_HPP

#include <utility>

#include <unistd.h>

namespace agent::spf::bundles {

// Not thread safe.
class FileDescriptor {
public:
    FileDescriptor() = default;

    // Takes over what a system call has returned: a negative number stands for no descriptor.
    explicit FileDescriptor(int descriptor) noexcept
        : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~FileDescriptor() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }

    int get() const noexcept { return descriptor_; }
    int release() noexcept { return std::exchange(descriptor_, -1); }

private:
    int descriptor_ = -1;
};

} // namespace agent::spf::bundles

#endif
