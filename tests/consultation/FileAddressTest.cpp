#include "Orvel/consultation/FileAddress.h"

#include <gtest/gtest.h>

namespace orvel {
namespace {

TEST(FileAddressTest, EveryPathComesBack) {
    for (const std::string path : {"/a/b.zip", "/a folder/ü 100%.zip", "/a\nb#c?d", "/\xFF\x01", "/"}) {
        EXPECT_EQ(pathOfFileURL(fileURLOf(path)), path);
        EXPECT_EQ(fileURLOf(path).find_first_of(" \n#?"), std::string::npos) << path;
    }
    EXPECT_EQ(pathOfFileURL("file://localhost/a%2fb"), "/a/b");
}

TEST(FileAddressTest, WhatNamesNoFileHereIsRefused) {
    for (const auto* url : {"", "/a", "http:///a", "file://elsewhere/a", "file:a", "file:///a%",
                            "file:///a%2", "file:///a%zz", "file:///a%00b", "file:///a?b", "file:///a#b"})
        EXPECT_FALSE(pathOfFileURL(url)) << url;
}

} // namespace
} // namespace orvel
