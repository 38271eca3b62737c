#pragma once
// Which names never leave this machine: what usually holds secrets, and what systems leave in folders.

#include <string>
#include <string_view>

namespace orvel {

/// A rule for one component of a path, in lower case.
struct ExclusionRule {
    enum class Match { equals, begins, ends };

    Match match;
    std::string_view text;

    bool operator==(const ExclusionRule&) const = default;
};

/// The rule by which a path of UTF-8 is left out: every component counts, lower-cased. Null if none does.
const ExclusionRule* exclusionRule(std::string_view path);

/// The rule for people, as in: its name ends in “.pem”.
std::string describe(const ExclusionRule& rule);

inline bool isExcluded(std::string_view path) {
    return exclusionRule(path) != nullptr;
}

} // namespace orvel
