// URLs of Claude's pages, and Codex's links to conversations.

#include "Claim.h"

#include "OrvelCore/addresses/ClaudeRoutes.h"
#include "OrvelCore/addresses/CodexDeepLink.h"

#include <cstdint>

using namespace orvel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const ClaudeCodeRoute code(text);
    const auto chat = claudeChatRoute(text);
    claim(code.desktopSessionID.has_value() == (code.kind == ClaudeCodeRoute::Kind::conversation),
          "just a conversation has an id");
    if (code.desktopSessionID) {
        claim(code.desktopSessionID->size() == 42 && text.find(*code.desktopSessionID) != text.npos,
              "the id is as written");
        claim(ClaudeCodeRoute(std::string(claudeWebOrigin) + "/epitaxy/" + *code.desktopSessionID) == code,
              "the id leads to the same page");
    }
    claim(chat == ClaudeChatRoute::unsupported || code.kind == ClaudeCodeRoute::Kind::unsupported,
          "no page is of both kinds");
    const auto summary = urlStructure(text).text();
    claim(summary.size() < 512, "a summary is short");
    for (const char c : summary) claim(c >= ' ' && c <= '~', "a summary is one line of ASCII");

    if (const auto id = CodexDeepLink::threadID(text)) {
        claim(text.size() == 52, "a link is bare");
        claim(CodexDeepLink::threadID("codex://threads/" + *id) == id, "the id survives another link");
    }
    return 0;
}
