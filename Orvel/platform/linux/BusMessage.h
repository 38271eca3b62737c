#pragma once
// A call over D-Bus and its answer, without the library beneath. Answers come from other programs: each is
// checked against the type that it must have.

#include "Orvel/desktop/Accessibility.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct sd_bus_message;

namespace orvel {

/// An object: the unique name of its program on the bus, and its path there.
struct BusReference {
    std::string name, path;
    bool operator==(const BusReference&) const = default;
    auto operator<=>(const BusReference&) const = default;
};

/// A call of a method. The words live as long as the call.
struct BusCall {
    BusReference object;
    const char* interface;
    const char* member;
    /// Writes the arguments; absent if there are none. Negative means that they could not be written.
    std::function<int(sd_bus_message*)> arguments;
    /// Every object of its kind has this method, so that one without it is no such object.
    bool isMandatory = false;
    /// The bus is to start a program that offers the name.
    bool isStarting = false;
};

/// The read of a property.
BusCall propertyCall(BusReference object, const char* interface, const char* property,
                     bool isMandatory = false);

/// What a call came to. The reads give nothing if the answer is of another type; each reads the answer from
/// its beginning. `status` is `success` for every answer that is no error. Goes before its connection is used
/// by another thread.
class BusReply {
  public:
    BusReply() = default;
    explicit BusReply(AXStatus status) : statusOfCall(status) {}
    /// Shares the message.
    explicit BusReply(sd_bus_message* message);

    AXStatus status() const { return statusOfCall; }

    std::optional<std::string> string() const;
    std::optional<std::uint32_t> number() const;
    std::optional<std::int32_t> signedNumber() const;
    std::optional<bool> boolean() const;
    std::optional<std::pair<std::int32_t, std::int32_t>> range() const;
    struct Rectangle {
        std::int32_t x = 0, y = 0, width = 0, height = 0;
    };
    std::optional<Rectangle> rectangle() const;
    /// Bits of any number of words, of which the first two are given.
    std::optional<std::uint64_t> bits() const;
    std::optional<BusReference> reference() const;
    /// Nothing either if there are more than `limit`.
    std::optional<std::vector<BusReference>> references(std::size_t limit) const;
    std::optional<std::map<std::string, std::string, std::less<>>> dictionary(std::size_t limit) const;
    /// The first of each group of three texts.
    std::optional<std::vector<std::string>> actions(std::size_t limit) const;

    // The values of properties.
    std::optional<std::string> stringProperty() const;
    std::optional<std::int32_t> signedProperty() const;
    std::optional<double> doubleProperty() const;
    std::optional<bool> booleanProperty() const;
    std::optional<std::string> pathProperty() const;
    std::optional<BusReference> referenceProperty() const;

    /// The answer at its beginning, for those who know its type; null if there is none.
    sd_bus_message* rewound() const;

  private:
    struct Unref {
        void operator()(sd_bus_message* message) const;
    };

    template <typename... Values>
    bool read(const char* types, Values*... values) const;
    template <typename Element>
    bool each(const char* type, std::size_t limit, const Element& element) const;

    AXStatus statusOfCall = AXStatus::apiDisabled;
    std::unique_ptr<sd_bus_message, Unref> message;
};

/// The status for an error that D-Bus or a program names. Programs that know no such object and those that
/// know no such method of it may use the same name: `isMandatory` tells that every object has the method.
AXStatus statusOfError(std::string_view name, bool isMandatory);

} // namespace orvel
