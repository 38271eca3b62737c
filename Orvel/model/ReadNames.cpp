#include "Orvel/model/ReadNames.h"

#include "OrvelCore/conversations/ConversationCatalog.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FilePath.h"

namespace orvel {

ReadNames readNames(std::span<const ConversationReference> references) {
    ReadNames names;
    for (const auto& reference : references) try {
            if (ConversationNames::areMissing(reference))
                names[reference.transcriptPath] = ConversationNames::read(reference);
        } catch (const FileError&) { // NOLINT(bugprone-empty-catch)
            // It keeps the name that it has.
        }
    return names;
}

std::string shownTitle(const ConversationReference& reference, const ReadNames& names) {
    if (!ConversationCatalog::hasNoTitle(reference)) return reference.title;
    const auto read = names.find(reference.transcriptPath);
    if (read != names.end() && read->second.title) return *read->second.title;
    return isReadableName(reference.title) ? reference.title : std::string(untitled);
}

std::string shownFolder(const ConversationReference& reference, const ReadNames& names) {
    auto folder = reference.workingDirectory;
    if (const auto read = names.find(reference.transcriptPath); !folder && read != names.end())
        folder = read->second.folder;
    return std::string(folder ? lastPathComponent(*folder)
                              : lastPathComponent(parentFolder(reference.transcriptPath)));
}

} // namespace orvel
