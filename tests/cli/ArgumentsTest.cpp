#include "Orvel/cli/Arguments.h"

#include "cli/CommandLineRun.h"

using namespace orvel;
using testing::HasSubstr;

namespace {

// The arguments in one line, or the complaint.
std::string parsed(const Words& words) {
    const auto result = parseArguments(words);
    if (const auto* reply = std::get_if<UsageReply>(&result))
        return (reply->isComplaint ? "complaint: " : "reply: ") +
               reply->text.substr(0, reply->text.find('\n'));
    const auto& arguments = std::get<Arguments>(result);
    constexpr const char* names[] = {
        "none",    "list", "show",   "preview", "url",     "recent", "relay check", "keybindings",
        "command", "link", "links",  "send",    "pending", "retry",  "copy-saved",  "receipts",
        "doctor",  "new",  "extend", "close",   "reopen",  "bind",   "complete",    "archive"};
    std::string line = names[static_cast<int>(arguments.command)];
    if (!arguments.subject.empty()) line += " {" + arguments.subject + "}";
    if (arguments.text) line += " {" + *arguments.text + "}";
    if (arguments.agent) line += " agent=" + std::string(rawValue(*arguments.agent));
    if (arguments.from) line += " from={" + *arguments.from + "}";
    if (arguments.note) line += " note={" + *arguments.note + "}";
    if (arguments.last) line += " last=" + std::to_string(*arguments.last);
    if (arguments.folder) line += " folder=" + *arguments.folder;
    if (arguments.end) line += " " + std::string(rawValue(*arguments.end));
    if (arguments.closed) line += " closed";
    if (!arguments.conversationID.empty()) line += " and {" + arguments.conversationID + "}";
    if (arguments.wait) line += " wait=" + std::to_string(arguments.wait->count());
    if (arguments.home) line += " home=" + *arguments.home;
    if (arguments.data) line += " data=" + *arguments.data;
    if (arguments.json) line += " json";
    if (arguments.sample) line += " sample";
    return line;
}

} // namespace

TEST(Arguments, AreTakenApart) {
    const std::pair<Words, std::string> cases[] = {
        {{"list", "--agent", "codex", "--json"}, "list agent=codex json"},
        {{"--json", "--home", "/h", "list", "--data=/d"}, "list home=/h data=/d json"},
        {{"preview", "x", "--from", "m-1", "--note", "Look"}, "preview {x} from={m-1} note={Look}"},
        {{"recent", "--sample"}, "recent sample"},
        {{"relay", "check", "f", "--json"}, "relay check {f} json"},
        {{"--json", "keybindings", "f"}, "keybindings {f} json"},
        {{"relay", "--home=/h", "check", "check"}, "relay check {check} home=/h"},
        {{"command", ""}, "command {}"},
        {{"command", "/orvel x", "--json"}, "command {/orvel x} json"},
        {{"command", "list"}, "command {list}"},
        {{"link", "c", "a"}, "link {c} and {a}"},
        {{"send", "l", "--source=codex", "--wait", "7", "--note="}, "send {l} agent=codex note={} wait=7"},
        {{"send", "--from", "m", "--source", "claude", "l"}, "send {l} agent=claude from={m}"},
        {{"retry", "--wait=86400", "l"}, "retry {l} wait=86400"},
        {{"copy-saved", "l", "--json"}, "copy-saved {l} json"},
        {{"new", "c", "--to=codex", "--folder", "/f", "--last", "2"}, "new {c} agent=codex last=2 folder=/f"},
        {{"extend", "l", "c", "--leading"}, "extend {l} leading and {c}"},
        {{"extend", "--trailing", "l", "c"}, "extend {l} trailing and {c}"},
        {{"links", "--closed"}, "links closed"},
        {{"bind", "m", "c"}, "bind {m} and {c}"},
        // Names of commands are no commands where something else is expected.
        {{"preview", "recent", "--note", "url"}, "preview {recent} note={url}"},
        // Values are taken as they are.
        {{"preview", "x", "--note", ""}, "preview {x} note={}"},
        {{"preview", "x", "--note", "--note="}, "preview {x} note={--note=}"},
        {{"preview", "x", "--note", "-5 °C"}, "preview {x} note={-5 °C}"},
        {{"preview", "x", "--note", "\"quoted\" = '1'\n"}, "preview {x} note={\"quoted\" = '1'\n}"},
        {{"preview", "x", "--from", "-m"}, "preview {x} from={-m}"},
        {{"show", "--", "-x"}, "show {-x}"},
        {{"show", ""}, "show"},
        {{"url", "orvel://handoff?source=codex&instruction=a,b"},
         "url {orvel://handoff?source=codex&instruction=a,b}"},
    };
    for (const auto& [words, expected] : cases)
        EXPECT_EQ(parsed(words), expected) << testing::PrintToString(words);
}

TEST_F(CommandLine, WrongUsageIsExplainedOnStandardErrorAlone) {
    const std::pair<Words, std::string> cases[] = {
        {{}, "Usage: orvel-cli"},
        {{"nonsense"}, "not expected: nonsense\nTry “orvel-cli --help”."},
        {{"sned", "l"}, "Did you mean “send”?\nTry “orvel-cli --help”."},
        {{"relay", "chekc", "f"}, "Did you mean “check”?"},
        {{"preview", "c", "--form=3"}, "Did you mean “--from”?"},
        {{"lis"}, "not expected: lis\nDid you mean “list”?"},
        {{"lin"}, "Did you mean “link”?"},
        {{"preview", "a", "--from=1", "--last=1"}, "excludes"},
        {{"preview", "a", "--last=0"}, "must be from 1 to 1000000 messages, not “0”"},
        {{"extend", "l", "c", "--leading", "--trailing"}, "excludes"},
        {{"new", "c"}, "--to is required"},
        {{"list", "more"}, "not expected: more\nTry “orvel-cli list --help”."},
        {{"list", "--from", "m"}, "--from"},
        {{"list", "--agent", "Codex"}, "must be codex or claude, not “Codex”"},
        {{"list", "--agent", "gpt\x1b[31m"}, "not “gpt␛[31m”"},
        {{"list", "--agent"}, "--agent"},
        {{"show"}, "FILE|ID is required\nTry “orvel-cli show --help”."},
        {{"preview", "a", "--from", "1", "--from", "2"}, "--from"},
        {{"relay"}, "required\nTry “orvel-cli relay --help”."},
        {{"relay", "check"}, "FILE is required"},
        {{"relay", "mend", "f"}, "orvel-cli relay --help"},
        {{"link", "c"}, "CLAUDE-ID is required"},
        {{"send", "l"}, "--source is required"},
        {{"retry", "l", "--wait", "0"}, "must be from 1 to 86400 seconds, not “0”"},
        {{"retry", "l", "--wait", "86401"}, "not “86401”"},
        {{"retry", "l", "--wait", "5s"}, "not “5s”"},
        {{"list", "--home="}, "--home: must not be empty"},
        {{"--home", "/a", "list", "--home", "/b"}, "--home"},
        {{"list", "--sample", "--home", "/a"}, "--home excludes --sample"},
        {{"--sample", "--json"}, "--json needs a command."},
    };
    for (const auto& [words, complaint] : cases) {
        const auto result = run(words);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(words);
        EXPECT_EQ(result.out, "") << testing::PrintToString(words);
        EXPECT_THAT(result.err, HasSubstr(complaint)) << testing::PrintToString(words);
        EXPECT_THAT(result.err, HasSubstr("--help")) << testing::PrintToString(words);
    }
}
