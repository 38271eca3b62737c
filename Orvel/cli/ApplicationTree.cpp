#include "Orvel/cli/ApplicationTree.h"

#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/JsonLine.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/TerminalDesktop.h"
#include "Orvel/consultation/ChatGPTPage.h"
#include "Orvel/desktop/Accessibility.h"
#include "Orvel/desktop/Applications.h"
#include "OrvelCore/commands/ReturnDecision.h"

#include <chrono>
#include <optional>

#include <nlohmann/json.hpp>

namespace orvel {

namespace {

using namespace std::chrono_literals;
using Json = nlohmann::ordered_json;

std::string bundleIDOf(const std::string& application) {
    if (application == "dia") return std::string(diaBundleID);
    return std::string(OrvelCommandPolicy::bundleID(application == "codex" ? Agent::codex : Agent::claude));
}

Task<void> keepShape(MainLoop& loop, Accessibility& accessibility, AXElement root,
                     std::optional<TreeShape>& kept) {
    auto reading = shapeOf(loop, accessibility, std::move(root));
    kept = co_await reading;
}

} // namespace

std::string linesOf(const TreeShape& tree) {
    std::string lines;
    for (const auto& element : tree.elements) {
        lines += std::string(element.depth, ' ') + std::string(element.role.empty() ? "none" : element.role);
        if (!element.subrole.empty()) lines += "/" + std::string(element.subrole);
        if (element.children > 0) lines += " " + std::to_string(element.children);
        for (const auto& [name, kind] : element.attributes)
            lines += std::string(&element.attributes.front().name == &name ? "  " : ", ") +
                     std::string(name.substr(2)) + " " + std::string(kind);
        for (const auto name : element.classes) lines += ", ." + std::string(name);
        if (element.status != AXStatus::success)
            lines += "  (" + std::to_string(static_cast<std::int32_t>(element.status)) + ")";
        lines += "\n";
    }
    lines +=
        std::to_string(tree.elements.size()) + " elements" + (tree.isCut ? ", not all of them" : "") + ".\n";
    return lines;
}

std::string jsonOf(const TreeShape& tree) {
    auto elements = Json::array();
    for (const auto& element : tree.elements) {
        auto attributes = Json::object();
        for (const auto& [name, kind] : element.attributes) attributes[std::string(name)] = kind;
        elements.push_back({{"depth", element.depth},
                            {"role", element.role},
                            {"subrole", element.subrole},
                            {"children", element.children},
                            {"attributes", attributes},
                            {"classes", element.classes},
                            {"status", static_cast<std::int32_t>(element.status)}});
    }
    return jsonLine(Json{{"elements", elements}, {"isCut", tree.isCut}});
}

void showApplicationTree(const Arguments& arguments, const Places& places, Output& output) {
    constexpr auto patience =
        TreeShapeLimits{}.whole + 10s; // Of the last element, all attributes may be late.
    TerminalDesktop desktop(places, TerminalDesktop::Use::whole);
    const auto& ports = desktop.ports();
    if (!ports.accessibility.isTrusted())
        throw CommandFailure("notTrusted", "This program may not read the windows of others.");
    const auto running = ports.applications.running(bundleIDOf(arguments.tree));
    if (running.empty()) throw CommandFailure("notRunning", "The application doesn't run.");
    std::optional<TreeShape> tree;
    TaskScope tasks; // Ends before what its work uses.
    tasks.start(keepShape(ports.loop, ports.accessibility,
                          ports.accessibility.application(running.front().process), tree));
    desktop.runUntil([&tree] { return tree.has_value(); }, patience);
    if (!tree) throw CommandFailure("noAnswer", "The application didn't answer in time.");
    output.write(arguments.json ? jsonOf(*tree) : linesOf(*tree));
}

} // namespace orvel
