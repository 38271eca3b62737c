#include "samples/SampleCodexHome.h"

#include "samples/CodexFolder.h"

using namespace orvel;
using Status = SampleCodexTurn::Status;

namespace {

const std::string begun = "user: A | assistant: B | assistant: C";

class SampleCodexHomeTest : public testing::Test {
  protected:
    bool queue(std::string_view message) {
        return files.home.queue(CodexFolder::plain, message, CodexFolder::moment, false);
    }

    CodexFolder files;
};

} // namespace

TEST_F(SampleCodexHomeTest, LeavesMessagesToTheOneWriter) {
    auto writer = files.home.writer(files.thread());
    EXPECT_TRUE(files.home.hasWriter(files.thread()));
    EXPECT_EQ(files.home.writer(files.thread()), nullptr);
    EXPECT_FALSE(writer->begin(CodexFolder::moment));

    for (const auto* message : {"M", "N\nline", "O", "P"}) EXPECT_TRUE(queue(message));
    EXPECT_EQ(files.outcome(), begun);
    EXPECT_TRUE(writer->begin(CodexFolder::moment));
    EXPECT_FALSE(writer->begin(CodexFolder::moment));
    EXPECT_EQ(files.outcome(), begun + " | user: M [busy]");
    EXPECT_EQ(writer->finish(CodexFolder::moment + 1'500, false).status, Status::completed);
    EXPECT_EQ(files.outcome(), begun + " | user: M | " + files.reply("M"));

    EXPECT_TRUE(writer->begin(CodexFolder::moment));
    writer->finishAll(CodexFolder::moment, false);
    EXPECT_FALSE(files.home.hasWriter(files.thread()));
    EXPECT_EQ(files.outcome(), begun + " | user: M | " + files.reply("M") + " | user: N\nline | " +
                                   files.reply("N") + " | user: O | " + files.reply("O") + " | user: P | " +
                                   files.reply("P"));
    writer.reset();
    EXPECT_TRUE(queue("Q"));
    EXPECT_THAT(files.outcome(), testing::EndsWith("user: Q | " + files.reply("Q")));
}

TEST_F(SampleCodexHomeTest, GoesOnBehindAProcessThatWasKilledInATurn) {
    auto writer = files.home.writer(files.thread());
    queue("M");
    queue("N");
    writer->begin(CodexFolder::moment);
    writer.reset();
    EXPECT_EQ(files.outcome(), begun + " | user: M [busy]");
    EXPECT_TRUE(queue("O"));
    EXPECT_EQ(files.outcome(),
              begun + " | user: M | user: N | " + files.reply("N") + " | user: O | " + files.reply("O"));
    EXPECT_EQ(files.thread().turns[1].status, Status::interrupted);
}
