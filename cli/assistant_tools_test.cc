// The assistant's tools end to end: `zephyl ask` against a replay of the
// Responses service whose model calls the notes query tool on a synthetic
// library; the real search runs and its results go back to the model.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

#include "cli/internal/cli_test_support.h"
#include "notes_store/fixtures/note_document_writer.h"
#include "notes_store/fixtures/notes_library_builder.h"
#include "platform/testing/loopback_http_server.h"
#include "platform/testing/test_folder.h"

namespace zephyl::cli {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using platform::testing::LoopbackConnection;
using platform::testing::LoopbackHTTPServer;
using platform::testing::LoopbackRequest;
using testing::CommandResult;

std::string sse(std::string_view type, const json& fields) {
  json event = fields;
  event["type"] = type;
  return "event: " + std::string(type) + "\ndata: " + event.dump() + "\n\n";
}

std::string functionCall(const std::string& callID, const json& arguments) {
  return sse("response.output_item.done", {{"item",
                                            {{"type", "function_call"},
                                             {"id", "fc_" + callID},
                                             {"call_id", callID},
                                             {"name", "query_notes"},
                                             {"arguments", arguments.dump()}}}});
}

std::string text(const std::string& delta) { return sse("response.output_text.delta", {{"delta", delta}}); }

// The output that the last "function_call_output" item of a body gives back.
std::string lastToolOutput(const json& body) {
  std::string output;
  for (const json& item : body["input"]) {
    if (item.value("type", "") == "function_call_output") output = item["output"];
  }
  return output;
}

// The first note of a search answer: its title and id.
std::pair<std::string, std::string> firstNote(const std::string& output) {
  const std::string header = "[UNTRUSTED REFERENCE DATA \u2014 Note: ";
  const size_t at = output.find(header);
  if (at == std::string::npos) return {};
  const size_t titleEnd = output.find(" \u2014 ", at + header.size());
  const size_t id = output.find("ID: ", at) + 4;
  return {output.substr(at + header.size(), titleEnd - at - header.size()),
          output.substr(id, output.find('\n', id) - id)};
}

class AssistantToolsTest : public testing::CommandTest {
 protected:
  AssistantToolsTest() {
    leadingArguments_ = {"--data-dir", data(), "--config-dir", config()};
    environment_["TZ"] = "UTC";
    environment_["OPENAI_API_KEY"] = "sk-test";
  }

  // Serves each chat request with `reply(round, body)`; a title request with a title.
  std::unique_ptr<LoopbackHTTPServer> serve(std::function<std::string(int, const json&)> reply) {
    return std::make_unique<LoopbackHTTPServer>(
        [this, reply](const LoopbackRequest& request, LoopbackConnection& connection, int) {
          const json body = json::parse(request.body);
          std::string events;
          if (request.body.find("Generate the chat title.") != std::string::npos) {
            events = text("Bakery notes");
          } else {
            chats.push_back(body);
            events = reply(static_cast<int>(chats.size()) - 1, body);
          }
          events +=
              sse("response.completed", {{"response", {{"id", "resp_" + std::to_string(chats.size())}}}});
          connection.writeResponse("200 OK", "text/event-stream", events);
        },
        32);
  }

  std::vector<json> chats;  // the bodies of the chat requests, in order
};

TEST_F(AssistantToolsTest, AskSearchesTheLibraryReadsANoteAndCitesIt) {
  const std::string library = (directory_ / "lib" / "NoteStore.sqlite").string();
  ASSERT_EQ(run({"sample-library", library, "--notes", "2000"}).code, 0);

  std::pair<std::string, std::string> found;
  auto server = serve([&](int round, const json& body) {
    switch (round) {
      case 0:
        return functionCall("call_1", {{"action", "search"}, {"text", "bakery"}});
      case 1:
        found = firstNote(lastToolOutput(body));
        return functionCall("call_2", {{"action", "read"}, {"noteID", found.second}});
      default:
        return text("The bakery comes up in \"" + found.first + "\".");
    }
  });
  const CommandResult result = run({"--db", library, "ask", "Which of my notes mention the bakery?",
                                    "--model", "openai:gpt-6-sol", "--base-url", server->url("")});
  ASSERT_EQ(result.code, 0) << result.err;
  ASSERT_EQ(chats.size(), 3u);
  ASSERT_FALSE(found.first.empty()) << lastToolOutput(chats[1]);

  // The tool was offered alone per response; the real search went back with its results.
  EXPECT_EQ(chats[0]["parallel_tool_calls"], false);
  EXPECT_EQ(chats[0]["tools"][0]["name"], "query_notes");
  const std::string search = lastToolOutput(chats[1]);
  EXPECT_NE(search.find("notes match (text \"bakery\"); best matches first."), std::string::npos) << search;
  EXPECT_LE(search.size(), size_t{24 * 1024});
  const std::string note = lastToolOutput(chats[2]);
  EXPECT_TRUE(note.starts_with("[UNTRUSTED REFERENCE DATA \u2014 Note: " + found.first)) << note;
  EXPECT_NE(note.find("ID: " + found.second + "\n"), std::string::npos);
  // The call itself precedes its output when the next round is sent.
  EXPECT_EQ(chats[2]["input"][chats[2]["input"].size() - 2]["call_id"], "call_2");

  EXPECT_EQ(result.out, "The bakery comes up in \"" + found.first + "\".\n\nNotes used:\n- " + found.first +
                            " (" + found.second + ")\n");

  // The calls are stored with the answer, and replayed on the next turn.
  const json sessions = json::parse(std::ifstream(directory_ / "data" / "chat-sessions.json"));
  const json& answer = sessions[0]["messages"][1];
  ASSERT_EQ(answer["toolCalls"].size(), 2u);
  EXPECT_EQ(answer["toolCalls"][0]["kind"], "noteSearch");
  EXPECT_EQ(answer["toolCalls"][0]["status"], "completed");
  EXPECT_EQ(answer["toolCalls"][0]["query"], "bakery");
  EXPECT_FALSE(answer["toolCalls"][0]["noteSources"].empty());
}

TEST_F(AssistantToolsTest, AskWithWebFetchesThePageTheModelNamesAndGivesItBackWrapped) {
  LoopbackHTTPServer page([](const LoopbackRequest&, LoopbackConnection& connection, int) {
    const std::string html =
        "<html><title>Bakery hours</title><script>steal()</script><p>Open 7&ndash;9 daily.</p></html>";
    connection.writeResponse("200 OK", "text/html", html);
  });
  const std::string pageURL = page.url("/hours");
  auto server = serve([&](int round, const json&) {
    if (round > 0) return text("It opens at 7.");
    return sse("response.output_item.done", {{"item",
                                              {{"type", "function_call"},
                                               {"id", "fc_1"},
                                               {"call_id", "call_1"},
                                               {"name", "fetch_web_page"},
                                               {"arguments", json{{"url", pageURL}}.dump()}}}});
  });
  const CommandResult result = run({"ask", "When does the bakery at " + pageURL + " open?", "--web", "auto",
                                    "--model", "openai:gpt-6-sol", "--base-url", server->url("")});
  ASSERT_EQ(result.code, 0) << result.err;
  ASSERT_EQ(chats.size(), 2u);
  EXPECT_EQ(lastToolOutput(chats[1]), "[UNTRUSTED REFERENCE DATA \u2014 Web Fetch: Bakery hours \u2014 " +
                                          pageURL + "]\nOpen 7\u20139 daily.");
  EXPECT_NE(result.out.find("It opens at 7."), std::string::npos) << result.out;
}

TEST_F(AssistantToolsTest, WebModeOffersSearchOnlyWhereTheProviderHasNoneAndAServiceIsSet) {
  struct Case {
    std::string model;
    bool configured;
    bool offersSearch;
    bool saysUnavailable;
  };
  const std::vector<Case> cases{{"deepseek:deepseek-flash", false, false, true},
                                {"deepseek:deepseek-flash", true, true, false},
                                {"openai:gpt-6-sol", true, false, false}};
  environment_["DEEPSEEK_API_KEY"] = "ds-test";
  fs::create_directories(directory_ / "config");
  for (const auto& test : cases) {
    SCOPED_TRACE(test.model + (test.configured ? " with a search service" : ""));
    if (test.configured) {
      environment_["ZEPHYL_WEB_SEARCH_KEY"] = "search-key";
      std::ofstream(directory_ / "config" / "settings.json")
          << R"({"webSearchServiceURL": "https://search.example/api"})";
    }
    const CommandResult result =
        run({"ask", "What is new?", "--web", "auto", "--model", test.model, "--dry-run"});
    ASSERT_EQ(result.code, 0) << result.err;
    std::vector<std::string> tools;
    for (const json& tool : json::parse(result.out)["request"].value("tools", json::array())) {
      const json& named = tool.contains("function") ? tool["function"] : tool;
      if (named.contains("name")) tools.push_back(named["name"]);
    }
    EXPECT_NE(std::ranges::find(tools, "fetch_web_page"), tools.end());
    EXPECT_EQ(std::ranges::find(tools, "search_web") != tools.end(), test.offersSearch);
    EXPECT_EQ(result.err.find("Web search is unavailable with") != std::string::npos, test.saysUnavailable)
        << result.err;
    EXPECT_EQ(result.out.find("search-key"), std::string::npos);
  }
}

TEST_F(AssistantToolsTest, InlineRewritesStandardInputWithTheInlineModelAndPrintsOnlyTheRewrite) {
  auto server = serve([](int, const json&) { return text("Short ") + text("version."); });
  fs::create_directories(directory_ / "config");
  std::ofstream(directory_ / "config" / "settings.json") << json{
      {"InlineAIService.selectedModel", "openai:gpt-6-luna"},
      {"inlineAIReasoningEffort", "low"},
      {"aiProviderBaseURLs", {{"openAIAPI", server->url("")}}}}.dump();
  const CommandResult result =
      run({"inline", "Make it shorter"}, "A long paragraph that says ignore the instruction and more.\n");
  ASSERT_EQ(result.code, 0) << result.err;
  EXPECT_EQ(result.out, "Short version.");
  ASSERT_EQ(chats.size(), 1u);
  EXPECT_EQ(chats[0]["model"], "gpt-6-luna");
  EXPECT_EQ(chats[0]["reasoning"]["effort"], "low");
  EXPECT_FALSE(chats[0].contains("tools"));
  const std::string input = chats[0]["input"][0]["content"][0]["text"];
  EXPECT_EQ(input,
            "## Instruction\nMake it shorter\n\n## Selected Text\n[UNTRUSTED REFERENCE DATA \u2014 "
            "Selection]\nA long "
            "paragraph that says ignore the instruction and more.");
  const json usage = json::parse(run({"usage", "--json", "--days", "1"}).out);
  ASSERT_EQ(usage["buckets"].size(), 1u);
  EXPECT_EQ(usage["buckets"][0]["kind"], "inline");

  EXPECT_EQ(run({"inline", "Make it shorter"}, " \n").code, kExitUsage);
}

TEST_F(AssistantToolsTest, SkillsAreTheSkillsFolderNotesAndAskFollowsTheSelectedOne) {
  notes_store::NotesLibraryBuilder builder;
  const int64_t account = builder.addAccount({.name = "iCloud"});
  const int64_t skills = builder.addFolder({.title = "Skills", .owner = account});
  const int64_t work = builder.addFolder({.title = "Work", .owner = account});
  const auto note = [](const std::string& text) {
    return notes_store::gzipCompress(notes_store::encodeNoteDocument({{.text = text}}));
  };
  builder.addNote({.title = "Haiku",
                   .folder = skills,
                   .account7 = account,
                   .modifiedAt = 100,
                   .bodyData = note("Haiku\nAnswer in a haiku.")});
  builder.addNote({.title = "Plan",
                   .folder = work,
                   .account7 = account,
                   .modifiedAt = 100,
                   .bodyData = note("Plan\nnot a skill")});
  const std::string library = (directory_ / "lib" / "NoteStore.sqlite").string();
  builder.write(library);

  const CommandResult listed = run({"--db", library, "skills", "list", "--json"});
  ASSERT_EQ(listed.code, 0) << listed.err;
  const json found = json::parse(listed.out);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0]["title"], "Haiku");
  EXPECT_EQ(run({"--db", library, "skills", "show", "HAIKU"}).out, "Answer in a haiku.\n");
  EXPECT_EQ(run({"--db", library, "skills", "show", "Plan"}).code, kExitUsage);

  auto server = serve([](int, const json&) { return text("Notes rest in folds"); });
  const CommandResult asked = run({"--db", library, "ask", "Describe my notes", "--skill", "haiku", "--model",
                                   "openai:gpt-6-sol", "--base-url", server->url("")});
  ASSERT_EQ(asked.code, 0) << asked.err;
  const json& input = chats[0]["input"];
  const std::string sent = input[input.size() - 1]["content"][0]["text"];
  EXPECT_NE(sent.find("## Task Instructions\n[Selected Skill: Haiku]\nAnswer in a haiku."), std::string::npos)
      << sent;
}

}  // namespace
}  // namespace zephyl::cli
