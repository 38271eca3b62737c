#pragma once
// The text of a message's content in a transcript, the same for both agents. For source files only: it brings
// simdjson.

#include <string>
#include <string_view>

#include <simdjson.h>

namespace orvel {

/// Stands for an attachment that has no path and no link. Part of the relayed text, and never translated.
inline constexpr std::string_view attachmentWithoutReference =
    "[添付あり: ファイル本体は転送されません。必要なパスまたはリンクを追加してください。]";

/// The text of a `content` member: a string as it is, a list of objects flattened item by item; anything
/// else, a missing member included, is the empty string. Attachments leave a line of their own.
std::string contentText(const simdjson::simdjson_result<simdjson::dom::element>& content);

/// The text of a Codex user message's payload, without the scaffolding that Codex marks in a side channel.
std::string codexUserText(const simdjson::dom::object& payload);

} // namespace orvel
