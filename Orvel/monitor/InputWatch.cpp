#include "Orvel/monitor/InputWatch.h"

#include "Orvel/desktop/EventPosting.h"

#include <utility>

namespace orvel {

namespace {

// The bits of a tap's flags.
constexpr auto commandFlag = SyntheticKey::command, shiftFlag = SyntheticKey::shift,
               controlFlag = SyntheticKey::control, optionFlag = SyntheticKey::option;
constexpr std::uint64_t functionFlag = 0x800000;

DiagnosticText modifierSummary(std::uint64_t flags) {
    struct Name {
        std::uint64_t bit;
        FixedWords word;
    };
    static constexpr Name names[] = {
        {commandFlag, "cmd"}, {optionFlag, "opt"}, {controlFlag, "ctrl"}, {shiftFlag, "shift"}};
    DiagnosticText summary;
    for (const auto& [flag, name] : names) {
        if (!(flags & flag)) continue;
        if (!summary.text().empty()) summary += DiagnosticText("+");
        summary += DiagnosticText(name);
    }
    return summary.text().empty() ? DiagnosticText("none") : summary;
}

FixedWords keyName(std::int64_t code) {
    if (KeyCode::isReturn(code)) return "Return";
    return code == KeyCode::copyKey ? FixedWords("copy-key") : FixedWords("other");
}

} // namespace

ReturnModifiers returnModifiers(std::uint64_t flags) {
    ReturnModifiers modifiers;
    if (flags & commandFlag) modifiers.rawValue |= ReturnModifiers::command;
    if (flags & shiftFlag) modifiers.rawValue |= ReturnModifiers::shift;
    if (flags & controlFlag) modifiers.rawValue |= ReturnModifiers::control;
    if (flags & optionFlag) modifiers.rawValue |= ReturnModifiers::option;
    if (flags & functionFlag) modifiers.rawValue |= ReturnModifiers::function;
    return modifiers;
}

bool InputWatch::swallows(const TapEvent& event) {
    const bool isKeyDown = event.type == TapEventType::keyDown;
    if (!isKeyDown && event.type != TapEventType::keyUp) {
        const bool isFlags = event.type == TapEventType::flagsChanged;
        if (isFlags && release.consume(event.keyCode, returnModifiers(event.flags))) return false;
        release.cancel();
        note(DiagnosticText::of("type={}, marker=false, source={}, modifiers={}",
                                static_cast<std::uint32_t>(event.type), originOf(event),
                                modifierSummary(event.flags)));
        return false;
    }
    if (keys.consumes(event.keyCode, isKeyDown, event.isRepeat)) return true;
    if (!isKeyDown) return false;
    if (!event.isRepeat) release.cancel();
    note(DiagnosticText::of("keyDown={}, repeat={}, marker=false, source={}, modifiers={}",
                            keyName(event.keyCode), event.isRepeat, originOf(event),
                            modifierSummary(event.flags)));
    return false;
}

void InputWatch::suppress(const TapEvent& event, Agent agent) {
    keys.begin(event.keyCode);
    source = agent;
    release.cancel();
    if (const auto shortcut = returnShortcut(returnModifiers(event.flags))) release.arm(*shortcut);
}

void InputWatch::reset() {
    keys = {};
    release.cancel();
    source.reset();
}

void InputWatch::note(DiagnosticText event) {
    ++count;
    last = std::move(event);
}

FixedWords InputWatch::originOf(const TapEvent& event) const {
    if (event.sourceProcess == 0) return "zero";
    return event.sourceProcess == ownProcess ? FixedWords("Orvel") : FixedWords("other");
}

} // namespace orvel
