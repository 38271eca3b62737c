// Who has a conversation open, by what running Claude Codes have noted.

#include "Orvel/reading/ClaudeCodeSessions.h"

#include "Failures.h"
#include "Orvel/platform/simulated/SimulatedProcesses.h"
#include "TemporaryFolder.h"

namespace orvel {
namespace {

TEST(ClaudeCodeSessionsTest, OnlyALivingProcessHoldsAConversation) {
    SimulatedLoop loop;
    SimulatedProcesses processes(loop);
    processes.strangers[41] = "1000";
    const struct {
        const char* name;
        std::string file, note;
        ProcessID holder;
    } cases[] = {
        {"it runs", "41.json", R"({"pid":41,"sessionId":"S","procStart":"1000","status":"idle"})", 41},
        {"its start as a number", "41.json", R"({"pid":41,"sessionId":"S","procStart":1000})", 41},
        {"an older note without a start", "41.json", R"({"pid":41,"sessionId":"S"})", 41},
        {"another conversation", "41.json", R"({"pid":41,"sessionId":"T","procStart":"1000"})", 0},
        {"its number has another process now", "41.json", R"({"sessionId":"S","procStart":"999"})", 0},
        {"it has ended", "42.json", R"({"pid":42,"sessionId":"S","procStart":"1000"})", 0},
        {"it runs, and its note can't be read", "41.json", "{\"sessionId\":", 41},
        {"it has ended, and its note can't be read", "42.json", "{", 0},
        {"a secret", "41.0a1b.key", R"({"sessionId":"S"})", 0},
        {"no note", "notes.json", R"({"sessionId":"S"})", 0},
        {"no number of a process", "0.json", R"({"sessionId":"S"})", 0},
    };
    for (const auto& each : cases) {
        const auto folder = TemporaryFolder::quick();
        folder.write("sessions/" + each.file, each.note);
        const auto found =
            ClaudeCodeSessions::holder(ClaudeCodeSessions::read(folder.path()), "S", processes);
        EXPECT_EQ(found ? found->process : 0, each.holder) << each.name;
    }
}

TEST(ClaudeCodeSessionsTest, WithoutAFolderNobodyHoldsAnythingAndWhatIsNoFolderIsTold) {
    const auto folder = TemporaryFolder::quick();
    EXPECT_TRUE(ClaudeCodeSessions::read(folder.path()).empty());
    folder.write("sessions", "");
    EXPECT_NE(endOf([&] { ClaudeCodeSessions::read(folder.path()); }), "done");
}

} // namespace
} // namespace orvel
