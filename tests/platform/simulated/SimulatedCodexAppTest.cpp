// Where the simulated Codex and the keyboard before it are strict, and lax ones would go unnoticed by the
// commands that are tried on them.

#include "Orvel/platform/simulated/SimulatedCodexApp.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "TemporaryFolder.h"
#include "samples/TranscriptWriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using Fate = SimulatedPress::Fate;
using testing::ElementsAre;

constexpr auto one = "01a1fd20-0000-7000-8000-000000000001";
constexpr auto two = "01a1fd20-0000-7000-8000-000000000002";
constexpr TapEvent returnKey{.keyCode = 36};
constexpr std::uint64_t copyFlags = SyntheticKey::command | SyntheticKey::option;

class SimulatedCodexAppTest : public testing::Test {
  protected:
    SimulatedCodexAppTest() {
        CodexTranscript transcript({.id = one, .workingDirectory = "/code/lark"});
        folder.write("sessions/2026/11/rollout-one.jsonl", transcript.ask("q").answer("a").text());
        desktop.loop.setNow(800'000'000);
        codex.addConversation(one, "One");
        codex.addConversation(two, "Two");
        process = desktop.applications.start(codex);
        desktop.applications.bringToFront(process);
        codex.applicationElement()->write("AXManualAccessibility", true);
        desktop.loop.runFor(1s);
    }

    void type(const std::string& text) {
        for (const char letter : text) keyboard.stroke(std::string(1, letter));
        desktop.loop.runFor(100ms);
    }
    std::vector<Fate> fates() const {
        std::vector<Fate> all;
        for (const auto& press : keyboard.presses()) all.push_back(press.fate);
        return all;
    }
    std::string lastMessage() const {
        return SampleCodexHome(folder.path()).thread(one)->turns.back().items[0].text;
    }

    TemporaryFolder folder;
    SimulatedDesktop desktop;
    SimulatedKeyboard& keyboard = desktop.keyboard;
    SimulatedCodexApp codex{desktop, SampleCodexHome(folder.path())};
    ProcessID process = 0;
};

TEST_F(SimulatedCodexAppTest, ShowsItsEditorOnlyWhenItWasAsked) {
    EXPECT_NE(codex.editorElement(), nullptr);
    desktop.applications.quit(codex);
    desktop.applications.bringToFront(desktop.applications.start(codex));
    EXPECT_EQ(codex.editorElement(), nullptr);
    EXPECT_EQ(codex.applicationElement()->find("AXFocusedUIElement"), nullptr);
    EXPECT_TRUE(codex.pageElement()->below().empty());
    codex.applicationElement()->write("AXManualAccessibility", true);
    EXPECT_EQ(codex.editorElement(), nullptr) << "it takes its time";
    desktop.loop.runFor(1s);
    EXPECT_NE(codex.editorElement(), nullptr);
}

TEST_F(SimulatedCodexAppTest, ReturnSendsAndShiftReturnBreaksTheLine) {
    type("go");
    keyboard.stroke("", {.keyCode = 36, .flags = SyntheticKey::shift});
    type("on");
    EXPECT_EQ(codex.editorElement()->text("AXValue"), "go\non");
    keyboard.stroke("", returnKey);
    EXPECT_EQ(codex.editorText(), "");
    desktop.loop.runFor(1s);
    EXPECT_EQ(lastMessage(), "go\non");
    EXPECT_EQ(codex.deeds().size(), 1U);
    keyboard.stroke("", returnKey);
    EXPECT_EQ(codex.deeds().size(), 1U) << "nothing is no message";
}

TEST_F(SimulatedCodexAppTest, CopiesTheLinkOfWhatItShowsWhenItIsAsked) {
    const auto ask = [&] { keyboard.key({37, copyFlags}, process)->post(); };
    std::vector<std::int64_t> seen;
    keyboard.start([&](const TapEvent& event) {
        seen.push_back(event.marker);
        return TapAnswer::pass;
    });
    desktop.applications.bringToFront(SimulatedApplications::self);
    ask();
    desktop.loop.runFor(1s);
    EXPECT_EQ(desktop.pasteboard.text, std::string("codex://threads/") + one) << "also from behind";
    EXPECT_THAT(seen, ElementsAre(EventPosting::marker, EventPosting::marker));
    EXPECT_TRUE(keyboard.presses().empty()) << "nobody has pressed it";

    keyboard.postedNeedsFocus = true;
    codex.userNavigates(two);
    desktop.loop.runFor(1s);
    ask();
    desktop.loop.runFor(1s);
    EXPECT_EQ(codex.deeds().size(), 1U);
    desktop.applications.bringToFront(process);
    codex.habits.copies = 2;
    ask();
    desktop.loop.runFor(1s);
    EXPECT_EQ(desktop.pasteboard.text, std::string("codex://threads/") + two);
    EXPECT_EQ(codex.deeds().size(), 3U);
    EXPECT_TRUE(codex.deeds().back().isFurther);

    codex.habits.copyShortcut.flags |= SyntheticKey::shift;
    ask();
    desktop.loop.runFor(1s);
    EXPECT_EQ(codex.deeds().size(), 3U) << "that is another key now";
}

TEST_F(SimulatedCodexAppTest, AnInputMethodStandsBetweenTheTapAndTheApplication) {
    desktop.inputSources.useGoogleHiragana();
    codex.habits.reportsMarkedText = false;
    type("ka");
    EXPECT_EQ(codex.editorElement()->text("AXValue"), "ka");
    EXPECT_EQ(*codex.editorElement()->find("AXTextInputMarkedTextMarkerRange"), AXValue());
    keyboard.stroke(" ", {.keyCode = 49});
    EXPECT_EQ(desktop.windows.owners.front(), "GoogleJapaneseInputRenderer");
    keyboard.press("", returnKey);
    EXPECT_FALSE(desktop.inputMethod.isComposing());
    EXPECT_EQ(desktop.windows.owners.front(), "Claude");
    EXPECT_EQ(codex.editorText(), "ka") << "confirmed, and not sent";
    EXPECT_EQ(keyboard.presses().back().fate, Fate::composed);
    keyboard.press("", returnKey);
    EXPECT_EQ(keyboard.presses().back().fate, Fate::arrived);
    EXPECT_EQ(codex.editorText(), "");
}

TEST_F(SimulatedCodexAppTest, WhatIsPressedArrivesInItsOrderWhateverBecomesOfTheTap) {
    int asked = 0;
    keyboard.start([&](const TapEvent& event) {
        ++asked;
        if (event.keyCode == 1) keyboard.stop();
        return event.keyCode == 36 ? TapAnswer::swallow : TapAnswer::pass;
    });
    bool isClicked = false;
    keyboard.press("a");
    keyboard.press("", returnKey);
    keyboard.press("b", {.keyCode = 1});
    keyboard.press("c");
    keyboard.clicks([&] { isClicked = codex.editorText() == "abc"; });
    desktop.loop.runFor(1s);
    EXPECT_EQ(codex.editorText(), "abc");
    EXPECT_TRUE(isClicked);
    EXPECT_EQ(asked, 3);
    EXPECT_THAT(fates(),
                ElementsAre(Fate::arrived, Fate::swallowed, Fate::arrived, Fate::arrived, Fate::arrived));
    EXPECT_EQ(keyboard.presses()[0].process, process);
}

} // namespace
} // namespace orvel
