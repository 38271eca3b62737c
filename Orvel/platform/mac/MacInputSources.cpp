#include "Orvel/platform/mac/MacInputSources.h"

#include "Orvel/platform/mac/CFText.h"

#include <Carbon/Carbon.h>

namespace orvel {

namespace {

using Source = CFOwned<TISInputSourceRef>;

std::optional<std::string> textProperty(const Source& source, CFStringRef key) {
    return textIn(TISGetInputSourceProperty(source.get(), key));
}

std::optional<bool> truthProperty(const Source& source, CFStringRef key) {
    const auto* truth =
        objectOfType<CFBooleanRef>(TISGetInputSourceProperty(source.get(), key), CFBooleanGetTypeID());
    return truth ? std::optional(CFBooleanGetValue(truth) != 0) : std::nullopt;
}

} // namespace

std::optional<InputSource> MacInputSources::current() {
    const auto source = Source::created(TISCopyCurrentKeyboardInputSource());
    if (!source) return std::nullopt;
    return InputSource{.id = textProperty(source, kTISPropertyInputSourceID),
                       .mode = textProperty(source, kTISPropertyInputModeID),
                       .type = textProperty(source, kTISPropertyInputSourceType),
                       .isASCIICapable = truthProperty(source, kTISPropertyInputSourceIsASCIICapable)};
}

std::optional<std::string> MacInputSources::currentLayoutID() {
    const auto layout = Source::created(TISCopyCurrentKeyboardLayoutInputSource());
    return layout ? textProperty(layout, kTISPropertyInputSourceID) : std::nullopt;
}

} // namespace orvel
