#pragma once
// IBus with Mozc, a real Japanese input method, under an ordinary user's account.

#include "Orvel/platform/linux/IBusAddress.h"
#include "PrivateBus.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

namespace orvel {

/// Mozc serves no superuser, and IBus nobody but its own user: the test becomes somebody without rights. The
/// programs that it starts are that user's from the beginning.
class OrdinaryUser {
  public:
    OrdinaryUser();
    ~OrdinaryUser();
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
    static bool isOne();

  private:
    bool isOther = false;
    std::vector<gid_t> groups;
};

/// IBus's daemon in an environment with a home, a display and a session bus. Ends with all that it started.
class MozcSession {
  public:
    /// Why there can be none on this machine; empty if there can.
    static std::string whatIsMissing();
    /// Whether programs with GTK's windows reach it.
    static bool servesPrograms();

    explicit MozcSession(std::map<std::string, std::string> variables);
    ~MozcSession();
    MozcSession(const MozcSession&) = delete;
    MozcSession& operator=(const MozcSession&) = delete;

    /// What programs need in their environment besides.
    static std::map<std::string, std::string> variablesOfPrograms() {
        return {{"GTK_IM_MODULE", "ibus"}, {"IBUS_ENABLE_SYNC_MODE", "1"}, {"LANG", "C.UTF-8"}};
    }
    /// Where the daemon can be found.
    IBusPlaces places() const;
    /// Has the daemon use another engine; as soon as an editor has the keyboard.
    void select(const std::string& engine) const;
    OwnChild& daemon() { return *program; }
    /// Starts it once more, after it ended.
    void start();

  private:
    std::map<std::string, std::string> environment;
    std::unique_ptr<OwnChild> program;
};

} // namespace orvel
