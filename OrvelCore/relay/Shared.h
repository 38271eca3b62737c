#pragma once
// An immutable value that its copies share. Copying costs a reference count; comparing two copies of one
// value does not look at it.

#include <concepts>
#include <memory>
#include <type_traits>
#include <utility>

namespace orvel {

/// Never empty: a moved-from Shared keeps its value. Several threads may read what copies share.
template <typename T>
class Shared {
  public:
    Shared() : value(theDefault()) {}
    Shared(const Shared&) = default;
    Shared& operator=(const Shared&) = default;

    template <typename U>
    requires std::convertible_to<U, T> &&(!std::same_as<std::remove_cvref_t<U>, Shared>)Shared(U&& source)
        : value(std::make_shared<const T>(std::forward<U>(source))) {}

    const T& operator*() const { return *value; }
    const T* operator->() const { return value.get(); }
    operator const T&() const { return *value; }

    /// Keeps the value alive; never null.
    const std::shared_ptr<const T>& pointer() const { return value; }

    bool operator==(const Shared& other) const { return value == other.value || *value == *other.value; }

  private:
    static const std::shared_ptr<const T>& theDefault() {
        static const auto made = std::make_shared<const T>();
        return made;
    }

    std::shared_ptr<const T> value;
};

} // namespace orvel
