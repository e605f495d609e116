// What the provider's objects on the io thread have in common.
#ifndef AGENT_SPF_BUNDLES_SOCKETS_IO_OBJECT_HPP
#define AGENT_SPF_BUNDLES_SOCKETS_IO_OBJECT_HPP

#include <memory>
#include <vector>

namespace agent::spf::bundles::sockets {

// A listener, a connector or a connection. Lives and is used on the io thread only.
class IoObject {
public:
    virtual ~IoObject() = default;

    // Cancels every asynchronous operation; the object calls nobody afterwards. Idempotent.
    virtual void close() = 0;
};

// The objects that are open, so that the provider can close them when it stops. Used on the io thread only.
class IoObjects {
public:
    void add(std::weak_ptr<IoObject> object);

    // Closes all objects, and from now on each one that is added.
    void closeAll();

private:
    std::vector<std::weak_ptr<IoObject>> objects_;
    std::size_t pruneAt_ = 64; // the number of objects at which those that are gone are forgotten
    bool closed_ = false;
};

} // namespace agent::spf::bundles::sockets

#endif
