#include "FakeObjects.h"

#include <mutex>

#include <gtest/gtest.h>

namespace orvel::macfake {

namespace {

struct Registry {
    std::recursive_mutex mutex;
    std::map<const void*, std::unique_ptr<Object>> objects;
};

Registry& registry() {
    static Registry all;
    return all;
}

} // namespace

void complain(const std::string& what) {
    ADD_FAILURE() << what;
}

Object* keep(std::unique_ptr<Object> object) {
    const std::lock_guard lock(registry().mutex);
    auto* kept = object.get();
    registry().objects.emplace(kept, std::move(object));
    return kept;
}

std::vector<std::string> living() {
    const std::lock_guard lock(registry().mutex);
    std::vector<std::string> all;
    for (const auto& [reference, object] : registry().objects)
        if (object->references > 0 && !object->isLasting)
            all.push_back("of type " + std::to_string(static_cast<CFTypeID>(object->kind)) + ", " +
                          std::to_string(object->references) + " references");
    return all;
}

void forgetAll() {
    const std::lock_guard lock(registry().mutex);
    std::erase_if(registry().objects, [](const auto& each) { return !each.second->isLasting; });
}

void retain(Object& object) {
    const std::lock_guard lock(registry().mutex);
    ++object.references;
}

void release(Object& object) {
    const std::lock_guard lock(registry().mutex);
    if (object.isLasting) return;
    if (--object.references == 0) object.ends();
}

Object* objectBehind(const void* reference, const char* function) {
    const std::lock_guard lock(registry().mutex);
    const auto found = registry().objects.find(reference);
    if (found == registry().objects.end()) {
        complain(std::string(function) + (reference ? " was given what is no object" : " was given null"));
        return nullptr;
    }
    if (found->second->references > 0) return found->second.get();
    complain(std::string(function) + " was given an object that is gone");
    return nullptr;
}

Object* objectOfKind(const void* reference, Kind kind, const char* function) {
    auto* object = objectBehind(reference, function);
    if (!object || object->kind == kind) return object;
    complain(std::string(function) + " was given an object of type " +
             std::to_string(static_cast<CFTypeID>(object->kind)));
    return nullptr;
}

void ArrayObject::ends() {
    for (auto* each : items) release(*each);
}

void DictionaryObject::ends() {
    for (const auto& [key, each] : items) release(*each);
}

} // namespace orvel::macfake

using namespace orvel::macfake;

CFTypeRef CFRetain(CFTypeRef object) {
    if (auto* known = objectBehind(object, __func__)) retain(*known);
    return object;
}

void CFRelease(CFTypeRef object) {
    if (auto* known = objectBehind(object, __func__)) release(*known);
}

CFTypeID CFGetTypeID(CFTypeRef object) {
    const auto* known = objectBehind(object, __func__);
    return known ? static_cast<CFTypeID>(known->kind) : 0;
}

Boolean CFEqual(CFTypeRef one, CFTypeRef other) {
    const auto* first = objectBehind(one, __func__);
    const auto* second = objectBehind(other, __func__);
    return first && second && first->kind == second->kind && first->equals(*second);
}

CFHashCode CFHash(CFTypeRef object) {
    const auto* known = objectBehind(object, __func__);
    return known ? known->hash() : 0;
}
