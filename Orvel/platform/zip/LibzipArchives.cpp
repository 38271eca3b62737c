#include "Orvel/platform/zip/LibzipArchives.h"

#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

#include <sys/stat.h>
#include <zip.h>

namespace orvel {

namespace {

// The balance that most programs choose, and zlib itself; libzip's own is the slowest.
constexpr zip_uint32_t compressionLevel = 6;

using Archive = std::unique_ptr<zip_t, decltype(&zip_discard)>;

FileError failure(zip_error_t* error, std::string_view action, const std::string& path) {
    if (zip_error_system_type(error) == ZIP_ET_SYS && zip_error_code_system(error) != 0)
        return FileError::fromErrno(zip_error_code_system(error), action, path);
    return {FileError::Case::other, action, path, zip_error_strerror(error)};
}

[[noreturn]] void fail(const Archive& archive, std::string_view action, const std::string& path) {
    throw failure(zip_get_error(archive.get()), action, path);
}

Archive opened(const std::string& path, int flags, std::string_view action) {
    int code = 0;
    Archive archive(zip_open(path.c_str(), flags, &code), &zip_discard);
    if (archive) return archive;
    zip_error_t error;
    zip_error_init_with_code(&error, code);
    const auto thrown = failure(&error, action, path);
    zip_error_fini(&error);
    throw thrown;
}

// Relative to the folder, in the order of their bytes.
std::vector<std::string> filesBelow(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::recursive_directory_iterator entry(folder, error);
    for (const std::filesystem::recursive_directory_iterator end; !error && entry != end;
         entry.increment(error))
        if (entry->symlink_status().type() == std::filesystem::file_type::regular)
            names.push_back(entry->path().native().substr(folder.size() + 1));
    if (error) throw FileError::fromErrno(error.value(), "read", folder);
    std::sort(names.begin(), names.end());
    return names;
}

void add(const Archive& archive, const std::string& file, const std::string& name, const std::string& zip) {
    auto* source = zip_source_file(archive.get(), file.c_str(), 0, -1);
    const auto index =
        source ? zip_file_add(archive.get(), name.c_str(), source, ZIP_FL_ENC_UTF_8) : zip_int64_t{-1};
    if (index < 0 && source) zip_source_free(source);
    if (index < 0 || zip_set_file_compression(archive.get(), static_cast<zip_uint64_t>(index), ZIP_CM_DEFLATE,
                                              compressionLevel) != 0)
        fail(archive, "add to", zip);
}

void writeZip(const std::string& folder, const std::string& path, const std::atomic<bool>& stop) {
    auto archive = opened(path, ZIP_CREATE | ZIP_EXCL, "make");
    const std::string prefix(lastPathComponent(folder));
    for (const auto& name : filesBelow(folder))
        add(archive, joinedPath(folder, name), joinedPath(prefix, name), path);
    const auto isStopped = [](zip_t*, void* flag) {
        return static_cast<const std::atomic<bool>*>(flag)->load() ? 1 : 0;
    };
    zip_register_cancel_callback_with_state(archive.get(), isStopped, nullptr,
                                            const_cast<std::atomic<bool>*>(&stop));
    if (zip_close(archive.get()) != 0) fail(archive, "make", path);
    archive.release(); // NOLINT(bugprone-unused-return-value): closing has freed it.
    if (chmod(path.c_str(), S_IRUSR | S_IWUSR) == 0) return;
    const int code = errno;
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    throw FileError::fromErrno(code, "protect", path);
}

std::vector<std::string> namesIn(const std::string& path) {
    const auto archive = opened(path, ZIP_RDONLY | ZIP_CHECKCONS, "read");
    const auto count =
        static_cast<zip_uint64_t>(std::max<zip_int64_t>(zip_get_num_entries(archive.get(), 0), 0));
    std::vector<std::string> names;
    names.reserve(count);
    for (zip_uint64_t i = 0; i < count; ++i) {
        const char* name = zip_get_name(archive.get(), i, ZIP_FL_ENC_RAW);
        if (!name) fail(archive, "read", path);
        names.emplace_back(name);
    }
    return names;
}

} // namespace

Task<void> LibzipArchives::make(std::string folder, std::string path, StopFlag stop) {
    const auto write = [folder, path, stop] {
        writeZip(folder, path, *stop);
        return true;
    };
    co_await loop.background(write);
}

Task<std::vector<std::string>> LibzipArchives::entries(std::string path) {
    const auto read = [path] { return namesIn(path); };
    co_return co_await loop.background(read);
}

} // namespace orvel
