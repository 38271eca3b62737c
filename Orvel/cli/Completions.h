#pragma once
// The identifiers that the shells complete.

#include <string>

namespace orvel {

struct Places;

/// One identifier a line: of "conversations", of those of "codex" or "claude", of "links", of "closed" ones,
/// of what is "saved" and waits, or of "first" messages. Nothing where they can't be read: a shell has
/// nowhere to say why.
std::string completions(const std::string& kind, const Places& places);

} // namespace orvel
