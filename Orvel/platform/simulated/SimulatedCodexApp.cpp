#include "Orvel/platform/simulated/SimulatedCodexApp.h"

#include "OrvelCore/text/Date.h"
#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace orvel {

namespace {

using namespace std::chrono_literals;
using Deed = SimulatedCodexApp::Deed;

constexpr std::string_view linkPrefix = "codex://threads/";
constexpr std::uint64_t modifiers =
    SyntheticKey::command | SyntheticKey::option | SyntheticKey::control | SyntheticKey::shift;

constexpr SimulatedCodexApp::Duration betweenCopies = 30ms;

} // namespace

SimulatedCodexApp::SimulatedCodexApp(SimulatedScreen& screen, SampleCodexHome home)
    : SimulatedApplication("com.openai.codex", "26.1021.31345", "/Applications/Codex.app"),
      screen(screen),
      home(std::move(home)) {
    screen.applications.install(*this);
}

void SimulatedCodexApp::addConversation(const std::string& threadID, const std::string& title) {
    all.push_back({.threadID = threadID, .title = title});
    if (current.empty()) current = threadID;
}

SimulatedCodexApp::Conversation* SimulatedCodexApp::conversation(const std::string& threadID) {
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const auto& each) { return each.threadID == threadID; });
    return found == all.end() ? nullptr : &*found;
}

// Starting and ending

void SimulatedCodexApp::started(ProcessID newProcess) {
    process = newProcess;
    application = screen.accessibility.makeElement("AXApplication");
    application->set("AXTitle", std::string("Codex"));
    application->write = [this](std::string_view name, const AXValue& value) {
        return takeRequest(name, value);
    };
    screen.accessibility.setApplication(process, application);
    isExposed = habits.isExposed;
    opensWindow();
}

void SimulatedCodexApp::ended() {
    ++run;
    closesWindow();
    composition.clear();
    application->remove();
    screen.accessibility.setApplication(process, nullptr);
}

void SimulatedCodexApp::opensWindow() {
    if (window) return;
    window = child(application, "AXWindow");
    frame = child(window, "AXGroup");
    application->set("AXFocusedWindow", window->handle());
    makePage();
}

void SimulatedCodexApp::closesWindow() {
    if (!window) return;
    dropPage();
    window->remove();
    window = frame = nullptr;
    application->unset("AXFocusedWindow");
}

void SimulatedCodexApp::opensAnotherWindow() {
    if (window) application->set("AXFocusedWindow", child(application, "AXWindow")->handle());
}

void SimulatedCodexApp::whileRunning(Duration delay, std::function<void()> action) {
    screen.world.outside(delay, [this, at = run, action = std::move(action)] {
        if (at == run) action();
    });
}

// What the window holds

SimulatedCodexApp::Element SimulatedCodexApp::child(const Element& parent, std::string_view role,
                                                    std::string_view attribute, std::string_view text) {
    auto made = screen.accessibility.makeElement(role);
    if (!attribute.empty()) made->set(attribute, std::string(text));
    parent->append(made);
    return made;
}

AXStatus SimulatedCodexApp::takeRequest(std::string_view name, const AXValue& value) {
    if (name != "AXManualAccessibility" || value != AXValue(true)) return AXStatus::attributeUnsupported;
    ++requestCount;
    if (habits.answersRequest != AXStatus::success) return habits.answersRequest;
    if (habits.exposing == Duration::zero())
        expose();
    else
        whileRunning(habits.exposing, [this] { expose(); });
    return AXStatus::success;
}

void SimulatedCodexApp::expose() {
    if (std::exchange(isExposed, true) || !window) return;
    dropPage();
    makePage();
}

void SimulatedCodexApp::makePage() {
    const auto* shown = conversation(current);
    window->set("AXTitle", shown ? shown->title : std::string("Codex"));
    page = child(frame, "AXWebArea", "AXTitle", "Codex");
    page->set("AXURL", AXURL{"app://-/index.html"});
    if (!isExposed) return;
    const auto sidebar = child(page, "AXGroup", "AXDescription", "Threads");
    for (const auto& each : all) child(sidebar, "AXLink", "AXTitle", each.title);
    const auto messages = child(page, "AXGroup");
    for (int i = 0; i < habits.messagesShown; ++i)
        child(messages, "AXStaticText", "AXValue", "Message " + std::to_string(i + 1));
    composer = child(page, "AXGroup");
    composer->set("AXDOMClassList", std::vector<std::string>{"_composer_1x", "flex"});
    makeEditor();
    child(composer, "AXButton", "AXDescription", habits.contextLabel);
    submit = child(composer, "AXButton", "AXDescription", habits.submitLabel);
    showText();
}

void SimulatedCodexApp::dropPage() {
    page->remove();
    page = composer = editor = submit = nullptr;
    application->unset("AXFocusedUIElement");
}

void SimulatedCodexApp::makeEditor() {
    editor = screen.accessibility.makeElement("AXTextArea");
    composer->insert(0, editor);
    editors.insert(editor->number);
    editor->set("AXDOMClassList", std::vector<std::string>{"ProseMirror", "tiptap"});
    editor->write = [this](std::string_view name, const AXValue& value) { return takeWrite(name, value); };
    application->set("AXFocusedUIElement", editor->handle());
}

void SimulatedCodexApp::redrawsPage() {
    if (!window) return;
    dropPage();
    makePage();
}

void SimulatedCodexApp::redrawsEditor() {
    if (!editor) return;
    editor->remove();
    makeEditor();
    showText();
}

// Going from conversation to conversation

bool SimulatedCodexApp::takesURL(const std::string& url) {
    return url.starts_with(linkPrefix);
}

void SimulatedCodexApp::openURL(const std::string& url) {
    opensWindow();
    userNavigates(url.substr(linkPrefix.size()));
}

void SimulatedCodexApp::userNavigates(const std::string& threadID) {
    whileRunning(habits.opening, [this, threadID] {
        if (!window || !conversation(threadID)) return;
        current = threadID;
        composition.clear();
        redrawsPage();
    });
}

// The editor

std::string SimulatedCodexApp::editorText() const {
    for (const auto& each : all)
        if (each.threadID == current) return each.draft + composition;
    return {};
}

void SimulatedCodexApp::textChanged(Duration shows) {
    if (shows == Duration::zero())
        showText();
    else
        whileRunning(shows, [this] { showText(); });
}

void SimulatedCodexApp::showText() {
    if (!editor) return;
    const auto text = editorText();
    editor->set("AXValue", text);
    editor->set("AXSelectedTextRange", AXRange{utf16Length(text), 0});
    const bool isMarked = !composition.empty() && habits.reportsMarkedText;
    const auto marked = utf16Length(composition);
    editor->set("AXTextInputMarkedTextMarkerRange",
                isMarked ? AXValue(AXRange{utf16Length(text) - marked, marked}) : AXValue());
}

AXStatus SimulatedCodexApp::takeWrite(std::string_view name, const AXValue& value) {
    const auto* text = std::get_if<std::string>(&value);
    auto* shown = conversation(current);
    if (name != "AXValue" || !text || !shown) return AXStatus::attributeUnsupported;
    note({.kind = Deed::Kind::written, .threadID = current, .before = editorText(), .after = *text});
    if (habits.ignoresWrites) return AXStatus::success;
    composition.clear();
    shown->draft = *text;
    textChanged(habits.writtenShows);
    return AXStatus::success;
}

void SimulatedCodexApp::userSetsDraft(const std::string& threadID, const std::string& text) {
    conversation(threadID)->draft = text;
    if (threadID == current) textChanged(habits.textShows);
}

void SimulatedCodexApp::pressed(const SimulatedKey& key) {
    if (key.event.type != TapEventType::keyDown) return;
    const auto held = key.event.flags & modifiers;
    const bool isReturn = KeyCode::isReturn(key.event.keyCode);
    if (SyntheticKey{key.event.keyCode, held} == habits.copyShortcut) return copy(key.event.marker != 0);
    if (isReturn) return held & SyntheticKey::shift ? typed("\n") : send();
    if (held & ~SyntheticKey::shift) return; // Some other shortcut.
    if (!key.text.empty()) typed(key.text);
}

void SimulatedCodexApp::typed(const std::string& text) {
    auto* shown = conversation(current);
    if (!window || !shown) return;
    shown->draft += text;
    textChanged(habits.textShows);
}

void SimulatedCodexApp::composes(const std::string& text) {
    composition = text;
    textChanged(habits.textShows);
}

void SimulatedCodexApp::send() {
    const auto text = editorText();
    auto* shown = conversation(current);
    if (!window || !shown || text.find_first_not_of(" \n\t") == text.npos) return;
    note({.kind = Deed::Kind::sent, .threadID = current, .before = text});
    composition.clear();
    shown->draft.clear();
    textChanged(habits.textShows);
    whileRunning(habits.receipt, [this, thread = current, text] {
        home.queue(thread, text, std::llround(1000 * (screen.world.now() + referenceDateInUnixTime)), false);
    });
}

// The clipboard

void SimulatedCodexApp::copy(bool isPosted) {
    if (!window || current.empty()) return;
    for (int i = 0; i < habits.copies; ++i)
        whileRunning(habits.copying + i * betweenCopies,
                     [this, thread = current, asked = screen.world.worldTime(), isPosted, isFurther = i > 0] {
                         const auto link = std::string(linkPrefix) + habits.copiesOther.value_or(thread);
                         screen.pasteboard.copiedElsewhere(link);
                         note({.kind = Deed::Kind::copied,
                               .threadID = thread,
                               .after = link,
                               .asked = asked,
                               .isPosted = isPosted,
                               .isFurther = isFurther});
                     });
}

void SimulatedCodexApp::note(Deed deed) {
    done.push_back(std::move(deed));
    if (onDeed) onDeed(done.back());
}

} // namespace orvel
