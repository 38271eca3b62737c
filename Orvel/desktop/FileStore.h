#pragma once
// Writing the files that Orvel owns.

#include <string>
#include <string_view>

namespace orvel {

class FileStore {
  public:
    virtual ~FileStore() = default;

    /// Replaces the file's contents as a whole and makes its folder where needed. After a crash at any moment
    /// the old file or the new one is there, never a mixture, and once this returns, the new one stays.
    /// Throws FileError, and then the old file is untouched.
    virtual void replaceFile(const std::string& path, std::string_view contents) = 0;
};

} // namespace orvel
