// Attaches a ZIP as a person does: the menu of the page, the open panel, the path, the button.

#include "Orvel/consultation/ChatGPTAttaching.h"
#include "Orvel/consultation/ChatGPTReadFailures.h"
#include "Orvel/consultation/ChatGPTRounds.h"
#include "Orvel/consultation/FileAddress.h"
#include "Orvel/desktop/KeyboardTap.h"
#include "OrvelCore/consultation/ChatGPTComposerShape.h"

#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

namespace orvel {

namespace {

using Phase = ChatGPTDeliveryTrace::Phase;

constexpr std::string_view uploadLabel = "Add photos & files Upload from computer";
// Identifiers in the open panel of macOS.
constexpr std::string_view goToSheet = "GoToWindow", pathField = "PathTextField", openButton = "OKButton";
constexpr SyntheticKey goToKey{KeyCode::letterG, SyntheticKey::shift | SyntheticKey::command},
    returnKey{KeyCode::returnKey, 0};

// By their paths, with all links resolved.
bool isSameFile(const std::string& one, const std::string& other) {
    std::error_code isMissing, isOtherMissing;
    const auto resolved = std::filesystem::canonical(one, isMissing);
    const auto otherResolved = std::filesystem::canonical(other, isOtherMissing);
    return !isMissing && !isOtherMissing && resolved == otherResolved;
}

constexpr const char* notStarted = "Couldn't start file selection.";
constexpr const char* mismatch = "The selected file does not match the prepared ZIP. Nothing was uploaded.";

} // namespace

Task<void> ChatGPTOpenPanelAttaching::attach(ChatGPTAttachingTarget target) {
    const auto& page = target.page;
    const auto findAdd = [this, web = page.web] {
        return rooms.elements.findControl(web, "AXButton", {std::string(ChatGPTComposerShape::addFiles)});
    };
    const auto add = co_await findAdd();
    co_await rooms.pages.verifySamePage(page);
    const auto pressAdd = co_await rooms.controls.pageControlAction(add, page, findAdd);
    co_await rooms.controls.validateBeforeMutation(pressAdd);
    pressAdd.perform();

    rooms.enter(Phase::uploadMenu);
    const ChatGPTRounds::Round<PageControlAction> menu = [this, page] { return uploadItem(page); };
    const auto pressUpload = co_await ChatGPTRounds::untilReady<PageControlAction>(rooms.ports.loop, menu);
    pressUpload.perform();

    rooms.enter(Phase::panel);
    const ChatGPTRounds::Round<AXElement> panels = [this, page] { return openPanel(page); };
    const auto panel = co_await ChatGPTRounds::untilReady<AXElement>(rooms.ports.loop, panels);
    co_await goTo(target, panel);
    co_await select(target, panel);
    co_await awaitAttachment(target);
}

// The menu's item, ready to be pressed.
Task<PageControlAction> ChatGPTOpenPanelAttaching::uploadItem(ChatGPTPage page) {
    rooms.pages.requireForeground(page);
    const auto find = [this, web = page.web] {
        return rooms.elements.findControl(web, "AXButton", {std::string(uploadLabel)});
    };
    const auto item = co_await find();
    const bool isInWindow = co_await rooms.elements.checkedWithin(item, page.window);
    const bool isInWeb = co_await rooms.elements.checkedWithin(item, page.web);
    co_await rooms.elements.step();
    stopUnless(isInWindow && isInWeb && rooms.elements.checkedEnabled(item),
               "Couldn't verify an enabled upload item in the same ChatGPT view.");
    co_await rooms.pages.verifySamePage(page);
    const auto action = co_await rooms.controls.pageControlAction(item, page, find);
    co_await rooms.controls.validateBeforeMutation(action);
    co_return action;
}

Task<AXElement> ChatGPTOpenPanelAttaching::openPanel(ChatGPTPage page) {
    constexpr const char* notThisTab = "Couldn't verify that the file picker belongs to this tab.";
    rooms.pages.requireForeground(page);
    const auto panels = co_await rooms.pages.openPanels(page.window);
    stopUnless(panels.size() == 1, notThisTab);
    const bool isInWindow = co_await rooms.elements.checkedWithin(panels.front(), page.window);
    stopUnless(isInWindow, notThisTab);
    co_return panels.front();
}

// The keyboard is in the panel, and the panel in the window of the page.
Task<void> ChatGPTOpenPanelAttaching::ensureFocused(AXElement panel, ChatGPTPage page) {
    rooms.pages.requireForeground(page);
    const bool isInWindow = co_await rooms.elements.checkedWithin(panel, page.window);
    const auto application = rooms.elements.application(page.pid);
    co_await rooms.elements.step();
    const auto focused = rooms.elements.element(application, "AXFocusedUIElement");
    stopUnless(isInWindow && focused, notStarted);
    const bool isInPanel = co_await rooms.elements.checkedWithin(*focused, panel);
    stopUnless(isInPanel, notStarted);
    rooms.pages.requireForeground(page);
}

void ChatGPTOpenPanelAttaching::sendKey(SyntheticKey key) const {
    const auto events = rooms.ports.eventPosting.key(key, std::nullopt);
    stopUnless(events != nullptr, notStarted);
    events->post();
}

Task<void> ChatGPTOpenPanelAttaching::goTo(ChatGPTAttachingTarget target, AXElement panel) {
    const auto& page = target.page;
    const auto& path = target.archive.fileURL;
    rooms.enter(Phase::goTo);
    co_await ensureFocused(panel, page);
    sendKey(goToKey);
    const ChatGPTRounds::Round<AXElement> fields = [this, page, panel] {
        return focusedPathField(page, panel);
    };
    const auto field = co_await ChatGPTRounds::untilReady<AXElement>(rooms.ports.loop, fields);
    co_await verifyGoToField(field, panel, page);
    const auto status = rooms.ports.accessibility.setAttribute(field, "AXValue", AXValue(path));
    stopUnless(status == AXStatus::success, "Couldn't write to the editor.");
    co_await verifyGoToField(field, panel, page);
    co_await rooms.elements.step();
    const auto written = rooms.elements.checkedString(field, "AXValue");
    stopUnless(written == path, "Couldn't verify the selected ZIP path. Return was not pressed.");
    co_await verifyGoToField(field, panel, page);
    sendKey(returnKey);
}

Task<AXElement> ChatGPTOpenPanelAttaching::focusedPathField(ChatGPTPage page, AXElement panel) {
    rooms.pages.requireForeground(page);
    const auto application = rooms.elements.application(page.pid);
    co_await rooms.elements.step();
    const auto focused = rooms.elements.element(application, "AXFocusedUIElement");
    co_await rooms.elements.step();
    const auto identifier = focused ? rooms.elements.checkedString(*focused, "AXIdentifier") : std::nullopt;
    stopUnless(identifier == pathField, "The file picker path field is not focused.");
    co_await verifyGoToField(*focused, panel, page);
    co_return *focused;
}

Task<void> ChatGPTOpenPanelAttaching::verifyGoToField(AXElement field, AXElement panel, ChatGPTPage page) {
    constexpr const char* notOwned = "Couldn't verify ownership of the path field. Key input was stopped.";
    constexpr const char* notThisTab =
        "Couldn't verify a Go to Folder path field belonging to this ChatGPT tab.";
    auto& elements = rooms.elements;
    rooms.pages.requireForeground(page);
    co_await elements.step();
    const auto focused = elements.element(elements.application(page.pid), "AXFocusedUIElement");
    stopUnless(focused == field, notOwned);
    co_await elements.step();
    const auto role = elements.checkedString(field, "AXRole");
    co_await elements.step();
    const auto identifier = elements.checkedString(field, "AXIdentifier");
    stopUnless(role == "AXTextField" && identifier == pathField, notThisTab);
    co_await elements.step();
    const auto sheet = elements.element(field, "AXParent");
    stopUnless(sheet.has_value(), notThisTab);
    co_await elements.step();
    const auto sheetRole = elements.checkedString(*sheet, "AXRole");
    co_await elements.step();
    const auto sheetIdentifier = elements.checkedString(*sheet, "AXIdentifier");
    stopUnless(sheetRole == "AXSheet" && sheetIdentifier == goToSheet, notThisTab);
    const bool isInPanel = co_await elements.checkedWithin(*sheet, panel);
    stopUnless(isInPanel, notThisTab);
    const auto nodes = co_await elements.descendants(*sheet);
    AXElements fields;
    for (const auto& node : nodes) {
        co_await elements.step();
        const auto known = elements.checkedString(node.element, "AXIdentifier");
        if (known == pathField) fields.push_back(node.element);
    }
    const bool isInWindow = co_await elements.checkedWithin(panel, page.window);
    co_await elements.step();
    stopUnless(fields == AXElements{field} && elements.isSettable(field, "AXValue") == true && isInWindow,
               "Couldn't verify the path field, original tab, and editable state.");
    rooms.pages.requireForeground(page);
}

Task<void> ChatGPTOpenPanelAttaching::select(ChatGPTAttachingTarget target, AXElement panel) {
    const auto& page = target.page;
    rooms.enter(Phase::selection);
    const ChatGPTRounds::Round<AXElement> buttons = [this, panel, page] {
        return enabledOpenButton(panel, page);
    };
    const auto button = co_await ChatGPTRounds::untilReady<AXElement>(rooms.ports.loop, buttons);
    co_await ensureFocused(panel, page);
    co_await verifySelectedFile(target.archive.fileURL, panel);
    co_await target.archive.verifyUnchanged(rooms.ports.loop);
    // Reading the ZIP takes its time, and what is opened leaves this machine.
    co_await ensureFocused(panel, page);
    co_await verifySelectedFile(target.archive.fileURL, panel);
    co_await rooms.lastLook.verify(page);
    rooms.controls.press(button);
}

Task<AXElement> ChatGPTOpenPanelAttaching::enabledOpenButton(AXElement panel, ChatGPTPage page) {
    rooms.pages.requireForeground(page);
    co_await rooms.pages.verifySamePage(page);
    const auto nodes = co_await rooms.elements.descendants(panel);
    AXElements found;
    for (const auto& node : nodes) {
        co_await rooms.elements.step();
        const auto identifier = rooms.elements.checkedString(node.element, "AXIdentifier");
        co_await rooms.elements.step();
        if (identifier == openButton && rooms.elements.checkedEnabled(node.element))
            found.push_back(node.element);
    }
    stopUnless(found.size() == 1, "Couldn't verify the button for opening the selected ZIP.");
    co_return found.front();
}

Task<void> ChatGPTOpenPanelAttaching::verifySelectedFile(std::string path, AXElement panel) {
    auto& elements = rooms.elements;
    const auto rows = co_await elements.elementsOfRole(panel, "AXRow");
    AXElements selected;
    for (const auto& row : rows) {
        co_await elements.step();
        const auto reading = rooms.ports.accessibility.attribute(row, "AXSelected");
        stopUnless(reading.status == AXStatus::success,
                   "Couldn't read the selected file state. Nothing was uploaded.");
        const auto* isSelected = reading.as<bool>();
        stopUnless(isSelected, "Couldn't verify the selected file state.");
        if (*isSelected) selected.push_back(row);
    }
    stopUnless(selected.size() == 1, "Exactly one ZIP must be selected in the file picker.");
    const auto fields = co_await elements.elementsOfRole(selected.front(), "AXTextField");
    std::vector<std::string> urls;
    for (const auto& field : fields) {
        co_await elements.step();
        const auto value = elements.checkedAttribute(field, "AXURL");
        if (const auto* url = std::get_if<AXURL>(&value)) urls.push_back(url->text);
    }
    stopUnless(urls.size() == 1, mismatch);
    const auto chosen = pathOfFileURL(urls.front());
    stopUnless(chosen.has_value(), mismatch);
    if (*chosen == path) co_return;
    const auto resolve = [chosen = *chosen, path] { return isSameFile(chosen, path); };
    const bool isSame = co_await rooms.ports.loop.background(resolve);
    stopUnless(isSame, mismatch);
}

} // namespace orvel
