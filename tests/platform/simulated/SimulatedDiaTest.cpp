// The simulated Dia does what a person finds who uses it by hand.

#include "Orvel/platform/simulated/SimulatedDia.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using Deed = SimulatedDia::Deed;
using testing::ElementsAre;

class SimulatedDiaTest : public testing::Test {
  protected:
    SimulatedDiaTest() {
        for (const auto* name : {"one.zip", "two.zip"}) std::ofstream(folder.path() + "/" + name) << name;
    }

    void start() {
        desktop.applications.bringToFront(desktop.applications.start(dia));
        wait(100ms);
    }
    void wait(MainLoop::Duration duration) { desktop.loop.runFor(duration); }

    /// The only element with this text in the attribute; null if there is none.
    SimulatedElement::Shared find(std::string_view attribute, std::string_view text) {
        std::vector<SimulatedElement::Shared> all{dia.applicationElement()};
        SimulatedElement::Shared found;
        for (std::size_t i = 0; i < all.size(); ++i) {
            const auto below = all[i]->below();
            all.insert(all.end(), below.begin(), below.end());
            if (all[i]->text(attribute) != text) continue;
            EXPECT_FALSE(found) << "two of " << text;
            found = all[i];
        }
        return found;
    }
    void press(std::string_view attribute, std::string_view text) {
        const auto found = find(attribute, text);
        ASSERT_TRUE(found) << text;
        const auto perform = found->perform;
        perform("AXPress");
        wait(600ms);
    }
    void key(SyntheticKey pressed) {
        desktop.keyboard.key(pressed, std::nullopt)->post();
        wait(600ms);
    }
    void attach(const std::string& path) {
        press("AXDescription", "Add files and more");
        press("AXDescription", "Add photos & files Upload from computer");
        key({5, SyntheticKey::command | SyntheticKey::shift});
        const auto write = find("AXIdentifier", "PathTextField")->write;
        write("AXValue", path);
        key({36, 0});
        press("AXIdentifier", "OKButton");
        wait(2s);
    }
    void write(const std::string& text) {
        const auto write = dia.page().editor->write;
        write("AXValue", text);
        wait(300ms);
    }
    std::vector<Deed::Kind> kinds() const {
        std::vector<Deed::Kind> all;
        for (const auto& deed : dia.deeds()) all.push_back(deed.kind);
        return all;
    }

    TemporaryFolder folder;
    SimulatedDesktop desktop;
    SimulatedDia dia{desktop};
};

TEST_F(SimulatedDiaTest, AFileAndAQuestionBeginAConversation) {
    start();
    EXPECT_EQ(dia.page().editor->text("AXValue"), "Ask ChatGPT\n");
    attach(folder.path() + "/one.zip");
    EXPECT_TRUE(find("AXDescription", "Remove one.zip"));
    EXPECT_FALSE(find("AXDescription", "Start Voice"));
    write("Why?");
    press("AXDescription", "Send");
    wait(1s);
    ASSERT_EQ(dia.conversations().size(), 1u);
    const auto& message = dia.conversations().front().messages.front();
    EXPECT_EQ(message.text, "Why?");
    ASSERT_EQ(message.files.size(), 1u);
    EXPECT_EQ(message.files.front().bytes, "one.zip");
    EXPECT_EQ(std::get<AXURL>(*dia.page().web->find("AXURL")).text,
              "https://chatgpt.com/c/" + dia.conversations().front().id);
    EXPECT_TRUE(find("AXValue", "Why?"));
    EXPECT_EQ(dia.page().editor->text("AXValue"), "Ask ChatGPT\n");
    using enum Deed::Kind;
    EXPECT_THAT(kinds(), ElementsAre(pressedOther, pressedOther, attached, written, pressedSend, sent));
}

TEST_F(SimulatedDiaTest, AFileIsPastedWhereTheKeyboardIs) {
    start();
    const auto paste = [&] { key({9, SyntheticKey::command}); };
    const std::string list = "file://" + folder.path() + "/two.zip\r\n";
    desktop.pasteboard.copiedElsewhere({{{"text/uri-list", list}}});
    dia.movesFocus(false);
    paste();
    EXPECT_TRUE(dia.deeds().empty());
    dia.movesFocus(true);
    paste();
    EXPECT_TRUE(dia.page().chips->below().front()->below().size() == 4) << "with a spinner";
    wait(2s);
    EXPECT_EQ(dia.page().chips->below().front()->below().size(), 3u);
    EXPECT_THAT(kinds(), ElementsAre(Deed::Kind::attached));
}

TEST_F(SimulatedDiaTest, WhatNeedsThePointerIsFoundLateAndClicked) {
    dia.habits.pressesNeedPointer = true;
    dia.habits.hitTestLag = 300ms;
    start();
    auto& accessibility = desktop.accessibility;
    const auto add = dia.page().add;
    EXPECT_TRUE(accessibility.actionNames(add->handle()).names.empty());
    const auto corner = std::get<AXPoint>(*add->find("AXPosition"));
    const AXPoint centre{corner.x + 18, corner.y + 18};
    const auto hit = [&] { return *accessibility.elementAtPosition(centre).as<AXElement>(); };
    EXPECT_EQ(hit(), dia.page().toolbar->handle());
    wait(400ms);
    EXPECT_EQ(hit(), add->handle());
    desktop.keyboard.click(centre)->post();
    wait(300ms);
    EXPECT_TRUE(dia.page().menu);
    dia.scrolls(1);
    EXPECT_EQ(std::get<AXPoint>(*add->find("AXPosition")).y, corner.y + 1);
}

// What each habit changes of the same road.
TEST_F(SimulatedDiaTest, HabitsShow) {
    struct Case {
        const char* about;
        std::function<void(SimulatedDiaHabits&)> choose;
        std::function<bool()> shows;
    };
    const auto draft = [this] { return dia.page().editor->text("AXValue"); };
    const auto path = [this] { return std::get<AXURL>(*dia.page().web->find("AXURL")).text; };
    const Case cases[] = {
        {"smart quotes", [](auto& habits) { habits.smartQuotes = true; },
         [&] { return draft() == " “Why” isn’t it? "; }},
        {"trims", [](auto& habits) { habits.trims = true; }, [&] { return draft() == "\"Why\" isn't it?"; }},
        {"ignores writes", [](auto& habits) { habits.ignoresWrites = true; },
         [&] { return draft() == "Ask ChatGPT\n"; }},
        {"spins", [](auto& habits) { habits.spinsForever = true; },
         [&] { return *dia.page().action->find("AXEnabled") == AXValue(false); }},
        {"a second file", [&](auto& habits) { habits.alsoAttaches = folder.path() + "/two.zip"; },
         [&] { return dia.page().chips->below().size() == 2; }},
        {"the wrong file", [](auto& habits) { habits.selectsAnother = true; },
         [&] { return find("AXDescription", "Remove two.zip") && !find("AXDescription", "Remove one.zip"); }},
        {"stays at root", [](auto& habits) { habits.staysAtRoot = true; },
         [&] {
             press("AXDescription", "Send");
             wait(2s);
             return path() == "https://chatgpt.com/" && dia.conversations().size() == 1;
         }},
        {"loses files", [](auto& habits) { habits.losesFiles = true; },
         [&] {
             press("AXDescription", "Send");
             return dia.conversations().back().messages.front().files.empty();
         }},
    };
    for (const auto& [about, choose, shows] : cases) {
        SCOPED_TRACE(about);
        dia.habits = {};
        choose(dia.habits);
        start();
        attach(folder.path() + "/one.zip");
        write(" \"Why\" isn't it? ");
        EXPECT_TRUE(shows());
        desktop.applications.quit(dia);
    }
}

TEST_F(SimulatedDiaTest, TabsAndWindowsAreOthers) {
    dia.addConversation("old", {"An old question"});
    start();
    const auto web = dia.page().web;
    dia.selectsTab(dia.opensTab({.path = "/c/old"}));
    wait(1s);
    EXPECT_TRUE(web->isRemoved());
    EXPECT_TRUE(find("AXValue", "An old question"));
    const auto first = dia.page().web;
    dia.opensWindow({.path = "/", .query = "?model=x"});
    EXPECT_EQ(std::get<AXURL>(*dia.page().web->find("AXURL")).text, "https://chatgpt.com/?model=x");
    dia.closesWindow();
    EXPECT_EQ(dia.page().web, first);
    EXPECT_EQ(std::get<AXElement>(*dia.applicationElement()->find("AXFocusedWindow")),
              dia.window(0)->element->handle());
}

} // namespace
} // namespace orvel
