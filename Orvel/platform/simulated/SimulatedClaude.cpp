#include "Orvel/platform/simulated/SimulatedClaude.h"

#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace orvel {

namespace {

constexpr std::string_view origin = "https://claude.ai";
constexpr std::string_view codePath = "/epitaxy";

bool isBlank(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](unsigned char byte) { return byte < 0x80 && std::isspace(byte); });
}

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char byte) { return std::toupper(byte); });
    return text;
}

} // namespace

SimulatedClaude::SimulatedClaude(SimulatedScreen& screen, std::string projects, std::string records)
    : SimulatedApplication("com.anthropic.claudefordesktop", "3.6556.2", "/Applications/Claude.app"),
      screen(screen),
      projects(std::move(projects)),
      records(std::move(records)) {
    screen.applications.install(*this);
}

SimulatedClaude::Conversation& SimulatedClaude::addConversation(const std::string& sessionID,
                                                                const std::string& desktopID,
                                                                const std::vector<std::string>& texts) {
    auto& made = all.emplace_back(
        Conversation{.desktopID = desktopID,
                     .transcriptPath = projects + "/-code-lark/" + sessionID + ".jsonl",
                     .transcript = ClaudeTranscript({.id = sessionID, .workingDirectory = "/code/lark"})});
    for (std::size_t i = 0; i < texts.size(); ++i)
        if (i % 2 == 0)
            receive(made, texts[i]);
        else
            made.transcript.answer(texts[i]);
    if (!texts.empty()) flush(made);
    return made;
}

SimulatedClaude::Conversation& SimulatedClaude::adoptConversation(const std::string& desktopID,
                                                                  const std::string& transcriptPath,
                                                                  ClaudeTranscript continued) {
    return all.emplace_back(Conversation{.desktopID = desktopID,
                                         .transcriptPath = transcriptPath,
                                         .transcript = std::move(continued),
                                         .isOnDisk = true});
}

SimulatedClaude::Conversation* SimulatedClaude::conversation(const std::string& desktopID) {
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const auto& each) { return each.desktopID == desktopID; });
    return found == all.end() ? nullptr : &*found;
}

SimulatedClaude::Conversation& SimulatedClaude::known(const std::string& desktopID) {
    if (auto* found = conversation(desktopID)) return *found;
    throw std::out_of_range("There is no conversation " + desktopID + ".");
}

void SimulatedClaude::receive(Conversation& conversation, const std::string& text) {
    conversation.transcript.ask(text);
    conversation.received.push_back(text);
}

// Brings the disk up to date.
void SimulatedClaude::flush(Conversation& conversation) {
    const std::filesystem::path path(conversation.transcriptPath);
    if (!conversation.isOnDisk) std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, conversation.isOnDisk ? std::ios::binary | std::ios::app : std::ios::binary);
    file << std::string_view(conversation.transcript.text()).substr(conversation.written);
    conversation.isOnDisk = true;
    conversation.written = conversation.transcript.text().size();
}

// Starting and ending

void SimulatedClaude::started(ProcessID newProcess) {
    process = newProcess;
    application = make("AXApplication", "AXTitle", "Claude");
    screen.accessibility.setApplication(process, application);
    opensWindow();
}

void SimulatedClaude::ended() {
    ++run;
    closesWindow();
    application->remove();
    screen.accessibility.setApplication(process, nullptr);
    for (auto& each : all) each.isReplying = false;
}

void SimulatedClaude::opensWindow() {
    if (window) return;
    window = child(application, "AXWindow", "AXTitle", "Claude");
    focusWindow(window);
    makeSidebar();
    makePage();
    makeComposer();
}

void SimulatedClaude::closesWindow() {
    returnsToWindow();
    if (!window) return;
    dropPage();
    window->remove();
    window = shell = nullptr;
    application->set("AXFocusedWindow", std::monostate());
}

void SimulatedClaude::onThisPage(Duration delay, std::function<void()> action) {
    screen.world.outside(delay, [this, at = std::pair(run, visit), action = std::move(action)] {
        if (at == std::pair(run, visit)) action();
    });
}

void SimulatedClaude::whileRunning(Duration delay, std::function<void()> action) {
    screen.world.outside(delay, [this, at = run, action = std::move(action)] {
        if (at == run) action();
    });
}

// What the window holds

SimulatedClaude::Element SimulatedClaude::make(std::string_view role, std::string_view attribute,
                                               std::string_view text) {
    auto made = screen.accessibility.makeElement(role);
    if (!attribute.empty()) made->set(attribute, std::string(text));
    return made;
}

SimulatedClaude::Element SimulatedClaude::child(const Element& parent, std::string_view role,
                                                std::string_view attribute, std::string_view text) {
    auto made = make(role, attribute, text);
    parent->append(made);
    return made;
}

SimulatedClaude::Element SimulatedClaude::button(const Element& parent, std::string_view attribute,
                                                 const std::string& label, std::function<void()> pressed) {
    auto made = child(parent, "AXButton", attribute, label);
    made->set("AXEnabled", true);
    made->perform = [this, label, pressed = std::move(pressed)](std::string_view action) {
        if (action != "AXPress") return AXStatus::actionUnsupported;
        note(Deed::Kind::pressedOther, false, editorText(), label);
        if (pressed) pressed();
        return AXStatus::success;
    };
    return made;
}

void SimulatedClaude::makeSidebar() {
    shell = window;
    if (habits.hasShellPage) {
        shell = child(window, "AXWebArea");
        shell->set("AXURL", AXURL{"file:///Applications/Claude.app/Contents/Resources/shell/index.html"});
    }
    const auto bar = child(shell, "AXGroup", "AXDescription", "Sidebar");
    button(bar, "AXTitle", "New window", nullptr);
    button(bar, "AXTitle", "New", [this] { goTo(""); });
    button(bar, "AXDescription", "Search", nullptr);
    const auto list = child(bar, "AXList");
    for (const auto& each : all)
        button(list, "AXTitle", "Conversation " + each.desktopID.substr(6, 4),
               [this, id = each.desktopID] { goTo(id); });
}

std::string SimulatedClaude::address(const std::string& desktopID) {
    return std::string(origin) + std::string(codePath) + (desktopID.empty() ? "" : "/" + desktopID);
}

void SimulatedClaude::makePage() {
    ++visit;
    if (!page) {
        page = child(shell, "AXWebArea");
        page->set("AXTitle", std::string("Claude"));
        if (habits.page)
            intrude(shell, "AXWebArea", *habits.page)
                ->set("AXURL", AXURL{habits.pageOrigin + address().substr(origin.size())});
    }
    page->set("AXURL", AXURL{address()});
}

void SimulatedClaude::dropPage() {
    ++visit;
    if (!composition.empty()) {
        note(Deed::Kind::lostComposition, false, editorText());
        composition.clear();
        screen.windows.showCandidates(false);
    }
    if (habits.makesNewPages && page) {
        page->remove();
        page = nullptr;
    } else if (page) {
        while (!page->below().empty()) page->below().back()->remove();
    }
    messages = composerRoot = toolbar = editor = nullptr;
    sendButton = secondSend = stopButton = replyNote = attachment = dialog = nullptr;
    isSendComing = false;
    setFocus();
}

void SimulatedClaude::makeTranscriptView() {
    messages = child(page, "AXGroup", "AXDescription", "Messages");
    for (int i = 0; i < habits.messagesShown; ++i) {
        const auto message = child(messages, "AXGroup");
        child(message, "AXStaticText", "AXValue", i % 2 == 0 ? "You said" : "Claude said");
        const auto body = child(message, "AXGroup");
        child(body, "AXStaticText", "AXValue", "Message " + std::to_string(i + 1));
    }
}

void SimulatedClaude::makeComposer() {
    if (!route.empty() && !conversation(route)) {
        child(page, "AXStaticText", "AXValue", "Session not found");
        return;
    }
    makeTranscriptView();
    composerRoot = groupsBelow(page, habits.groupsAround + 1);
    editor = child(groupsBelow(composerRoot, habits.groupsInside), "AXTextArea");
    makeEditor();
    if (habits.editor) intrude(page, "AXGroup", *habits.editor);
    toolbar = child(composerRoot, "AXGroup");
    button(toolbar, "AXDescription", "Add files", nullptr);
    child(toolbar, "AXPopUpButton", "AXTitle", "Model");
    if (habits.hasDialog) opensDialog();
    showText();
    showReply();
    showAttachment();
    setFocus();
}

// Makes the editor's element what an editor is.
void SimulatedClaude::makeEditor() {
    makePrompt(editor);
    editor->set("AXSelectedTextRange", AXRange{0, 0});
    editor->write = [this](std::string_view name, const AXValue& value) { return takeWrite(name, value); };
}

void SimulatedClaude::makePrompt(const Element& element) {
    element->set("AXDescription", std::string("Prompt"));
    element->set("AXValue", std::string());
    element->set("AXTextInputMarkedTextMarkerRange", std::monostate());
}

SimulatedClaude::Element SimulatedClaude::groupsBelow(Element parent, int count) {
    for (; count > 0; --count) parent = child(parent, "AXGroup");
    return parent;
}

// A prompt below four groups more, which takes a text and does nothing with it. Without a conversation it is
// no conversation's.
SimulatedClaude::Element SimulatedClaude::promptBelow(const Element& root,
                                                      std::function<std::string()> conversation) {
    const auto prompt = child(groupsBelow(root, 4), "AXTextArea");
    makePrompt(prompt);
    prompt->write = [this, prompt = prompt.get(),
                     conversation = std::move(conversation)](std::string_view name, const AXValue& value) {
        const auto* text = std::get_if<std::string>(&value);
        if (name != "AXValue" || !text) return AXStatus::attributeUnsupported;
        note({Deed::Kind::written, false, conversation ? conversation() : std::string(),
              prompt->text("AXValue"), *text, !conversation});
        prompt->set("AXValue", *text);
        return AXStatus::success;
    };
    return prompt;
}

// Puts something with a prompt that is no conversation's below the parent. What comes last lies deeper than
// all else, so that it comes last in a walk, too.
SimulatedClaude::Element SimulatedClaude::intrude(const Element& parent, std::string_view role,
                                                  SimulatedIntruder where) {
    const auto made = make(role);
    const bool isFirst = where == SimulatedIntruder::first;
    parent->insert(isFirst ? 0 : parent->below().size(), made);
    promptBelow(groupsBelow(role == "AXGroup" ? made : child(made, "AXGroup"), isFirst ? 0 : 6), nullptr);
    return made;
}

void SimulatedClaude::focusWindow(const Element& focused) {
    application->set("AXFocusedWindow", focused ? AXValue(focused->handle()) : AXValue());
}

void SimulatedClaude::opensAnotherWindow(const std::string& desktopID) {
    if (!window || other) return;
    const auto made = child(application, "AXWindow", "AXTitle", "Claude");
    const auto shown = child(made, "AXWebArea");
    const auto composer = groupsBelow(shown, 2);
    const auto prompt = promptBelow(composer, [this] { return other ? other->conversation : std::string(); });
    other = {made, shown, composer, prompt, desktopID};
    shown->set("AXURL", AXURL{address(desktopID)});
    focusWindow(made);
}

void SimulatedClaude::returnsToWindow() {
    if (!other) return;
    other->window->remove();
    other.reset();
    focusWindow(window);
}

void SimulatedClaude::opensDialog() {
    if (composerRoot && !dialog) dialog = child(composerRoot, "AXDialog", "AXTitle", "Attach a folder?");
}

void SimulatedClaude::redrawsPage() {
    if (!editor) return;
    dropPage();
    makePage();
    makeComposer();
}

void SimulatedClaude::replacesPage() {
    if (!page || !shell) return; // The window is closed.
    const auto old = page;
    page = child(shell, "AXWebArea", "AXTitle", "Claude");
    page->set("AXURL", AXURL{address()});
    old->moveChildren(*page);
    old->remove();
}

void SimulatedClaude::redrawsEditor() {
    if (!editor) return;
    auto* parent = editor->parent();
    editor->remove();
    editor = make("AXTextArea");
    parent->append(editor);
    makeEditor();
    showText();
    setFocus();
}

void SimulatedClaude::redrawsSend() {
    if (!sendButton) return;
    const auto enabled = *sendButton->find("AXEnabled");
    sendButton->remove();
    sendButton = makeSend();
    sendButton->set("AXEnabled", enabled);
}

void SimulatedClaude::setFocus() {
    if (!application) return;
    if (editor)
        application->set("AXFocusedUIElement", editor->handle());
    else
        application->set("AXFocusedUIElement", std::monostate());
}

// Going from page to page

bool SimulatedClaude::takesURL(const std::string& url) {
    return url.starts_with("claude://");
}

void SimulatedClaude::openURL(const std::string& url) {
    const auto place = url.find(std::string(codePath) + "/");
    if (habits.ignoresURLs || place == std::string::npos) return;
    opensWindow();
    goTo(habits.goesElsewhere.value_or(url.substr(place + codePath.size() + 1)));
}

void SimulatedClaude::userNavigates(const std::string& desktopID) {
    if (window) goTo(desktopID);
}

void SimulatedClaude::goTo(const std::string& desktopID) {
    if (other) {
        whileRunning(habits.leaving + habits.loading, [this, desktopID] {
            if (!other) return;
            other->conversation = desktopID;
            other->page->set("AXURL", AXURL{address(desktopID)});
        });
        return;
    }
    whileRunning(habits.leaving, [this, desktopID] {
        if (!window || desktopID == route) return;
        dropPage();
        route = desktopID;
        onThisPage(habits.loading, [this] {
            if (!window) return;
            makePage();
            onThisPage(habits.settling, [this] { makeComposer(); });
        });
    });
}

// The editor

SimulatedClaude::Conversation& SimulatedClaude::current() {
    return known(route);
}

std::string& SimulatedClaude::draft() {
    return route.empty() ? newDraft : current().draft;
}

bool SimulatedClaude::isReplying() {
    const auto* shown = conversation(route);
    return shown && shown->isReplying;
}

bool SimulatedClaude::hasAttachment() {
    const auto* shown = conversation(route);
    return shown ? shown->hasAttachment : newHasAttachment;
}

std::string SimulatedClaude::editorText() {
    return editor ? draft() + composition : std::string();
}

void SimulatedClaude::textChanged(Duration shows) {
    if (shows == Duration::zero())
        showText();
    else
        onThisPage(shows, [this] { showText(); });
}

void SimulatedClaude::showText() {
    if (!editor) return;
    const auto text = editorText();
    editor->set("AXValue", text);
    editor->set("AXSelectedTextRange", AXRange{utf16Length(text), 0});
    if (composition.empty() || !habits.reportsMarkedText)
        editor->set("AXTextInputMarkedTextMarkerRange", std::monostate());
    else
        editor->set("AXTextInputMarkedTextMarkerRange", AXOpaque{make("AXTextMarkerRange")});
    if (offersSend(text)) return announceSend();
    for (auto* button : {&sendButton, &secondSend})
        if (*button) std::exchange(*button, nullptr)->remove();
}

bool SimulatedClaude::offersSend(const std::string& text) {
    return !isBlank(text) && (!isReplying() || habits.sendsWhileReplying);
}

SimulatedClaude::Element SimulatedClaude::makeSend() {
    auto made = child(toolbar, "AXButton", habits.sendLabelAttribute, "Send");
    made->perform = [this](std::string_view action) {
        if (action != "AXPress") return AXStatus::actionUnsupported;
        pressSend(false);
        return AXStatus::success;
    };
    return made;
}

void SimulatedClaude::announceSend() {
    if (sendButton || isSendComing) return;
    isSendComing = true;
    onThisPage(habits.sendAppears, [this] {
        isSendComing = false;
        if (!editor || !offersSend(editor->text("AXValue"))) return;
        sendButton = makeSend();
        if (habits.hasTwoSends) secondSend = makeSend();
        for (const auto& button : {sendButton, secondSend})
            if (button)
                button->set("AXEnabled",
                            habits.sendEnabledIsUnreadable ? AXValue(std::monostate()) : AXValue(false));
        onThisPage(habits.sendEnables, [this] {
            for (const auto& button : {sendButton, secondSend})
                if (button && !habits.sendEnabledIsUnreadable) button->set("AXEnabled", true);
        });
    });
}

void SimulatedClaude::showReply() {
    if (!editor) return;
    const bool replies = isReplying();
    if (replies && !stopButton && !replyNote) {
        if (habits.showsStop) stopButton = button(toolbar, "AXDescription", "Stop", nullptr);
        if (habits.showsReplyNote)
            replyNote = child(messages, "AXStaticText", "AXValue", "Claude is responding");
    } else if (!replies) {
        for (auto* shown : {&stopButton, &replyNote})
            if (*shown) std::exchange(*shown, nullptr)->remove();
    }
    showText();
}

void SimulatedClaude::showAttachment() {
    if (!editor) return;
    const bool has = hasAttachment();
    if (has && !attachment) {
        attachment = make("AXGroup");
        composerRoot->insert(0, attachment);
        button(attachment, "AXDescription", habits.attachmentLabel, nullptr);
    } else if (!has && attachment) {
        attachment->remove();
        attachment = nullptr;
    }
}

AXStatus SimulatedClaude::takeWrite(std::string_view name, const AXValue& value) {
    const auto* text = std::get_if<std::string>(&value);
    if (name != "AXValue" || !text) return AXStatus::attributeUnsupported;
    note(Deed::Kind::written, false, editorText(), *text);
    if (habits.ignoresWrites) return AXStatus::success;
    composition.clear();
    draft() = *text;
    if (habits.joinsLines)
        for (auto at = draft().find("\n\n"); at != std::string::npos; at = draft().find("\n\n", at))
            draft().erase(at, 1);
    textChanged(habits.writtenShows);
    return AXStatus::success;
}

// Into the focused window's editor, where everything is selected.
void SimulatedClaude::pasted(const std::string& text) {
    const auto& into = other ? other->editor : editor;
    if (!into) return;
    const auto write = into->write; // The element may vanish by it.
    write("AXValue", text);
}

void SimulatedClaude::typed(const std::string& text) {
    if (!editor || other) return;
    if (text == "\r") return userSends(); // Return.
    draft() += text;
    textChanged();
}

void SimulatedClaude::userSetsDraft(const std::string& desktopID, const std::string& text) {
    (desktopID.empty() ? newDraft : known(desktopID).draft) = text;
    if (desktopID == route) textChanged();
}

void SimulatedClaude::userAttaches(const std::string& desktopID) {
    (desktopID.empty() ? newHasAttachment : known(desktopID).hasAttachment) = true;
    if (desktopID == route) showAttachment();
}

void SimulatedClaude::userComposes(const std::string& text) {
    if (!editor) return;
    if (composition.empty()) compositionBegan = screen.world.worldTime();
    composition = text;
    textChanged();
}

void SimulatedClaude::userFinishesComposing() {
    if (!editor || composition.empty()) return;
    draft() += std::exchange(composition, {});
    screen.windows.showCandidates(false);
    textChanged();
}

void SimulatedClaude::repliesOnItsOwn(const std::string& desktopID) {
    auto& replying = known(desktopID);
    replying.isReplying = true;
    if (desktopID == route) showReply();
    whileRunning(habits.reply, [this, &replying, desktopID] {
        replying.isReplying = false;
        if (desktopID == route) showReply();
    });
}

// Sending

void SimulatedClaude::userSends() {
    if (editor && sendButton) pressSend(true);
}

void SimulatedClaude::pressSend(bool byPerson) {
    note(Deed::Kind::pressedSend, byPerson, editorText());
    const auto* enabled = sendButton ? sendButton->find("AXEnabled") : nullptr;
    if (habits.ignoresPresses || !enabled || *enabled != AXValue(true) || isBlank(editorText())) return;
    submit();
}

void SimulatedClaude::submit() {
    const auto text = editorText();
    note(Deed::Kind::sent, false, text);
    composition.clear();
    draft().clear();
    (route.empty() ? newHasAttachment : current().hasAttachment) = false;
    auto* into = conversation(route);
    const bool isNew = route.empty();
    if (isNew) into = &addConversation(ids.uuid(), "local_" + upper(ids.uuid()), {});
    into->isReplying = true;
    whileRunning(habits.receipt, [this, into, text] {
        if (habits.losesReceipts) return;
        receive(*into, text);
        flush(*into);
    });
    whileRunning(std::max(habits.reply, habits.receipt), [this, into] {
        into->isReplying = false;
        if (!habits.losesReceipts) {
            into->transcript.answer(habits.answer);
            flush(*into);
        }
        if (into->desktopID == route) showReply();
    });
    if (isNew) {
        finishNewConversation(*into);
        return;
    }
    onThisPage(habits.textShows, [this] {
        showReply();
        showAttachment();
    });
}

// The page of a new conversation becomes that conversation's page.
void SimulatedClaude::finishNewConversation(Conversation& made) {
    textChanged();
    whileRunning(habits.recordWritten, [this, &made] {
        std::filesystem::create_directories(records);
        const auto session = std::filesystem::path(made.transcriptPath).stem().string();
        std::ofstream(records + "/" + made.desktopID + ".json", std::ios::binary)
            << R"({"sessionId":")" << made.desktopID << R"(","cliSessionId":")" << session
            << R"(","title":"New session","cwd":"/code/lark"})";
    });
    onThisPage(habits.newRoute, [this, &made] {
        route = made.desktopID;
        page->set("AXURL", AXURL{address()});
        showReply();
    });
}

void SimulatedClaude::note(Deed::Kind kind, bool byPerson, std::string before, std::string after) {
    note({kind, byPerson, route, std::move(before), std::move(after)});
}

void SimulatedClaude::note(Deed deed) {
    done.push_back(std::move(deed));
    if (onDeed) onDeed(done.back());
}

} // namespace orvel
