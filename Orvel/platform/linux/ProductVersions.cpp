#include "Orvel/platform/linux/ProductVersions.h"

#include "Orvel/platform/linux/ChildOutput.h"
#include "OrvelCore/files/FilePath.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <fstream>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace orvel {

namespace {

using Json = nlohmann::json;

constexpr std::size_t longestVersion = 64, mostKnown = 64;
constexpr std::uint32_t largestIndex = 16'777'216, largestPackage = 1'048'576;

std::optional<std::string> versionIn(const std::string& packageJson) {
    const auto parsed = Json::parse(packageJson, nullptr, false);
    if (!parsed.is_object() || !parsed.contains("version") || !parsed["version"].is_string())
        return std::nullopt;
    auto version = parsed["version"].get<std::string>();
    const auto isPlain = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' ||
               c == '-' || c == '+' || c == '_' || c == '~';
    };
    const bool isVersion =
        !version.empty() && version.size() <= longestVersion && std::ranges::all_of(version, isPlain);
    return isVersion ? std::optional(std::move(version)) : std::nullopt;
}

std::string bytesAt(std::ifstream& file, std::uint64_t offset, std::uint32_t count) {
    std::string bytes(count, '\0');
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(bytes.data(), static_cast<std::streamsize>(count));
    return file ? bytes : std::string();
}

// An archive begins with four numbers (4, the size of what follows, the same less 4, the length of the
// index), the index as JSON, and behind it the files. Format: "asar" of the Electron project.
std::optional<std::string> versionInArchive(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::array<unsigned char, 16> head{};
    if (!file.read(reinterpret_cast<char*>(head.data()), head.size())) return std::nullopt;
    const auto number = [&](std::size_t at) {
        return static_cast<std::uint32_t>(head[at] | head[at + 1] << 8 | head[at + 2] << 16) |
               static_cast<std::uint32_t>(head[at + 3]) << 24U;
    };
    const auto headerSize = number(4), length = number(12);
    if (number(0) != 4 || length > largestIndex || headerSize < length) return std::nullopt;
    const auto index = Json::parse(bytesAt(file, head.size(), length), nullptr, false);
    const auto entry = Json::json_pointer("/files/package.json");
    if (!index.is_object() || !index.contains(entry)) return std::nullopt;
    const auto& found = index[entry];
    const auto size = found.value("size", std::uint32_t{0});
    const auto offset = std::stoull(found.value("offset", std::string()));
    if (size == 0 || size > largestPackage) return std::nullopt;
    return versionIn(bytesAt(file, 8 + std::uint64_t{headerSize} + offset, size));
}

} // namespace

std::optional<std::string> versionBeside(const std::string& executable) try {
    const auto resources = joinedPath(parentFolder(executable), "resources");
    if (std::ifstream plain(joinedPath(resources, "app/package.json"), std::ios::binary); plain) {
        std::string text(largestPackage, '\0');
        plain.read(text.data(), static_cast<std::streamsize>(text.size()));
        text.resize(static_cast<std::size_t>(plain.gcount()));
        if (auto version = versionIn(text)) return version;
    }
    return versionInArchive(joinedPath(resources, "app.asar"));
} catch (const std::exception&) {
    return std::nullopt; // Not what an archive holds.
}

std::string upstreamVersion(std::string_view debianVersion) {
    if (const auto colon = debianVersion.find(':'); colon != debianVersion.npos)
        debianVersion.remove_prefix(colon + 1);
    if (const auto dash = debianVersion.rfind('-'); dash != debianVersion.npos)
        debianVersion = debianVersion.substr(0, dash);
    return std::string(debianVersion);
}

std::optional<std::string> ProductVersions::of(ProcessID process, const std::string& executable,
                                               Otherwise otherwise) {
    const Key key{process, executable};
    const auto found = known.find(key);
    if (found != known.end()) return found->second;
    if (known.size() >= mostKnown) known.clear();
    known.emplace(key, std::nullopt);
    tasks.start(find(key, std::move(otherwise)));
    return std::nullopt;
}

Task<void> ProductVersions::find(Key key, Otherwise otherwise) {
    const auto beside = [executable = key.second] { return versionBeside(executable); };
    auto version = co_await loop.background(beside);
    if (!version) version = co_await packaged(key.second);
    if (!version) version = otherwise();
    known.insert_or_assign(key, std::move(version));
}

Task<std::optional<std::string>> ProductVersions::packaged(std::string executable) {
    // "package:architecture: /path", perhaps with others before the colon; a name is a letter or digit and
    // more of its kind.
    std::vector<std::string> search{"--search", std::move(executable)};
    const auto owner = co_await childOutput(loop, processes, "dpkg-query", std::move(search));
    if (!owner || owner->starts_with("diversion")) co_return std::nullopt;
    const auto package = owner->substr(0, owner->find_first_of(":, \n"));
    if (package.empty() || package.starts_with('-')) co_return std::nullopt;
    std::vector<std::string> show{"--show", "--showformat=${Version}", package};
    const auto version = co_await childOutput(loop, processes, "dpkg-query", std::move(show));
    if (!version || version->empty() || version->size() > longestVersion) co_return std::nullopt;
    co_return upstreamVersion(*version);
}

} // namespace orvel
