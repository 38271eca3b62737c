#include "desktop/OrvelDesk.h"

#include "OrvelCore/conversations/TranscriptReader.h"
#include "samples/SampleCodexHome.h"

namespace orvel {

using namespace std::chrono_literals;

double unixMilliseconds() {
    return std::chrono::duration<double, std::milli>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

TapStart WatchedTap::start(Handler handler) {
    return tap.start([this, handler = std::move(handler)](const TapEvent& event) {
        const auto began = unixMilliseconds();
        const auto answer = handler(event);
        const auto ended = unixMilliseconds();
        if (event.type == TapEventType::keyDown && KeyCode::isReturn(event.keyCode))
            returns.push_back({event, answer, ended, ended - began});
        return answer;
    });
}

OrvelDesk::OrvelDesk(int messagesShown)
    : session({{desktopID, claudeID, messagesShown}, {otherDesktopID, otherClaudeID}}, codexID),
      desktop(session),
      app(ports(),
          AgentFolders::of(session.path("home"), std::nullopt, std::nullopt, session.path("home/.config")),
          session.path("data/state.json"), ClockStyle(), "1.0") {
    session.startCodex();
    session.startClaude(desktopID);
    app.screens.showFailure = [this](const auto& message, const auto&) { notice = message; };
    app.monitoring.keybindings.confirm(session.path("home/.codex/keybindings.json"));
    app.allowWatching(true);
    app.start();
    face(session.codex());
    face(session.claude());
    EXPECT_TRUE(runUntil([&] {
        const auto& preparation = app.monitoring.preparation;
        return app.monitoring.lifecycle.isMonitoring() &&
               preparation.readyProcess(Agent::codex) == session.codex().id() &&
               preparation.readyProcess(Agent::claude) == session.claude().id();
    })) << app.monitoring.diagnosticReport().text();
}

Desktop OrvelDesk::ports() {
    auto ports = desktop.ports();
    return {
        ports.loop,         ports.sideQueue,    ports.files,        ports.processes,     ports.settings,
        ports.pasteboard,   ports.panels,       ports.applications, ports.accessibility, tap,
        ports.eventPosting, ports.inputSources, ports.windows,      ports.localFiles,    ports.zipArchives,
        ports.session};
}

void OrvelDesk::face(OwnChild& browser) {
    ASSERT_TRUE(runUntil([&] {
        static_cast<void>(desktop.applications.activate(browser.id()));
        const auto front = desktop.applications.frontmost();
        if (!front || front->process != browser.id()) return false;
        const auto app = desktop.accessibility.application(browser.id());
        const auto focused = desktop.accessibility.attribute(app, "AXFocusedUIElement");
        const auto* element = focused.as<AXElement>();
        return !element ||
               desktop.accessibility.attribute(*element, "AXRole").value != AXValue(std::string("AXWebArea"));
    }));
}

bool OrvelDesk::shows(const std::string& agent, const std::string& text) {
    const auto process = (agent == "claude" ? session.claude() : session.codex()).id();
    return runUntil([&] {
        if (session.editorText(agent) != text) return false;
        const auto app = desktop.accessibility.application(process);
        const auto focused = desktop.accessibility.attribute(app, "AXFocusedUIElement");
        const auto* element = focused.as<AXElement>();
        return element && desktop.accessibility.attribute(*element, "AXValue").value == AXValue(text);
    });
}

void OrvelDesk::prove() {
    const auto found = [this](const std::string& sessionID) {
        for (const auto& reference : app.model.catalogue.state().catalog.get())
            if (reference.sessionID == sessionID) return reference;
        ADD_FAILURE() << "no conversation " << sessionID;
        return ConversationReference();
    };
    const auto settle = [this] {
        runFor(200ms);
        EXPECT_TRUE(runUntil([this] { return app.model.isIdle(); }));
    };
    settle();
    app.model.workspace.chooseSource(found(claudeID));
    settle();
    app.model.links.chooseEndpoint(found(codexID));
    settle();
    app.model.outbox.sendRelay();
    ASSERT_TRUE(isReceived(1));
    awaitReplies();
}

void OrvelDesk::awaitReplies() {
    EXPECT_TRUE(runUntil([this] {
        const auto thread = SampleCodexHome(session.path("home/.codex")).thread(codexID);
        const auto claude = contentsOf(transcriptOf(claudeID));
        return thread->turns.back().status == SampleCodexTurn::Status::completed &&
               claude.rfind(R"("end_turn")") > claude.rfind(R"("role":"user")");
    }));
    runFor(300ms);
    EXPECT_TRUE(runUntil([this] { return app.model.isIdle(); }));
}

testing::AssertionResult OrvelDesk::isReceived(std::size_t transfer) {
    const bool isThere = runUntil(
        [&] { return transfers() >= transfer && lastTransfer().status == RelayTransfer::Status::received; });
    if (isThere && transfers() == transfer) return testing::AssertionSuccess();
    return testing::AssertionFailure() << transfers() << " messages; notice: " << notice
                                       << "; error: " << app.model.notices.error().value_or("none")
                                       << "; status: " << app.model.notices.status() << "\n"
                                       << app.monitoring.diagnosticReport().text();
}

std::vector<std::string> OrvelDesk::inCodex() {
    std::vector<std::string> texts;
    const auto thread = SampleCodexHome(session.path("home/.codex")).thread(codexID);
    for (const auto& turn : thread->turns)
        for (const auto& item : turn.items)
            if (item.kind == SampleCodexTurn::Item::Kind::user) texts.push_back(item.text);
    return texts;
}

std::vector<std::string> OrvelDesk::inClaude(const std::string& sessionID) {
    std::vector<std::string> texts;
    const auto conversation = TranscriptReader::read(transcriptOf(sessionID), Agent::claude);
    for (const auto& message : conversation.messages)
        if (message.role == "user") texts.push_back(message.text);
    return texts;
}

} // namespace orvel
