#include "MozcSession.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

namespace orvel {

namespace {

constexpr uid_t nobody = 65534;

// They leave programs behind, which become children of the test, and start each other.
void endLeftovers() {
    comes([] {
        bool isAnyThere = false;
        for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
            std::ifstream children(thread.path() / "children");
            for (pid_t child = 0; children >> child;) {
                std::string name;
                std::ifstream("/proc/" + std::to_string(child) + "/comm") >> name;
                if (!name.starts_with("mozc") && !name.starts_with("ibus")) continue;
                isAnyThere = true;
                kill(child, SIGTERM);
                waitpid(child, nullptr, WNOHANG);
            }
        }
        return !isAnyThere;
    });
}

} // namespace

OrdinaryUser::OrdinaryUser() {
    if (geteuid() != 0) return;
    groups.resize(static_cast<std::size_t>(getgroups(0, nullptr)));
    isOther = getgroups(static_cast<int>(groups.size()), groups.data()) >= 0 && setgroups(0, nullptr) == 0 &&
              setresgid(nobody, nobody, 0) == 0 && setresuid(nobody, nobody, 0) == 0;
}

OrdinaryUser::~OrdinaryUser() {
    if (!isOther) return;
    const bool isBack =
        setresuid(0, 0, 0) == 0 && setresgid(0, 0, 0) == 0 && setgroups(groups.size(), groups.data()) == 0;
    if (!isBack) std::abort();
}

bool OrdinaryUser::isOne() {
    return geteuid() != 0;
}

std::string MozcSession::whatIsMissing() {
    for (const auto* each :
         {"/usr/bin/ibus-daemon", "/usr/lib/ibus-mozc/ibus-engine-mozc", "/usr/lib/mozc/mozc_server"})
        if (access(each, X_OK) != 0) return std::string("This machine has no ") + each + ".";
    return {};
}

bool MozcSession::servesPrograms() {
    const auto modules = std::filesystem::directory_iterator("/usr/lib");
    return std::any_of(begin(modules), end(modules), [](const auto& folder) {
        return exists(folder.path() / "gtk-3.0/3.0.0/immodules/im-ibus.so");
    });
}

MozcSession::MozcSession(std::map<std::string, std::string> variables) : environment(std::move(variables)) {
    environment["LANG"] = "C.UTF-8";
    start();
}

MozcSession::~MozcSession() {
    program->end();
    endLeftovers();
}

void MozcSession::start() {
    program = std::make_unique<OwnChild>(
        std::vector<std::string>{"/usr/bin/ibus-daemon", "--panel", "disable", "--config", "disable"},
        environment);
}

void MozcSession::select(const std::string& engine) const {
    const OwnChild asked({"/usr/bin/ibus", "engine", engine}, environment);
    comes([&] { return waitpid(asked.id(), nullptr, WNOHANG) == asked.id(); });
}

IBusPlaces MozcSession::places() const {
    return ibusPlaces([this](const char* name) {
        const auto known = environment.find(name);
        return known == environment.end() ? std::nullopt : std::optional(known->second);
    });
}

} // namespace orvel
