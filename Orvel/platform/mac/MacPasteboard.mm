#include "Orvel/platform/mac/MacPasteboard.h"

#include "Orvel/platform/mac/FoundationText.h"

#import <AppKit/AppKit.h>

namespace orvel {

namespace {

NSPasteboard* general() {
    return [NSPasteboard generalPasteboard];
}

NSPasteboardItem* _Nullable itemAt(std::size_t place) {
    NSArray<NSPasteboardItem*>* const items = [general() pasteboardItems];
    return place < items.count ? [items objectAtIndex:place] : nil;
}

std::vector<std::string> namesOf(NSArray<NSPasteboardType>* _Nullable types) {
    std::vector<std::string> names;
    names.reserve(types.count);
    for (NSUInteger i = 0; i < types.count; ++i) names.push_back(utf8Text([types objectAtIndex:i]));
    return names;
}

// Nothing if a type or its data is refused.
NSPasteboardItem* _Nullable made(const PasteboardItem& item) {
    NSPasteboardItem* const result = [[NSPasteboardItem alloc] init];
    for (const auto& [type, bytes] : item) {
        NSString* const name = foundationText(type);
        NSData* const data = [NSData dataWithBytes:bytes.data() length:bytes.size()];
        if (!name || ![result setData:data forType:name]) return nil;
    }
    return result;
}

} // namespace

void MacPasteboard::clearContents() {
    [general() clearContents];
}

bool MacPasteboard::setString(std::string_view text) {
    NSString* const wanted = foundationText(text);
    return wanted && [general() setString:wanted forType:NSPasteboardTypeString];
}

bool MacPasteboard::writeItems(const std::vector<PasteboardItem>& items) {
    NSMutableArray<NSPasteboardItem*>* const all = [NSMutableArray array];
    for (const auto& item : items) {
        NSPasteboardItem* const next = made(item);
        if (!next) return false;
        [all addObject:next];
    }
    return [general() writeObjects:all];
}

std::int64_t MacPasteboard::changeCount() {
    return [general() changeCount];
}

std::vector<std::string> MacPasteboard::types() {
    return namesOf([general() types]);
}

std::optional<std::size_t> MacPasteboard::itemCount() {
    NSArray<NSPasteboardItem*>* const items = [general() pasteboardItems];
    return items ? std::optional<std::size_t>(items.count) : std::nullopt;
}

std::vector<std::string> MacPasteboard::typesOf(std::size_t item) {
    return namesOf([itemAt(item) types]);
}

std::optional<std::string> MacPasteboard::data(std::size_t item, const std::string& type) {
    NSString* const name = foundationText(type);
    NSData* const bytes = name ? [itemAt(item) dataForType:name] : nil;
    if (!bytes) return std::nullopt;
    return std::string(static_cast<const char*>(bytes.bytes), bytes.length);
}

} // namespace orvel
