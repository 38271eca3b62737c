#pragma once
// The failure of a file operation, worded for the user.

#include "OrvelCore/text/Failure.h"

#include <string>
#include <string_view>

namespace orvel {

class FileError : public Failure {
  public:
    enum class Case {
        noSuchFile,
        noPermission,
        isFolder,
        notRegular,
        invalidFileName,
        outOfSpace,
        tooLarge,
        other
    };

    /// `action` completes "Couldn't {action} “{path}”: {reason}.", as in "read".
    FileError(Case kind, std::string_view action, std::string_view path, std::string_view reason);

    /// The failure behind an `errno` value.
    static FileError fromErrno(int code, std::string_view action, std::string_view path);

    Case kind() const noexcept { return which; }

  private:
    Case which;
};

} // namespace orvel
