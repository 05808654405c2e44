#include "agents/acp_message.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "agents/acp_line_buffer.h"

namespace zephyl::agents {
namespace {

using core::JSONValue;

TEST(ACPLineBuffer, SplitsLinesWhateverTheChunking) {
  struct Case {
    std::string name;
    std::vector<std::string> chunks;
    std::vector<std::string> lines;
  };
  const std::vector<Case> cases = {
      {"two frames in one chunk", {"{\"a\":1}\n{\"b\":2}\n"}, {"{\"a\":1}", "{\"b\":2}"}},
      {"one frame over three chunks", {"{\"a\"", ":1", "}\n"}, {"{\"a\":1}"}},
      {"empty lines are skipped", {"\n\na\n\n\nb\n"}, {"a", "b"}},
      {"carriage return stays for the decoder", {"a\r\n", "b\r", "\n"}, {"a\r", "b\r"}},
      {"unterminated remainder waits", {"a\nb"}, {"a"}},
      {"line feed alone in a chunk ends the line", {"abc", "\n", "d", "\n"}, {"abc", "d"}},
  };
  for (const auto& c : cases) {
    ACPLineBuffer buffer;
    std::vector<std::string> lines;
    for (const auto& chunk : c.chunks) {
      for (auto& line : buffer.append(chunk)) lines.push_back(std::move(line));
    }
    EXPECT_EQ(lines, c.lines) << c.name;
    EXPECT_FALSE(buffer.overflowed) << c.name;
  }
}

TEST(ACPLineBuffer, LimitAppliesToTheUnterminatedRemainderOnly) {
  struct Case {
    std::string name;
    std::vector<std::string> chunks;
    bool overflowed;
    std::vector<std::string> lines;
  };
  const std::vector<Case> cases = {
      {"exactly the limit waits", {"ab", "cd"}, false, {}},
      {"one byte over the limit overflows", {"ab", "cde"}, true, {}},
      {"a complete line of any size passes", {"abcdefgh\nab"}, false, {"abcdefgh"}},
      {"lines before the overflow still come", {"ok\nabcdefgh"}, true, {"ok"}},
  };
  for (const auto& c : cases) {
    ACPLineBuffer buffer;
    buffer.maxLineBytes = 4;
    std::vector<std::string> lines;
    for (const auto& chunk : c.chunks) {
      for (auto& line : buffer.append(chunk)) lines.push_back(std::move(line));
    }
    EXPECT_EQ(buffer.overflowed, c.overflowed) << c.name;
    EXPECT_EQ(lines, c.lines) << c.name;
    if (c.overflowed) {
      EXPECT_TRUE(buffer.buffer.empty()) << c.name;
    }
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
      {R"({"id":3.0,"result":null})", ACPResponse{3, JSONValue()}},
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
      {R"({"id":[1],"method":"m"})", std::nullopt},
      {R"({"method":3,"params":{}})", std::nullopt},
      {R"({"result":1})", std::nullopt},
      {"{}", std::nullopt},
      {"[1,2]", std::nullopt},
      {"log line from the agent", std::nullopt},
      {R"({"id":1,"result":1} trailing)", std::nullopt},
  };
  for (const auto& c : cases) EXPECT_EQ(decodeACPMessage(c.line), c.expected) << c.line;
}

TEST(ACPMessage, FramesAreOneLineWithEveryMember) {
  const JSONValue params = JSONValue::Object{{"text", "a\nb"}};
  const std::string request = encodeACPRequest(7, "session/prompt", params);
  const std::string notification = encodeACPNotification("session/cancel", JSONValue());
  const std::string result = encodeACPResponse("s1", ACPOutcome(JSONValue::Object{}));
  const std::string error = encodeACPResponse(0, ACPOutcome(ACPRemoteError(-32601, "Method not found")));
  for (const auto* frame : {&request, &notification, &result, &error}) {
    ASSERT_EQ(frame->find('\n'), frame->size() - 1) << *frame;
    EXPECT_EQ(*JSONValue::parse(*frame).find("jsonrpc"), JSONValue("2.0")) << *frame;
  }
  EXPECT_EQ(decodeACPMessage(request), ACPMessage(ACPRequest{7, "session/prompt", params}));
  EXPECT_NE(JSONValue::parse(notification).find("params"), nullptr);  // null params are still sent
  EXPECT_EQ(*JSONValue::parse(result).find("id"), JSONValue("s1"));
  EXPECT_EQ(*JSONValue::parse(error).find("error"),
            JSONValue(JSONValue::Object{{"code", -32601}, {"message", "Method not found"}}));
}

}  // namespace
}  // namespace zephyl::agents
