#pragma once
// Paths as text: pure functions that ask no file system.

#include <string>
#include <string_view>

namespace orvel {

/// The path without ".", "..", doubled and trailing slashes. Links are not followed. A relative path is taken
/// from the current folder.
std::string standardizedPath(std::string_view path);

/// `folder` and `name` joined by one slash.
std::string joinedPath(std::string_view folder, std::string_view name);

/// What stands behind the last slash, trailing slashes aside; "/" for the root.
std::string_view lastPathComponent(std::string_view path);

/// The last component without its extension. A name that only begins with a dot has no extension.
std::string_view pathStem(std::string_view path);

/// The extension of the last component without its dot; empty if there is none.
std::string_view pathExtension(std::string_view path);

/// The folder that holds the last component; "/" for the root. The path is standardised.
std::string_view parentFolder(std::string_view path);

/// Whether one of the components equals `name`.
bool hasPathComponent(std::string_view path, std::string_view name);

} // namespace orvel
