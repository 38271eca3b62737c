// A consultation from its folder to its receipt, on a simulated Dia and a real folder.

#include "model/ConsultationDesk.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;

struct Consultation : testing::Test, ConsultationDesk {
    Consultation() {
        folder.write("lark/README.md", "A language");
        folder.write("lark/src/parse.cpp", "int main() {}");
        folder.write("lark/.env", "TOKEN=1");
    }

    void choose(const std::string& name) {
        desktop.panels.answer = folder.path(name);
        model.chooseFolder();
        EXPECT_TRUE(settles());
    }
    void send() {
        model.send();
        EXPECT_TRUE(settles());
    }
};

TEST_F(Consultation, GoesFromAFolderToTheConversation) {
    EXPECT_EQ(model.status.get(), "Choose a folder.");
    EXPECT_EQ(model.stage(), ConsultationStage::nothing);
    model.question = "Why?";
    EXPECT_FALSE(model.canSend());
    EXPECT_EQ(model.whyNotSend(), "Choose a folder first.");

    choose("lark");
    EXPECT_EQ(model.status.get(), "Enter a question to send.");
    ASSERT_TRUE(model.archive.get());
    EXPECT_EQ(model.archive.get()->fileCount, 2U);
    EXPECT_EQ(model.archive.get()->excludedCount, 1U);
    EXPECT_EQ(model.stage(), ConsultationStage::packed);
    model.question = " \n";
    EXPECT_FALSE(model.canSend());
    model.question = "Why?";
    EXPECT_TRUE(model.canSend());
    EXPECT_EQ(model.whyNotSend(), "");

    std::vector<ConsultationStage> stages;
    const auto subscription = changes.subscribe([] {});
    model.send();
    EXPECT_EQ(model.status.get(), "Sending the ZIP and question to ChatGPT in Dia…");
    desktop.loop.runUntil(
        [&] {
            if (stages.empty() || stages.back() != model.stage()) stages.push_back(model.stage());
            EXPECT_FALSE(model.isSending && (model.canSend() || model.canChooseFolder()));
            return !model.isBusy();
        },
        300s);
    using enum ConsultationStage;
    EXPECT_EQ(stages, (std::vector{packed, attached, questionWritten, sent, seen}));
    EXPECT_THAT(model.status.get(), StartsWith("Question and ZIP delivered. Selected model: Pro"));
    EXPECT_THAT(model.conversationURL.get().value_or(""), HasSubstr("/c/"));
    EXPECT_FALSE(model.canSend()) << "it was sent";
    EXPECT_TRUE(model.canRecheckReceipt());
    send();
    EXPECT_EQ(presses(), 1);

    const auto earlier = model.archive.get()->fileURL;
    choose("lark/src");
    EXPECT_FALSE(model.attemptedSend);
    EXPECT_FALSE(model.conversationURL.get());
    EXPECT_FALSE(std::filesystem::exists(earlier)) << "nothing stays of an earlier consultation";
    EXPECT_TRUE(model.canSend());
}

TEST_F(Consultation, AFailureBeforeThePressMayBeTriedAgainAndOneBehindItMayNot) {
    choose("lark");
    model.question = "Why?";
    dia.habits.isSignedOut = true;
    dia.redrawsPage();
    send();
    EXPECT_THAT(model.status.get(), StartsWith("Sign in to ChatGPT in Dia."));
    EXPECT_EQ(model.stage(), ConsultationStage::packed);
    EXPECT_TRUE(model.canSend());
    EXPECT_FALSE(model.canRecheckReceipt());

    dia.habits.isSignedOut = false;
    dia.habits.hidesMessages = true;
    dia.redrawsPage();
    desktop.applications.bringToFront(SimulatedApplications::self);
    send();
    EXPECT_THAT(model.status.get(), StartsWith("Send was attempted once"));
    EXPECT_EQ(model.stage(), ConsultationStage::sent);
    EXPECT_FALSE(model.canSend());
    EXPECT_EQ(model.whyNotSend(), "Send was pressed once, and won’t be again. Check delivery again.");
    model.question = "Another?";
    EXPECT_FALSE(model.canSend());
    send();
    model.recheckReceipt();
    EXPECT_EQ(model.status.get(), "Checking delivery of the question and ZIP…");
    EXPECT_TRUE(settles());
    EXPECT_THAT(model.status.get(), HasSubstr("Nothing was resent."));
    EXPECT_EQ(presses(), 1);

    dia.habits.hidesMessages = false;
    dia.redrawsPage();
    model.recheckReceipt();
    EXPECT_TRUE(settles());
    EXPECT_EQ(model.status.get(), "Question and ZIP delivered. Read the reply in ChatGPT.");
    EXPECT_EQ(model.stage(), ConsultationStage::seen);
}

TEST_F(Consultation, OneOperationRunsAtATimeAndAnOlderFolderSaysNothing) {
    choose("lark");
    model.checkConnection();
    EXPECT_EQ(model.status.get(), "Checking the selected ChatGPT tab…");
    EXPECT_FALSE(model.canSend());
    model.recheckReceipt();
    choose("lark/src");
    EXPECT_EQ(model.status.get(), "Enter a question to send.") << "the check was of the folder before";
    model.checkConnection();
    EXPECT_TRUE(settles());
    EXPECT_THAT(model.status.get(), StartsWith("Verified the same ChatGPT window in Dia"));

    desktop.panels.answer.reset();
    model.chooseFolder();
    EXPECT_TRUE(model.archive.get()) << "a cancel changes nothing";
    choose("nowhere");
    EXPECT_FALSE(model.archive.get());
    EXPECT_EQ(model.status.get(), "Choose a repository or folder.");
    desktop.loop.setBackgroundDuration(1s);
    desktop.panels.answer = folder.path("lark");
    model.chooseFolder();
    EXPECT_FALSE(model.canChooseFolder());
    model.stopPreparing();
    EXPECT_TRUE(settles());
    EXPECT_EQ(model.status.get(), "The preparation was stopped. No ZIP was kept.");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path("out")));
    EXPECT_TRUE(dia.deeds().empty());
}

} // namespace
} // namespace orvel
