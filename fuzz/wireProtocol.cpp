// Any bytes from a peer, as one message after another: refused, or read as a message that is the same when it
// is sent on.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "agent/spf/bundles/json/JsonSerialiser.hpp"
#include "agent/spf/bundles/publisher/Messages.hpp"
#include "agent/spf/bundles/sockets/FrameDecoder.hpp"
#include "require.hpp"

namespace {

using namespace agent::spf::bundles;

std::string sent(publisher::Message const& message) {
    return std::visit(
        [](auto const& kind) { return json::JsonSerialiser().serialise(publisher::encode(kind)); }, message);
}

void receive(std::string_view text) {
    json::JsonSerialiser const serialiser;
    auto const map = serialiser.parse(text);
    auto const written = serialiser.serialise(map);
    requireEqual(serialiser.serialise(serialiser.parse(written)), written, "the text of what was read");
    auto const message = publisher::decode(map);
    requireEqual(sent(publisher::decode(serialiser.parse(sent(message)))), sent(message),
                 "a message sent on");
}

void receiveOrRefuse(std::string_view text) {
    try {
        receive(text);
    } catch (std::invalid_argument const& refusal) { // what is no text of the serialiser
        require(refusal.what()[0] != '\0', "a refusal says why");
    } catch (std::runtime_error const& refusal) { // what is no message
        require(refusal.what()[0] != '\0', "a refusal says why");
    }
}

// The frames of the bytes, given in pieces, up to one of a size that is not allowed.
std::vector<std::string> framesOf(std::string_view bytes, std::size_t pieceSize) {
    sockets::FrameDecoder decoder;
    std::vector<std::string> frames;
    try {
        while (!bytes.empty()) {
            auto piece = bytes.substr(0, pieceSize);
            bytes.remove_prefix(piece.size());
            while (auto frame = decoder.take(piece)) {
                frames.push_back(std::move(*frame));
            }
            require(piece.empty(), "no byte is left over");
        }
    } catch (std::runtime_error const&) {
        frames.emplace_back("a size that is not allowed");
    }
    return frames;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const bytes(reinterpret_cast<char const*>(data), size);
    auto const frames = framesOf(bytes, bytes.size());
    require(framesOf(bytes, 1) == frames, "the frames of bytes that come one by one");
    require(framesOf(bytes, 3) == frames, "the frames of bytes that come in threes");
    for (auto const& frame : frames) {
        receiveOrRefuse(frame);
    }
    receiveOrRefuse(bytes); // so that messages are found without guessing the header of a frame
    return 0;
}
