#include "OrvelCore/files/FileError.h"

#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace orvel {

namespace {

std::string_view nameOf(FileError::Case kind) {
    using enum FileError::Case;
    switch (kind) {
    case noSuchFile: return "noSuchFile";
    case noPermission: return "noPermission";
    case isFolder: return "isFolder";
    case notRegular: return "notRegular";
    case invalidFileName: return "invalidFileName";
    case outOfSpace: return "outOfSpace";
    case tooLarge: return "tooLarge";
    case other: return "fileError";
    }
    return "fileError";
}

FileError::Case caseOf(int code) {
    using enum FileError::Case;
    switch (code) {
    case ENOENT:
    case ENOTDIR: return noSuchFile;
    case EACCES:
    case EPERM:
    case EROFS: return noPermission;
    case EISDIR: return isFolder;
    case ENAMETOOLONG:
    case EILSEQ: return invalidFileName;
    case ENOSPC:
    case EDQUOT: return outOfSpace;
    default: return other;
    }
}

std::string sentence(std::string_view action, std::string_view path, std::string_view reason) {
    std::string text = "Couldn't ";
    text += action;
    auto shown = displayable(path);
    std::replace(shown.begin(), shown.end(), '\0', '?'); // what() ends at the first NUL.
    text += " “" + shown + "”: ";
    text += reason;
    return text += ".";
}

} // namespace

FileError::FileError(Case kind, std::string_view action, std::string_view path, std::string_view reason)
    : Failure(nameOf(kind), sentence(action, path, reason)), which(kind) {}

FileError FileError::fromErrno(int code, std::string_view action, std::string_view path) {
    return {caseOf(code), action, path, std::generic_category().message(code)};
}

} // namespace orvel
