#include "Orvel/monitor/EditorRecognition.h"

#include "Orvel/monitor/ClaudeEditorInspection.h"

#include "monitor/AgentWindow.h"

namespace orvel {
namespace {

using namespace std::chrono_literals;
using enum ComposerRecognition;
using testing::HasSubstr;

struct Recognition : AgentWindow {
    Recognition() { desktop.accessibility.latency = {200us, 200us, 200us}; }

    EditorRecognition recognize(Kind kind) {
        facts.clear();
        reads.open();
        return recognizeEditor(reads, facts, editor->handle(), agentOf(kind));
    }

    void check(const char* name, Kind kind, const std::function<void()>& change, ComposerRecognition expected,
               const char* line) {
        SCOPED_TRACE(name);
        show(kind);
        change();
        const auto found = recognize(kind);
        EXPECT_EQ(found.recognition, expected);
        EXPECT_THAT(found.line.text(), HasSubstr(line));
        EXPECT_EQ(found.codeContext.has_value(), expected == verified && kind == Kind::code);
    }

    DiagnosticFacts facts;
    TimedReads reads{desktop.loop, desktop.accessibility, facts};
};

TEST_F(Recognition, KnowsAComposerByWhatStandsAroundIt) {
    const auto nothing = [] {};
    using enum Kind;
    check("Codex", codex, nothing, verified, "structure verified");
    check("a chat", chat, nothing, verified, "Regular chat");
    check("Claude Code", code, nothing, verified, "Existing Code conversation");
    check(
        "no text area", codex, [&] { editor->set("AXRole", std::string("AXTextField")); }, excluded,
        "Editor type");
    check(
        "other classes", codex, [&] { editor->set("AXDOMClassList", std::vector<std::string>{"search"}); },
        excluded, "Mismatch");
    check(
        "not editable", codex, [&] { editor->write = nullptr; }, excluded, "editable state");
    check(
        "an earlier message", codex, [&] { addButton(window->below()[0], "Save"), submit->remove(); },
        uncertain, "not fully verified");
    check(
        "with Cancel beside it", codex, [&] { submit->set("AXDescription", std::string("Cancel")); },
        excluded, "excluded");
    check(
        "no Send", chat, [&] { submit->remove(); }, excluded, "Send button");
    check(
        "another page", chat, [&] { showPage("https://claude.ai/settings"); }, excluded,
        "Not a regular chat");
    check(
        "no session", code, [&] { showPage("https://claude.ai/epitaxy"); }, excluded, "Mismatch");
    check(
        "Code with two Sends", code, [&] { addButton(submit->parent()->below()[0], "Send"); }, excluded,
        "Send button");
    check(
        "a list that is none", code, [&] { page->set("AXSubrole", true); }, uncertain, "Claude Code");
}

TEST_F(Recognition, WhatCanNotBeReadIsNeverTakenForSomethingElse) {
    for (const auto kind : {Kind::chat, Kind::code, Kind::codex}) {
        show(kind);
        ASSERT_EQ(recognize(kind).recognition, verified);
        const auto calls = desktop.accessibility.reads();
        recognize(kind);
        const auto count = desktop.accessibility.reads() - calls;
        ASSERT_GT(count, 10U);
        for (const auto status : {AXStatus::cannotComplete, AXStatus::invalidElement, AXStatus::failure})
            for (std::uint64_t faulty = 0; faulty < count; ++faulty) {
                std::uint64_t number = 0;
                auto* broken = static_cast<SimulatedElement*>(nullptr);
                std::string name;
                desktop.accessibility.onRead = [&](const SimulatedElement& element, std::string_view read,
                                                   bool) {
                    if (number++ != faulty) return;
                    broken = const_cast<SimulatedElement*>(&element);
                    name = read;
                };
                recognize(kind); // Finds the read.
                desktop.accessibility.onRead = nullptr;
                ASSERT_TRUE(broken);
                broken->statuses.emplace_back(name, status);
                const auto before = desktop.accessibility.reads();
                EXPECT_NE(recognize(kind).recognition, excluded) << name << " of " << broken->number;
                EXPECT_NE(recognize(kind).recognition, verified) << name << " of " << broken->number;
                EXPECT_TRUE(reads.hasFailed());
                EXPECT_LE(desktop.accessibility.reads() - before, 2 * (faulty + 1))
                    << "twice, and then no more";
                broken->statuses.clear();
            }
    }
}

TEST_F(Recognition, AnEditorThatIsDrawnAnewMeanwhileMayBeAny) {
    for (const auto kind : {Kind::chat, Kind::code, Kind::codex}) {
        show(kind);
        const auto before = desktop.accessibility.reads();
        recognize(kind);
        const auto count = desktop.accessibility.reads() - before;
        for (std::uint64_t moment = 1; moment < count; ++moment) {
            show(kind);
            std::uint64_t number = 0;
            desktop.accessibility.onRead = [&](const auto&, std::string_view, bool) {
                if (number++ != moment) return;
                const auto other = add(editor->parent()->shared_from_this(), "AXTextArea");
                std::exchange(editor, other)->remove();
            };
            const auto looked = editor->handle();
            facts.clear();
            reads.open();
            const auto found = recognizeEditor(reads, facts, looked, agentOf(kind));
            EXPECT_NE(found.recognition, excluded) << "at read " << moment << " of " << count;
            desktop.accessibility.onRead = nullptr;
        }
    }
}

TEST_F(Recognition, EndsWithinItsBudgetWhateverTheTreeIsLike) {
    desktop.accessibility.latency = {15ms, 15ms, 15ms};
    for (const auto kind : {Kind::code, Kind::codex}) {
        show(kind);
        const auto started = desktop.loop.uptime();
        EXPECT_EQ(recognize(kind).recognition, uncertain);
        EXPECT_LE(desktop.loop.uptime() - started, TimedReads::budget);
        EXPECT_EQ(reads.failure()->text(), "Insufficient remaining time in the 160 ms budget");
    }

    // One element that never answers.
    desktop.accessibility.latency = {10us, 10us, 10us};
    for (const auto kind : {Kind::chat, Kind::code, Kind::codex}) {
        show(kind);
        submit->slowness = 1h;
        const auto started = desktop.loop.uptime();
        EXPECT_EQ(recognize(kind).recognition, uncertain);
        EXPECT_LE(desktop.loop.uptime() - started, TimedReads::budget);
    }

    // Child lists without end.
    desktop.accessibility.latency = {10us, 10us, 10us};
    showCodex();
    for (int i = 0; i < 100'000; ++i) add(page, "AXGroup");
    EXPECT_EQ(recognize(Kind::codex).recognition, verified) << "above the composer nobody looks at children";
    for (int i = 0; i < 1'000; ++i) add(composer, "AXGroup");
    EXPECT_EQ(recognize(Kind::codex).recognition, uncertain);
}

TEST_F(Recognition, KnowsWhetherThePageStillShowsTheConversation) {
    showClaudeCode();
    const auto context = recognize(Kind::code).codeContext.value();
    EXPECT_EQ(context.desktopSessionID, sessionID);
    EXPECT_TRUE(isCurrent(reads, context));
    page->set("AXURL", std::string("https://claude.ai/epitaxy/") + sessionID);
    EXPECT_TRUE(isCurrent(reads, context)) << "an address as a string";
    for (const char* other : {"https://claude.ai/epitaxy/local_11111111-d9cb-469f-a165-70867728950e",
                              "https://claude.ai/epitaxy", "no address"}) {
        showPage(other);
        EXPECT_FALSE(isCurrent(reads, context));
    }
    page->remove();
    EXPECT_FALSE(isCurrent(reads, context));
}

TEST_F(Recognition, NotesNothingOfWhatItReads) {
    constexpr auto canary = "CANARY";
    showChat();
    for (const auto& element : {window, page, editor, submit})
        for (const char* name : {"AXTitle", "AXHelp", "AXValue", "AXSubrole"})
            element->set(name, std::string(canary));
    editor->set("AXDOMClassList", std::vector<std::string>{"ProseMirror", canary});
    showPage("https://claude.ai/CANARY?q=CANARY");
    const auto found = recognize(Kind::chat);
    EXPECT_THAT(facts.text().text() + found.line.text(), testing::Not(HasSubstr(canary)));
    EXPECT_THAT(facts.text().text(), HasSubstr("Claude structure decision: "));
}

TEST_F(Recognition, AnInspectionFindsTheEditorThatAReturnWouldMeet) {
    const auto inspect = [&] {
        return inspectClaudeEditor(desktop.loop, desktop.accessibility, desktop.applications).text();
    };
    const auto unfocused = [&] { application->set("AXFocusedUIElement", window->handle()); };
    const auto sized = [&](const Element& element) { element->set("AXSize", AXSize{300, 40}); };
    const auto unverified = [](const char* why) {
        return "Neither focus nor a unique visible editor could be verified (" + std::string(why) + ")";
    };
    EXPECT_THAT(inspect(), HasSubstr("Claude is not running"));
    struct Case {
        const char* name;
        std::function<void()> change;
        std::string expected;
    };
    const Case cases[] = {
        {"focused", [] {}, "Regular chat"},
        {"what stands in it", [&] { type("/orvel CANARY"); }, "Current input shape: /orvel syntax matched"},
        {"visible", [&] { unfocused(), sized(editor); }, "Inspection target: Unique visible editor"},
        {"hidden", unfocused, unverified("All elements searched")},
        {"two", [&] { unfocused(), sized(editor), sized(add(page, "AXTextArea")); },
         unverified("Multiple visible candidates")},
        {"a circle", [&] { unfocused(), page->overrides["AXChildren"] = AXElements{window->handle()}; },
         unverified("Cycle or duplicate element")},
        {"many",
         [&] {
             unfocused();
             for (int i = 0; i < 3; ++i)
                 for (const auto group = add(page, "AXGroup"); group->below().size() < 60;)
                     add(group, "AXGroup");
         },
         unverified("160-element limit")},
        {"slow",
         [&] {
             unfocused(), desktop.accessibility.latency = {14ms, 14ms, 14ms};
         },
         unverified("Time budget exhausted")},
        {"untrusted", [&] { desktop.accessibility.trusted = false; }, "Accessibility not granted"},
    };
    for (const auto& [name, change, expected] : cases) {
        SCOPED_TRACE(name);
        showChat();
        change();
        const auto before = typed();
        const auto report = inspect();
        EXPECT_THAT(report, HasSubstr(expected));
        EXPECT_THAT(report, testing::Not(HasSubstr("CANARY")));
        EXPECT_EQ(typed(), before);
    }
}

} // namespace
} // namespace orvel
