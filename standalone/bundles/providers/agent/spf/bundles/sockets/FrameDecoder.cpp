// Encoding and decoding of frames.
#include "agent/spf/bundles/sockets/FrameDecoder.hpp"

#include <stdexcept>
#include <utility>

namespace agent::spf::bundles::sockets {

std::string encodeFrame(std::string_view frame) {
    std::string bytes;
    bytes.reserve(frameHeaderSize + frame.size());
    for (int const shift : {24, 16, 8, 0}) {
        bytes.push_back(static_cast<char>(static_cast<unsigned char>(frame.size() >> shift)));
    }
    return bytes += frame;
}

std::optional<std::string> FrameDecoder::take(std::string_view& bytes) {
    takeHeader(bytes);
    if (headerTaken_ < header_.size()) {
        return std::nullopt;
    }
    auto const part = bytes.substr(0, size_ - frame_.size());
    frame_ += part;
    bytes.remove_prefix(part.size());
    if (frame_.size() < size_) {
        return std::nullopt;
    }
    headerTaken_ = 0;
    return std::exchange(frame_, {});
}

void FrameDecoder::takeHeader(std::string_view& bytes) {
    if (headerTaken_ == header_.size()) {
        return;
    }
    while (headerTaken_ < header_.size() && !bytes.empty()) {
        header_[headerTaken_++] = static_cast<unsigned char>(bytes.front());
        bytes.remove_prefix(1);
    }
    if (headerTaken_ < header_.size()) {
        return;
    }
    size_ = 0;
    for (auto const byte : header_) {
        size_ = size_ << 8 | byte;
    }
    if (!isFrameSize(size_)) {
        throw std::runtime_error("the peer sent a frame of " + std::to_string(size_) +
                                 " bytes, allowed are 1 to " + std::to_string(maximumFrameSize));
    }
}

} // namespace agent::spf::bundles::sockets
