#include "OrvelCore/files/FolderWalk.h"

#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/text/Unicode.h"

#include <memory>
#include <vector>

#include <dirent.h>
#include <sys/stat.h>

namespace orvel {

namespace {

struct CloseListing {
    void operator()(DIR* listing) const { closedir(listing); }
};

// Whether the entry is a folder itself, not a link to one. Some file systems do not say in the listing.
bool isFolder(const dirent& entry, const std::string& path) {
    if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
    struct stat facts {};
    return lstat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

} // namespace

void walkFolder(const std::string& root, const std::function<void(const std::string& path)>& visit) {
    std::vector<std::string> waiting{root};
    while (!waiting.empty()) {
        const auto folder = std::move(waiting.back());
        waiting.pop_back();
        const std::unique_ptr<DIR, CloseListing> listing(opendir(folder.c_str()));
        if (!listing) continue;
        while (const auto* entry = readdir(listing.get())) {
            const std::string_view name = entry->d_name;
            if (name.starts_with('.') || !isValidUTF8(name)) continue;
            auto path = joinedPath(folder, name);
            if (isFolder(*entry, path))
                waiting.push_back(std::move(path));
            else
                visit(path);
        }
    }
}

} // namespace orvel
