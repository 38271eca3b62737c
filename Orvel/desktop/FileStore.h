#pragma once
// Writes the files that Orvel owns.

#include <string>
#include <string_view>

namespace orvel {

class FileStore {
  public:
    virtual ~FileStore() = default;

    /// Atomically replaces the file's contents, and creates its folder if needed. A crash leaves the old file
    /// or the new one, never a mixture; once this returns, the new one is durable. Throws FileError, and then
    /// the old file is untouched.
    virtual void replaceFile(const std::string& path, std::string_view contents) = 0;
};

} // namespace orvel
