#include "samples/SampleWebSocketServer.h"

#include "samples/WebSocketClient.h"

using namespace orvel;

namespace {

SampleWebSocketServer upgraded() {
    SampleWebSocketServer server;
    EXPECT_TRUE(server.receive(upgradeHead).empty());
    server.takeOutput();
    return server;
}

} // namespace

TEST(SampleWebSocketServer, ComplainsOfEveryForbiddenFrame) {
    using namespace std::string_literals;
    const std::pair<std::string, std::string> cases[] = {
        {"\x81\x01"s + "a", "a frame without a mask"},
        {clientFrame(0xC1, "a"), "a reserved bit"},
        {clientFrame(0x82, "a"), "an unknown opcode"},
        {clientFrame(0x83, "a"), "an unknown opcode"},
        {clientFrame(0x80, "a"), "a message inside another, or a part without a beginning"},
        {clientFrame(0x01, "a") + clientText("b"), "a message inside another, or a part without a beginning"},
        {clientFrame(0x09, "a"), "a control frame in parts or too long"},
        {clientFrame(0x89, std::string(126, 'a')), "a control frame in parts or too long"},
        {clientFrame(0x8A, "a"), "a pong to no ping"},
        {clientText("\xFF"), "a text that is no UTF-8"},
        {"\x81\xFE\x00\x7D\x00\x00\x00\x00"s, "a length that is not the shortest"},
        {"\x81\xFF\x00\x00\x00\x00\x00\x00\xFF\xFF\x00\x00\x00\x00"s, "a length that is not the shortest"},
        {"\x81\xFF\x00\x00\x00\x00\x01\x00\x00\x01\x00\x00\x00\x00"s, "a frame too long"},
    };
    for (const auto& [frame, complaint] : cases) {
        auto server = upgraded();
        EXPECT_TRUE(server.receive(frame + clientText("later")).empty()) << complaint;
        EXPECT_EQ(server.complaint().value_or("none"), complaint);
        EXPECT_THAT(server.takeOutput(), testing::StartsWith("\x88")) << complaint;
    }
}

TEST(SampleWebSocketServer, WantsEachPingAnsweredOnce) {
    auto server = upgraded();
    server.sendPing("x");
    EXPECT_EQ(server.takeOutput(), "\x89\x01x");
    server.receive(clientFrame(0x8A, "x"));
    EXPECT_FALSE(server.complaint());
    server.receive(clientFrame(0x8A, "x"));
    EXPECT_TRUE(server.complaint());

    auto closing = upgraded();
    closing.receive(clientFrame(0x88, ""));
    EXPECT_TRUE(closing.isClosed() && !closing.complaint());
}
