#include "Orvel/consultation/ArchiveContents.h"

#include "OrvelCore/consultation/ExclusionRules.h"

namespace orvel {

std::string_view nameOf(LeftOutPath::Reason reason) {
    using enum LeftOutPath::Reason;
    switch (reason) {
    case excludedName: return "excludedName";
    case link: return "link";
    case nestedRepository: return "nestedRepository";
    case missing: return "missing";
    case notRegular: return "notRegular";
    case unreadable: return "unreadable";
    case invalidPath: return "invalidPath";
    }
    return "unreadable";
}

std::string describe(const LeftOutPath& leftOut) {
    using enum LeftOutPath::Reason;
    switch (leftOut.reason) {
    case excludedName: {
        const auto* rule = exclusionRule(leftOut.path);
        return rule ? describe(*rule) : "its name is excluded";
    }
    case link: return "it is a link or lies behind one";
    case nestedRepository: return "it is a repository of its own";
    case missing: return "it was deleted";
    case notRegular: return "it is no regular file";
    case unreadable: return "it can't be read";
    case invalidPath: return "it is no path inside the folder";
    }
    return {};
}

} // namespace orvel
