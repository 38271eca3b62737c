#include "Orvel/platform/posix/PrivateFolder.h"

#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"

#include <cerrno>

#include <sys/stat.h>

namespace orvel {

void makePrivateFolder(const std::string& folder, std::string_view action) {
    const auto make = [&] { return mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST; };
    if (make()) return;
    if (errno != ENOENT || folder == "/") throw FileError::fromErrno(errno, action, folder);
    makePrivateFolder(std::string(parentFolder(folder)), action);
    if (!make()) throw FileError::fromErrno(errno, action, folder);
}

} // namespace orvel
