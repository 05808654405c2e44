#include "agents/acp_message.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "agents/acp_line_buffer.h"

namespace zephyl::agents {
namespace {

using core::JSONValue;

TEST(ACPLineBuffer, SplitsLinesAndBoundsOnlyTheUnterminatedRemainder) {
  struct Case {
    std::string name;
    std::vector<std::string> chunks;
    std::vector<std::string> lines;
    std::string remainder = "";
    bool overflowed = false;
  };
  const std::vector<Case> cases = {
      {"two frames in one chunk", {"{\"a\":1}\n{\"b\":2}\n"}, {"{\"a\":1}", "{\"b\":2}"}},
      {"one frame over three chunks", {"ab", "c", "d\n"}, {"abcd"}},
      {"a finished remainder, then lines in place", {"ab", "c\nd\n\ne"}, {"abc", "d"}, "e"},
      {"empty lines are skipped", {"\n\na\n\n\nb\n"}, {"a", "b"}},
      {"carriage return stays for the decoder", {"a\r\n", "b\r", "\n"}, {"a\r", "b\r"}},
      {"exactly the limit waits", {"1\nab", "cd"}, {"1"}, "abcd"},
      {"one byte over the limit overflows", {"ab", "cde"}, {}, "", true},
      {"a complete line of any size passes", {"abcdefgh\nab"}, {"abcdefgh"}, "ab"},
      {"lines before the overflow still come", {"ok\nabcdefgh"}, {"ok"}, "", true},
  };
  for (const auto& c : cases) {
    ACPLineBuffer buffer(4);
    std::vector<std::string> lines;
    for (const auto& chunk : c.chunks) {
      for (auto line : buffer.append(chunk)) lines.emplace_back(line);
    }
    EXPECT_EQ(lines, c.lines) << c.name;
    EXPECT_EQ(buffer.overflowed(), c.overflowed) << c.name;
    EXPECT_EQ(buffer.remainder(), c.remainder) << c.name;
  }
}

TEST(ACPMessage, DecodesTheThreeShapesAndRejectsTheRest) {
  struct Case {
    std::string line;
    std::optional<ACPMessage> expected;
  };
  const JSONValue object = JSONValue::Object{{"x", 1}};
  const std::vector<Case> cases = {
      {R"({"jsonrpc":"2.0","id":3,"result":{"x":1}})", ACPResponse{3, object}},
      {R"({"id":3})", ACPResponse{3, JSONValue()}},
      {R"({"id":4,"error":{"code":-32000,"message":"Authentication required","data":[1]}})",
       ACPResponse{4, ACPRemoteError(-32000, "Authentication required", JSONValue::Array{1})}},
      {R"({"id":4,"error":{"code":"E1","message":"m"}})", ACPResponse{4, ACPRemoteError(-32603, "m")}},
      {R"({"id":4,"error":{"code":1.5}})", ACPResponse{4, ACPRemoteError(-32603, "")}},
      {R"({"id":4,"error":{"code":7,"message":7},"result":1})", ACPResponse{4, ACPRemoteError(7, "")}},
      {"{\"id\":5,\"result\":true}\r", ACPResponse{5, true}},
      {R"({"method":"session/update","params":{"x":1}})", ACPNotification{"session/update", object}},
      {R"({"method":"ping"})", ACPNotification{"ping", JSONValue()}},
      {R"({"id":0,"method":"session/request_permission","params":{"x":1}})",
       ACPRequest{0, "session/request_permission", object}},
      {R"({"id":"s1","method":"fs/read"})", ACPRequest{"s1", "fs/read", JSONValue()}},
      {R"({"id":"s1","result":1})", std::nullopt},
      {R"({"id":null,"error":{"code":-32700,"message":"Parse error"}})", std::nullopt},
      {R"({"method":3,"params":{}})", std::nullopt},
      {R"({"result":1})", std::nullopt},
      {"{}", std::nullopt},
      {"[1,2]", std::nullopt},
      {"log line from the agent", std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(decodeACPMessage(c.line), c.expected) << c.line;
}

TEST(ACPMessage, FramesAreOneLineWithEveryMember) {
  const JSONValue params = JSONValue::Object{{"text", "a\nb"}};
  EXPECT_EQ(encodeACPRequest(7, "session/prompt", params),
            R"({"jsonrpc":"2.0","id":7,"method":"session/prompt","params":{"text":"a\nb"}})"
            "\n");
  EXPECT_EQ(encodeACPNotification("session/cancel", nullptr),
            R"({"jsonrpc":"2.0","method":"session/cancel","params":null})"
            "\n");
  EXPECT_EQ(encodeACPResponse("s1", JSONValue::Object{}), R"({"jsonrpc":"2.0","id":"s1","result":{}})"
                                                          "\n");
  EXPECT_EQ(encodeACPResponse(0, ACPRemoteError(-32601, "Method not found")),
            R"({"jsonrpc":"2.0","id":0,"error":{"code":-32601,"message":"Method not found"}})"
            "\n");
}

}  // namespace
}  // namespace zephyl::agents
