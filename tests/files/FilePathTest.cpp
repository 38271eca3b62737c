#include "OrvelCore/files/FilePath.h"

using namespace orvel;

TEST(FilePath, IsStandardisedWithoutAskingTheFileSystem) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"/a/..", "/"},          {"/a/b", "/a/b"},   {"/a//b///c/", "/a/b/c"},
        {"/a/./b/../c", "/a/c"}, {"/../a", "/a"},    {"/", "/"},
        {"/a/b/..", "/a"},       {"/a/.b", "/a/.b"}, {"/\xff/./x", "/\xff/x"},
    };
    for (const auto& [path, standardized] : cases) EXPECT_EQ(standardizedPath(path), standardized) << path;
    EXPECT_EQ(standardizedPath("x"), standardizedPath(".") + "/x");
}

TEST(FilePath, FallsIntoItsParts) {
    const struct {
        std::string_view path, component, stem, extension, parent;
    } cases[] = {
        {"/a/b.jsonl", "b.jsonl", "b", "jsonl", "/a"},
        {"/a/b.c.json", "b.c.json", "b.c", "json", "/a"},
        {"/a/.b", ".b", ".b", "", "/a"},
        {"/a/.b.c", ".b.c", ".b", "c", "/a"},
        {"/a/b.", "b.", "b.", "", "/a"},
        {"/b", "b", "b", "", "/"},
        {"/", "/", "/", "", "/"},
        {"/a.d/b", "b", "b", "", "/a.d"},
    };
    for (const auto& [path, component, stem, extension, parent] : cases) {
        SCOPED_TRACE(path);
        EXPECT_EQ(lastPathComponent(path), component);
        EXPECT_EQ(pathStem(path), stem);
        EXPECT_EQ(pathExtension(path), extension);
        EXPECT_EQ(parentFolder(path), parent);
    }
    EXPECT_EQ(lastPathComponent("/a/b/"), "b");
    EXPECT_EQ(joinedPath("/", "a"), "/a");
    EXPECT_EQ(joinedPath("/a", "b"), "/a/b");
    EXPECT_TRUE(hasPathComponent("/a/subagents/x", "subagents"));
    EXPECT_TRUE(hasPathComponent("/a/subagents", "subagents"));
    EXPECT_FALSE(hasPathComponent("/a/subagents2/my-subagents", "subagents"));
}
