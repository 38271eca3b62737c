#include "OrvelCore/files/FilePath.h"

#include <filesystem>

namespace orvel {

namespace {

std::size_t extensionDot(std::string_view name) {
    const auto dot = name.rfind('.');
    return dot == 0 || dot + 1 == name.size() ? name.npos : dot;
}

} // namespace

std::string standardizedPath(std::string_view path) {
    std::filesystem::path whole(path);
    if (whole.is_relative()) whole = std::filesystem::current_path() / whole;
    auto text = whole.lexically_normal().string();
    while (text.size() > 1 && text.back() == '/') text.pop_back();
    return text;
}

std::string joinedPath(std::string_view folder, std::string_view name) {
    std::string path(folder);
    if (path.empty() || path.back() != '/') path += '/';
    return path += name;
}

std::string_view lastPathComponent(std::string_view path) {
    while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
    const auto slash = path.rfind('/');
    return slash == path.npos || path.size() == 1 ? path : path.substr(slash + 1);
}

std::string_view pathStem(std::string_view path) {
    const auto name = lastPathComponent(path);
    return name.substr(0, extensionDot(name));
}

std::string_view pathExtension(std::string_view path) {
    const auto name = lastPathComponent(path);
    const auto dot = extensionDot(name);
    return dot == name.npos ? std::string_view() : name.substr(dot + 1);
}

std::string_view parentFolder(std::string_view path) {
    const auto slash = path.rfind('/');
    if (slash == path.npos) return {};
    return slash == 0 ? path.substr(0, 1) : path.substr(0, slash);
}

bool hasPathComponent(std::string_view path, std::string_view name) {
    for (std::size_t from = 0; from <= path.size();) {
        const auto slash = std::min(path.find('/', from), path.size());
        if (path.substr(from, slash - from) == name) return true;
        from = slash + 1;
    }
    return false;
}

} // namespace orvel
