// Frames out of a stream of bytes.
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/spf/bundles/sockets/FrameDecoder.hpp"

namespace {

using agent::spf::bundles::maximumFrameSize;
using agent::spf::bundles::sockets::encodeFrame;
using agent::spf::bundles::sockets::FrameDecoder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::ThrowsMessage;

// All frames that the pieces complete.
std::vector<std::string> decode(std::vector<std::string> const& pieces) {
    FrameDecoder decoder;
    std::vector<std::string> frames;
    for (std::string_view bytes : pieces) {
        while (auto frame = decoder.take(bytes)) {
            frames.push_back(*frame);
        }
        EXPECT_THAT(bytes, IsEmpty()) << "bytes were left over";
    }
    return frames;
}

TEST(FrameDecoder, AFrameIsItsLengthAndItsBytes) {
    EXPECT_EQ(encodeFrame("abc"), std::string("\0\0\0\x03", 4) + "abc");
    EXPECT_EQ(encodeFrame(std::string(0x10203, 'x')).substr(0, 4), std::string("\0\x01\x02\x03", 4));
}

TEST(FrameDecoder, FramesInOnePieceComeOneAfterTheOther) {
    EXPECT_THAT(decode({encodeFrame("one") + encodeFrame("two") + encodeFrame("three")}),
                ElementsAre("one", "two", "three"));
}

TEST(FrameDecoder, AFrameMayComeByteByByte) {
    std::vector<std::string> bytes;
    for (char const byte : encodeFrame("one") + encodeFrame("two")) {
        bytes.emplace_back(1, byte);
    }

    EXPECT_THAT(decode(bytes), ElementsAre("one", "two"));
}

TEST(FrameDecoder, PiecesMayEndAnywhere) {
    auto const stream = encodeFrame("one") + encodeFrame("two");
    for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
        EXPECT_THAT(decode({stream.substr(0, cut), stream.substr(cut)}), ElementsAre("one", "two")) << cut;
    }
}

TEST(FrameDecoder, AnUnfinishedFrameIsNotGivenOut) {
    EXPECT_THAT(decode({encodeFrame("one") + encodeFrame("two").substr(0, 6)}), ElementsAre("one"));
}

TEST(FrameDecoder, TheLargestFrameIsGivenOutWhole) {
    std::string const largest(maximumFrameSize, 'x');

    EXPECT_EQ(decode({encodeFrame(largest)}), std::vector{largest});
}

TEST(FrameDecoder, SizesThatAreNotAllowedAreNamed) {
    EXPECT_THAT([] { decode({std::string(4, '\0')}); },
                ThrowsMessage<std::runtime_error>(HasSubstr("a frame of 0 bytes, allowed are 1 to 1048576")));
    EXPECT_THAT([] { decode({std::string("\x00\x10\x00\x01", 4)}); },
                ThrowsMessage<std::runtime_error>(HasSubstr("a frame of 1048577 bytes")));
    EXPECT_THAT(
        [] {
            decode({"\xff\xff\xff", "\xff"});
        },
        ThrowsMessage<std::runtime_error>(HasSubstr("a frame of 4294967295 bytes")));
}

} // namespace
