#include "desktop/TestSession.h"

#include "Orvel/platform/linux/XConnection.h"
#include "samples/TranscriptWriter.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include <unistd.h>

namespace orvel {

namespace {

constexpr const char* programs[] = {"/usr/bin/chromium", "/usr/bin/Xvfb", "/usr/bin/openbox", "/usr/bin/gio",
                                    "/usr/bin/openssl"};
constexpr auto workingDirectory = "/code/lark";

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

void require(bool isThere, const std::string& what) {
    if (!isThere) throw std::runtime_error("The desktop did not begin: " + what + ".");
}

} // namespace

std::string TestSession::whatIsMissing() {
    if (variable("ORVEL_DESKTOP_PAGE").empty() || variable("ORVEL_NODE").empty())
        return "The environment names no page; scripts/test-desktop does.";
    if (auto missing = PrivateBus::whatIsMissing(); !missing.empty()) return missing;
    for (const auto* program : programs)
        if (access(program, X_OK) != 0) return std::string("This machine has no ") + program + ".";
    return {};
}

TestSession::TestSession(const std::vector<PageConversation>& claude, const std::string& codexThread,
                         Typing typing)
    : environment(bus.environment()), codexThread(codexThread) {
    environment["HOME"] = folder.path("home");
    environment["PATH"] = "/usr/bin:/bin";
    std::filesystem::create_directories(folder.path("home"));
    writeGiven(claude, codexThread);
    registerLinks();
    begin(typing);
}

TestSession::~TestSession() {
    typist.reset();
    for (auto* child : {&claudeBrowser, &codexBrowser, &diaBrowser, &pages}) child->reset();
    mozc.reset();
    for (auto* child : {&manager, &server}) child->reset();
}

void TestSession::begin(Typing typing) {
    int ends[2] = {-1, -1};
    require(pipe(ends) == 0, "no pipe");
    server = std::make_unique<OwnChild>(
        std::vector<std::string>{"/usr/bin/Xvfb", "-displayfd", std::to_string(ends[1]), "-screen", "0",
                                 "1300x900x24", "-nolisten", "tcp", "-noreset"},
        environment);
    close(ends[1]);
    std::string number;
    for (char each = 0; read(ends[0], &each, 1) == 1 && each != '\n';) number += each;
    close(ends[0]);
    require(!number.empty(), "no X server");
    displayName = ":" + number;
    environment["DISPLAY"] = displayName;
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    for (const auto* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_DATA_DIRS"}) unsetenv(name);

    manager =
        std::make_unique<OwnChild>(std::vector<std::string>{"/usr/bin/openbox", "--sm-disable"}, environment);
    const auto connection = XConnection::open(displayName);
    require(connection != nullptr, "no connection to the X server");
    const auto managed = connection->atom("_NET_SUPPORTING_WM_CHECK");
    require(comes([&] { return connection->property(connection->root(), managed, 4).has_value(); }),
            "no window manager");
    typist = std::make_unique<Person>(displayName);
    if (typing == Typing::japanese) {
        folder.write("home/.config/mozc/ibus_config.textproto",
                     "engines { name: \"mozc-jp\" longname: \"Mozc\" layout: \"default\" }\n"
                     "active_on_launch: True\n");
        mozc = std::make_unique<MozcSession>(environment);
        environment.merge(MozcSession::variablesOfPrograms());
    }

    pages = std::make_unique<OwnChild>(std::vector<std::string>{variable("ORVEL_NODE"), PAGE_SERVER,
                                                                folder.path(),
                                                                variable("ORVEL_DESKTOP_PAGE") + "/bundles"},
                                       environment);
    require(comes([&] { return std::filesystem::exists(folder.path("port")); }), "no server of pages");
    port = contentsOf(folder.path("port"));
}

// What the pages show, and the transcripts behind them.
void TestSession::writeGiven(const std::vector<PageConversation>& claude, const std::string& thread) {
    nlohmann::json given;
    for (const auto& each : claude) {
        const auto transcript =
            folder.write("home/.claude/projects/-code-lark/" + each.sessionID + ".jsonl",
                         ClaudeTranscript({.id = each.sessionID, .workingDirectory = workingDirectory})
                             .ask("c1")
                             .answer("d1")
                             .text());
        folder.write("home/.config/Claude/claude-code-sessions/" + each.desktopID + ".json",
                     nlohmann::json{{"sessionId", each.desktopID},
                                    {"cliSessionId", each.sessionID},
                                    {"cwd", workingDirectory},
                                    {"title", "Site"}}
                         .dump());
        given["claude"]["conversations"][each.desktopID] = {{"messages", each.messages},
                                                            {"session", each.sessionID},
                                                            {"transcript", transcript},
                                                            {"directory", workingDirectory}};
    }
    given["codex"]["conversations"][thread] = {{"messages", 3}};
    folder.write("given.json", given.dump());
    folder.write(
        "home/.codex/sessions/2026/11/rollout-one.jsonl",
        CodexTranscript({.id = thread, .workingDirectory = workingDirectory}).ask("q1").answer("a1").text());
}

// The agents as installed applications: their links go to the pages.
void TestSession::registerLinks() {
    const auto script = folder.write(
        "home/open-link",
        "#!/bin/sh\n"
        "case ${1:-} in claude://claude.ai/epitaxy/*)\n"
        "  echo \"{\\\"app\\\":\\\"claude\\\",\\\"order\\\":\\\"show\\\",\\\"value\\\":\\\"${1##*/}\\\"}\" "
        ">>" +
            folder.path("orders") + " ;;\nesac\n");
    std::filesystem::permissions(script, std::filesystem::perms::owner_all);
    std::string handlers = "[Default Applications]\n";
    for (const std::string name : {"claude", "codex"}) {
        folder.write("home/.local/share/applications/" + name + ".desktop",
                     "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=" + script +
                         " %u\nMimeType=x-scheme-handler/" + name + ";\n");
        handlers += "x-scheme-handler/" + name + "=" + name + ".desktop\n";
    }
    folder.write("home/.config/mimeapps.list", handlers);
}

std::unique_ptr<OwnChild> TestSession::browser(const std::string& app, const std::string& windowClass,
                                               const std::string& address) {
    const auto shown = count(app, "shown");
    auto child = std::make_unique<OwnChild>(
        std::vector<std::string>{
            "/usr/bin/chromium", "--no-sandbox", "--disable-gpu", "--no-first-run", "--test-type",
            "--disable-background-networking", "--disable-component-update", "--disable-sync",
            "--password-store=basic", "--hide-crash-restore-bubble", "--ignore-certificate-errors",
            "--host-resolver-rules=MAP claude.ai 127.0.0.1:" + port + ", MAP codex.test 127.0.0.1:" + port +
                ", MAP chatgpt.com 127.0.0.1:" + port + ", MAP * ~NOTFOUND",
            "--class=" + windowClass, "--user-data-dir=" + folder.path(app + "-profile"), address},
        environment);
    require(comes([&] { return count(app, "shown") > shown; }), "no page in " + app);
    return child;
}

void TestSession::startClaude(const std::string& desktopID) {
    claudeBrowser = browser("claude", "claude", "--app=https://claude.ai/epitaxy/" + desktopID);
}

void TestSession::startCodex() {
    codexBrowser = browser("codex", "codex", "--app=https://codex.test/" + codexThread);
}

void TestSession::startDia() {
    diaBrowser = browser("chatgpt", "company.thebrowser.dia", "https://chatgpt.com/");
}

const std::vector<nlohmann::json>& TestSession::told() {
    std::ifstream file(folder.path("told"), std::ios::binary);
    file.seekg(static_cast<std::streamoff>(eventsRead));
    for (std::string line; std::getline(file, line) && !file.eof();) {
        eventsRead += line.size() + 1;
        events.push_back(nlohmann::json::parse(line));
    }
    return events;
}

std::size_t TestSession::count(const std::string& app, const std::string& what) {
    std::size_t found = 0;
    for (const auto& event : told()) found += event["app"] == app && event["what"] == what ? 1 : 0;
    return found;
}

std::string TestSession::editorText(const std::string& app) {
    std::string text;
    for (const auto& event : told())
        if (event["app"] == app && event["what"] == "text") text = event["text"];
    return text;
}

std::vector<std::string> TestSession::sent(const std::string& app) {
    std::vector<std::string> texts;
    for (const auto& event : told())
        if (event["app"] == app && event["what"] == "sent") texts.push_back(event["text"]);
    return texts;
}

void TestSession::order(const std::string& app, const std::string& order, const nlohmann::json& value) {
    std::ofstream(folder.path("orders"), std::ios::app)
        << nlohmann::json{{"app", app}, {"order", order}, {"value", value}}.dump() << '\n';
}

} // namespace orvel
