// The folder that is packed by a command.

#include "cli/RunningProgram.h"

#include <filesystem>

#include <nlohmann/json.hpp>

using namespace orvel;
using testing::HasSubstr;

TEST_F(CommandLine, PacksAFolderAndSaysWhatItLeftOut) {
    home.write("code/a b", "12345");
    home.write("code/.env", "secret");
    home.write("code/.ssh/config", "secret");
    const Words words{"archive", home.path("code"), "--to", home.path("out")};
    auto withJson = words;
    withJson.emplace_back("--json");
    const auto json = nlohmann::json::parse(run(withJson).out);
    EXPECT_EQ(json["sourceFolder"], std::filesystem::canonical(home.path("code")).native());
    EXPECT_EQ(json["isListedByGit"], false);
    EXPECT_EQ(json["fileCount"], 1);
    EXPECT_EQ(json["byteCount"], 5);
    EXPECT_EQ(json["packed"], nlohmann::json::parse(R"([{"path": "a b", "byteCount": 5}])"));
    EXPECT_EQ(json["excludedCount"], 1);
    EXPECT_EQ(json["leftOut"][0]["path"], ".env");
    EXPECT_EQ(json["skippedFolders"][0]["reason"], "excludedName");
    EXPECT_EQ(std::filesystem::file_size(json["file"].get<std::string>()), json["archiveByteCount"]);

    const auto text = run(words).out;
    for (const auto* line : {"1, 5 bytes; outside git", "Left out     1\n  .env: its name is “.env”\n",
                             "Not entered  1\n  .ssh: its name is “.ssh”\n"})
        EXPECT_THAT(text, HasSubstr(line));

    const auto failure = run({"archive", home.path("none"), "--to", home.path("out"), "--json"});
    EXPECT_EQ(failure.status, 1);
    EXPECT_EQ(failure.out, "{\"error\":\"notSent\",\"message\":\"Choose a repository or folder.\"}\n");
}

TEST_F(CommandLine, APackingThatIsBrokenOffLeavesNothing) {
    home.writeSparse("code/large", 100'000'000);
    std::filesystem::create_directory(home.path("out"));
    RunningProgram program({"archive", home.path("code"), "--to", home.path("out")});
    while (std::filesystem::is_empty(home.path("out"))) {
    }
    program.signal(SIGINT);
    const auto result = program.finish();
    EXPECT_EQ(result.status, 128 + SIGINT);
    EXPECT_EQ(result.err, "The packing was stopped. No ZIP was kept.\n");
    EXPECT_TRUE(std::filesystem::is_empty(home.path("out")));
}

TEST_F(CommandLine, ShowsInTheSampleHowChatGPTIsAsked) {
    home.write("code/main.cpp", "CANARY");
    const auto shown = run({"--sample", "ask", home.path("code"), "--question", "Why, and where?"});
    EXPECT_EQ(shown.status, 0);
    for (const auto* line :
         {"A text of 15 bytes was written", "Send was pressed\n", "https://chatgpt.com/c/"})
        EXPECT_THAT(shown.out, HasSubstr(line));
    const auto report = shown.out.substr(shown.out.find("attempt="));
    EXPECT_THAT(report, HasSubstr("send_pressed=true"));
    for (const auto* content : {"CANARY", "Why", ".zip", "/"})
        EXPECT_THAT(report, testing::Not(HasSubstr(content)));

    const auto refused = run({"ask", home.path("code")});
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.err, HasSubstr("add --sample"));
}
