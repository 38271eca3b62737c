#include "FakeMac.h"

#include <Carbon/Carbon.h>

namespace orvel::macfake {

namespace {

FakeMac* theOne = nullptr;

struct InputSourceObject : Object {
    static constexpr auto itsKind = Kind::inputSource;
    explicit InputSourceObject(const std::map<CFStringRef, FakeValue>& values) : Object(itsKind) {
        for (const auto& [key, value] : values)
            if (auto* object = objectFor(value)) properties[key] = object;
    }
    void ends() override {
        for (const auto& [key, object] : properties) release(*object);
    }
    std::map<CFStringRef, Object*> properties;
};

// Elements may name each other, or themselves.
void forgetAttributes(Node& node) {
    node.attributes.clear();
    for (const auto& each : node.children) forgetAttributes(*each);
}

TISInputSourceRef made(const std::optional<std::map<CFStringRef, FakeValue>>& source) {
    if (FakeMac::current().mainThread != std::this_thread::get_id())
        complain("an input source is asked for beside the main thread");
    return source ? referenceTo<TISInputSourceRef>(make<InputSourceObject>(*source)) : nullptr;
}

} // namespace

FakeMac::FakeMac() {
    if (theOne) complain("there are two Macs");
    theOne = this;
}

FakeMac::~FakeMac() {
    events.end();
    for (const auto& [process, root] : applications) forgetAttributes(*root);
    for (const auto& each : living()) complain("an object is left " + each);
    forgetAll();
    theOne = nullptr;
}

FakeMac& FakeMac::current() {
    if (!theOne) {
        complain("there is no Mac");
        static FakeMac none;
        return none;
    }
    return *theOne;
}

Node::Shared FakeMac::application(pid_t process) {
    return applications[process] = std::make_shared<Node>(process, "AXApplication");
}

void FakeMac::remove(Node& node) {
    node.isGone = true;
    for (const auto& each : node.children) remove(*each);
    if (const auto parent = node.parent.lock())
        std::erase_if(parent->children, [&](const auto& each) { return each.get() == &node; });
}

} // namespace orvel::macfake

using namespace orvel::macfake;

TISInputSourceRef TISCopyCurrentKeyboardInputSource() {
    return made(FakeMac::current().source);
}

TISInputSourceRef TISCopyCurrentKeyboardLayoutInputSource() {
    return made(FakeMac::current().layout);
}

void* TISGetInputSourceProperty(TISInputSourceRef source, CFStringRef key) {
    const auto* known = given<InputSourceObject>(source, __func__);
    if (!known || !given<StringObject>(key, __func__)) return nullptr;
    const auto found = known->properties.find(key);
    return found == known->properties.end() ? nullptr : found->second;
}

CFArrayRef CGWindowListCopyWindowInfo(CGWindowListOption options, CGWindowID relativeTo) {
    if (relativeTo != kCGNullWindowID) complain("the windows are asked for beside another");
    const auto& windows = FakeMac::current().windows;
    if (!windows) return nullptr;
    std::vector<Object*> all;
    for (const auto& [owner, isOnScreen] : *windows) {
        if (!isOnScreen && (options & kCGWindowListOptionOnScreenOnly) != 0) continue;
        std::map<std::string, Object*> facts;
        const auto* key = given<StringObject>(kCGWindowOwnerName, __func__);
        if (auto* name = objectFor(owner)) facts[key->text()] = name;
        all.push_back(make<DictionaryObject>(std::move(facts)));
    }
    return referenceTo<CFArrayRef>(make<ArrayObject>(std::move(all)));
}

bool CGPreflightListenEventAccess() {
    return FakeMac::current().isListeningGranted;
}

bool CGRequestListenEventAccess() {
    ++FakeMac::current().listeningRequests;
    return FakeMac::current().isListeningGranted;
}
