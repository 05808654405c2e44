// A scripted ACP agent for the Antigravity server's tests: it speaks the ACP
// methods the server uses, and the first word of each prompt picks the turn.
//   echo       a thought, a web search tool call and its completion, a permission
//              request; then the answer "You chose <optionId>." and end_turn
//   wait       waits for session/cancel, then asks a permission; ends with
//              "cancelled" when so answered
//   refuse     ends with stopReason "refusal"
//   empty      ends with end_turn and no text
//   silent     never answers
//   autherror  answers with -32000 "Authentication required"
//   crash      exits at once
//   hold       keeps the turn open until a "release" turn arrives
//   release    ends the held turn with "Held answer." and itself with "Released."
// A composed assistant prompt is read from its "## Current Request" on.
// Arguments: --log FILE appends every line received; --older-models offers
// models the older way (session/set_model); --mute-initialize never answers
// "initialize".
#include <unistd.h>

#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

#include "core/json_value.h"

using zephyl::core::JSONValue;

namespace {

void send(const JSONValue& message) {
  const std::string line = message.serialized() + "\n";
  if (::write(STDOUT_FILENO, line.data(), line.size()) != static_cast<ssize_t>(line.size())) _exit(9);
}

void answer(const JSONValue& id, JSONValue result) {
  send(JSONValue::Object{{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(result)}});
}

void update(const std::string& session, JSONValue content) {
  send(JSONValue::Object{
      {"jsonrpc", "2.0"},
      {"method", "session/update"},
      {"params", JSONValue::Object{{"sessionId", session}, {"update", std::move(content)}}}});
}

void chunk(const std::string& session, const char* kind, const std::string& text) {
  update(session, JSONValue::Object{{"sessionUpdate", kind},
                                    {"content", JSONValue::Object{{"type", "text"}, {"text", text}}}});
}

void askPermission(const std::string& session) {
  send(JSONValue::parse(R"({"jsonrpc":"2.0","id":0,"method":"session/request_permission","params":{
      "sessionId":")" + session +
                        R"(","toolCall":{"toolCallId":"search-1","title":"Running search_web"},
      "options":[{"optionId":"yes","name":"Allow","kind":"allow_once"},
                 {"optionId":"no","name":"Reject","kind":"reject_once"}]}})"));
}

}  // namespace

int main(int argc, char** argv) {
  std::ofstream log;
  bool olderModels = false;
  bool muteInitialize = false;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--log" && i + 1 < argc) log.open(argv[++i], std::ios::app);
    if (argument == "--older-models") olderModels = true;
    if (argument == "--mute-initialize") muteInitialize = true;
  }
  int sessions = 0;
  JSONValue promptID;  // the prompt waiting for a permission answer
  std::string promptSession;
  JSONValue heldID;  // the "hold" prompt
  std::string heldSession;
  std::string line;
  while (std::getline(std::cin, line)) {
    if (log.is_open()) log << line << std::endl;
    const JSONValue message = JSONValue::parse(line);
    const JSONValue* id = message.find("id");
    const JSONValue* method = message.find("method");
    const JSONValue params = message.find("params") ? *message.find("params") : JSONValue();
    if (method == nullptr) {  // the answer to our permission request
      const JSONValue* outcome = message.find("result")->find("outcome");
      const std::string chosen = *outcome->find("outcome")->string();
      if (chosen == "cancelled") {
        answer(promptID, JSONValue::Object{{"stopReason", "cancelled"}});
        continue;
      }
      chunk(promptSession, "agent_message_chunk", "You chose ");
      chunk(promptSession, "agent_message_chunk", *outcome->find("optionId")->string() + ".");
      answer(promptID, JSONValue::Object{{"stopReason", "end_turn"}});
      continue;
    }
    const std::string name = *method->string();
    if (id == nullptr) {
      if (name == "session/cancel" && !promptSession.empty()) askPermission(promptSession);
      continue;
    }
    if (name == "initialize") {
      if (muteInitialize) continue;
      answer(*id, JSONValue::parse(R"({"protocolVersion":1,"agentCapabilities":{},"authMethods":[],
                                       "agentInfo":{"name":"fake","version":"9.1"}})"));
    } else if (name == "authenticate") {
      answer(*id, JSONValue::Object{});
    } else if (name == "session/new") {
      const std::string session = "session-" + std::to_string(++sessions);
      answer(*id, olderModels ? JSONValue::parse(R"({"sessionId":")" + session +
                                                 R"(","models":{"currentModelId":"fast","availableModels":[
                                                   {"modelId":"fast"},{"modelId":"deep"}]}})")
                              : JSONValue::parse(R"({"sessionId":")" + session + R"(","configOptions":[
                                   {"id":"model","category":"model","type":"select","currentValue":"fast",
                                    "options":[{"value":"fast"},{"value":"deep"}]}]})"));
    } else if (name == "session/set_config_option" || name == "session/set_model") {
      answer(*id, JSONValue::Object{});
    } else if (name == "session/prompt") {
      const std::string session = *params.find("sessionId")->string();
      const std::string text = *(*params.find("prompt")->array())[0].find("text")->string();
      constexpr std::string_view kRequestHeading = "## Current Request\n";
      const size_t heading = text.find(kRequestHeading);
      const std::string request =
          heading == std::string::npos ? text : text.substr(heading + kRequestHeading.size());
      const std::string word = request.substr(0, request.find_first_of(" \n"));
      if (word == "echo" || word == "wait") {
        if (word == "echo") {
          chunk(session, "agent_thought_chunk", "thinking");
          update(session, JSONValue::parse(R"({"sessionUpdate":"tool_call","toolCallId":"search-1",
              "title":"Running search_web","kind":"search","status":"in_progress","rawInput":{"query":"zephyl"}})"));
          update(session,
                 JSONValue::parse(
                     R"({"sessionUpdate":"tool_call_update","toolCallId":"search-1","status":"completed"})"));
        }
        promptID = *id;
        promptSession = session;
        if (word == "echo") askPermission(session);
      } else if (word == "refuse") {
        answer(*id, JSONValue::Object{{"stopReason", "refusal"}});
      } else if (word == "empty") {
        answer(*id, JSONValue::Object{{"stopReason", "end_turn"}});
      } else if (word == "autherror") {
        send(JSONValue::parse(R"({"jsonrpc":"2.0","id":)" + id->serialized() +
                              R"(,"error":{"code":-32000,"message":"Authentication required"}})"));
      } else if (word == "hold") {
        heldID = *id;
        heldSession = session;
      } else if (word == "release" && !heldSession.empty()) {
        chunk(heldSession, "agent_message_chunk", "Held answer.");
        answer(heldID, JSONValue::Object{{"stopReason", "end_turn"}});
        heldSession.clear();
        chunk(session, "agent_message_chunk", "Released.");
        answer(*id, JSONValue::Object{{"stopReason", "end_turn"}});
      } else if (word == "crash") {
        _exit(3);
      }
    }
  }
  return 0;
}
