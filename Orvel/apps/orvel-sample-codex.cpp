// The program orvel-sample-codex: stands in for `codex` where Orvel works on a sample. CODEX_HOME names the
// folder on which it works.

#include "Orvel/platform/posix/WakePipe.h"
#include "Orvel/runtime/Random.h"
#include "samples/SampleCodexCommand.h"
#include "samples/SampleCodexServer.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <string>
#include <thread>

#include <poll.h>
#include <unistd.h>

using namespace orvel;

namespace {

constexpr int unavailable = 1;

SampleMoment now() {
    using namespace std::chrono;
    return {duration_cast<milliseconds>(steady_clock::now().time_since_epoch()),
            duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count()};
}

const WakePipe* endingPipe = nullptr;

// One connection on standard input and output.
class Proxy {
  public:
    explicit Proxy(SampleCodexHome home) : server(std::move(home), {}) {
        endingPipe = &ending;
        std::signal(SIGPIPE, SIG_IGN);
        for (const int number : {SIGINT, SIGTERM, SIGHUP})
            std::signal(number, [](int) { endingPipe->wake(); });
    }

    void run() {
        while (isConnected && !(server.isClosed() && pending.empty())) step();
        server.end(now());
    }

  private:
    void step() {
        std::array<pollfd, 3> descriptors{{{STDIN_FILENO, POLLIN, 0},
                                           {pending.empty() ? -1 : STDOUT_FILENO, POLLOUT, 0},
                                           {ending.readEnd(), POLLIN, 0}}};
        if (poll(descriptors.data(), descriptors.size(), timeout()) < 0 && errno != EINTR)
            isConnected = false;
        if (descriptors[2].revents) isConnected = false;
        if (descriptors[1].revents) writeSome();
        if (descriptors[0].revents) readSome();
        pending += server.pass(now());
    }

    int timeout() const {
        const auto next = server.nextPass();
        if (!next) return -1;
        const auto wait = (*next - now().uptime).count();
        return static_cast<int>(std::clamp<long>(wait, 0, std::numeric_limits<int>::max()));
    }

    void readSome() {
        std::array<char, 16'384> bytes{};
        const auto count = read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count > 0)
            pending += server.receive({bytes.data(), static_cast<std::size_t>(count)}, now());
        else if (count == 0 || errno != EINTR)
            isConnected = false;
    }

    // A pipe that is ready takes this much without making the program wait.
    void writeSome() {
        const auto count =
            write(STDOUT_FILENO, pending.data(), std::min<std::size_t>(pending.size(), PIPE_BUF));
        if (count > 0)
            pending.erase(0, static_cast<std::size_t>(count));
        else if (errno != EINTR)
            isConnected = false;
    }

    WakePipe ending;
    SampleCodexServer server;
    std::string pending; // Not written yet.
    bool isConnected = true;
};

int complain(const char* text, int status) {
    std::fprintf(stderr, "orvel-sample-codex: %s\n", text);
    return status;
}

// A message may have a few megabytes; nobody gives the sample more.
constexpr std::size_t mostInput = 100'000'000;

std::string standardInput() {
    std::string text;
    std::array<char, 16'384> bytes{};
    while (text.size() < mostInput) {
        const auto count = read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count == 0 || (count < 0 && errno != EINTR)) break;
        if (count > 0) text.append(bytes.data(), static_cast<std::size_t>(count));
    }
    return text;
}

void print(const std::string& text) {
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
}

// A new conversation and its first turn.
int begin(const SampleCodexHome& home, const std::string& folder) {
    if (!std::filesystem::is_directory(folder)) return complain("no such folder", unavailable);
    const auto text = standardInput();
    if (text.empty()) return complain("no prompt on standard input", unavailable);
    auto id = randomUUID();
    std::transform(id.begin(), id.end(), id.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const SampleCodexManner manner;
    const auto writer = home.begin(id, folder, text, now().unixMilliseconds);
    print(printedAtStart(id));
    std::this_thread::sleep_for(std::chrono::milliseconds(manner.turnMilliseconds));
    print(printedAtEnd(writer->finish(now().unixMilliseconds, manner.turnsFail)));
    writer->finishAll(now().unixMilliseconds, manner.turnsFail);
    return 0;
}

int run(const SampleCodexCommand& command) {
    const char* folder = std::getenv("CODEX_HOME");
    if (!folder || !*folder) return complain("CODEX_HOME names no folder", unavailable);
    const SampleCodexHome home(folder);
    switch (command.kind) {
    case SampleCodexCommand::Kind::proxy: Proxy(home).run(); return 0;
    case SampleCodexCommand::Kind::queue:
        if (home.queue(command.threadID, command.message, now().unixMilliseconds, false)) return 0;
        return complain("no such thread", unavailable);
    case SampleCodexCommand::Kind::exec: return begin(home, command.folder);
    case SampleCodexCommand::Kind::invalid: break;
    }
    return complain(
        "app-server proxy | queue --thread ID --message TEXT | exec --json --skip-git-repo-check -C "
        "FOLDER -",
        SampleCodexCommand::statusOfInvalid);
}

} // namespace

int main(int count, char** arguments) {
    try {
        return run(SampleCodexCommand::parse({arguments + std::min(count, 1), arguments + count}));
    } catch (const std::exception& failure) {
        return complain(failure.what(), unavailable);
    }
}
