#include "Orvel/platform/mac/MacBundle.h"

#include "Orvel/platform/mac/FoundationText.h"

namespace orvel {

namespace {

NSString* const versionKey = @"CFBundleShortVersionString";

// Nothing if it is no text.
std::optional<std::string> textOf(id _Nullable value) {
    return [value isKindOfClass:[NSString class]] ? std::optional(utf8Text(static_cast<NSString*>(value)))
                                                  : std::nullopt;
}

id _Nullable own(NSString* key) {
    return [[NSBundle mainBundle] objectForInfoDictionaryKey:key];
}

} // namespace

std::optional<std::string> MacBundle::version() {
    return textOf(own(versionKey));
}

std::optional<std::string> MacBundle::gitRevision() {
    return textOf(own(@"OrvelGitRevision"));
}

// Booleans are numbers of a class of their own.
bool MacBundle::enablesUpdates() {
    const id value = own(@"OrvelEnableUpdates");
    return [value isKindOfClass:[[NSNumber numberWithBool:YES] class]] &&
           [static_cast<NSNumber*>(value) boolValue];
}

std::string MacBundle::feedHost() {
    const auto address = textOf(own(@"SUFeedURL"));
    NSString* const text = address ? foundationText(*address) : nil;
    return text ? utf8Text([NSURL URLWithString:text].host) : std::string();
}

std::optional<ApplicationBundle> MacBundle::at(const std::string& path) {
    NSString* const file = path.starts_with('/') ? foundationText(path + "/Contents/Info.plist") : nil;
    if (!file) return std::nullopt;
    NSDictionary<NSString*, id>* const facts =
        [NSDictionary dictionaryWithContentsOfURL:[NSURL fileURLWithPath:file]];
    if (!facts) return std::nullopt;
    return ApplicationBundle{.bundleID = textOf([facts objectForKey:@"CFBundleIdentifier"]),
                             .shortVersion = textOf([facts objectForKey:versionKey])};
}

} // namespace orvel
