// The wire format of frames: the length as four bytes, most significant first, then the bytes of the frame.
#ifndef AGENT_SPF_BUNDLES_SOCKETS_FRAME_DECODER_HPP
#define AGENT_SPF_BUNDLES_SOCKETS_FRAME_DECODER_HPP

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "agent/spf/bundles/EndpointProvider.hpp"

namespace agent::spf::bundles::sockets {

inline constexpr std::size_t frameHeaderSize = 4; // bytes

inline bool isFrameSize(std::size_t size) noexcept {
    return size >= 1 && size <= maximumFrameSize;
}

// The frame as it goes over the wire. Its size is a frame size.
std::string encodeFrame(std::string_view frame);

// Takes a stream of bytes apart into frames, in whatever pieces it comes. Holds no more than has come of one
// frame, whatever the frame's header promises. Not thread safe.
class FrameDecoder {
public:
    // Takes bytes off the front of `bytes` until a frame is whole, and returns that; nothing when all bytes
    // are taken before. Throws std::runtime_error, naming the size, when a frame's size is not allowed; the
    // stream makes no sense from there on, and the decoder must not be used again.
    std::optional<std::string> take(std::string_view& bytes);

private:
    void takeHeader(std::string_view& bytes);

    std::array<unsigned char, frameHeaderSize> header_{};
    std::size_t headerTaken_ = 0; // bytes of header_ that have come
    std::size_t size_ = 0;        // of the frame, once its header has come
    std::string frame_;
};

} // namespace agent::spf::bundles::sockets

#endif
