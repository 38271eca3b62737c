// What the command line says about a text that somebody types into an editor.

#include "cli/CommandLineRun.h"

#include <nlohmann/json.hpp>
#include <unistd.h>

using namespace orvel;
using nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

// Takes the place of standard input for as long as it lives.
class StandardInputFrom {
  public:
    explicit StandardInputFrom(const std::string& path) : before(dup(STDIN_FILENO)) {
        const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_GE(file, 0) << path;
        EXPECT_EQ(dup2(file, STDIN_FILENO), STDIN_FILENO);
        close(file);
    }
    StandardInputFrom(const StandardInputFrom&) = delete;
    StandardInputFrom& operator=(const StandardInputFrom&) = delete;
    ~StandardInputFrom() {
        dup2(before, STDIN_FILENO);
        close(before);
    }

  private:
    int before;
};

} // namespace

TEST_F(CommandLine, TellsWhatATypedTextMeans) {
    const auto command = run({"command", "/orvel Look at\x1b[31m this\nand that"});
    EXPECT_EQ(command.status, 0);
    EXPECT_EQ(command.err, "");
    EXPECT_EQ(command.out, "Text: /orvel syntax matched\n"
                           "  The command. Return in the editor of a conversation hands it to Orvel.\n"
                           "Instructions:\nLook at␛[31m this\nand that\n");

    EXPECT_THAT(run({"command", "/orvel"}).out, EndsWith("Instructions: none\n"));
    EXPECT_THAT(run({"command", ""}).out, EndsWith("  No command: there is nothing.\n"));
}

TEST_F(CommandLine, ReadsATypedTextFromStandardInput) {
    const auto read = [&](std::string_view text) {
        const StandardInputFrom input(home.write("input", text));
        return json::parse(run({"command", "--json"}).out);
    };
    EXPECT_EQ(read("/orvel x\n").at("instruction"), "x\n");
    EXPECT_EQ(read("").at("classification"), "Empty input");
    const std::string longest = "/orvel " + std::string(100'000 - 7, 'x');
    EXPECT_EQ(read(longest).at("instruction"), longest.substr(7));
    EXPECT_EQ(read(longest + "x").at("classification"), "Length limit exceeded");
    EXPECT_EQ(read(longest + longest).at("classification"), "Length limit exceeded");

    const StandardInputFrom folder(home.path());
    const auto failed = run({"command", "--json"});
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.err, HasSubstr("standard input"));
    EXPECT_EQ(json::parse(failed.out).at("error"), "isFolder");
}
