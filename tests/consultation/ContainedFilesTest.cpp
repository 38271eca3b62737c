// The reading that no link may lead astray, whenever it was put there.

#include "Orvel/consultation/ContainedFiles.h"

#include "Failures.h"
#include "TemporaryFolder.h"

#include <functional>
#include <vector>

#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace orvel {
namespace {

namespace fs = std::filesystem;

TEST(ContainedFilesTest, NothingIsReadThroughALinkOrFromWhatIsNoFile) {
    struct Case {
        std::string name;
        std::function<void(const TemporaryFolder&)> swap; ///< Behind every check.
        std::string end;
    };
    const std::string moved = "notSent: The folder target changed during preparation.",
                      unreadable = "notSent: A file became unreadable during preparation.",
                      special = "notSent: Only regular files can be sent.";
    const Case cases[] = {
        {"nothing", [](auto&) {}, "done"},
        {"the folder is a link",
         [](auto& f) {
             fs::rename(f.path("p/root"), f.path("p/away"));
             fs::create_symlink(f.path("p/away"), f.path("p/root"));
         },
         "notSent: Couldn't open the selected folder."},
        {"what the folder lies in is a link",
         [](auto& f) {
             fs::rename(f.path("p"), f.path("away"));
             fs::create_directory_symlink(f.path("other"), f.path("p"));
         },
         "notSent: Couldn't open the selected folder."},
        {"a folder is a link",
         [](auto& f) {
             fs::rename(f.path("p/root/a"), f.path("p/root/b"));
             fs::create_directory_symlink("b", f.path("p/root/a"));
         },
         moved},
        {"the file is a link",
         [](auto& f) {
             fs::rename(f.path("p/root/a/x"), f.path("p/root/a/y"));
             fs::create_symlink("y", f.path("p/root/a/x"));
         },
         unreadable},
        {"the file is gone", [](auto& f) { fs::remove(f.path("p/root/a/x")); }, unreadable},
        {"the file is a FIFO",
         [](auto& f) {
             fs::remove(f.path("p/root/a/x"));
             EXPECT_EQ(mkfifo(f.path("p/root/a/x").c_str(), 0600), 0);
         },
         special},
        {"the file is a folder",
         [](auto& f) {
             fs::remove(f.path("p/root/a/x"));
             fs::create_directory(f.path("p/root/a/x"));
         },
         special},
        {"the file has grown", [](auto& f) { f.write("p/root/a/x", "12345678901"); },
         "notSent: The selection exceeds 100 MB. Choose a smaller folder."},
    };
    for (const auto& each : cases) {
        const auto folder = TemporaryFolder::quick();
        folder.write("p/root/a/x", "1234567890");
        folder.write("other/root/a/x", "secret");
        const auto chosen = chosenFolder(folder.path("p/root"));
        each.swap(folder);
        const std::atomic<bool> stop = false;
        EXPECT_EQ(endOf([&] { EXPECT_EQ(readRegularFile("a/x", chosen, 10, stop), "1234567890"); }), each.end)
            << each.name;
    }
}

TEST(ContainedFilesTest, ALinkAnywhereOnTheWayIsSeen) {
    const TemporaryFolder folder;
    folder.write("root/a/x", "");
    folder.write("elsewhere/x", "");
    const auto link = [&](const std::string& name, const std::string& target) {
        fs::create_symlink(target, folder.path("root/" + name));
    };
    link("file", "a/x");
    link("inner", "a");
    link("outer", folder.path("elsewhere"));
    link("broken", "nowhere");
    const std::pair<std::string, bool> cases[] = {{"a/x", true},
                                                  {"a", true},
                                                  {"missing/x", true},
                                                  {"file", false},
                                                  {"inner/x", false},
                                                  {"outer/x", false},
                                                  {"broken", false},
                                                  {"../elsewhere/x", false},
                                                  {"a/../../elsewhere/x", false}};
    for (const auto& [path, isPlain] : cases)
        EXPECT_EQ(hasNoSymlinkComponents(path, fs::canonical(folder.path("root")).native()), isPlain) << path;
}

} // namespace
} // namespace orvel
