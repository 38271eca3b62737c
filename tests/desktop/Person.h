#pragma once
// The person at the keyboard of a desktop: keys as a keyboard would make them, by what they are labelled
// with.

#include "Orvel/platform/linux/XConnection.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include <xcb/xtest.h>

namespace orvel {

class Person {
  public:
    using Milliseconds = std::chrono::milliseconds;
    static constexpr std::uint32_t backspace = 0xff08, enter = 0xff0d, shift = 0xffe1, control = 0xffe3;

    explicit Person(const std::string& display) : connection(XConnection::open(display)) {
        const auto* setup = xcb_get_setup(connection->get());
        const auto first = setup->min_keycode;
        const auto count = static_cast<std::uint8_t>(setup->max_keycode - first + 1);
        const auto map = connection->reply<xcb_get_keyboard_mapping_reply_t>(
            xcb_get_keyboard_mapping(connection->get(), first, count));
        const auto* symbols = xcb_get_keyboard_mapping_keysyms(map.get());
        for (int column = 1; column >= 0; --column)
            for (int i = 0; i < count; ++i)
                keys[symbols[i * map->keysyms_per_keycode + column]] = {static_cast<std::uint8_t>(first + i),
                                                                        column == 1};
    }

    /// Each happens so long after what was done before; the server keeps the time.
    void press(std::uint32_t key, Milliseconds pause = {}) { fake(XCB_KEY_PRESS, key, pause); }
    void release(std::uint32_t key, Milliseconds pause = {}) { fake(XCB_KEY_RELEASE, key, pause); }
    void stroke(std::uint32_t key, Milliseconds pause = {}) {
        const bool isShifted = keys.at(key).isShifted;
        if (isShifted) press(shift, pause);
        press(key, isShifted ? Milliseconds() : pause);
        release(key);
        if (isShifted) release(shift);
    }
    /// ASCII; a line feed is Return.
    void type(std::string_view text, Milliseconds pause = Milliseconds(8)) {
        for (const char letter : text)
            stroke(letter == '\n' ? enter : static_cast<unsigned char>(letter), pause);
    }

  private:
    struct Place {
        std::uint8_t keycode = 0;
        bool isShifted = false;
    };
    void fake(std::uint8_t type, std::uint32_t key, Milliseconds pause) {
        xcb_test_fake_input(connection->get(), type, keys.at(key).keycode,
                            static_cast<std::uint32_t>(pause.count()), XCB_WINDOW_NONE, 0, 0, 0);
        xcb_flush(connection->get());
    }

    std::unique_ptr<XConnection> connection;
    std::map<std::uint32_t, Place> keys; ///< By symbol.
};

} // namespace orvel
