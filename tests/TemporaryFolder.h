#pragma once
// A fresh folder for one test, removed behind it.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace orvel {

class TemporaryFolder {
  public:
    TemporaryFolder() : TemporaryFolder(std::filesystem::temp_directory_path()) {}

    /// In memory where the system offers that, for tests that write small files by the thousand.
    static TemporaryFolder quick() {
        const char* memory = "/dev/shm";
        return std::filesystem::is_directory(memory) ? TemporaryFolder(memory) : TemporaryFolder();
    }

    explicit TemporaryFolder(const std::filesystem::path& parent) {
        folder = (parent / "orvel-test-XXXXXX").string();
        if (!mkdtemp(folder.data())) throw std::runtime_error("no temporary folder");
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return folder; }
    std::string path(std::string_view name) const { return folder + '/' + std::string(name); }

    /// Writes a file, making its folders; gives its path.
    std::string write(std::string_view name, std::string_view contents) const {
        const auto file = path(name);
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        std::ofstream(file, std::ios::binary) << contents;
        return file;
    }

    /// Makes a file of `size` NUL bytes that takes no room; gives its path.
    std::string writeSparse(std::string_view name, std::uintmax_t size) const {
        const auto file = write(name, "");
        std::filesystem::resize_file(file, size);
        return file;
    }

    /// How many files lie in the folder itself.
    std::size_t count() const {
        const std::filesystem::directory_iterator files(folder);
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

  private:
    std::string folder;
};

inline std::string contentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace orvel
