#pragma once
// An agent's application in front, with a composer whose structure is as the real ones have it.

#include "Orvel/platform/simulated/SimulatedCodexApp.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "OrvelCore/commands/ReturnDecision.h"

#include <functional>
#include <memory>
#include <vector>

namespace orvel {

class AgentWindow : public testing::Test {
  protected:
    using Element = SimulatedElement::Shared;

    ~AgentWindow() override { quit(); }

    static constexpr auto sessionID = "local_0f8fad5b-d9cb-469f-a165-70867728950e";

    /// Codex with a conversation.
    void showCodex() {
        auto codex = std::make_unique<SimulatedCodexApp>(desktop, SampleCodexHome(""));
        codex->addConversation("01a1fd20-0000-7000-8000-000000000001", "Lark");
        codex->habits.isExposed = true;
        auto& shown = *codex;
        open(std::move(codex));
        application = shown.applicationElement();
        window = shown.windowElement();
        page = shown.pageElement();
        composer = shown.composerElement();
        submit = shown.submitElement();
        take(shown.editorElement());
    }

    /// Claude with a conversation of Claude Code.
    void showClaudeCode() {
        openClaude();
        showPage(std::string("https://claude.ai/epitaxy/") + sessionID);
        const auto scope = add(page, "AXGroup");
        auto group = scope;
        for (int depth = 0; depth < 4; ++depth) group = add(group, "AXGroup");
        addEditor(group, false);
        editor->set("AXDescription", std::string("Prompt"));
        submit = addButton(scope, "Send");
    }

    /// Claude with a regular chat.
    void showChat() {
        openClaude();
        showPage("https://claude.ai/chat/0f8fad5b-d9cb-469f-a165-70867728950e");
        const auto group = add(page, "AXGroup");
        addEditor(group, true);
        submit = addButton(group, "Send message");
    }

    enum class Kind { codex, code, chat };

    static Agent agentOf(Kind kind) { return kind == Kind::codex ? Agent::codex : Agent::claude; }

    void show(Kind kind) {
        switch (kind) {
        case Kind::codex: return showCodex();
        case Kind::code: return showClaudeCode();
        case Kind::chat: return showChat();
        }
    }

    Element add(const Element& parent, std::string_view role) {
        auto element = desktop.accessibility.makeElement(role);
        parent->append(element);
        return element;
    }

    Element addButton(const Element& parent, const std::string& label) {
        auto button = add(parent, "AXButton");
        button->set("AXDescription", label);
        return button;
    }

    void showPage(const std::string& url) { page->set("AXURL", AXURL{url}); }
    void type(const std::string& text) { editor->set("AXValue", text); }
    std::string typed() const { return editor->text("AXValue"); }

    /// The agent's application ends, and nothing is in front.
    void quit() {
        if (!program) return;
        application->remove();
        desktop.accessibility.setApplication(process, nullptr);
        desktop.applications.quit(*program);
        desktop.applications.bringToFront(SimulatedApplications::self);
    }

    SimulatedDesktop desktop;
    ProcessID process = 0;
    Element application, window, page, editor, submit;
    Element composer; ///< Of Codex.
    /// What writing into the editor comes to; without it the value is taken.
    std::function<AXStatus(const AXValue&)> takesWrite;

  private:
    void open(std::unique_ptr<SimulatedApplication> opened) {
        quit();
        if (program) earlier.push_back(std::move(program));
        program = std::move(opened);
        process = desktop.applications.start(*program);
        desktop.applications.bringToFront(process);
    }

    void openClaude() {
        open(std::make_unique<SimulatedApplication>(std::string(OrvelCommandPolicy::bundleID(Agent::claude)),
                                                    "1.0", "/Applications/Agent.app"));
        application = desktop.accessibility.makeElement("AXApplication");
        desktop.accessibility.setApplication(process, application);
        window = add(application, "AXWindow");
        page = add(add(window, "AXGroup"), "AXWebArea");
        application->set("AXFocusedWindow", window->handle());
    }

    void addEditor(const Element& parent, bool hasClasses) {
        const auto made = add(parent, "AXTextArea");
        if (hasClasses) made->set("AXDOMClassList", std::vector<std::string>{"ProseMirror", "tiptap"});
        application->set("AXFocusedUIElement", made->handle());
        take(made);
    }

    void take(const Element& made) {
        editor = made;
        takesWrite = nullptr;
        editor->write = [this](std::string_view name, const AXValue& value) {
            if (takesWrite) return takesWrite(value);
            editor->set(name, value);
            return AXStatus::success;
        };
        type("");
    }

    std::unique_ptr<SimulatedApplication> program;
    std::vector<std::unique_ptr<SimulatedApplication>> earlier; ///< The desktop has them installed still.
};

} // namespace orvel
