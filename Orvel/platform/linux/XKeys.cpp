#include "Orvel/platform/linux/XKeys.h"

#include "Orvel/desktop/EventPosting.h"
#include "Orvel/desktop/KeyboardTap.h"

#include <algorithm>
#include <iterator>

namespace orvel {

namespace {

// Key symbols as in X11/keysymdef.h, and the virtual key codes of macOS.
constexpr struct {
    std::uint32_t symbol;
    std::int64_t code;
} knownKeys[] = {
    {'a', 0},      {'s', 1},      {'d', 2},      {'f', 3},      {'h', 4},      {'g', 5},      {'z', 6},
    {'x', 7},      {'c', 8},      {'v', 9},      {'b', 11},     {'q', 12},     {'w', 13},     {'e', 14},
    {'r', 15},     {'y', 16},     {'t', 17},     {'1', 18},     {'2', 19},     {'3', 20},     {'4', 21},
    {'6', 22},     {'5', 23},     {'=', 24},     {'9', 25},     {'7', 26},     {'-', 27},     {'8', 28},
    {'0', 29},     {']', 30},     {'o', 31},     {'u', 32},     {'[', 33},     {'i', 34},     {'p', 35},
    {0xff0d, 36},  {'l', 37},     {'j', 38},     {'\'', 39},    {'k', 40},     {';', 41},     {'\\', 42},
    {',', 43},     {'/', 44},     {'n', 45},     {'m', 46},     {'.', 47},     {0xff09, 48},  {' ', 49},
    {'`', 50},     {0xff08, 51},  {0xff1b, 53},  {0xffe4, 54},  {0xffe3, 55},  {0xffe1, 56},  {0xffe5, 57},
    {0xffe9, 58},  {0xffeb, 59},  {0xffe2, 60},  {0xffea, 61},  {0xfe03, 61},  {0xffec, 62},  {0xff8d, 76},
    {0xffc2, 96},  {0xffc3, 97},  {0xffc4, 98},  {0xffc0, 99},  {0xffc5, 100}, {0xffc6, 101}, {0xffc8, 103},
    {0xffc7, 109}, {0xffc9, 111}, {0xff50, 115}, {0xff55, 116}, {0xffff, 117}, {0xffc1, 118}, {0xff57, 119},
    {0xffbf, 120}, {0xff56, 121}, {0xffbe, 122}, {0xff51, 123}, {0xff53, 124}, {0xff54, 125}, {0xff52, 126},
    {0xffe7, 58},  {0xffe8, 61}};

constexpr struct {
    std::int64_t first, second; ///< The left one and the right one.
    std::uint64_t flag;
} modifierKeys[] = {{54, 55, SyntheticKey::command},
                    {56, 60, SyntheticKey::shift},
                    {58, 61, SyntheticKey::option},
                    {59, 62, SyntheticKey::control}};

constexpr unsigned groupShift = 13; // Of the keyboard's group in an event's state.

} // namespace

XKeys::XKeys(XConnection& connection) {
    const auto* setup = xcb_get_setup(connection.get());
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const auto answer = connection.reply<xcb_get_keyboard_mapping_reply_t>(
        xcb_get_keyboard_mapping(connection.get(), setup->min_keycode, count));
    if (!answer || answer->keysyms_per_keycode == 0) return;
    first = setup->min_keycode;
    columns = answer->keysyms_per_keycode;
    const auto* begin = xcb_get_keyboard_mapping_keysyms(answer.get());
    symbols.assign(begin, begin + xcb_get_keyboard_mapping_keysyms_length(answer.get()));
}

std::uint32_t XKeys::symbol(xcb_keycode_t keycode, std::size_t column) const {
    const auto index = (keycode - first) * columns + column;
    return keycode >= first && column < columns && index < symbols.size() ? symbols[index] : 0;
}

std::vector<xcb_keycode_t> XKeys::returns() const {
    std::vector<xcb_keycode_t> found;
    for (std::size_t keycode = first; columns > 0 && keycode < first + symbols.size() / columns; ++keycode) {
        if (KeyCode::isReturn(code(static_cast<xcb_keycode_t>(keycode))))
            found.push_back(static_cast<xcb_keycode_t>(keycode));
    }
    return found;
}

std::int64_t XKeys::code(xcb_keycode_t keycode) const {
    for (std::size_t column = 0; column < columns; ++column)
        for (const auto& key : knownKeys)
            if (key.symbol == symbol(keycode, column)) return key.code;
    return unknownKeys + keycode;
}

std::uint64_t XKeys::modifier(xcb_keycode_t keycode) const {
    const auto number = code(keycode);
    for (const auto& key : modifierKeys)
        if (number == key.first || number == key.second) return key.flag;
    return 0;
}

std::uint64_t XKeys::flags(std::uint32_t state) {
    std::uint64_t flags = 0;
    if (state & XCB_MOD_MASK_SHIFT) flags |= SyntheticKey::shift;
    if (state & XCB_MOD_MASK_CONTROL) flags |= SyntheticKey::command;
    if (state & (XCB_MOD_MASK_1 | XCB_MOD_MASK_5)) flags |= SyntheticKey::option; // Alt, and AltGr.
    if (state & XCB_MOD_MASK_4) flags |= SyntheticKey::control;
    return flags;
}

std::optional<XStroke> XKeys::stroke(std::int64_t code, std::uint64_t flags) const {
    std::uint16_t state = 0;
    if (flags & SyntheticKey::shift) state |= XCB_MOD_MASK_SHIFT;
    if (flags & (SyntheticKey::command | SyntheticKey::control)) state |= XCB_MOD_MASK_CONTROL;
    if (flags & SyntheticKey::option) state |= XCB_MOD_MASK_1;
    // The unshifted columns of the first two groups.
    for (const std::size_t group : {0U, 1U})
        for (std::size_t keycode = first; columns > 0 && keycode < first + symbols.size() / columns;
             ++keycode)
            for (const auto& key : knownKeys)
                if (key.code == code && key.symbol == symbol(static_cast<xcb_keycode_t>(keycode), group * 2))
                    return XStroke{static_cast<xcb_keycode_t>(keycode),
                                   static_cast<std::uint16_t>(state | (group << groupShift))};
    return std::nullopt;
}

} // namespace orvel
