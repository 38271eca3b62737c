#include "Orvel/platform/zip/DittoArchives.h"

#include "OrvelCore/files/FileError.h"
#include "consultation/ArchiveWorld.h"

#include <chrono>

#include <sys/stat.h>

namespace orvel {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

// Tools of this system in the place of macOS's, which get the same arguments.
struct DittoWorld : ArchiveWorld {
    DittoWorld() {
        folder.write("code/a b", "1");
        folder.write("code/ü", "2");
        ditto("cd \"${7%/*}\" && zip -qr \"$8\" \"${7##*/}\"");
        unzip("[ -z \"$UNZIP$ZIPINFO\" ] || exit 9; LC_ALL=C.UTF-8 exec unzip \"$@\"");
        setenv("UNZIP", "-l", 1); // An option that every unzip of the person's would have.
        setenv("ZIPINFO", "-h", 1);
    }
    ~DittoWorld() {
        unsetenv("UNZIP");
        unsetenv("ZIPINFO");
    }
    DittoWorld(const DittoWorld&) = delete;
    DittoWorld& operator=(const DittoWorld&) = delete;

    std::string tool(const std::string& name, const std::string& script) const {
        const auto path = folder.write(name, "#!/bin/sh\n" + script + "\n");
        fs::permissions(path, fs::perms::owner_all);
        return path;
    }
    void ditto(const std::string& script) {
        tool("ditto", "echo \"$*\" >'" + folder.path("asked") + "'\n" + script);
    }
    void unzip(const std::string& script) { tool("unzip", script); }

    std::string make() { return outcomeOf(archives.make(folder.path("code"), zip, stop)); }
    Task<void> makeUntil(bool& hasEnded) {
        auto making = archives.make(folder.path("code"), zip, stop);
        try {
            co_await making;
        } catch (const FileError&) {
            hasEnded = true;
        }
    }
    std::string list() { return outcomeOf(keepNames()); }
    Task<void> keepNames() {
        auto reading = archives.entries(zip);
        names = co_await reading;
    }

    StopFlag stop = std::make_shared<std::atomic<bool>>(false);
    const std::string zip = folder.path("made.zip");
    std::vector<std::string> names;
    DittoArchives archives{loop, processes, folder.path("ditto"), folder.path("unzip")};
};

TEST(DittoArchivesTest, PacksAFolderAndTellsWhatTheZipHolds) {
    DittoWorld world;
    world.zipArchives = &world.archives;
    ASSERT_EQ(world.prepare(), "done");
    EXPECT_THAT(filesInZip(world.archive->fileURL),
                UnorderedElementsAre(Pair("repository/", ""), Pair("repository/a b", "1"),
                                     Pair("repository/ü", "2")));

    ASSERT_EQ(world.make(), "done");
    const auto folder = world.folder.path("code");
    EXPECT_EQ(contentsOf(world.folder.path("asked")),
              "--norsrc --noextattr --noqtn -c -k --keepParent " + folder + " " + world.zip + "\n");
    ASSERT_EQ(world.list(), "done");
    EXPECT_THAT(world.names, UnorderedElementsAre("code/", "code/a b", "code/ü"));
    struct stat facts {};
    ASSERT_EQ(lstat(world.zip.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777, 0600U);
}

TEST(DittoArchivesTest, AToolThatFailsLeavesNoZip) {
    const std::pair<std::string, std::string> cases[] = {
        {"echo half >\"$8\"; exit 1", "the tool of the system failed"},
        {"echo half >\"$8\"; kill -9 $$", "the tool of the system failed"},
        {"exit 0", "No such file"}, // It has made nothing.
    };
    for (const auto& [script, reason] : cases) {
        DittoWorld world;
        world.ditto(script);
        EXPECT_THAT(world.make(), HasSubstr(reason)) << script;
        EXPECT_FALSE(fs::exists(world.zip)) << script;
    }
    DittoWorld world;
    fs::remove(world.folder.path("ditto"));
    EXPECT_THAT(world.make(), HasSubstr("Couldn't make"));
    world.folder.write("made.zip", "somebody's");
    EXPECT_THAT(world.make(), HasSubstr("Couldn't make"));
    EXPECT_EQ(contentsOf(world.zip), "somebody's");
}

TEST(DittoArchivesTest, AStopOrADropEndsTheTool) {
    for (const bool isDropped : {false, true}) {
        DittoWorld world;
        world.ditto("echo half >\"$8\"; sleep 30; echo whole >\"$8\"");
        bool hasEnded = false;
        std::optional<TaskScope> scope(std::in_place);
        scope->start(world.makeUntil(hasEnded));
        ASSERT_TRUE(world.runUntil([&] { return fs::exists(world.zip); }));
        if (isDropped) {
            scope.reset();
        } else {
            *world.stop = true;
            EXPECT_TRUE(world.runUntil([&] { return hasEnded; }));
        }
        EXPECT_FALSE(fs::exists(world.zip));
    }
}

TEST(DittoArchivesTest, AListThatIsNotWholeIsRefused) {
    const std::pair<std::string, std::string> cases[] = {
        {"echo code/a; exit 1", "it is no sound ZIP"},
        {"printf 'code/\\377\\n'", "a name is no UTF-8"},
        {"exec head -c 70000000 /dev/zero", "it holds too many names"},
    };
    for (const auto& [script, reason] : cases) {
        DittoWorld world;
        world.unzip(script);
        EXPECT_THAT(world.list(), HasSubstr(reason)) << script;
        EXPECT_THAT(world.names, IsEmpty());
    }
}

} // namespace
} // namespace orvel
