#pragma once
// Reads and writes the user interfaces of other programs, element by element. Attributes, roles and actions
// have their names from macOS Accessibility; other platforms translate.

#include "Orvel/desktop/ProcessID.h"
#include "Orvel/runtime/Task.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace orvel {

/// The status of an operation, by the number that diagnostics print. Any number can occur; those with a
/// special meaning are named.
enum class AXStatus : std::int32_t {
    success = 0,
    failure = -25200,
    invalidElement = -25202, ///< The element no longer exists.
    cannotComplete = -25204, ///< The other program did not answer in time. Common.
    attributeUnsupported = -25205,
    actionUnsupported = -25206,
    apiDisabled = -25211, ///< No permission, or no such interface on this platform.
    noValue = -25212,     ///< The attribute is known and has no value.

    // Specific to this port
    needsRestart = -26001,   ///< The other program must be restarted before it supports this.
    mayHaveHappened = -26002 ///< A write made of several steps, not all of them confirmed.
};

/// A platform's identity of an object. Compared by value, not by address.
class AXIdentity {
  public:
    virtual ~AXIdentity() = default;
    virtual bool equals(const AXIdentity& other) const = 0;
};

/// A handle to an element of another program. Handles to the same element are equal, whatever its contents;
/// an element that was removed and recreated is a different one. Cheap to copy. May outlive its element;
/// operations then report `invalidElement`.
class AXElement {
  public:
    explicit AXElement(std::shared_ptr<const AXIdentity> identity) : shared(std::move(identity)) {}

    const AXIdentity& identity() const { return *shared; }

    friend bool operator==(const AXElement& one, const AXElement& two) {
        return one.shared == two.shared || one.shared->equals(*two.shared);
    }

  private:
    std::shared_ptr<const AXIdentity> shared;
};

/// A value of an unsupported type, which can only be compared.
struct AXOpaque {
    std::shared_ptr<const AXIdentity> identity;

    friend bool operator==(const AXOpaque& one, const AXOpaque& two) {
        return one.identity && two.identity && one.identity->equals(*two.identity);
    }
};

struct AXNull {
    bool operator==(const AXNull&) const = default;
};

/// As the other program wrote it; may be malformed.
struct AXURL {
    std::string text;
    bool operator==(const AXURL&) const = default;
};

/// In UTF-16 units. Another program may give negative numbers.
struct AXRange {
    std::int64_t location = 0, length = 0;
    bool operator==(const AXRange&) const = default;
};

/// In points, from the top left corner of the main screen.
struct AXPoint {
    double x = 0, y = 0;
    bool operator==(const AXPoint&) const = default;
};

struct AXSize {
    double width = 0, height = 0;
    bool operator==(const AXSize&) const = default;
};

using AXElements = std::vector<AXElement>;

/// An attribute's value: none, or one of the supported types. Strings are UTF-8. An empty list is a list of
/// elements.
using AXValue = std::variant<std::monostate, AXNull, std::string, bool, double, AXURL, AXRange, AXPoint,
                             AXSize, AXElement, AXElements, std::vector<std::string>, AXOpaque>;

inline bool isNothing(const AXValue& value) {
    return std::holds_alternative<std::monostate>(value) || std::holds_alternative<AXNull>(value);
}

/// The result of a read. A successful one may still have no value.
struct AXReading {
    AXStatus status = AXStatus::apiDisabled;
    AXValue value;

    /// The value, if there is one of this type.
    template <typename T>
    const T* as() const {
        return status == AXStatus::success ? std::get_if<T>(&value) : nullptr;
    }
};

struct AXSettable {
    AXStatus status = AXStatus::apiDisabled;
    bool isSettable = false;
};

struct AXActionNames {
    AXStatus status = AXStatus::apiDisabled;
    std::vector<std::string> names;
};

/// An attribute of an element, for a read of several together.
struct AXRequest {
    AXElement element;
    std::string_view name;
};

/// Lets a platform fetch values ahead of the reads, until destroyed. See `Accessibility::readAhead`.
class AXReadAhead {
  public:
    virtual ~AXReadAhead() = default;
};

/// Every operation except the two hints and the read of several attributes is one exchange with the other
/// program, may be called from any thread, and reports `cannotComplete` if the element's messaging timeout
/// passes. Values may be a few milliseconds old.
class Accessibility {
  public:
    virtual ~Accessibility() = default;

    /// Whether this program may use the interface. If not, every operation reports `apiDisabled`.
    virtual bool isTrusted() = 0;

    /// The element of an application. Every number has one, even if there is no such process.
    virtual AXElement application(ProcessID process) = 0;

    /// Sets the timeout of all later operations on this element, through any handle; 0 restores the
    /// platform's own. A platform may use a shorter timeout, never a longer one.
    virtual void setMessagingTimeout(const AXElement& element, std::chrono::milliseconds timeout) = 0;

    virtual AXReading attribute(const AXElement& element, std::string_view name) = 0;

    /// Reads several attributes, and gives their readings in the same order. A platform that can asks for all
    /// of them at once; the others read one after the other.
    virtual std::vector<AXReading> attributes(std::span<const AXRequest> requests) {
        std::vector<AXReading> readings;
        readings.reserve(requests.size());
        for (const auto& [element, name] : requests) readings.push_back(attribute(element, name));
        return readings;
    }

    virtual AXSettable isSettable(const AXElement& element, std::string_view name) = 0;

    /// Writes once. Success doesn't prove that the value stays, nor `mayHaveHappened` that it was written. A
    /// platform without such an operation selects all, pastes, restores the clipboard and reads until it
    /// finds the new value, which takes 30 to 60 ms. It reports success once it has found the value, and
    /// `mayHaveHappened` otherwise.
    virtual AXStatus setAttribute(const AXElement& element, std::string_view name, const AXValue& value) = 0;

    virtual AXActionNames actionNames(const AXElement& element) = 0;

    /// Success doesn't prove that anything happened.
    virtual AXStatus performAction(const AXElement& element, std::string_view name) = 0;

    /// The deepest element on the screen at that point.
    virtual AXReading elementAtPosition(AXPoint point) = 0;

    /// The process to which the element belongs.
    virtual std::optional<ProcessID> process(const AXElement& element) = 0;

    /// Blocks until reads show what the person did so long ago; not at all on a platform whose reads always
    /// do. Takes 50 ms at most.
    virtual void awaitShown(std::chrono::nanoseconds sinceInput) { static_cast<void>(sinceInput); }

    // Hints. Platforms may ignore both; results and limits are the same with and without them.

    /// Announces reads of `names` for `root` and its descendants, breadth-first, of at most `limit` elements.
    /// While the returned object lives, such reads may be answered from values fetched since this call, once
    /// per attribute of an element. Called on the main loop's thread; never blocks.
    [[nodiscard]] virtual std::unique_ptr<AXReadAhead>
    readAhead(const AXElement& root, std::span<const std::string_view> names, std::size_t limit) {
        static_cast<void>(root), static_cast<void>(names), static_cast<void>(limit);
        return nullptr;
    }

    /// The elements with one of the roles among `root` and its descendants, breadth-first. Nothing if the
    /// platform has no search, can't guarantee that the result is complete, failed to read an element, or met
    /// more than `limit` elements of any role; the caller then has to walk. Belongs to the main loop's
    /// thread, and doesn't block it.
    virtual Task<std::optional<AXElements>> search(AXElement root, std::vector<std::string> roles,
                                                   std::size_t limit) {
        static_cast<void>(root), static_cast<void>(roles), static_cast<void>(limit);
        co_return std::nullopt;
    }
};

} // namespace orvel
