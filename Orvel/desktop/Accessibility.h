#pragma once
// Reading and writing the user interfaces of other programs: their elements, by the names of attributes,
// roles and actions that the Accessibility interface of macOS uses. A platform that speaks another language
// translates.

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

/// What an operation reported, as the number that diagnostics print. Any number can come; those with a
/// meaning of their own have names.
enum class AXStatus : std::int32_t {
    success = 0,
    failure = -25200,
    invalidElement = -25202, ///< The element is no more.
    cannotComplete = -25204, ///< The other program did not answer in time; normal life.
    attributeUnsupported = -25205,
    actionUnsupported = -25206,
    apiDisabled = -25211, ///< No permission, or no such interface on this platform.
    noValue = -25212,     ///< The attribute is known and has no value.

    // Of this port alone
    needsRestart = -26001,   ///< The other program must be started anew before it can do this.
    mayHaveHappened = -26002 ///< A write that was composed of several steps, not all of them proved.
};

/// What a platform tells things by. Compared by what it stands for, not by address.
class AXIdentity {
  public:
    virtual ~AXIdentity() = default;
    virtual bool equals(const AXIdentity& other) const = 0;
};

/// A handle on an element of another program. Two handles are equal if they stand for the same element, and
/// stay so while its contents change; an element that was removed and made anew is another one. Cheap to
/// copy. It may outlive its element, which then answers `invalidElement`.
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

/// A value of a type that nobody looks into. Two of them can be compared.
struct AXOpaque {
    std::shared_ptr<const AXIdentity> identity;

    friend bool operator==(const AXOpaque& one, const AXOpaque& two) {
        return one.identity && two.identity && one.identity->equals(*two.identity);
    }
};

struct AXNull {
    bool operator==(const AXNull&) const = default;
};

/// As written by the other program; it need not parse.
struct AXURL {
    std::string text;
    bool operator==(const AXURL&) const = default;
};

/// In UTF-16 units. Nothing keeps the other program from negative numbers.
struct AXRange {
    std::int64_t location = 0, length = 0;
    bool operator==(const AXRange&) const = default;
};

/// In points from the upper left corner of the main screen.
struct AXPoint {
    double x = 0, y = 0;
    bool operator==(const AXPoint&) const = default;
};

struct AXSize {
    double width = 0, height = 0;
    bool operator==(const AXSize&) const = default;
};

using AXElements = std::vector<AXElement>;

/// An attribute's value: none, or one of the types that are told apart. Strings are UTF-8. An empty list is a
/// list of elements.
using AXValue = std::variant<std::monostate, AXNull, std::string, bool, double, AXURL, AXRange, AXPoint,
                             AXSize, AXElement, AXElements, std::vector<std::string>, AXOpaque>;

inline bool isNothing(const AXValue& value) {
    return std::holds_alternative<std::monostate>(value) || std::holds_alternative<AXNull>(value);
}

/// What a read gave. Without success there is no value; with it there may be none all the same.
struct AXReading {
    AXStatus status = AXStatus::apiDisabled;
    AXValue value;

    /// The value if it is there and of this type.
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

/// Lets a platform fetch ahead of the reads; destroying it ends that. See `Accessibility::readAhead`.
class AXReadAhead {
  public:
    virtual ~AXReadAhead() = default;
};

/// Every operation but the two hints is one exchange with the other program, ends within the element's
/// messaging timeout, with `cannotComplete` if that passes, and may be called from any thread. What is read
/// can be out of date by some milliseconds.
class Accessibility {
  public:
    virtual ~Accessibility() = default;

    /// Whether this program may use the interface. If not, all else answers `apiDisabled`.
    virtual bool isTrusted() = 0;

    /// The element of a running application; there is one for every number, also for one that is no process.
    virtual AXElement application(ProcessID process) = 0;

    /// Bounds every later operation on this element alone, in whichever handle; 0 restores the platform's own
    /// bound. A platform may take less time than it is given, not more.
    virtual void setMessagingTimeout(const AXElement& element, std::chrono::milliseconds timeout) = 0;

    virtual AXReading attribute(const AXElement& element, std::string_view name) = 0;

    virtual AXSettable isSettable(const AXElement& element, std::string_view name) = 0;

    /// Writes once. Success doesn't prove that the value stays, and `mayHaveHappened` not that it was
    /// written. A platform without such a write composes it: it selects all, pastes from the clipboard, which
    /// it gives back, and reads until it finds the new value; that takes 30 to 60 ms. It returns success only
    /// then, so that the first read after this call finds the value, and `mayHaveHappened` where it can't.
    virtual AXStatus setAttribute(const AXElement& element, std::string_view name, const AXValue& value) = 0;

    virtual AXActionNames actionNames(const AXElement& element) = 0;

    /// Success doesn't prove that anything happened.
    virtual AXStatus performAction(const AXElement& element, std::string_view name) = 0;

    /// The deepest element on the screen at that point.
    virtual AXReading elementAtPosition(AXPoint point) = 0;

    /// The process to which the element belongs.
    virtual std::optional<ProcessID> process(const AXElement& element) = 0;

    // Hints, both optional to a platform. With them everything has the same results and limits as without.

    /// Says that `names` will be read of `root` and of its descendants, breadth-first, of at most `limit`
    /// elements. While the object lives, such reads may be answered from what was fetched since this call,
    /// each attribute of an element once. Called on the main loop's thread; never blocks.
    [[nodiscard]] virtual std::unique_ptr<AXReadAhead>
    readAhead(const AXElement& root, std::span<const std::string_view> names, std::size_t limit) {
        static_cast<void>(root), static_cast<void>(names), static_cast<void>(limit);
        return nullptr;
    }

    /// The elements with one of the roles among `root` and its descendants, breadth-first. Nothing if the
    /// platform doesn't search, if it can't vouch for having seen all, if one of them could not be read, or
    /// if they are more than `limit` elements, whatever their roles: then each has to be visited. Belongs to
    /// the main loop's thread, which it doesn't hold.
    virtual Task<std::optional<AXElements>> search(AXElement root, std::vector<std::string> roles,
                                                   std::size_t limit) {
        static_cast<void>(root), static_cast<void>(roles), static_cast<void>(limit);
        co_return std::nullopt;
    }
};

} // namespace orvel
