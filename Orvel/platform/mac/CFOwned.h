#pragma once
// Owns a reference to a CoreFoundation object. Nothing else here retains or releases.

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

namespace orvel {

/// One reference to an object, or none. `T` is its type, as CFStringRef.
template <typename T>
class CFOwned {
  public:
    CFOwned() = default;
    CFOwned(const CFOwned& other) : CFOwned(shared(other.object)) {}
    CFOwned(CFOwned&& other) noexcept : object(std::exchange(other.object, nullptr)) {}
    CFOwned& operator=(CFOwned other) noexcept {
        std::swap(object, other.object);
        return *this;
    }
    ~CFOwned() {
        if (object) CFRelease(object);
    }

    /// Takes over the reference that functions named Create or Copy give; it may be null.
    static CFOwned created(T object) {
        CFOwned owned;
        owned.object = object;
        return owned;
    }
    /// Adds a reference to what functions named Get give, and others own; it may be null.
    static CFOwned shared(T object) {
        if (object) CFRetain(object);
        return created(object);
    }

    T get() const { return object; }
    explicit operator bool() const { return object != nullptr; }

    /// Where a function named Copy puts an object whose reference it gives away. Only while there is none.
    T* receive() { return &object; }

  private:
    T object = nullptr;
};

/// The object as what it is, if it is of that type; else null. The type is what T's GetTypeID gives.
template <typename T>
T objectOfType(CFTypeRef object, CFTypeID type) {
    return object && CFGetTypeID(object) == type ? static_cast<T>(object) : nullptr;
}

} // namespace orvel
