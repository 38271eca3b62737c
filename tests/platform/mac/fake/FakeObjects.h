#pragma once
// Stand-ins for CoreFoundation's objects: counted references, tombstones of what is gone, and types. Whoever
// uses one wrongly fails the running test.

#include <ApplicationServices/ApplicationServices.h>

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace orvel::macfake {

struct Node;

/// Fails the running test.
void complain(const std::string& what);

/// Numbers of types, as GetTypeID functions give them.
enum class Kind : CFTypeID {
    string = 101,
    number,
    boolean,
    null,
    url,
    array,
    dictionary,
    element,
    axValue,
    textMarker, ///< Of a kind that has no functions here.
    port,
    runLoop,
    runLoopSource,
    event,
    eventSource,
    inputSource
};

struct Object {
    explicit Object(Kind kind) : kind(kind) {}
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    virtual ~Object() = default;

    virtual bool equals(const Object& other) const { return this == &other; }
    virtual std::size_t hash() const { return std::hash<const Object*>()(this); }
    /// Its last reference is gone. The object itself stays as a tombstone until the test ends.
    virtual void ends() {}

    const Kind kind;
    int references = 1;
    bool isLasting = false; ///< A constant, which is never released.
};

/// Takes the object among those that there are. Its first reference belongs to the caller.
Object* keep(std::unique_ptr<Object> object);
template <typename T, typename... Arguments>
T* make(Arguments&&... arguments) {
    return static_cast<T*>(keep(std::make_unique<T>(std::forward<Arguments>(arguments)...)));
}
/// How many there are with references, without those that last.
std::vector<std::string> living();
/// Forgets all that ended, and all that didn't.
void forgetAll();

void retain(Object& object);
void release(Object& object);

/// The object behind a reference that a function was given. Complains of null, of what is none, is gone, or
/// is of another type.
Object* objectBehind(const void* reference, const char* function);
Object* objectOfKind(const void* reference, Kind kind, const char* function);
template <typename T>
T* given(const void* reference, const char* function) {
    return static_cast<T*>(objectOfKind(reference, T::itsKind, function));
}
template <typename Reference>
Reference referenceTo(Object* object) {
    return reinterpret_cast<Reference>(object);
}

/// What stands in another program, or in a list: made into an object for whoever reads it.
struct FakeNull {};
struct FakeURL {
    std::string text;
};
struct FakeMarker {
    int place = 0;
};
struct FakeNothing {}; ///< Success without a value.
struct FakeValue;
using FakeList = std::vector<FakeValue>;
struct FakeValue : std::variant<std::monostate, FakeNull, FakeNothing, std::string, std::u16string, bool,
                                double, std::int64_t, FakeURL, FakeMarker, CFRange, CGPoint, CGSize, CGRect,
                                std::shared_ptr<Node>, AXError, FakeList> {
    using variant::variant;
};
/// With a reference for the caller; null of what is nothing.
Object* objectFor(const FakeValue& value);

std::u16string utf16(const std::string& text);

struct StringObject : Object {
    static constexpr auto itsKind = Kind::string;
    explicit StringObject(std::u16string units) : Object(itsKind), units(std::move(units)) {}
    bool equals(const Object& other) const override;
    std::size_t hash() const override { return std::hash<std::u16string>()(units); }
    /// As it was made of UTF-8; complains of anything else.
    std::string text() const;

    const std::u16string units;
};

struct BooleanObject : Object {
    static constexpr auto itsKind = Kind::boolean;
    explicit BooleanObject(bool truth) : Object(itsKind), truth(truth) {}
    const bool truth;
};

/// Holds references to what is in it.
struct ArrayObject : Object {
    static constexpr auto itsKind = Kind::array;
    explicit ArrayObject(std::vector<Object*> items) : Object(itsKind), items(std::move(items)) {}
    void ends() override;
    const std::vector<Object*> items;
};

struct DictionaryObject : Object {
    static constexpr auto itsKind = Kind::dictionary;
    explicit DictionaryObject(std::map<std::string, Object*> items)
        : Object(itsKind), items(std::move(items)) {}
    void ends() override;
    const std::map<std::string, Object*> items;
};

} // namespace orvel::macfake
