#pragma once
// What the bundles of this program and of others declare.

#include "Orvel/desktop/Applications.h"

#include <optional>
#include <string>

namespace orvel::MacBundle {

// This program's

/// The version as shown to people, of `CFBundleShortVersionString`.
std::optional<std::string> version();

/// The revision of the sources, of `OrvelGitRevision`; nothing in a build of a developer's.
std::optional<std::string> gitRevision();

/// Whether `OrvelEnableUpdates` is the boolean true.
bool enablesUpdates();

/// The host of the feed for updates, of `SUFeedURL`; empty if there is none.
std::string feedHost();

// Any application's

/// What the bundle at the absolute path declares now; nothing if there is none. Read from its file, since
/// the system remembers what a bundle said before the application was updated.
std::optional<ApplicationBundle> at(const std::string& path);

} // namespace orvel::MacBundle
