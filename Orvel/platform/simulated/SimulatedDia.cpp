#include "Orvel/platform/simulated/SimulatedDia.h"

#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

namespace orvel {

namespace {

using namespace std::chrono_literals;
using Element = SimulatedElement::Shared;

constexpr SyntheticKey goToKey{5, SyntheticKey::command | SyntheticKey::shift},
    pasteKey{9, SyntheticKey::command};
constexpr std::uint64_t modifiers =
    SyntheticKey::command | SyntheticKey::option | SyntheticKey::control | SyntheticKey::shift;
constexpr AXPoint windowCorner{100, 50}, regionCorner{300, 700}, menuCorner{320, 520};
constexpr double betweenWindows = 1'500;
constexpr AXSize windowSize{1'200, 900}, regionSize{800, 160}, buttonSize{36, 36}, itemSize{280, 40};

constexpr std::array<std::pair<std::string_view, std::string_view>, 6> translations{
    {{"Ask ChatGPT", "ChatGPT に質問する"},
     {"Add files and more", "ファイルなどを追加"},
     {"Add photos & files Upload from computer", "写真とファイルを追加 コンピューターからアップロード"},
     {"Send", "送信"},
     {"Start Voice", "音声を開始"},
     {"Dictate", "音声入力"}}};

bool isBlank(std::string_view text) {
    return text.find_first_not_of(" \t\n") == text.npos;
}

// As a file's address in a list of them, or in the panel.
std::string fileURL(const std::string& path) {
    constexpr std::string_view digits = "0123456789ABCDEF", plain = "/-._~";
    std::string url = "file://";
    for (const char letter : path) {
        const auto byte = static_cast<unsigned char>(letter);
        if (byte < 0x80 && (std::isalnum(byte) || plain.find(letter) != plain.npos)) {
            url += letter;
            continue;
        }
        url += '%', url += digits[byte >> 4], url += digits[byte & 15];
    }
    return url;
}

std::string pathOf(const std::string& url) {
    std::string path;
    for (std::size_t i = std::string_view("file://").size(); i < url.size(); ++i) {
        if (url[i] != '%' || i + 2 >= url.size()) {
            path += url[i];
            continue;
        }
        path += static_cast<char>(std::stoi(url.substr(i + 1, 2), nullptr, 16));
        i += 2;
    }
    return path;
}

std::string withSmartQuotes(const std::string& text) {
    std::string changed;
    bool isOpen = false;
    for (const char letter : text) {
        if (letter == '"')
            changed += (isOpen = !isOpen) ? "“" : "”";
        else if (letter == '\'')
            changed += "’";
        else
            changed += letter;
    }
    return changed;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines(1);
    for (const char letter : text)
        if (letter == '\n')
            lines.emplace_back();
        else
            lines.back() += letter;
    return lines;
}

void removeAll(std::initializer_list<Element*> elements) {
    for (auto* element : elements)
        if (*element) std::exchange(*element, nullptr)->remove();
}

} // namespace

SimulatedDia::SimulatedDia(SimulatedScreen& screen)
    : SimulatedApplication("company.thebrowser.dia", "1.9.0", "/Applications/Dia.app"), screen(screen) {
    screen.applications.install(*this);
}

SimulatedDia::Conversation& SimulatedDia::addConversation(const std::string& id,
                                                          const std::vector<std::string>& messages) {
    auto& added = all.emplace_back(Conversation{.id = id, .messages = {}});
    for (const auto& text : messages) added.messages.push_back({text, {}});
    return added;
}

const SimulatedDia::Conversation* SimulatedDia::conversation(const std::string& id) const {
    const auto found = std::find_if(all.begin(), all.end(), [&](const auto& each) { return each.id == id; });
    return found == all.end() ? nullptr : &*found;
}

SimulatedDia::Window* SimulatedDia::window(std::size_t number) {
    if (number >= opened.size()) return nullptr;
    auto& found = *std::next(opened.begin(), static_cast<std::ptrdiff_t>(number));
    return found.element ? &found : nullptr;
}

std::size_t SimulatedDia::number(const Window& window) const {
    std::size_t place = 0;
    for (const auto& each : opened) {
        if (&each == &window) break;
        ++place;
    }
    return place;
}

SimulatedDia::Page SimulatedDia::page() const {
    if (focused >= opened.size()) return {};
    return std::next(opened.begin(), static_cast<std::ptrdiff_t>(focused))->page;
}

// Starting and ending

void SimulatedDia::started(ProcessID newProcess) {
    process = newProcess;
    application = screen.accessibility.makeElement("AXApplication");
    application->set("AXTitle", std::string("Dia"));
    screen.accessibility.setApplication(process, application);
    opensWindow(firstTab);
    repeat(habits.redraws, &SimulatedDia::redrawsComposer);
    repeat(habits.jitters, &SimulatedDia::moves);
}

void SimulatedDia::ended() {
    ++run;
    for (auto& each : opened) dropPage(each);
    opened.clear();
    application->remove();
    screen.accessibility.setApplication(process, nullptr);
}

std::size_t SimulatedDia::opensWindow(Tab tab) {
    if (!application || application->isRemoved()) return 0;
    auto& window = opened.emplace_back();
    focused = opened.size() - 1;
    window.tabs.push_back(std::move(tab));
    window.element = child(application, "AXWindow", "AXTitle", "Dia");
    const AXPoint corner{windowCorner.x + betweenWindows * static_cast<double>(focused), windowCorner.y};
    place(window.element, corner, windowSize);
    window.frame = child(window.element, "AXGroup");
    child(window.frame, "AXToolbar");
    makePage(window);
    showWindows();
    return focused;
}

void SimulatedDia::focuses(std::size_t number) {
    if (!window(number)) return;
    focused = number;
    showWindows();
}

void SimulatedDia::closesWindow() {
    auto* closed = window(focused);
    if (!closed) return;
    dropPage(*closed);
    removeAll({&closed->element, &closed->frame});
    for (std::size_t other = 0; other < opened.size(); ++other)
        if (window(other)) focused = other;
    showWindows();
}

void SimulatedDia::showWindows() {
    AXElements windows;
    for (const auto& each : opened)
        if (each.element) windows.push_back(each.element->handle());
    application->set("AXWindows", windows);
    const auto* front = window(focused);
    application->set("AXFocusedWindow", front ? AXValue(front->element->handle()) : AXValue());
    showFocus();
}

void SimulatedDia::showFocus() {
    const auto* front = window(focused);
    Element element;
    if (front && front->panel)
        element = front->panel->field ? front->panel->field : front->panel->rows;
    else if (front)
        element = front->page.editor && editorHasFocus ? front->page.editor : front->page.web;
    application->set("AXFocusedUIElement", element ? AXValue(element->handle()) : AXValue());
}

void SimulatedDia::onThisPage(Window& window, Duration delay, std::function<void(Window&)> action) {
    screen.world.outside(
        delay, [this, at = run, place = number(window), visit = window.visit, action = std::move(action)] {
            auto* there = at == run ? this->window(place) : nullptr;
            if (there && there->visit == visit) action(*there);
        });
}

void SimulatedDia::repeat(Duration interval, void (SimulatedDia::*deed)()) {
    if (interval == Duration::zero()) return;
    screen.world.outside(interval, [this, at = run, interval, deed] {
        if (at != run) return;
        (this->*deed)();
        repeat(interval, deed);
    });
}

// Elements

SimulatedDia::Element SimulatedDia::child(const Element& parent, std::string_view role,
                                          std::string_view attribute, std::string_view text) {
    auto made = screen.accessibility.makeElement(role);
    if (!attribute.empty()) made->set(attribute, std::string(text));
    parent->append(made);
    return made;
}

SimulatedDia::Element SimulatedDia::group(const Element& parent) {
    return child(parent, "AXGroup", "AXValue", "");
}

SimulatedDia::Element SimulatedDia::text(const Element& parent, const std::string& value) {
    return child(parent, "AXStaticText", "AXValue", value);
}

void SimulatedDia::place(const Element& element, AXPoint corner, AXSize size) {
    element->set("AXPosition", corner);
    element->set("AXSize", size);
}

// A control that a person could press; without actions for other programs it takes only the pointer.
SimulatedDia::Element SimulatedDia::control(const Element& parent, std::string_view english, AXPoint corner,
                                            AXSize size, std::function<void()> press) {
    const auto made = child(parent, "AXButton", "AXDescription", label(english));
    place(made, {corner.x, corner.y + offset}, size);
    made->set("AXEnabled", true);
    if (habits.hitTestLag > Duration::zero()) {
        made->isHittable = false;
        screen.world.outside(habits.hitTestLag, [made] { made->isHittable = true; });
    }
    made->click = [this, made = made.get(), press = std::move(press)] {
        if (*made->find("AXEnabled") == AXValue(true) && !habits.ignoresPresses && press) press();
    };
    if (!habits.pressesNeedPointer)
        made->perform = [click = made->click](std::string_view action) {
            if (action != "AXPress") return AXStatus::actionUnsupported;
            click();
            return AXStatus::success;
        };
    return made;
}

std::string SimulatedDia::label(std::string_view english) const {
    if (habits.isLocalized)
        for (const auto& [known, translated] : translations)
            if (known == english) return std::string(translated);
    return std::string(english);
}

std::string SimulatedDia::address(const Tab& tab) {
    return "https://" + tab.host + tab.path + tab.query;
}

// Pages

void SimulatedDia::makePage(Window& window) {
    auto& page = window.page;
    page.web = child(window.frame, "AXWebArea", "AXTitle", "ChatGPT");
    const auto corner = std::get<AXPoint>(*window.element->find("AXPosition"));
    place(page.web, {corner.x, corner.y + 80}, {windowSize.width, windowSize.height - 80});
    page.web->set("AXURL", AXURL{address(window.tab())});
    if (habits.hasSidePanel)
        child(window.frame, "AXWebArea")->set("AXURL", AXURL{"chrome://side-panel/index.html"});
    if (habits.hasSecondChatGPT)
        child(window.frame, "AXWebArea")->set("AXURL", AXURL{"https://chatgpt.com/c/beside"});
    if (window.tab().host != "chatgpt.com") {
        text(page.web, "Another site");
    } else if (habits.loading == Duration::zero()) {
        fillPage(window);
    } else {
        onThisPage(window, habits.loading, [this](Window& loaded) { fillPage(loaded); });
    }
}

void SimulatedDia::fillPage(Window& window) {
    auto& page = window.page;
    const auto sidebar = child(page.web, "AXGroup", "AXDescription", "Chat history");
    for (const auto& each : all) child(sidebar, "AXLink", "AXTitle", "Chat " + each.id);
    if (habits.isSignedOut) button(window, page.web, "Log in", {1'150, 140}, nullptr);
    page.main = group(page.web);
    page.messages = group(page.main);
    showMessages(window);
    makeComposer(window);
    showFocus();
}

// Everything that belongs to the page goes with it, the panel too.
void SimulatedDia::dropPage(Window& window) {
    ++window.visit;
    dropPanel(window);
    if (window.frame) {
        const auto below = window.frame->below();
        for (const auto& each : below)
            if (each->text("AXRole") == "AXWebArea") each->remove();
    }
    window.page = {};
}

std::size_t SimulatedDia::opensTab(Tab tab) {
    auto* front = window(focused);
    if (!front) return 0;
    front->tabs.push_back(std::move(tab));
    return front->tabs.size() - 1;
}

void SimulatedDia::selectsTab(std::size_t number) {
    auto* front = window(focused);
    if (!front || number >= front->tabs.size() || number == front->selected) return;
    dropPage(*front);
    front->selected = number;
    onThisPage(*front, habits.switching, [this](Window& shown) {
        makePage(shown);
        showFocus();
    });
    showFocus();
}

// The page stays, and shows something else.
void SimulatedDia::navigates(const std::string& path) {
    auto* front = window(focused);
    if (!front || !front->page.web) return;
    front->tab().path = path;
    front->tab().draft.clear();
    front->tab().files.clear();
    front->page.web->set("AXURL", AXURL{address(front->tab())});
    closeMenu(*front);
    showMessages(*front);
    redrawsComposer();
}

void SimulatedDia::redrawsPage() {
    auto* front = window(focused);
    if (!front || !front->page.web) return;
    dropPage(*front);
    makePage(*front);
    showFocus();
}

void SimulatedDia::showMessages(Window& window) {
    const auto& messages = window.page.messages;
    if (!messages) return;
    const auto old = messages->below();
    for (const auto& each : old) each->remove();
    const auto* shown = conversation(window.tab().conversation());
    if (!shown || habits.hidesMessages) {
        text(messages, "What can I help with?");
        return;
    }
    for (const auto& message : shown->messages) {
        const auto article = child(messages, "AXGroup", "AXDescription", "You said:");
        for (const auto& file : message.files) {
            const auto tile = child(article, "AXGroup", "AXTitle", file.name);
            text(tile, file.name);
            text(tile, "Zip Archive");
        }
        text(group(article), message.text);
        child(article, "AXButton", "AXDescription", "Copy");
    }
}

// The composer

void SimulatedDia::makeComposer(Window& window) {
    auto& page = window.page;
    const auto right = betweenWindows * static_cast<double>(number(window));
    const AXPoint corner{regionCorner.x + right, regionCorner.y + offset};
    page.region = group(page.main);
    place(page.region, corner, regionSize);
    page.chips = group(page.region);
    page.editor = child(group(group(page.region)), "AXTextArea", "AXDescription", label("Ask ChatGPT"));
    place(page.editor, {corner.x + 20, corner.y + 60}, {760, 40});
    page.editor->set("AXFocused", editorHasFocus);
    page.editor->write = [this, &window](std::string_view name, const AXValue& value) {
        return takeWrite(window, name, value);
    };
    page.toolbar = group(page.region);
    place(page.toolbar, {corner.x, corner.y + 110}, {800, 50});
    page.add = button(window, page.toolbar, "Add files and more", {corner.x + 20, corner.y + 115},
                      [this, &window] { openMenu(window); });
    const auto models = child(page.toolbar, "AXPopUpButton", "AXDescription", "Select ChatGPT model");
    if (!habits.model.empty()) text(models, habits.model);
    button(window, page.toolbar, "Dictate", {corner.x + 680, corner.y + 115}, nullptr);
    showFiles(window);
    showEditor(window);
}

SimulatedDia::Element SimulatedDia::button(Window& window, const Element& parent, std::string_view english,
                                           AXPoint corner, std::function<void()> press) {
    return control(parent, english, {corner.x, corner.y - offset}, buttonSize,
                   [this, &window, english = std::string(english), press = std::move(press)] {
                       if (english != "Send") note(window, Deed::Kind::pressedOther, false, english);
                       if (press) press();
                   });
}

void SimulatedDia::showEditor(Window& window) {
    auto& page = window.page;
    if (!page.editor) return;
    const auto old = page.editor->below();
    for (const auto& each : old) each->remove();
    const auto& draft = window.tab().draft;
    const auto prompt = label("Ask ChatGPT");
    const auto shown = draft.empty() ? prompt + "\n" : draft;
    page.editor->set("AXValue", shown);
    page.editor->set("AXNumberOfCharacters", static_cast<double>(utf16Length(shown)));
    for (const auto& line : linesOf(draft)) {
        const auto paragraph = group(page.editor);
        paragraph->write = page.editor->write;
        if (draft.empty())
            text(group(paragraph), prompt);
        else if (!line.empty())
            text(paragraph, line);
    }
    showAction(window);
}

// Send where there is something to send, the button for voice where there is nothing, Stop during a reply.
void SimulatedDia::showAction(Window& window) {
    auto& page = window.page;
    if (!page.toolbar) return;
    const auto& tab = window.tab();
    const bool offersSend = !tab.files.empty() || !isBlank(tab.draft);
    const std::string_view wanted = tab.isReplying ? "Stop streaming" : offersSend ? "Send" : "Start Voice";
    const bool isThere = page.action && page.action->text("AXDescription") == label(wanted);
    if (!isThere) {
        removeAll({&page.action});
        const auto corner = std::get<AXPoint>(*page.region->find("AXPosition"));
        page.action =
            button(window, page.toolbar, wanted, {corner.x + 740, corner.y + 115}, [this, &window, wanted] {
                if (wanted == "Send") submit(window, false);
            });
        if (wanted == "Send") page.action->set("AXEnabled", false);
        if (wanted == "Send") watchPresses(window);
    }
    if (wanted != "Send") return;
    if (tab.isUploading) return page.action->set("AXEnabled", false);
    onThisPage(window, habits.sendEnables, [](Window& there) {
        const auto& action = there.page.action;
        if (action && !there.tab().isUploading) action->set("AXEnabled", true);
    });
}

// A press counts whether or not the button does anything.
void SimulatedDia::watchPresses(Window& window) {
    const auto& action = window.page.action;
    action->click = [this, &window, press = action->click] {
        note(window, Deed::Kind::pressedSend, false);
        press();
    };
    if (!action->perform) return;
    action->perform = [click = action->click](std::string_view name) {
        if (name != "AXPress") return AXStatus::actionUnsupported;
        click();
        return AXStatus::success;
    };
}

void SimulatedDia::showFiles(Window& window) {
    auto& page = window.page;
    if (!page.chips) return;
    const auto old = page.chips->below();
    for (const auto& each : old) each->remove();
    const auto corner = std::get<AXPoint>(*page.region->find("AXPosition"));
    double x = corner.x + 20;
    for (const auto& file : window.tab().files) {
        const auto chip = group(page.chips);
        button(window, chip, file.name, {x, corner.y + 10}, nullptr);
        text(chip, file.name);
        if (window.tab().isUploading) child(chip, "AXProgressIndicator");
        button(window, chip, "Remove " + file.name, {x + 40, corner.y + 10},
               [this, &window] { clearFiles(window); });
        x += 100;
    }
}

void SimulatedDia::movesFocus(bool toEditor) {
    editorHasFocus = toEditor;
    showFocus();
}

void SimulatedDia::clearFiles(Window& window) {
    window.tab().files.clear();
    window.tab().isUploading = false;
    showFiles(window);
    showAction(window);
}

void SimulatedDia::redrawsComposer() {
    auto* front = window(focused);
    if (!front || !front->page.region) return;
    auto& page = front->page;
    page.region->remove();
    page.region = page.chips = page.editor = page.toolbar = page.add = page.action = nullptr;
    makeComposer(*front);
    showFocus();
}

void SimulatedDia::redrawsSend() {
    auto* front = window(focused);
    if (!front || !front->page.action) return;
    removeAll({&front->page.action});
    showAction(*front);
}

void SimulatedDia::scrolls(double points) {
    offset += points;
    for (const auto& each : opened) {
        std::vector<Element> moved{each.page.region, each.page.menu};
        for (std::size_t i = 0; i < moved.size(); ++i) {
            if (!moved[i]) continue;
            moved.insert(moved.end(), moved[i]->below().begin(), moved[i]->below().end());
            const auto* corner = moved[i]->find("AXPosition");
            if (!corner) continue;
            const auto at = std::get<AXPoint>(*corner);
            moved[i]->set("AXPosition", AXPoint{at.x, at.y + points});
        }
    }
}

// What is typed and written

AXStatus SimulatedDia::takeWrite(Window& window, std::string_view name, const AXValue& value) {
    const auto* written = std::get_if<std::string>(&value);
    if (name == "AXFocused" && value == AXValue(true)) {
        if (!habits.keepsFocus) movesFocus(true);
        return AXStatus::success;
    }
    if (name != "AXValue" || !written) return AXStatus::attributeUnsupported;
    note(window, Deed::Kind::written, false, *written);
    if (habits.ignoresWrites) return AXStatus::success;
    auto& draft = window.tab().draft;
    draft = habits.smartQuotes ? withSmartQuotes(*written) : *written;
    if (habits.trims) draft = trimmed(draft);
    onThisPage(window, habits.writtenShows, [this](Window& shown) { showEditor(shown); });
    return AXStatus::success;
}

void SimulatedDia::setsDraft(const std::string& draft) {
    auto* front = window(focused);
    if (!front) return;
    front->tab().draft = draft;
    onThisPage(*front, habits.textShows, [this](Window& shown) { showEditor(shown); });
}

void SimulatedDia::typed(const std::string& letters) {
    auto* front = window(focused);
    if (!front || !front->page.editor || !editorHasFocus || letters == "\r") return;
    if (!front->panel) return setsDraft(front->tab().draft + letters);
    if (front->panel->field)
        front->panel->field->set("AXValue", front->panel->field->text("AXValue") + letters);
}

// Into the focused window's editor, where everything is selected.
void SimulatedDia::pasted(const std::string& pastedText) {
    auto* front = window(focused);
    if (!front || !front->page.editor || !editorHasFocus || front->panel) return;
    takeWrite(*front, "AXValue", pastedText);
}

void SimulatedDia::pressed(const SimulatedKey& key) {
    auto* front = window(focused);
    if (!front || key.event.type != TapEventType::keyDown) return;
    const SyntheticKey stroke{key.event.keyCode, key.event.flags & modifiers};
    if (front->panel && stroke == goToKey) return openGoTo(*front);
    if (front->panel && KeyCode::isReturn(stroke.keyCode) && stroke.flags == 0)
        return front->panel->field ? acceptPath(*front) : acceptPanel(*front);
    if (!front->panel && stroke == pasteKey) return pastes(*front);
    if (!front->panel && KeyCode::isReturn(stroke.keyCode) && stroke.flags == 0) return userSends();
    if ((stroke.flags & ~SyntheticKey::shift) == 0 && !key.text.empty()) typed(key.text);
}

void SimulatedDia::pastes(Window& window) {
    if (!window.page.editor || !editorHasFocus) return;
    std::vector<std::string> paths;
    for (const auto& item : screen.pasteboard.contents())
        if (const auto list = item.find("text/uri-list"); list != item.end())
            for (auto line : linesOf(list->second)) {
                if (line.ends_with('\r')) line.pop_back();
                if (line.starts_with("file://")) paths.push_back(pathOf(line));
            }
    if (!paths.empty() && !habits.ignoresPastedFiles) return upload(window, paths, false);
    if (paths.empty() && screen.pasteboard.text) setsDraft(window.tab().draft + *screen.pasteboard.text);
}

// The deepest thing there that does anything; what lies around it takes a click that it doesn't.
void SimulatedDia::clicked(AXPoint point) {
    for (auto& each : opened) {
        std::vector<Element> below{each.element};
        SimulatedElement* hit = nullptr;
        for (std::size_t i = 0; i < below.size(); ++i) {
            if (!below[i]) continue;
            below.insert(below.end(), below[i]->below().begin(), below[i]->below().end());
            if (below[i]->covers(point)) hit = below[i].get();
        }
        while (hit && !hit->click) hit = hit->parent();
        if (!hit) continue;
        const auto click = hit->click; // The element may vanish by it.
        return click();
    }
}

// Files

void SimulatedDia::openMenu(Window& window) {
    if (window.page.menu) return closeMenu(window);
    onThisPage(window, habits.menuOpens, [this](Window& there) {
        auto& page = there.page;
        if (page.menu || !page.region) return;
        const auto right = betweenWindows * static_cast<double>(number(there));
        const AXPoint corner{menuCorner.x + right, menuCorner.y + offset};
        page.menu = group(page.web);
        place(page.menu, corner, {300, 140});
        const auto item = [&](std::string_view english, double y, std::function<void()> press) {
            return control(page.menu, english, {corner.x, corner.y + y - offset}, itemSize, std::move(press));
        };
        const auto upload = item("Add photos & files Upload from computer", 0, [this, &there] {
            note(there, Deed::Kind::pressedOther, false, "Add photos & files Upload from computer");
            closeMenu(there);
            onThisPage(there, habits.panelOpens, [this](Window& shown) { openPanel(shown); });
        });
        text(upload, "Add photos & files");
        text(upload, "Upload from computer");
        item("Create image", 45,
             [this, &there] { note(there, Deed::Kind::pressedOther, false, "Create image"); });
    });
}

void SimulatedDia::closeMenu(Window& window) {
    removeAll({&window.page.menu});
}

void SimulatedDia::openPanel(Window& window) {
    if (window.panel) return;
    auto& panel = window.panel.emplace();
    panel.sheet = child(window.element, "AXSheet", "AXIdentifier", "open-panel");
    const auto corner = std::get<AXPoint>(*window.element->find("AXPosition"));
    place(panel.sheet, {corner.x + 200, corner.y + 100}, {800, 500});
    panel.rows = child(child(panel.sheet, "AXSplitGroup"), "AXOutline");
    const auto answer = [this, &window](std::string_view identifier, void (SimulatedDia::*deed)(Window&)) {
        const auto made = child(window.panel->sheet, "AXButton", "AXIdentifier", identifier);
        made->set("AXEnabled", identifier != "OKButton");
        made->perform = [this, &window, deed](std::string_view action) {
            if (action != "AXPress") return AXStatus::actionUnsupported;
            (this->*deed)(window);
            return AXStatus::success;
        };
        return made;
    };
    answer("CancelButton", &SimulatedDia::dropPanel);
    panel.ok = answer("OKButton", &SimulatedDia::acceptPanel);
    showFocus();
}

void SimulatedDia::openGoTo(Window& window) {
    onThisPage(window, habits.goToOpens, [this](Window& there) {
        if (!there.panel || there.panel->goTo) return;
        auto& panel = *there.panel;
        panel.goTo = child(panel.sheet, "AXSheet", "AXIdentifier", "GoToWindow");
        panel.field = child(panel.goTo, "AXTextField", "AXIdentifier", "PathTextField");
        panel.field->set("AXValue", habits.goToHolds);
        panel.field->write = [this, &there](std::string_view name, const AXValue& value) {
            const auto* path = std::get_if<std::string>(&value);
            if (name != "AXValue" || !path) return AXStatus::attributeUnsupported;
            if (!habits.ignoresWrites) there.panel->field->set("AXValue", *path);
            return AXStatus::success;
        };
        child(panel.goTo, "AXList");
        showFocus();
    });
}

void SimulatedDia::acceptPath(Window& window) {
    auto& panel = *window.panel;
    const auto path = panel.field->text("AXValue");
    removeAll({&panel.field, &panel.goTo});
    showFocus();
    onThisPage(window, habits.goToTakes, [this, path](Window& there) { selectIn(there, path); });
}

void SimulatedDia::selectIn(Window& window, const std::string& path) {
    if (!window.panel) return;
    auto& panel = *window.panel;
    std::error_code isUnreadable;
    const std::filesystem::path wanted(path);
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(wanted.parent_path(), isUnreadable))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    const auto old = panel.rows->below();
    for (const auto& each : old) each->remove();
    panel.selected.clear();
    for (const auto& file : files) {
        const auto row = child(panel.rows, "AXRow");
        const bool isSelected = (file == wanted) != habits.selectsAnother;
        row->set("AXSelected", isSelected);
        if (isSelected) panel.selected.push_back(file);
        const auto name = child(child(row, "AXCell"), "AXTextField", "AXValue", file.filename().string());
        name->set("AXURL", AXURL{fileURL(file)});
    }
    panel.ok->set("AXEnabled", !panel.selected.empty());
}

void SimulatedDia::selectsInPanel(const std::string& path) {
    if (auto* front = window(focused)) selectIn(*front, path);
}

void SimulatedDia::acceptPanel(Window& window) {
    if (!window.panel || habits.ignoresPresses || window.panel->selected.empty()) return;
    upload(window, std::exchange(window.panel->selected, {}), false);
    onThisPage(window, habits.panelCloses, [this](Window& there) { dropPanel(there); });
}

void SimulatedDia::dropPanel(Window& window) {
    if (!window.panel) return;
    window.panel->sheet->remove();
    window.panel.reset();
    showFocus();
}

void SimulatedDia::closesPanel() {
    if (auto* front = window(focused)) dropPanel(*front);
}

void SimulatedDia::attaches(const std::string& path) {
    if (auto* front = window(focused)) upload(*front, {path}, true);
}

void SimulatedDia::removesFiles() {
    if (auto* front = window(focused)) clearFiles(*front);
}

void SimulatedDia::upload(Window& window, std::vector<std::string> paths, bool byPerson) {
    if (habits.alsoAttaches && !byPerson) paths.push_back(*habits.alsoAttaches);
    auto& tab = window.tab();
    for (const auto& path : paths) {
        std::ifstream file(path, std::ios::binary);
        std::string bytes(std::istreambuf_iterator<char>(file), {});
        tab.files.push_back({path, std::filesystem::path(path).filename(), std::move(bytes)});
        note(window, Deed::Kind::attached, byPerson, path);
    }
    tab.isUploading = true;
    onThisPage(window, habits.panelCloses, [this](Window& there) {
        if (habits.redrawsAtUpload) return redrawsComposer();
        showFiles(there);
        showAction(there);
    });
    if (habits.spinsForever) return;
    onThisPage(window, habits.panelCloses + habits.uploading, [this](Window& there) {
        there.tab().isUploading = false;
        showFiles(there);
        showAction(there);
    });
}

// Sending

void SimulatedDia::userSends() {
    auto* front = window(focused);
    if (!front || front->panel) return;
    const auto& action = front->page.action;
    if (action && action->text("AXDescription") == label("Send") &&
        *action->find("AXEnabled") == AXValue(true))
        submit(*front, true);
}

void SimulatedDia::submit(Window& window, bool byPerson) {
    auto& tab = window.tab();
    if (tab.isReplying || (isBlank(tab.draft) && tab.files.empty())) return;
    if (habits.losesFiles) tab.files.clear();
    note(window, Deed::Kind::sent, byPerson);
    const Message message{std::exchange(tab.draft, {}), std::exchange(tab.files, {})};
    auto id = tab.conversation();
    const bool isNew = id.empty();
    if (isNew) id = "6f1e0000-0000-4000-8000-00000000000" + std::to_string(++begun);
    if (isNew) all.push_back({id, {}});
    std::find_if(all.begin(), all.end(), [&](const auto& each) {
        return each.id == id;
    })->messages.push_back(message);
    tab.isReplying = true;
    onThisPage(window, habits.textShows, [this](Window& there) {
        showFiles(there);
        showEditor(there);
    });
    if (isNew && !habits.staysAtRoot)
        onThisPage(window, habits.newRoute, [this, id](Window& there) {
            there.tab().path = "/c/" + id;
            there.page.web->set("AXURL", AXURL{address(there.tab())});
        });
    onThisPage(window, std::max(habits.messageShows, habits.newRoute),
               [this](Window& there) { showMessages(there); });
    onThisPage(window, habits.reply, [this](Window& there) {
        there.tab().isReplying = false;
        showAction(there);
    });
}

void SimulatedDia::note(Window& window, Deed::Kind kind, bool byPerson, std::string after) {
    const auto& tab = window.tab();
    done.push_back({kind, byPerson, number(window), tab.host, tab.conversation(), tab.draft, std::move(after),
                    tab.files});
    if (onDeed) onDeed(done.back());
}

} // namespace orvel
