// A scripted ACP agent for the connection's tests. Each request's method picks
// what it does; "$ID" in a text it is told to write becomes the request's id.
//   echo            answers {"id", "method", "params"}
//   raw {text}      writes `text` exactly as given, in one write
//   pieces {texts}  writes each text separately, 20 ms apart
//   line {bytes, thenAnswer} writes `bytes` bytes of "x" without a line feed;
//                   with thenAnswer, 100 ms later a line feed and the answer
//   silent          never answers
//   exit {status}   exits at once
//   orphan          starts a grandchild that keeps standard output open for 2 s, exits
//   ignoreTerm      ignores SIGTERM from now on, answers, and outlives the end of its input
//   closeInput      closes its standard input, answers, and sleeps until killed
//   inspect {variable} fills standard error with 1 MiB, answers {"descriptors",
//                   "stderr", "cwd", "variable": the variable's value or null,
//                   "path": whether PATH is set}
//   ask             sends requests of its own with ids 0 and "s1", answers with
//                   their answers in the order they came
//   received        answers with the methods of every message received so far
//   jam             100 ms later asks a request of its own (id 0), then writes
//                   4 MiB of notifications before it reads again, then answers
#include <dirent.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

#include "core/json_value.h"

using zephyl::core::JSONValue;

namespace {

void writeAll(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (written <= 0) _exit(9);
    bytes.remove_prefix(static_cast<size_t>(written));
  }
}

void send(const JSONValue& message) { writeAll(message.serialized() + "\n"); }

void answer(const JSONValue& id, JSONValue result) {
  send(JSONValue::Object{{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(result)}});
}

std::string withID(std::string text, const JSONValue& id) {
  const std::string idText = id.serialized();
  for (size_t at = text.find("$ID"); at != std::string::npos; at = text.find("$ID", at + idText.size())) {
    text.replace(at, 3, idText);
  }
  return text;
}

std::string textParam(const JSONValue& params, std::string_view key) {
  const auto* value = params.find(key);
  return value != nullptr && value->string() ? *value->string() : std::string();
}

int64_t integerParam(const JSONValue& params, std::string_view key) {
  const auto* value = params.find(key);
  return value != nullptr && value->integer() ? *value->integer() : 0;
}

JSONValue openDescriptors() {
  std::vector<int64_t> descriptors;
  DIR* directory = opendir("/proc/self/fd");
  while (dirent* entry = readdir(directory)) {
    if (entry->d_name[0] == '.' || std::stoi(entry->d_name) == dirfd(directory)) continue;
    descriptors.push_back(std::stoi(entry->d_name));
  }
  closedir(directory);
  std::sort(descriptors.begin(), descriptors.end());
  return JSONValue::Array(descriptors.begin(), descriptors.end());
}

}  // namespace

int main() {
  bool ignoringTerm = false;
  JSONValue::Array received;
  JSONValue askID;  // the "ask" request waiting for the client's answers
  JSONValue::Array answers;
  std::string line;
  while (std::getline(std::cin, line)) {
    const JSONValue message = JSONValue::parse(line);
    const JSONValue* id = message.find("id");
    const JSONValue* method = message.find("method");
    if (method == nullptr) {  // the client's answer to one of our requests
      answers.push_back(message);
      if (answers.size() == 2 && !askID.isNull()) answer(askID, answers);
      continue;
    }
    const std::string name = *method->string();
    received.push_back(name);
    const JSONValue params = message.find("params") != nullptr ? *message.find("params") : JSONValue();
    if (id == nullptr) continue;
    if (name == "echo") {
      answer(*id, JSONValue::Object{{"id", *id}, {"method", name}, {"params", params}});
    } else if (name == "raw") {
      writeAll(withID(textParam(params, "text"), *id));
    } else if (name == "pieces") {
      for (const auto& piece : *params.find("texts")->array()) {
        writeAll(withID(*piece.string(), *id));
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
      }
    } else if (name == "line") {
      writeAll(std::string(static_cast<size_t>(integerParam(params, "bytes")), 'x'));
      if (params.find("thenAnswer") == nullptr) continue;
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      writeAll("\n");
      answer(*id, true);
    } else if (name == "exit") {
      _exit(static_cast<int>(integerParam(params, "status")));
    } else if (name == "orphan") {
      if (fork() == 0) {
        sleep(2);
        _exit(0);
      }
      _exit(0);
    } else if (name == "ignoreTerm") {
      signal(SIGTERM, SIG_IGN);
      ignoringTerm = true;
      answer(*id, true);
    } else if (name == "closeInput") {
      close(STDIN_FILENO);
      answer(*id, true);
      for (;;) pause();
    } else if (name == "inspect") {
      const std::string noise(1 << 20, 'e');
      [[maybe_unused]] const auto written = ::write(STDERR_FILENO, noise.data(), noise.size());
      char target[256] = {};
      [[maybe_unused]] const auto length = readlink("/proc/self/fd/2", target, sizeof target - 1);
      char cwd[4096] = {};
      const char* variable = std::getenv(textParam(params, "variable").c_str());
      answer(*id, JSONValue::Object{{"descriptors", openDescriptors()},
                                    {"stderr", target},
                                    {"cwd", getcwd(cwd, sizeof cwd) != nullptr ? cwd : ""},
                                    {"variable", variable != nullptr ? JSONValue(variable) : JSONValue()},
                                    {"path", std::getenv("PATH") != nullptr}});
    } else if (name == "ask") {
      askID = *id;
      send(JSONValue::Object{{"jsonrpc", "2.0"}, {"id", 0}, {"method", "first"}, {"params", 1}});
      send(JSONValue::Object{{"jsonrpc", "2.0"}, {"id", "s1"}, {"method", "second"}, {"params", 2}});
    } else if (name == "jam") {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      send(JSONValue::Object{{"jsonrpc", "2.0"}, {"id", 0}, {"method", "question"}, {"params", nullptr}});
      const std::string flood = R"({"method":"flood","params":")" + std::string(4096, 'f') + "\"}\n";
      for (int i = 0; i < 1024; ++i) writeAll(flood);
      answer(*id, true);
    } else if (name == "received") {
      answer(*id, received);
    }
  }
  while (ignoringTerm) pause();
  return 0;
}
