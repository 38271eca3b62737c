#include "Orvel/consultation/ChatGPTRepositoryArchive.h"

#include "Orvel/consultation/ArchiveStaging.h"
#include "OrvelCore/text/Digest.h"
#include "consultation/ArchiveWorld.h"

#include <array>
#include <functional>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace orvel {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::StartsWith;

const std::string tooLarge = "The selection exceeds 100 MB. Choose a smaller folder.";
const std::string noList = "Couldn't prepare the file list or ZIP.";
const std::string noFiles = "There are no files to send. Check the folder and exclusion rules.";
const std::string mismatch = "ZIP contents do not match the selected files. No ZIP was prepared for sending.";
const std::string stopped = "The preparation was stopped. No ZIP was kept.";
const std::string insideItself = "Choose a folder that does not contain the ZIP staging directory.";

std::vector<std::string> told(const std::vector<LeftOutPath>& leftOut) {
    std::vector<std::string> lines;
    for (const auto& each : leftOut) lines.push_back(each.path + ": " + std::string(nameOf(each.reason)));
    return lines;
}

mode_t modeOf(const std::string& path) {
    struct stat facts {};
    EXPECT_EQ(lstat(path.c_str(), &facts), 0) << path;
    return facts.st_mode & 07777;
}

TEST(ChatGPTRepositoryArchiveTest, HoldsWhatGitOffersAndTellsWhatItLeavesOut) {
    ArchiveWorld world;
    const auto& folder = world.folder;
    folder.write("elsewhere/secret", "canary");
    for (const auto* name : {"README", "src/main.c", "src/.env.local", "deploy/KEY.PEM", "gone", "-n"})
        folder.write("code/" + std::string(name), name);
    folder.write("code/.gitignore", "ignored\n");
    fs::create_symlink("../elsewhere/secret", folder.path("code/link"));
    world.shell("git init -q .");
    world.commit();
    world.shell("git update-index --add --cacheinfo 160000,$(git rev-parse HEAD),module && mkdir module");
    world.shell("git init -q nested && cp README nested && rm gone && mkfifo pipe && rm src/main.c && mkfifo "
                "src/main.c");
    folder.write("code/untracked", "new");
    folder.write("code/ignored", "canary");
    fs::create_directory_symlink("src", folder.path("code/linked"));

    ASSERT_EQ(world.prepare(), "done");
    const auto& archive = *world.archive;
    EXPECT_THAT(filesInZip(archive.fileURL),
                ElementsAre(Pair("repository/-n", "-n"), Pair("repository/.gitignore", "ignored\n"),
                            Pair("repository/README", "README"), Pair("repository/untracked", "new")));
    EXPECT_THAT(told(archive.contents->leftOut),
                ElementsAre("deploy/KEY.PEM: excludedName", "gone: missing", "link: link", "linked: link",
                            "module: nestedRepository", "nested/: nestedRepository",
                            "src/.env.local: excludedName", "src/main.c: notRegular"));
    EXPECT_TRUE(archive.contents->isListedByGit);
    EXPECT_EQ(archive.excludedCount, 8);
    EXPECT_EQ(archive.fileCount, 4);
    EXPECT_EQ(archive.byteCount, 2 + 8 + 6 + 3);
    EXPECT_THAT(archive.contents->packed, ElementsAre(PackedFile{"-n", 2}, PackedFile{".gitignore", 8},
                                                      PackedFile{"README", 6}, PackedFile{"untracked", 3}));
    const auto zip = contentsOf(archive.fileURL);
    EXPECT_EQ(archive.sha256, sha256Hex({zip}));
    EXPECT_EQ(archive.archiveByteCount, zip.size());
    EXPECT_EQ(archive.sourceFolder, fs::canonical(folder.path("code")).native());

    // Nothing else lies there, and nobody else can look.
    const auto staging = fs::path(archive.fileURL).parent_path();
    EXPECT_EQ(ArchiveWorld::entriesOf(staging), 1);
    EXPECT_EQ(modeOf(archive.fileURL), 0600);
    EXPECT_EQ(modeOf(staging), 0700);
    EXPECT_EQ(modeOf(folder.path("out")), 0700);
    EXPECT_THAT(fs::path(archive.fileURL).filename().native(), StartsWith("orvel-"));

    // A folder of the work tree stands for itself, also in another work tree of the repository.
    world.shell("git worktree add -q ../tree");
    for (const auto* chosen : {"code/deploy", "tree/src"})
        EXPECT_EQ(world.prepare(folder.path(chosen), folder.path("out")),
                  std::string(chosen) == "tree/src" ? "done" : noFiles);
    EXPECT_THAT(filesInZip(world.archive ? world.archive->fileURL : ""),
                ElementsAre(Pair("repository/main.c", "src/main.c")));
}

TEST(ChatGPTRepositoryArchiveTest, HoldsEverythingOutsideGitUnderItsExactName) {
    ArchiveWorld world;
    const std::string names[] = {"-rf",     " blank ",     "e\u0301", "\u00E9", std::string(255, 'n'),
                                 "q\"\\*?", "\u65E5\u672C"};
    for (const auto& name : names) world.folder.write("code/" + name, name);
    world.folder.write("code/.ssh/config", "canary");
    world.folder.write("code/deep/secrets.json/a.txt", "canary");
    world.folder.write("code/deep/.env", "canary");
    world.folder.write("elsewhere/a", "canary");
    fs::create_directory_symlink("../elsewhere", world.folder.path("code/folder"));
    fs::create_symlink("../elsewhere/a", world.folder.path("code/file"));
    EXPECT_EQ(mkfifo(world.folder.path("code/pipe").c_str(), 0600), 0);

    ASSERT_EQ(world.prepare(), "done");
    std::map<std::string, std::string> expected;
    for (const auto& name : names) expected.emplace("repository/" + name, name);
    EXPECT_EQ(filesInZip(world.archive->fileURL), expected);
    const auto& contents = *world.archive->contents;
    EXPECT_THAT(told(contents.leftOut),
                ElementsAre("deep/.env: excludedName", "file: link", "folder: link", "pipe: notRegular"));
    EXPECT_THAT(told(contents.skippedFolders),
                ElementsAre(".ssh: excludedName", "deep/secrets.json: excludedName"));
    EXPECT_FALSE(contents.isListedByGit);
}

TEST(ChatGPTRepositoryArchiveTest, AFailureSaysWhyAndLeavesNothing) {
    struct Case {
        std::string name, setup, code, output, end;
    };
    const std::string git = "git init -q . && ";
    const Case cases[] = {
        {"no folder", "true", "code/none", "out", "Choose a repository or folder."},
        {"a file", "touch a", "code/a", "out", "Choose a repository or folder."},
        {"the output is the folder", "touch a", "code", "code", insideItself},
        {"the output lies inside", "touch a", "code", "code/x/y", insideItself},
        {"a link leads the output inside", "touch a && mkdir in && ln -s code/in ../way", "code", "way/out",
         insideItself},
        {"a link leads to the folder", "touch a && ln -s code ../way", "way", "code/out", insideItself},
        {"others may write the output", "touch a && mkdir -m 777 ../open", "code", "open",
         "Couldn't use “OUTPUT”: Others may write there."},
        {"nothing", "true", "code", "out", noFiles},
        {"only what is excluded", "touch .env", "code", "out", noFiles},
        {"nothing in git", git + "true", "code", "out", noFiles},
        {"a line feed", "touch \"$(printf 'a\\nb')\" c", "code", "out", mismatch},
        {"a line feed in git", git + "touch \"$(printf 'a\\nb')\"", "code", "out", mismatch},
        {"no UTF-8", "touch \"$(printf 'a\\377')\"", "code", "out", noList},
        {"no UTF-8 in git", git + "touch \"$(printf 'a\\377')\"", "code", "out", noList},
        {"git fails", git + "echo broken > .git/index", "code", "out", noList},
        {"too large", "truncate -s 104857601 a", "code", "out", tooLarge},
        {"too large together", "truncate -s 60000000 a && truncate -s 50000000 b", "code", "out", tooLarge},
    };
    for (const auto& each : cases) {
        ArchiveWorld world;
        world.shell(each.setup);
        const auto output = world.folder.path(each.output);
        auto end = each.end;
        if (const auto at = end.find("OUTPUT"); at != end.npos) end.replace(at, 6, output);
        EXPECT_EQ(world.prepare(world.folder.path(each.code), output), end) << each.name;
        EXPECT_EQ(world.stagingFolders(), 0) << each.name;
        EXPECT_FALSE(fs::exists(world.folder.path("code/x"))) << each.name;
    }
}

TEST(ChatGPTRepositoryArchiveTest, ExactlyTheLimitGoesIn) {
    ArchiveWorld world;
    world.folder.writeSparse("code/a", ChatGPTRepositoryArchive::sizeLimit - 1);
    world.folder.write("code/b", "1");
    world.folder.write("code/c", "");
    ASSERT_EQ(world.prepare(), "done");
    EXPECT_EQ(world.archive->byteCount, ChatGPTRepositoryArchive::sizeLimit);
    EXPECT_EQ(world.archive->fileCount, 3);
}

// A repository may come from anywhere, and so may the environment.
TEST(ChatGPTRepositoryArchiveTest, NeitherSettingsNorVariablesLeadGitAstray) {
    ArchiveWorld world;
    world.shell(
        "git init -q . && touch a && printf '#!/bin/sh\\ntouch \"$0\".ran\\n' > ../hook && chmod +x ../hook");
    world.commit();
    const auto hook = world.folder.path("hook");
    world.shell("git config core.fsmonitor " + hook +
                " && git config core.untrackedCache true && "
                "git config core.hooksPath " +
                world.folder.path("hooks") +
                " && mkdir ../hooks && for h in post-index-change fsmonitor-watchman; do ln ../hook "
                "../hooks/$h; done");
    world.shell("git init -q ../other && touch ../other/canary");
    // They do lead git astray as such.
    world.shell("git ls-files --others && rm ../hook.ran");
    const auto other = world.folder.path("other");
    const std::pair<const char*, std::string> variables[] = {
        {"GIT_DIR", other + "/.git"},          {"GIT_WORK_TREE", other},
        {"GIT_INDEX_FILE", other + "/none"},   {"GIT_CONFIG_COUNT", "1"},
        {"GIT_CONFIG_KEY_0", "core.worktree"}, {"GIT_CONFIG_VALUE_0", other},
        {"GIT_CEILING_DIRECTORIES", "/"}};
    for (const auto& [name, value] : variables) setenv(name, value.c_str(), 1);
    const auto end = world.prepare();
    for (const auto& [name, value] : variables) unsetenv(name);
    ASSERT_EQ(end, "done");
    EXPECT_THAT(filesInZip(world.archive->fileURL), ElementsAre(Pair("repository/a", "")));
    EXPECT_TRUE(world.archive->contents->isListedByGit);
    EXPECT_FALSE(fs::exists(hook + ".ran"));
    for (const auto& entry : fs::directory_iterator(world.folder.path("hooks")))
        EXPECT_FALSE(entry.path().native().ends_with(".ran")) << entry.path();
}

// Git would ask the place that the repository names for the object, by a program that it names.
TEST(ChatGPTRepositoryArchiveTest, AMissingObjectIsFetchedFromNowhere) {
    ArchiveWorld world;
    world.shell("git init -q . && mkdir in out && touch in/a out/b");
    world.commit();
    const auto hook = world.folder.path("hook");
    world.folder.write("hook", "#!/bin/sh\ntouch \"$0\".ran\nexec git-upload-pack \"$@\"\n");
    world.shell(
        "chmod +x ../hook && git clone -q --bare . ../origin && "
        "git sparse-checkout init --cone --sparse-index && git sparse-checkout set in && "
        "t=$(git rev-parse HEAD:out) && rm -f .git/objects/$(echo $t | cut -c1-2)/$(echo $t | cut -c3-)");
    world.shell("git config core.repositoryFormatVersion 1 && git config extensions.partialClone origin && "
                "git config remote.origin.promisor true && git config remote.origin.uploadpack ../hook && "
                "git config remote.origin.url \"file://$(cd ../origin && pwd)\"");
    // It does so as such.
    world.shell("cp -r . ../probe && cd ../probe && git ls-files && rm ../hook.ran");
    EXPECT_EQ(world.prepare(), "done");
    EXPECT_FALSE(fs::exists(hook + ".ran"));
}

// What another ZIP tool could come to.
struct OtherEntries : ZipArchives {
    explicit OtherEntries(ZipArchives& real) : real(real) {}
    Task<void> make(std::string folder, std::string path, StopFlag stop) override {
        return real.make(std::move(folder), std::move(path), std::move(stop));
    }
    Task<std::vector<std::string>> entries(std::string path) override {
        auto listing = real.entries(std::move(path));
        auto names = co_await listing;
        change(names);
        co_return names;
    }

    ZipArchives& real;
    std::function<void(std::vector<std::string>&)> change;
};

TEST(ChatGPTRepositoryArchiveTest, OnlyAZipWithExactlyTheSelectedFilesIsKept) {
    using Names = std::vector<std::string>;
    const std::pair<std::function<void(Names&)>, std::string> cases[] = {
        {[](Names& names) {
             std::ranges::reverse(names);
             names.emplace_back("repository/");
         },
         "done"},
        {[](Names& names) { names.pop_back(); }, mismatch},
        {[](Names& names) { names.emplace_back("repository/c"); }, mismatch},
        {[](Names& names) { names.push_back(names.back()); }, mismatch},
        {[](Names& names) { names.back() += "x"; }, mismatch},
        {[](Names& names) { names.clear(); }, mismatch},
    };
    for (const auto& [change, end] : cases) {
        ArchiveWorld world;
        OtherEntries other(world.libzip);
        other.change = change;
        world.zipArchives = &other;
        world.folder.write("code/a", "1");
        world.folder.write("code/b", "2");
        EXPECT_EQ(world.prepare(), end);
        EXPECT_EQ(world.stagingFolders(), end == "done" ? 1 : 0);
    }
}

TEST(ChatGPTRepositoryArchiveTest, AChangeOfTheZipIsSeen) {
    const std::string changed = "The prepared ZIP changed. Choose the folder again.",
                      otherContents = "The prepared ZIP contents changed. Nothing was sent.";
    const std::pair<std::function<void(const std::string&)>, std::string> cases[] = {
        {[](auto&) {}, "done"},
        {[](auto& zip) {
             auto bytes = contentsOf(zip);
             bytes[bytes.size() / 2] ^= 1;
             std::ofstream(zip, std::ios::binary) << bytes;
         },
         otherContents},
        {[](auto& zip) { std::ofstream(zip, std::ios::app) << "x"; }, changed},
        {[](auto& zip) { fs::resize_file(zip, fs::file_size(zip) - 1); }, changed},
        {[](auto& zip) { fs::remove(zip); }, changed},
        {[](auto& zip) {
             fs::rename(zip, zip + "2");
             fs::create_symlink(zip + "2", zip);
         },
         changed},
        {[](auto& zip) {
             fs::remove(zip);
             EXPECT_EQ(mkfifo(zip.c_str(), 0600), 0);
         },
         changed},
        {[](auto& zip) {
             fs::remove(zip);
             fs::create_directory(zip);
         },
         changed},
    };
    for (const auto& [change, end] : cases) {
        ArchiveWorld world;
        world.folder.write("code/a", "some text, and some more text");
        ASSERT_EQ(world.prepare(), "done");
        change(world.archive->fileURL);
        EXPECT_EQ(world.outcomeOf(world.archive->verifyUnchanged(world.loop)), end);
    }
    ArchiveWorld world;
    world.folder.write("code/a", "1");
    ASSERT_EQ(world.prepare(), "done");
    EXPECT_EQ(world.outcomeOf(world.archive->discard(world.loop)), "done");
    EXPECT_EQ(world.stagingFolders(), 0);
}

TEST(ChatGPTRepositoryArchiveTest, StoppedAnywhereItLeavesNothing) {
    using enum ArchiveProgress::Phase;
    for (const auto phase : {listing, copying, zipping, checking}) {
        for (const bool isDestroyed : {false, true}) {
            ArchiveWorld world;
            for (int i = 0; i < 500; ++i)
                world.folder.write("code/" + std::to_string(i), std::string(5'000, 'x'));
            ChatGPTRepositoryArchive::Control control;
            std::string end = "ran on";
            bool isMet = false;
            control.told = [&, stop = control.stop](const ArchiveProgress& progress) {
                isMet = isMet || (progress.phase == phase && (phase != copying || progress.files > 0));
                if (isMet && !isDestroyed) *stop = true;
            };
            if (isDestroyed) {
                TaskScope scope;
                scope.start(world.keep(world.folder.path("code"), world.folder.path("out"), control));
                EXPECT_TRUE(world.runUntil([&] { return isMet; }));
            } else {
                EXPECT_EQ(world.prepare(world.folder.path("code"), world.folder.path("out"), control),
                          stopped);
                EXPECT_EQ(world.stagingFolders(), 0);
            }
            // Once for what is removed behind it.
            ASSERT_TRUE(world.runUntil([&] { return world.stagingFolders() == 0; }));
        }
    }
}

TEST(ChatGPTRepositoryArchiveTest, OnlyWhatAKilledPreparationLeftIsClearedAway) {
    ArchiveWorld world;
    world.folder.write("code/a", "1");
    ASSERT_EQ(world.prepare(), "done");
    const auto finished = fs::path(world.archive->fileURL).parent_path().filename().native();
    const std::string killed = "0D5F3B32-0000-4000-8000-000000000001",
                      running = "0D5F3B32-0000-4000-8000-000000000002";
    for (const auto& name : {killed, running, std::string("notes")})
        world.folder.write("out/" + name + "/repository/a", "1");
    const int lock = open(world.folder.path("out/" + running).c_str(), O_RDONLY | O_DIRECTORY);
    EXPECT_EQ(flock(lock, LOCK_EX), 0);
    ASSERT_EQ(world.prepare(), "done");
    for (const auto& name : {finished, running, std::string("notes")})
        EXPECT_TRUE(fs::exists(world.folder.path("out/" + name))) << name;
    EXPECT_FALSE(fs::exists(world.folder.path("out/" + killed)));
    close(lock);
}

// The file that this process has open, and everything above it down from the folder.
bool isOpenHere(const std::string& path) {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd", ignored))
        if (fs::read_symlink(entry, ignored) == path) return true;
    return false;
}

TEST(ChatGPTRepositoryArchiveTest, AFolderThatBecomesALinkWhileItsFileIsReadEndsIt) {
    if (!fs::exists("/proc/self/fd")) GTEST_SKIP() << "The system does not tell which files are open.";
    ArchiveWorld world;
    const auto file = world.folder.writeSparse("code/sub/large", 100'000'000);
    const auto sub = world.folder.path("code/sub");
    std::atomic<bool> isOver = false;
    std::thread swapping([&] {
        while (!isOpenHere(file) && !isOver) {
        }
        fs::rename(sub, sub + "2");
        fs::create_directory_symlink("sub2", sub);
    });
    EXPECT_EQ(world.prepare(), "A file target changed during preparation. Try again.");
    isOver = true;
    swapping.join();
    EXPECT_EQ(world.stagingFolders(), 0);
}

} // namespace
} // namespace orvel
