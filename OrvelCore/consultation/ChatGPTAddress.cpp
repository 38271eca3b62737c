#include "OrvelCore/consultation/ChatGPTAddress.h"

#include "OrvelCore/addresses/URLComponents.h"

namespace orvel {

namespace {

constexpr std::string_view originScheme = "https", originHost = "chatgpt.com", originPort = "443";

bool isOfOrigin(const URLComponents& url) {
    return url.scheme == originScheme && url.host == originHost && !url.hasUserInfo &&
           (url.port.empty() || url.port == originPort);
}

} // namespace

ChatGPTAddress::ChatGPTAddress(std::string_view url) {
    const auto components = urlComponents(url);
    if (!components || components->scheme.empty()) return;
    hasQuery = components->hasQuery;
    if (!isOfOrigin(*components))
        kind = ChatGPTURLKind::otherHost;
    else if (components->path == "/")
        kind = ChatGPTURLKind::root;
    else if (components->path.starts_with("/c/"))
        kind = ChatGPTURLKind::chat;
    else
        kind = ChatGPTURLKind::otherChatGPT;
}

} // namespace orvel
