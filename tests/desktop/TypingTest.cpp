// Ordinary typing with the tap at work: every key arrives, in its order, and a command is not taken for one.

#include "desktop/OrvelDesk.h"

#include <algorithm>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using Milliseconds = Person::Milliseconds;

class TypingTest : public OrvelDeskTest {
  protected:
    /// The keys that a page was told of since `since`, as it names them; "-x" for one that is let go.
    static std::string keysIn(OrvelDesk& desk, const std::string& app, std::size_t since) {
        std::string keys;
        const auto& told = desk.session.told();
        for (std::size_t i = since; i < told.size(); ++i) {
            if (told[i]["app"] != app || (told[i]["what"] != "keydown" && told[i]["what"] != "keyup"))
                continue;
            const std::string key = told[i]["key"];
            if (key == "Shift") continue;
            keys += (told[i]["what"] == "keyup" ? "-" : "") + (key == "Enter" ? "\n" : key);
        }
        return keys;
    }
    /// Presses alone.
    static std::string pressesIn(OrvelDesk& desk, const std::string& app, std::size_t since) {
        const auto keys = keysIn(desk, app, since);
        std::string presses;
        for (std::size_t i = 0; i < keys.size(); ++i)
            if (keys[i] == '-')
                ++i;
            else
                presses += keys[i];
        return presses;
    }
    static std::string median(std::vector<double> times) {
        std::sort(times.begin(), times.end());
        char text[80];
        std::snprintf(text, sizeof text, "median %.1f, 90%% %.1f, worst %.1f ms", times[times.size() / 2],
                      times[times.size() * 9 / 10], times.back());
        return text;
    }
};

TEST_F(TypingTest, everyKeyArrivesInItsOrder) {
    OrvelDesk desk;
    auto& person = desk.session.person();
    desk.face(desk.session.codex());
    std::string lines;
    for (const char* word : {"one ", "/orve", "Two,", "/orvelish 3", "four (4)!"})
        lines += word + std::string("\n");
    for (const auto pause : {0ms, 3ms, 15ms, 40ms}) {
        SCOPED_TRACE(pause.count());
        const auto since = desk.session.told().size(), sent = desk.session.sent("codex").size();
        person.type(lines, pause);
        EXPECT_TRUE(desk.runUntil([&] { return pressesIn(desk, "codex", since).size() >= lines.size(); }));
        desk.runFor(300ms);
        EXPECT_EQ(pressesIn(desk, "codex", since), lines);
        EXPECT_EQ(desk.session.sent("codex").size(), sent + 5);
    }

    { // The next key is down before Return is up.
        const auto since = desk.session.told().size();
        person.type("hi");
        person.press(Person::enter, 5ms);
        person.press('x', 5ms);
        person.release(Person::enter, 5ms);
        person.release('x', 5ms);
        EXPECT_TRUE(desk.runUntil([&] { return keysIn(desk, "codex", since).ends_with("-x"); }));
        EXPECT_EQ(keysIn(desk, "codex", since), "h-hi-i\nx-\n-x");
        EXPECT_EQ(desk.session.sent("codex").back(), "hi");
        EXPECT_TRUE(desk.shows("codex", "x"));
        person.stroke(Person::backspace);
    }
    for (const std::uint32_t key : {std::uint32_t{'a'}, Person::enter}) { // Held down.
        const auto since = desk.session.told().size(), returns = desk.tap.returns.size();
        person.press(key);
        person.release(key, 1000ms);
        desk.runFor(1500ms);
        const auto keys = keysIn(desk, "codex", since);
        const auto letter = key == Person::enter ? '\n' : 'a';
        EXPECT_GE(std::count(keys.begin(), keys.end(), letter), 6) << "repeats";
        EXPECT_TRUE(keys.ends_with(std::string("-") + letter)) << "and none behind its release";
        EXPECT_EQ(desk.tap.returns.size() > returns, key == Person::enter);
    }
}

TEST_F(TypingTest, aCommandsReturnIsHeldWhileThePersonTypesOn) {
    OrvelDesk desk;
    auto& person = desk.session.person();
    desk.face(desk.session.claude());
    { // Held down: it is the same Return.
        person.type("/orvel One");
        ASSERT_TRUE(desk.shows("claude", "/orvel One"));
        desk.runFor(200ms);
        person.press(Person::enter);
        person.release(Person::enter, 900ms);
        EXPECT_TRUE(desk.shows("claude", ""));
        desk.runFor(1500ms);
        EXPECT_EQ(desk.session.count("claude", "sent"), 0U);
        EXPECT_EQ(desk.app.model.workspace.state().instruction.get(), "One");
    }
    { // The next key is down before Return is up, and at once.
        const auto since = desk.session.told().size();
        person.type("/orvel Two");
        ASSERT_TRUE(desk.shows("claude", "/orvel Two"));
        desk.runFor(200ms);
        person.press(Person::enter);
        person.press('x');
        person.release(Person::enter, 5ms);
        person.release('x', 5ms);
        EXPECT_TRUE(desk.runUntil([&] { return keysIn(desk, "claude", since).ends_with("-x"); }));
        desk.runFor(1500ms);
        const auto keys = keysIn(desk, "claude", since);
        EXPECT_EQ(keys.find('\n'), keys.npos) << "the Return was held: " << keys;
        EXPECT_EQ(std::count(keys.begin(), keys.end(), 'x'), 2) << "and what came behind it was not";
        EXPECT_EQ(desk.session.count("claude", "sent"), 0U);
        EXPECT_EQ(desk.session.editorText("claude"), "/orvel Twox");
    }
}

// A part of a command is as bad as the whole, since the agent gets it with the next words.
TEST_F(TypingTest, aCommandIsRemovedWhole) {
    OrvelDesk desk;
    desk.face(desk.session.claude());
    for (int i = 0; i < 8; ++i) {
        desk.session.person().type("/orvel Look");
        ASSERT_TRUE(desk.shows("claude", "/orvel Look"));
        desk.runFor(150ms);
        desk.session.person().type("\n");
        desk.runFor(700ms);
        ASSERT_EQ(desk.session.editorText("claude"), "")
            << desk.app.monitoring.monitor.state().removalDiagnostics->text();
    }
    EXPECT_EQ(desk.session.count("claude", "sent"), 0U);

    // The tree of a page is some milliseconds behind the keys, so Orvel can't know of the last ones in a
    // burst.
    for (const auto pause : {0ms, 10ms, 40ms}) {
        const auto sent = desk.session.count("claude", "sent");
        desk.session.person().type("/orvel Look\n", pause);
        desk.runFor(2500ms);
        const bool isSent = desk.session.count("claude", "sent") > sent;
        std::printf("a command with %lld ms between its keys: %s\n", static_cast<long long>(pause.count()),
                    isSent                                      ? "passed, not seen as one"
                    : desk.session.editorText("claude").empty() ? "removed"
                                                                : "held, and not removed");
        desk.session.order("claude", "draft", "");
        desk.runFor(500ms);
    }
}

TEST_F(TypingTest, speedOfKeys) {
    OrvelDesk desk;
    auto& person = desk.session.person();
    desk.face(desk.session.codex());
    for (const bool isTapped : {false, true}) {
        if (isTapped)
            desk.app.monitoring.lifecycle.resume();
        else
            desk.app.monitoring.lifecycle.pause();
        desk.runFor(4s);
        for (const std::uint32_t key : {std::uint32_t{'a'}, Person::enter}) {
            std::vector<double> delays;
            for (int i = 0; i < 40; ++i) {
                const auto seen = desk.session.count("codex", "keydown");
                const auto pressed = unixMilliseconds();
                person.stroke(key);
                ASSERT_TRUE(desk.runUntil([&] { return desk.session.count("codex", "keydown") > seen; }));
                double arrived = 0;
                for (const auto& event : desk.session.told())
                    if (event["app"] == "codex" && event["what"] == "keydown") arrived = event["at"];
                delays.push_back(arrived - pressed);
                desk.runFor(30ms);
            }
            std::printf("%s, %s the tap: %s\n", key == Person::enter ? "Return" : "a letter",
                        isTapped ? "with" : "without", median(delays).c_str());
        }
    }
}

} // namespace
} // namespace orvel
