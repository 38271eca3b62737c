#include "Orvel/platform/mac/MacPanels.h"

#include "Orvel/platform/mac/FoundationText.h"

#include <filesystem>
#include <system_error>

#import <AppKit/AppKit.h>

namespace orvel {

std::optional<std::string> MacPanels::choose(const OpenPanel& wanted) {
    NSOpenPanel* const panel = [NSOpenPanel openPanel];
    const bool isFolder = wanted.kind == OpenPanel::Kind::folder;
    panel.canChooseFiles = !isFolder;
    panel.canChooseDirectories = isFolder;
    panel.allowsMultipleSelection = NO;
    panel.showsHiddenFiles = wanted.showsHiddenFiles;
    NSString* const message =
        foundationText(wanted.title.empty() ? wanted.message : wanted.title + "\n" + wanted.message);
    if (message) panel.message = message;
    if (isFolder) panel.prompt = foundationText("Use this folder");
    std::error_code isMissing;
    NSString* const folder =
        std::filesystem::is_directory(wanted.folder, isMissing) ? foundationText(wanted.folder) : nil;
    if (folder) panel.directoryURL = [NSURL fileURLWithPath:folder];
    if ([panel runModal] != NSModalResponseOK) return std::nullopt;
    auto path = utf8Text(panel.URL.path);
    return path.empty() ? std::nullopt : std::optional(std::move(path));
}

} // namespace orvel
