#pragma once
// Fields that notify when assigned. A screen subscribes to its model's signal and renders again.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace orvel {

/// Notifies its subscribers, in the order of subscription, that something has changed. Belongs to the main
/// loop's thread.
class ChangeSignal {
    using Listeners = std::map<std::uint64_t, std::function<void()>>;

  public:
    /// Keeps a listener subscribed until destroyed. May outlive the signal.
    class Subscription {
      public:
        Subscription() = default;
        Subscription(std::weak_ptr<Listeners> listeners, std::uint64_t number)
            : listeners(std::move(listeners)), number(number) {}
        Subscription(Subscription&& other) noexcept
            : listeners(std::exchange(other.listeners, {})), number(other.number) {}
        Subscription& operator=(Subscription&& other) noexcept {
            std::swap(listeners, other.listeners);
            std::swap(number, other.number);
            return *this;
        }
        ~Subscription() {
            if (const auto alive = listeners.lock()) alive->erase(number);
        }

      private:
        std::weak_ptr<Listeners> listeners;
        std::uint64_t number = 0;
    };

    [[nodiscard]] Subscription subscribe(std::function<void()> listener) {
        listeners->emplace(++last, std::move(listener));
        return {listeners, last};
    }

    /// The number of notifications so far.
    std::uint64_t count() const { return notified; }

    void notify() const {
        ++notified;
        // A copy, since a listener may subscribe or unsubscribe.
        const auto current = *listeners;
        for (const auto& [number, listener] : current)
            if (listeners->contains(number)) listener();
    }

  private:
    std::shared_ptr<Listeners> listeners = std::make_shared<Listeners>();
    std::uint64_t last = 0;
    mutable std::uint64_t notified = 0;
};

/// A field that notifies on every assignment, even of an equal value.
template <typename T>
class Observable {
  public:
    Observable(const ChangeSignal& signal, T initial = T()) : signal(signal), value(std::move(initial)) {}
    Observable(const Observable&) = delete;
    Observable& operator=(const Observable&) = delete;

    Observable& operator=(T newValue) {
        value = std::move(newValue);
        ++assignments;
        signal.notify();
        return *this;
    }

    /// Assigns what is not there already, so that screens hear only of changes.
    void update(T newValue) {
        if (!(value == newValue)) *this = std::move(newValue);
    }

    const T& get() const { return value; }
    operator const T&() const { return value; }
    const T* operator->() const { return &value; }

    /// Increases with every assignment, for caching what is expensive to derive from the value.
    std::uint64_t revision() const { return assignments; }

  private:
    const ChangeSignal& signal;
    T value;
    std::uint64_t assignments = 0;
};

/// Holds a truth, observable or not, and makes it false again on every way out.
template <typename Flag>
class WhileTrue {
  public:
    explicit WhileTrue(Flag& field) : field(field) { field = true; }
    WhileTrue(const WhileTrue&) = delete;
    WhileTrue& operator=(const WhileTrue&) = delete;
    ~WhileTrue() { field = false; }

  private:
    Flag& field;
};

} // namespace orvel
