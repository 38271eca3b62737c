#include "Orvel/platform/linux/IBusInputSources.h"

#include "Orvel/platform/linux/IBusDaemon.h"
#include "Orvel/platform/linux/IBusVocabulary.h"
#include "Orvel/platform/linux/XKeyboardLayout.h"

namespace orvel {

std::optional<InputSource> IBusInputSources::current() {
    const auto input = ibus.input();
    if (input.engine) return sourceOf(*input.engine, input.mode);
    if (input.presence != IBusDaemon::Presence::absent || !layout.isAlone()) return std::nullopt;
    const auto found = layout.current();
    return found ? std::optional(sourceOf(*found)) : std::nullopt;
}

// An engine that is a layout may leave the server's as it is, according to IBus's settings.
std::optional<std::string> IBusInputSources::currentLayoutID() {
    const auto found = layout.current();
    return found ? std::optional(layoutIDOf(*found)) : std::nullopt;
}

} // namespace orvel
