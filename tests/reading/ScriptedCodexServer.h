#pragma once
// Codex's server as a simulated program: a table of methods and what it answers to them, behind a WebSocket
// of its own.

#include "Orvel/platform/simulated/SimulatedProcesses.h"
#include "OrvelCore/text/Base64.h"
#include "OrvelCore/text/Digest.h"
#include "reading/ServerFrames.h"

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace orvel {

/// Installs itself as the program at `executable`; outlives the processes' use of it. Each start is a fresh
/// connection with the same script.
class ScriptedCodexServer {
  public:
    static constexpr const char* executable = "/tools/bin/codex";
    static constexpr const char* thread = "01a1fd20-9312-76b3-85b8-a86c82e71d1c";

    using Json = nlohmann::ordered_json;
    /// The bytes to send for a request.
    using Answer = std::function<std::string(const Json& request)>;

    explicit ScriptedCodexServer(SimulatedProcesses& processes) {
        answers["initialize"] = result({{"userAgent", "codex"}});
        answers["initialized"] = bytes("");
        answers["thread/resume"] = result({{"thread", {{"id", thread}, {"status", {{"type", "idle"}}}}}});
        processes.programs[executable] = [this](SimulatedChildSide side, const ChildLaunch&) {
            return std::make_unique<Program>(side, *this);
        };
    }

    // The script

    std::map<std::string, Answer> answers;
    std::map<std::string, MainLoop::Duration> delays; ///< Before an answer; "upgrade" is the first of them.
    /// The head for an upgrade with this key.
    std::function<std::string(const std::string& key)> upgrade = [](const std::string& key) {
        return "HTTP/1.1 101 Switching Protocols\r\nconnection: Upgrade\r\nupgrade: websocket\r\n"
               "sec-websocket-accept: " +
               base64(sha1({key, "258EAFA5-E914-47DA-95CA-C5AB0DC85B11"})) + "\r\n\r\n";
    };
    bool ignoresTermination = false;

    static std::string frame(const Json& message) { return serverFrame(1, message.dump()); }
    static Answer bytes(std::string bytes) {
        return [bytes](const Json&) { return bytes; };
    }
    static Answer result(Json result) {
        return [result](const Json& request) {
            return frame({{"id", request.at("id")}, {"result", result}});
        };
    }
    static Answer error(int code, std::string message) {
        return [=](const Json& request) {
            return frame({{"error", {{"code", code}, {"message", message}}}, {"id", request.at("id")}});
        };
    }

    // What arrived

    std::string head;               ///< The request for the upgrade.
    std::vector<std::string> texts; ///< The texts behind it.
    std::vector<std::string> pongs;
    std::set<std::string> masks;
    int wrongFrames = 0; ///< Neither a text nor a pong, or not as a client writes it.

    /// The server that runs; nothing happens without one.
    void say(const Json& message) { sayBytes(frame(message)); }
    void sayBytes(std::string_view output) {
        if (current) current->side.write(output);
    }
    void hangUp() {
        if (current) current->side.hangUp();
    }

  private:
    struct Program : SimulatedProgram {
        Program(SimulatedChildSide side, ScriptedCodexServer& script)
            : SimulatedProgram(side), script(script) {
            script.current = this;
        }
        ~Program() override {
            if (script.current == this) script.current = nullptr;
        }

        void received(std::string_view bytes) override {
            input += bytes;
            if (!isUpgraded) takeHead();
            if (isUpgraded)
                while (const auto frame = clientFrameAt(input)) {
                    input.erase(0, frame->size);
                    take(*frame);
                }
        }
        void terminated() override {
            if (!script.ignoresTermination) side.exit(128 + 15);
        }
        void inputClosed() override {} // Waits for the signal.

        void takeHead() {
            static constexpr std::string_view keyName = "Sec-WebSocket-Key: ";
            const auto end = input.find("\r\n\r\n");
            if (end == input.npos) return;
            script.head = input.substr(0, end + 4);
            input.erase(0, end + 4);
            isUpgraded = true;
            const auto key = script.head.substr(script.head.find(keyName) + keyName.size());
            answer("upgrade", script.upgrade(key.substr(0, key.find('\r'))));
        }

        void take(const ClientFrame& frame) {
            script.wrongFrames +=
                !script.masks.insert(frame.mask).second; // Each frame has a mask of its own.
            if (frame.opcode == 10) script.pongs.push_back(frame.payload);
            if (frame.opcode != 1) {
                script.wrongFrames += frame.opcode != 10;
                return;
            }
            script.texts.push_back(frame.payload);
            const auto request = Json::parse(frame.payload);
            const auto method = request.at("method").get<std::string>();
            if (script.answers.count(method) != 0) answer(method, script.answers.at(method)(request));
        }

        void answer(const std::string& method, const std::string& output) {
            const auto delay =
                script.delays.count(method) != 0 ? script.delays.at(method) : MainLoop::Duration(0);
            side.after(delay, [this, output] { side.write(output); });
        }

        using SimulatedProgram::side;
        ScriptedCodexServer& script;
        std::string input;
        bool isUpgraded = false;
    };

    Program* current = nullptr;
};

} // namespace orvel
