// The pasteboard, which GNUstep keeps in a server of its own and without items.

#include "Fakes.h"
#include "Orvel/platform/mac/FoundationText.h"

#include <algorithm>

namespace {

using Item = orvel::FakePasteboard::Item;

orvel::FakePasteboard& pasteboard() {
    return orvel::fakes().pasteboard;
}

// What each of the framework's objects stands for.
std::map<NSPasteboardItem*, Item>& contents() {
    static std::map<NSPasteboardItem*, Item> all;
    return all;
}

NSArray* namesOf(const std::vector<std::string>& names) {
    NSMutableArray* result = [NSMutableArray array];
    for (const auto& name : names) [result addObject:orvel::foundationText(name)];
    return result;
}

std::vector<std::string> typesOf(const Item& item) {
    std::vector<std::string> types;
    for (const auto& [type, bytes] : item) types.push_back(type);
    return types;
}

} // namespace

@implementation NSPasteboardItem (Fake)
- (NSArray*)types {
    return namesOf(typesOf(contents()[self]));
}
- (NSData*)dataForType:(NSString*)type {
    const auto& item = contents()[self];
    const auto found = item.find(orvel::utf8Text(type));
    if (found == item.end() || !found->second) return nil;
    return [NSData dataWithBytes:found->second->data() length:found->second->size()];
}
- (BOOL)setData:(NSData*)data forType:(NSString*)type {
    if (pasteboard().refusedTypes.contains(orvel::utf8Text(type))) return NO;
    contents()[self][orvel::utf8Text(type)] =
        std::string(static_cast<const char*>([data bytes]), [data length]);
    return YES;
}
@end

@implementation NSPasteboard (Fake)
+ (NSPasteboard*)generalPasteboard {
    static NSPasteboard* const general = NSAllocateObject([NSPasteboard class], 0, nullptr);
    return general;
}
- (NSInteger)changeCount {
    return static_cast<NSInteger>(pasteboard().changeCount);
}
- (NSInteger)clearContents {
    pasteboard().copyElsewhere({});
    pasteboard().isEmptiedByUs = true;
    return [self changeCount];
}
- (NSArray*)pasteboardItems {
    if (!pasteboard().items) return nil;
    NSMutableArray* result = [NSMutableArray array];
    for (const auto& item : *pasteboard().items) {
        NSPasteboardItem* next = [[NSPasteboardItem alloc] init];
        contents()[next] = item;
        [result addObject:next];
    }
    return result;
}
- (NSArray*)types {
    std::vector<std::string> all = pasteboard().typesWithoutItems;
    for (const auto& item : pasteboard().items.value_or(std::vector<Item>()))
        for (const auto& type : typesOf(item))
            if (std::find(all.begin(), all.end(), type) == all.end()) all.push_back(type);
    return namesOf(all);
}
- (BOOL)writeObjects:(NSArray*)objects {
    if (!pasteboard().isEmptiedByUs || [objects count] == 0) return NO;
    for (NSUInteger i = 0; i < [objects count]; ++i)
        pasteboard().items->push_back(contents()[[objects objectAtIndex:i]]);
    return YES;
}
- (BOOL)setString:(NSString*)string forType:(NSString*)type {
    if (!pasteboard().isEmptiedByUs) return NO;
    // GNUstep calls it otherwise.
    const bool isText = [type isEqualToString:NSPasteboardTypeString];
    Item item;
    item[isText ? "public.utf8-plain-text" : orvel::utf8Text(type)] = orvel::utf8Text(string);
    pasteboard().items = std::vector{item};
    return YES;
}
@end
