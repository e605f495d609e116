// The wire format of a frame: its length as four bytes, most significant first, then its bytes.
#ifndef AGENT_SPF_BUNDLES_SOCKETS_FRAME_HPP
#define AGENT_SPF_BUNDLES_SOCKETS_FRAME_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "agent/spf/bundles/EndpointProvider.hpp"

namespace agent::spf::bundles::sockets {

using FrameHeader = std::array<unsigned char, 4>;

inline bool isFrameSize(std::size_t size) noexcept {
    return size >= 1 && size <= maximumFrameSize;
}

inline std::size_t frameSize(FrameHeader const& header) noexcept {
    return std::size_t{header[0]} << 24 | std::size_t{header[1]} << 16 | std::size_t{header[2]} << 8 |
           header[3];
}

// The frame as it goes over the wire. Its size is a frame size.
inline std::string encodeFrame(std::string const& frame) {
    auto const size = frame.size();
    std::string bytes;
    bytes.reserve(sizeof(FrameHeader) + size);
    for (int const shift : {24, 16, 8, 0}) {
        bytes.push_back(static_cast<char>(static_cast<unsigned char>(size >> shift)));
    }
    return bytes += frame;
}

} // namespace agent::spf::bundles::sockets

#endif
