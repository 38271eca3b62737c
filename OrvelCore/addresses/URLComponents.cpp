#include "OrvelCore/addresses/URLComponents.h"

#include <memory>

#include <uriparser/Uri.h>

namespace orvel {

namespace {

std::string textOf(const UriTextRangeA& range) {
    return range.first ? std::string(range.first, range.afterLast) : std::string();
}

std::string lowercased(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

std::string pathOf(const UriUriA& uri) {
    std::string path;
    const bool startsAtRoot = uri.absolutePath != URI_FALSE || uri.hostText.first != nullptr;
    for (const auto* segment = uri.pathHead; segment != nullptr; segment = segment->next) {
        if (segment != uri.pathHead || startsAtRoot) path += '/';
        path += textOf(segment->text);
    }
    return path;
}

} // namespace

std::optional<URLComponents> urlComponents(std::string_view url) {
    if (url.size() > maximumURLSize) return std::nullopt;
    UriUriA uri;
    if (uriParseSingleUriExA(&uri, url.data(), url.data() + url.size(), nullptr) != URI_SUCCESS)
        return std::nullopt;
    const std::unique_ptr<UriUriA, decltype(&uriFreeUriMembersA)> members(&uri, &uriFreeUriMembersA);
    return URLComponents{lowercased(textOf(uri.scheme)), lowercased(textOf(uri.hostText)),
                         textOf(uri.portText),           pathOf(uri),
                         uri.userInfo.first != nullptr,  uri.query.first != nullptr,
                         uri.fragment.first != nullptr};
}

} // namespace orvel
