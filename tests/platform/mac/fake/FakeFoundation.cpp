// Strings, numbers and lists.

#include "FakeElements.h"
#include "FakeObjects.h"

#include <Carbon/Carbon.h>

namespace orvel::macfake {

namespace {

struct NumberObject : Object {
    static constexpr auto itsKind = Kind::number;
    explicit NumberObject(double number) : Object(itsKind), number(number) {}
    explicit NumberObject(std::int64_t whole)
        : Object(itsKind),
          number(static_cast<double>(whole)),
          isExact(static_cast<long double>(number) == static_cast<long double>(whole)) {}
    const double number;
    const bool isExact = true;
};

struct NullObject : Object {
    NullObject() : Object(Kind::null) {}
};

struct URLObject : Object {
    static constexpr auto itsKind = Kind::url;
    explicit URLObject(const std::string& text) : Object(itsKind), string(make<StringObject>(utf16(text))) {}
    void ends() override { release(*string); }
    StringObject* const string;
};

struct MarkerObject : Object {
    explicit MarkerObject(int place) : Object(Kind::textMarker), place(place) {}
    bool equals(const Object& other) const override {
        return place == static_cast<const MarkerObject&>(other).place;
    }
    const int place;
};

template <typename T, typename... Arguments>
T* lasting(Arguments... arguments) {
    auto* object = make<T>(arguments...);
    object->isLasting = true;
    return object;
}

CFStringRef constant(const char16_t* text) {
    return referenceTo<CFStringRef>(lasting<StringObject>(std::u16string(text)));
}

constexpr char32_t invalid = 0xFFFFFFFF;

// The next character of UTF-8, or `invalid`.
char32_t decoded(const std::string& text, std::size_t& place) {
    const auto first = static_cast<unsigned char>(text[place++]);
    if (first < 0x80) return first;
    const int more = first >= 0xF0 && first < 0xF5   ? 3
                     : first >= 0xE0 && first < 0xF0 ? 2
                     : first >= 0xC2 && first < 0xE0 ? 1
                                                     : 0;
    if (more == 0) return invalid;
    char32_t character = first & (0x3F >> more);
    for (int i = 0; i < more; ++i, ++place) {
        if (place >= text.size() || (text[place] & 0xC0) != 0x80) return invalid;
        character = character << 6 | (text[place] & 0x3F);
    }
    return character;
}

std::string encoded(char32_t character) {
    const auto tail = [&](int shift) { return static_cast<char>(0x80 | (character >> shift & 0x3F)); };
    if (character < 0x80) return {static_cast<char>(character)};
    if (character < 0x800) return {static_cast<char>(0xC0 | character >> 6), tail(0)};
    if (character < 0x10000) return {static_cast<char>(0xE0 | character >> 12), tail(6), tail(0)};
    return {static_cast<char>(0xF0 | character >> 18), tail(12), tail(6), tail(0)};
}

struct Converted {
    std::string text;
    CFIndex units = 0; ///< Of which it was made.
};

// As far as UTF-8 can say it and it fits.
Converted utf8(const std::u16string& units, std::size_t most) {
    Converted all;
    for (std::size_t i = 0; i < units.size();) {
        char32_t character = units[i++];
        if (character >= 0xD800 && character < 0xE000) {
            const bool isPair = character < 0xDC00 && i < units.size() && (units[i] & 0xFC00) == 0xDC00;
            if (!isPair) break;
            character = 0x10000 + ((character - 0xD800) << 10) + (units[i++] - 0xDC00);
        }
        const auto bytes = encoded(character);
        if (all.text.size() + bytes.size() > most) break;
        all.text += bytes;
        all.units = static_cast<CFIndex>(i);
    }
    return all;
}

bool appendUTF16(std::u16string& units, const std::string& text) {
    for (std::size_t place = 0; place < text.size();) {
        auto character = decoded(text, place);
        if (character > 0x10FFFF || (character >= 0xD800 && character < 0xE000)) return false;
        if (character < 0x10000) {
            units += static_cast<char16_t>(character);
            continue;
        }
        character -= 0x10000;
        units += static_cast<char16_t>(0xD800 + (character >> 10));
        units += static_cast<char16_t>(0xDC00 + (character & 0x3FF));
    }
    return true;
}

} // namespace

std::u16string utf16(const std::string& text) {
    std::u16string units;
    if (!appendUTF16(units, text)) complain("a text of the test is no UTF-8");
    return units;
}

bool StringObject::equals(const Object& other) const {
    return units == static_cast<const StringObject&>(other).units;
}

std::string StringObject::text() const {
    const auto converted = utf8(units, units.size() * 3);
    if (converted.units != static_cast<CFIndex>(units.size())) complain("a string is half a character");
    return converted.text;
}

Object* objectFor(const FakeValue& value) {
    struct {
        Object* operator()(std::monostate) const { return nullptr; }
        Object* operator()(FakeNothing) const { return nullptr; }
        Object* operator()(AXError) const { return nullptr; }
        Object* operator()(FakeNull) const { return objectBehind(kCFNull, "kCFNull"); }
        Object* operator()(const std::string& text) const { return make<StringObject>(utf16(text)); }
        Object* operator()(const std::u16string& units) const { return make<StringObject>(units); }
        Object* operator()(bool truth) const {
            return objectBehind(truth ? kCFBooleanTrue : kCFBooleanFalse, "kCFBoolean");
        }
        Object* operator()(double number) const { return make<NumberObject>(number); }
        Object* operator()(std::int64_t number) const { return make<NumberObject>(number); }
        Object* operator()(const FakeURL& url) const { return make<URLObject>(url.text); }
        Object* operator()(FakeMarker marker) const { return make<MarkerObject>(marker.place); }
        Object* operator()(CFRange range) const { return make<AXValueObject>(range); }
        Object* operator()(CGPoint point) const { return make<AXValueObject>(point); }
        Object* operator()(CGSize size) const { return make<AXValueObject>(size); }
        Object* operator()(CGRect rectangle) const { return make<AXValueObject>(rectangle); }
        Object* operator()(const std::shared_ptr<Node>& node) const { return make<ElementObject>(node); }
        Object* operator()(const FakeList& list) const {
            std::vector<Object*> items;
            for (const auto& each : list) items.push_back(objectFor(each));
            return make<ArrayObject>(std::move(items));
        }
    } visitor;
    using Alternatives = FakeValue::variant;
    return std::visit(visitor, static_cast<const Alternatives&>(value));
}

} // namespace orvel::macfake

using namespace orvel::macfake;

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFBooleanRef kCFBooleanTrue = referenceTo<CFBooleanRef>(lasting<BooleanObject>(true));
const CFBooleanRef kCFBooleanFalse = referenceTo<CFBooleanRef>(lasting<BooleanObject>(false));
const CFNullRef kCFNull = referenceTo<CFNullRef>(lasting<NullObject>());
const CFRunLoopMode kCFRunLoopDefaultMode = constant(u"default mode");
const CFRunLoopMode kCFRunLoopCommonModes = constant(u"common modes");
// Nobody knows what these strings hold.
const CFStringRef kCGWindowOwnerName = constant(u"owner name");
const CFStringRef kTISPropertyInputSourceID = constant(u"source id");
const CFStringRef kTISPropertyInputModeID = constant(u"source mode");
const CFStringRef kTISPropertyInputSourceType = constant(u"source type");
const CFStringRef kTISPropertyInputSourceIsASCIICapable = constant(u"source ASCII");

CFTypeID CFStringGetTypeID() {
    return static_cast<CFTypeID>(Kind::string);
}
CFTypeID CFNumberGetTypeID() {
    return static_cast<CFTypeID>(Kind::number);
}
CFTypeID CFBooleanGetTypeID() {
    return static_cast<CFTypeID>(Kind::boolean);
}
CFTypeID CFNullGetTypeID() {
    return static_cast<CFTypeID>(Kind::null);
}
CFTypeID CFURLGetTypeID() {
    return static_cast<CFTypeID>(Kind::url);
}
CFTypeID CFArrayGetTypeID() {
    return static_cast<CFTypeID>(Kind::array);
}
CFTypeID CFDictionaryGetTypeID() {
    return static_cast<CFTypeID>(Kind::dictionary);
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternal) {
    if (encoding != kCFStringEncodingUTF8 || isExternal || count < 0)
        complain("a string is made of no UTF-8");
    std::u16string units;
    const std::string text(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count));
    if (!appendUTF16(units, text)) return nullptr;
    return referenceTo<CFStringRef>(make<StringObject>(std::move(units)));
}

CFIndex CFStringGetLength(CFStringRef string) {
    const auto* known = given<StringObject>(string, __func__);
    return known ? static_cast<CFIndex>(known->units.size()) : 0;
}

CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                         Boolean isExternal, UInt8* buffer, CFIndex size, CFIndex* used) {
    const auto* known = given<StringObject>(string, __func__);
    if (!known) return 0;
    if (encoding != kCFStringEncodingUTF8 || isExternal || lossByte != 0)
        complain("a string is read otherwise");
    const auto length = static_cast<CFIndex>(known->units.size());
    if (range.location < 0 || range.length < 0 || range.location + range.length > length) {
        complain("a string is read beyond its end");
        return 0;
    }
    const auto part =
        known->units.substr(static_cast<std::size_t>(range.location), static_cast<std::size_t>(range.length));
    const auto converted = utf8(part, buffer ? static_cast<std::size_t>(size) : part.size() * 3);
    if (buffer) converted.text.copy(reinterpret_cast<char*>(buffer), converted.text.size());
    if (used) *used = static_cast<CFIndex>(converted.text.size());
    return converted.units;
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
    const auto* known = given<NumberObject>(number, __func__);
    if (!known) return false;
    if (type != kCFNumberDoubleType) complain("a number is asked for as another type");
    *static_cast<double*>(value) = known->number;
    return known->isExact;
}

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
    const auto* known = given<BooleanObject>(boolean, __func__);
    return known && known->truth;
}

CFStringRef CFURLGetString(CFURLRef url) {
    const auto* known = given<URLObject>(url, __func__);
    return known ? referenceTo<CFStringRef>(known->string) : nullptr;
}

CFIndex CFArrayGetCount(CFArrayRef array) {
    const auto* known = given<ArrayObject>(array, __func__);
    return known ? static_cast<CFIndex>(known->items.size()) : 0;
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
    const auto* known = given<ArrayObject>(array, __func__);
    if (!known) return nullptr;
    if (index >= 0 && index < static_cast<CFIndex>(known->items.size()))
        return known->items[static_cast<std::size_t>(index)];
    complain("an array is read beyond its end");
    return nullptr;
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
    const auto* known = given<DictionaryObject>(dictionary, __func__);
    const auto* name = given<StringObject>(key, __func__);
    if (!known || !name) return nullptr;
    const auto found = known->items.find(name->text());
    return found == known->items.end() ? nullptr : found->second;
}
