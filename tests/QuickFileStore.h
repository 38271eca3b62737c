#pragma once
// A store for tests that save by the thousand and need no disk that keeps its promise at a power cut.

#include "Orvel/desktop/FileStore.h"
#include "OrvelCore/files/FileError.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace orvel {

/// Replaces files as a whole, and leaves it to the system when they reach the disk.
struct QuickFileStore : FileStore {
    void replaceFile(const std::string& path, std::string_view contents) override {
        write(path + ".new", contents);
        if (std::rename((path + ".new").c_str(), path.c_str()) != 0)
            throw FileError::fromErrno(errno, "save", path);
    }

    /// Writes a file where it is, making its folder.
    static void write(const std::string& path, std::string_view contents) {
        std::ofstream file(path, std::ios::binary);
        if (!file) {
            std::filesystem::create_directories(std::filesystem::path(path).parent_path());
            file.open(path, std::ios::binary);
        }
        file << contents;
    }
};

} // namespace orvel
