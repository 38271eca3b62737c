#include "Failures.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FileReading.h"
#include "TemporaryFolder.h"
#include "conversations/Outcome.h"
#include "samples/TranscriptWriter.h"

#include <functional>

#include <sys/stat.h>
#include <unistd.h>

using namespace orvel;

namespace {

std::string malformed(int line) {
    return "Couldn't read conversation file line " + std::to_string(line) +
           ". If the file is being written, refresh it.";
}

const std::string noMessages = "No user or assistant messages were found. Choose a supported JSONL file.";

std::string nested(std::size_t depth) {
    return R"({"a":)" + std::string(depth, '[') + std::string(depth, ']') + "}";
}

} // namespace

TEST(TranscriptReader, StopsAtTheFirstLineThatIsNoObject) {
    using namespace std::string_literals;
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"nothing", "", noMessages},
        {"blank lines", "\n \t\r\n\t\u2028", noMessages},
        {"line feed", "{}\nx", malformed(2)},
        {"line separator", "{}\u2028x", malformed(2)},
        {"each of a pair ends a line", "{}\r\n{}\r\nx", malformed(5)},
        {"blank lines count", "\n\n{}\n \t \nx", malformed(5)},
        {"blanks around a record", " \t{} \t\nx", malformed(2)},
        {"a line of other blanks is no record", "{}\n\u00a0\n{}", malformed(2)},
        {"other blanks around a record", "\u3000{}", malformed(1)},
        {"a separator inside a string and a malformed line", "{}\n{\"a\":\"x\u2028y\"}\nx", malformed(2)},
        {"a separator inside a string and one between records", "{}\u2028{\"a\":\"x\u2028y\"}", malformed(2)},
        {"a line that ends inside a string", "{}\n{\"a\":\"x\n\"}", malformed(2)},
        {"a list", "[]", malformed(1)},
        {"two records in a line", "{}{}", malformed(1)},
        {"a record and more", "{} x", malformed(1)},
        {"a NUL behind a record", "{}\n{}\0"s, malformed(2)},
        {"a NUL inside a string", "{\"a\":\"\0\"}"s, malformed(1)},
        {"a lone surrogate", R"({"\ud800":1})", noMessages},
        {"a cut escape", R"({"a":"\ud8"})", malformed(1)},
        {"an integer beyond 64 bits", R"({"a":18446744073709552000})", noMessages},
        {"an integer beyond a double", R"({"a":)" + std::string(400, '7') + "}", noMessages},
        {"such an integer with a leading zero", R"({"a":018446744073709552000})", malformed(1)},
        {"a number beyond a double", R"({"a":1e999})", malformed(1)},
        {"depth that the parser knows", nested(1'000), noMessages},
        {"depth beyond it", nested(100'000), malformed(1)},
        {"open brackets only", std::string(100'000, '['), malformed(1)},
    };
    for (const auto agent : allAgents)
        for (const auto& [name, text, failure] : cases) EXPECT_EQ(failureOf(text, agent), failure) << name;
}

// What is readable without the second message keeps its identities with it.
TEST(TranscriptReader, ReadsASeparatorInsideAStringWhereLineFeedsAloneEndTheLines) {
    const auto message = [](const std::string& text) {
        return R"({"type":"response_item","payload":{"type":"message","role":"user","content":")" + text +
               "\"}}";
    };
    const std::tuple<const char*, std::string, std::string, std::string, std::string> cases[] = {
        {"line separator", "", "\u2028", "\n", "line-1 line-2 line-4"},
        {"paragraph separator", "{}\n", "\u2029", "\n\n", "line-2 line-3 line-6"},
        {"next line", "\n \n", "\u0085", "\n", "line-3 line-4 line-6"},
        {"line ends of two characters", "{}\r\n\r\n", "\u2028", "\r\n", "line-5 line-6 line-9"},
        {"a line end before the record", "\r", "\u2028", "\n\r\t", "line-2 line-3 line-6"},
    };
    for (const auto& [name, before, separator, after, origins] : cases) {
        SCOPED_TRACE(name);
        const auto readable = before + message("first") + "\n";
        const auto text = readable + message("a" + separator + "b") + after + message("third");
        std::string found;
        const auto messages = TranscriptReader::parse(text, Agent::codex, "", "").messages;
        for (const auto& each : messages)
            found += (found.empty() ? "" : " ") + each.id.substr(0, each.id.find(':'));
        EXPECT_EQ(found, origins);
        EXPECT_EQ(messages[1].text, "a" + separator + "b");
        EXPECT_EQ(messages[0], TranscriptReader::parse(readable, Agent::codex, "", "").messages[0]);
    }
}

TEST(TranscriptReader, KnowsWhenMessagesWereWritten) {
    const auto codex = [](const std::string& time, const std::string& text) {
        return record(R"({)" + time + R"("type":"response_item","payload":{"type":"message","role":"user",)" +
                      R"("content":")" + text + "\"}}");
    };
    const auto claude = [](const std::string& time, const std::string& text) {
        return record(R"({"type":"user","message":{"content":")" + text + "\"}" + time + "}");
    };
    const auto times = [](const std::string& text, Agent agent) {
        std::vector<std::optional<Date>> found;
        for (const auto& each : TranscriptReader::parse(text, agent, "", "").messages)
            found.push_back(each.writtenAt);
        return found;
    };
    const std::vector<std::optional<Date>> expected{10, std::nullopt, std::nullopt};
    const std::string time = R"("timestamp":"2001-01-01T00:00:10Z")";
    EXPECT_EQ(times(codex(time + ",", "a") + codex("", "b") + codex(R"("timestamp":5,)", "c"), Agent::codex),
              expected);
    EXPECT_EQ(
        times(claude("," + time, "a") + claude("", "b") + claude(R"(,"timestamp":"x")", "c"), Agent::claude),
        expected);
}

TEST(TranscriptReader, IdentifiesAMessageByItsOriginAndADigestOfRoleAndText) {
    const auto claude = [](const std::string& type, const std::string& uuid, const std::string& text) {
        return record(R"({"type":")" + type + R"(","message":{"content":")" + text + "\"}" +
                      (uuid.empty() ? "" : R"(,"uuid":")" + uuid + '"') + "}");
    };
    const auto codex = [](const std::string& id, const std::string& text) {
        return record(R"({"type":"response_item","payload":{"type":"message","role":"user","content":")" +
                      text + '"' + (id.empty() ? "" : R"(,"id":)" + id) + "}}");
    };
    // The digests of "user\nhello", "assistant\nhello", "user\nhello\ufffd" and "user\n 検索 \n".
    const std::string hello = "fa82b1cf60263d970c98f29e8420cbd61e8c07e59e05008002d374235fa8abf3",
                      helloBack = "7b1e593c08e0b3f091f4489b36b4cab055fb81871ed0cbac2b7482a40754d8f3",
                      cutEmoji = "04db971b504abeb2aa917c5b25ac63ece1feb127ebf07ac9636d90996864321c",
                      japanese = "b886dde7179b77c62e74cab963e36ec7b6b7a48a26023da9e38afa21a8b01d19";
    const std::tuple<const char*, Agent, std::string, std::string> cases[] = {
        {"uuid", Agent::claude, claude("user", "u", "hello"), "u:" + hello},
        {"line", Agent::claude, "\r\n" + claude("user", "", "hello"), "line-3:" + hello},
        {"item", Agent::codex, codex("\"i\"", "hello"), "i:" + hello},
        {"item that is no string", Agent::codex, codex("5", "hello"), "line-1:" + hello},
        {"item that is empty", Agent::codex, codex("\"\"", "hello"), ":" + hello},
        {"a surrogate that was cut off", Agent::codex, codex("\"i\"", "hello\\ud83d"), "i:" + cutEmoji},
        {"the text is not trimmed", Agent::codex, codex("\"i\"", " 検索 \\n"), "i:" + japanese},
        {"the same twice", Agent::claude, claude("user", "u", "hello") + claude("user", "u", "hello"),
         "u:" + hello},
        {"the same uuid with another text", Agent::claude,
         claude("user", "u", "hello") + claude("user", "u", " 検索 \\n"), "u:" + hello + " u:" + japanese},
        {"the same uuid with another role", Agent::claude,
         claude("user", "u", "hello") + claude("assistant", "u", "hello"), "u:" + hello + " u:" + helloBack},
        {"a native identity that looks like a line", Agent::codex,
         codex("\"line-2\"", "hello") + codex("", "hello"), "line-2:" + hello},
    };
    for (const auto& [name, agent, transcript, ids] : cases) {
        std::string got;
        for (const auto& message : TranscriptReader::parse(transcript, agent, "", "").messages)
            got += (got.empty() ? "" : " ") + message.id;
        EXPECT_EQ(got, ids) << name;
    }
}

TEST(TranscriptReader, GivesEveryUnreadableFileItsOwnWords) {
    const TemporaryFolder folder;
    const auto good = record(R"({"type":"user","message":{"content":"A"}})");
    const auto special = [&](const char* name, const std::function<int(const char*)>& make) {
        const auto path = folder.path(name);
        EXPECT_EQ(make(path.c_str()), 0) << name;
        return path;
    };
    const auto sparse = [&](const char* name, std::uintmax_t size) {
        const auto path = folder.write(name, good);
        std::filesystem::resize_file(path, size);
        return path;
    };
    const auto couldNotRead = [&](const std::string& name, const char* reason) {
        return "Couldn't read “" + folder.path(name) + "”: " + reason + ".";
    };
    const std::string notUTF8 = "Couldn't read the conversation file as UTF-8.";
    struct Case {
        const char* name;
        std::string path, caseName, words;
    };
    std::vector<Case> cases{
        {"empty", folder.write("empty", ""), "noMessages", noMessages},
        {"as large as can be", sparse("large", 100'000'000), "malformedLine", malformed(2)},
        {"too large", sparse("larger", 100'000'001), "tooLarge",
         "The conversation file is too large. Choose a file no larger than 100 MB."},
        {"Latin 1", folder.write("latin", "{\"a\":\"\xe9\"}"), "invalidUTF8", notUTF8},
        {"a cut character behind a malformed line", folder.write("cut", "{\n\xe3\x81"), "invalidUTF8",
         notUTF8},
        {"one far behind it", folder.write("far", "{\n" + std::string(600'000, '\n') + "\xe3"), "invalidUTF8",
         notUTF8},
        {"UTF-16", folder.write("utf16", std::string_view("\xff\xfe{\0}\0", 6)), "invalidUTF8", notUTF8},
        {"nothing", folder.path("none"), "noSuchFile", couldNotRead("none", "No such file or directory")},
        {"a folder", folder.path(), "isFolder", "Couldn't read “" + folder.path() + "”: It is a folder."},
        {"a FIFO", special("fifo", [](auto path) { return mkfifo(path, 0600); }), "notRegular",
         couldNotRead("fifo", "It is not a regular file")},
        {"a link to itself", special("loop", [](auto path) { return symlink(path, path); }), "fileError",
         couldNotRead("loop", "Too many levels of symbolic links")},
        {"a name with a NUL", folder.path(std::string_view("a\0b", 3)), "invalidFileName",
         couldNotRead("a?b", "The file name is not valid")},
        {"a name that is too long", folder.path(std::string(300, 'x')), "invalidFileName",
         couldNotRead(std::string(300, 'x'), "File name too long")},
    };
    if (geteuid() != 0) {
        const auto path = folder.write("secret", good);
        chmod(path.c_str(), 0);
        cases.push_back({"unreadable", path, "noPermission", couldNotRead("secret", "Permission denied")});
    }
    for (const auto& [name, path, caseName, words] : cases) {
        SCOPED_TRACE(name);
        EXPECT_EQ(endOf([&] { (void)TranscriptReader::read(path, Agent::claude); }), caseName + ": " + words);
    }
}

TEST(TranscriptReader, NamesAConversationAfterItsFileWhereTheTranscriptDoesNot) {
    const TemporaryFolder folder;
    const std::string record = R"({"type":"user","message":{"content":"A"}})";
    const std::tuple<const char*, std::string, std::string, std::string, std::string> cases[] = {
        {"plain", "one.jsonl", "one.jsonl", "one.jsonl", "one"},
        {"detours", "sub/two.jsonl", "sub/.././/sub/two.jsonl", "sub/two.jsonl", "two"},
        {"a hidden file", ".hidden", ".hidden", ".hidden", ".hidden"},
        {"a name that is no UTF-8", "f\xff.jsonl", "f\xff.jsonl", "f\uFFFD.jsonl", "f\uFFFD"},
    };
    for (const auto& [name, file, readAs, id, title] : cases) {
        SCOPED_TRACE(name);
        folder.write(file, record);
        const auto conversation = TranscriptReader::read(folder.path(readAs), Agent::claude);
        EXPECT_EQ(conversation.id, folder.path(id));
        EXPECT_EQ(conversation.title, title);
        EXPECT_EQ(conversation.source, Agent::claude);
    }
    std::filesystem::create_symlink(folder.path("one.jsonl"), folder.path("link.jsonl"));
    EXPECT_EQ(TranscriptReader::read(folder.path("link.jsonl"), Agent::claude).title, "link");
}

// The agent may be writing while Orvel reads: a cut transcript is refused or gives a shorter conversation,
// never another one.
TEST(TranscriptReader, ReadsATranscriptThatIsCutAnywhereAsAPrefixOrNotAtAll) {
    const auto text = CodexTranscript({.id = "s"})
                          .ask("検索 first")
                          .comment("on the way")
                          .runCommand("ls", "a\nb")
                          .answer("done")
                          .ask("second")
                          .text();
    const auto whole = TranscriptReader::parse(text, Agent::codex, "", "").messages;
    ASSERT_EQ(whole.size(), 4U);
    for (std::size_t size = 0; size <= text.size(); ++size) {
        const auto cut = std::string_view(text).substr(0, size);
        const bool isWholeLines = size == 0 || cut.back() == '\n' || text[size] == '\n';
        try {
            const auto messages = TranscriptReader::parse(cut, Agent::codex, "", "").messages;
            ASSERT_TRUE(isWholeLines) << size;
            ASSERT_TRUE(std::equal(messages.begin(), messages.end(), whole.begin())) << size;
        } catch (const Failure& failure) {
            ASSERT_EQ(failure.caseName(), isWholeLines ? "noMessages" : "malformedLine") << size;
        }
    }
}

// The file is read in pieces, which end with lines.
TEST(TranscriptReader, ReadsAFileAsItsTextWhereverItsPiecesMeet) {
    const TemporaryFolder folder;
    const auto message = [](const std::string& text) {
        return R"({"type":"response_item","payload":{"type":"message","role":"user","content":")" + text +
               "\"}}";
    };
    const auto end = message("検索") + "\r\n" + message("end");
    const auto around = 262'144 - message("").size();
    for (const auto* separator : {"", "\u2028"}) {
        for (const auto size : {around - 8, around - 3, around - 2, around - 1, around, around + 1,
                                2 * around, std::size_t(700'000)}) {
            SCOPED_TRACE(separator + std::to_string(size));
            const auto text = message(separator + std::string(size, 'x')) + "\n\r" + end;
            EXPECT_EQ(TranscriptReader::read(folder.write("file", text), Agent::codex).messages,
                      TranscriptReader::parse(text, Agent::codex, "", "").messages);
        }
    }
}

TEST(FileBytes, FollowAFileThatGrowsUpToTheLimit) {
    const TemporaryFolder folder;
    const std::string start(1'000, 'a');
    const std::pair<std::size_t, std::size_t> cases[] = {
        {0, 1'000}, {0, 999}, {1, 1'001}, {1, 1'000}, {5'000, 6'000}, {5'000, 5'999}, {5'000, 100'000}};
    for (const auto& [added, limit] : cases) {
        SCOPED_TRACE(std::to_string(added) + " of " + std::to_string(limit));
        const auto path = folder.write("file", start);
        ReadableFile file(path);
        std::ofstream(path, std::ios::app) << std::string(added, 'b');
        const auto bytes = FileBytes::read(file, limit);
        ASSERT_EQ(bytes.has_value(), 1'000 + added <= limit);
        EXPECT_TRUE(!bytes || bytes->view() == start + std::string(added, 'b'));
    }
}
