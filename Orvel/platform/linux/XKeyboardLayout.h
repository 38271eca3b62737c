#pragma once
// The keyboard layout of an X server, and whether keys reach programs without an input method.

#include "Orvel/platform/linux/IBusVocabulary.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

class XConnection;

/// Kept until the server tells of a change, so a read costs nothing else. Used by one thread.
class XKeyboardLayout {
  public:
    /// The input methods that the environment names for programs, as in GTK_IM_MODULE.
    static std::vector<std::string> methodsOfEnvironment();

    /// An empty name is the environment's display.
    explicit XKeyboardLayout(std::string display = {},
                             const std::vector<std::string>& methods = methodsOfEnvironment());
    XKeyboardLayout(const XKeyboardLayout&) = delete;
    XKeyboardLayout& operator=(const XKeyboardLayout&) = delete;
    ~XKeyboardLayout();

    /// Nothing if it can't be read, or if there are several between which the person switches.
    std::optional<XkbLayout> current();

    /// Whether no input method has offered itself to the server, and the environment names none but IBus.
    /// Other ways to offer one aren't known of.
    bool isAlone();

  private:
    bool look();

    const std::string display;
    const bool namesOthers;
    std::unique_ptr<XConnection> connection;
    bool isChanged = true;
    std::optional<XkbLayout> layout;
    bool hasServers = true;
};

} // namespace orvel
