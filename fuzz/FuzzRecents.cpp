// The file of recent conversations.

#include "Claim.h"

#include "OrvelCore/conversations/RecentConversationsStore.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/text/Unicode.h"

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <unordered_set>

#include <unistd.h>

using namespace orvel;

namespace {

// A file of this process, in memory where the system offers that, removed at its end.
struct ScratchFile {
    std::string path = folder() + "/orvel-fuzz-recents-" + std::to_string(getpid());
    ~ScratchFile() { std::filesystem::remove(path); }

    static std::string folder() {
        return std::filesystem::is_directory("/dev/shm") ? "/dev/shm"
                                                         : std::filesystem::temp_directory_path().string();
    }
};

void writeFile(const std::string& path, std::string_view contents) {
    std::ofstream(path, std::ios::binary)
        .write(contents.data(), static_cast<std::streamsize>(contents.size()));
}

void save(RecentConversationsStore& store, RecentConversationsStore::Change change) {
    writeFile(store.path(), change.contents);
    store.adopt(std::move(change));
}

void claimWellFormed(const std::vector<RecentConversation>& entries) {
    claim(entries.size() <= RecentConversationsStore::maximumEntries, "the list is short");
    std::unordered_set<std::string> paths;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const auto& entry = entries[i];
        claim(entry.path == standardizedPath(entry.path), "paths are standardised");
        claim(paths.insert(entry.path).second, "paths are unique");
        claim(std::isfinite(entry.lastUsed), "dates are finite");
        claim(firstCharacters(entry.title, 200) == entry.title, "titles are short");
        claim(isValidUTF8(entry.title) && isValidUTF8(entry.path), "texts are UTF-8");
        claim(i == 0 || entries[i - 1].lastUsed >= entry.lastUsed, "the newest comes first");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchFile file;
    writeFile(file.path, {reinterpret_cast<const char*>(data), size});
    RecentConversationsStore store(file.path);
    claimWellFormed(store.entries());
    claim(!store.loadErrorDescription() || store.entries().empty(), "a bad file gives no entries");

    save(store, store.removing(""));
    claim(RecentConversationsStore(file.path).entries() == store.entries(), "what is saved loads again");
    save(store, store.recording(Agent::claude, "", "/new", 1e9));
    claimWellFormed(store.entries());
    claim(RecentConversationsStore(file.path).entries() == store.entries(), "what is recorded loads again");
    return 0;
}
