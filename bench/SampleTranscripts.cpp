#include "bench/SampleTranscripts.h"

#include "samples/TranscriptWriter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <utility>

namespace orvel::bench {

namespace {

constexpr std::size_t largeSize = 99'000'000;
constexpr std::size_t tinyCount = 600'000;
constexpr int manyCount = 10'000;

// Text as it comes out of tools and agents: code, paths, quotes, numbers and now and then another script.
class TextSource {
  public:
    explicit TextSource(unsigned seed) : random(seed) {}

    double uniform(double low, double high) { return std::uniform_real_distribution(low, high)(random); }

    /// A size between two bounds, small ones as likely as large ones on a logarithmic scale.
    std::size_t size(double low, double high) {
        return static_cast<std::size_t>(std::exp(uniform(std::log(low), std::log(high))));
    }

    std::string text(std::size_t length) {
        static constexpr std::array<std::string_view, 20> pieces{
            "the index ",      "returns ",   "const auto ",   "src/query/plan.cpp:118: ",
            "\"quoted\" ",     "{ x = y; }", "\n    ",        "error: expected ';' ",
            "test passed\n",   "0x7ffe12 ",  "while (next) ", "C:\\temp\\log ",
            "commit 41aa3f9 ", "— ",         "検索の結果 ",   "\t| 12.5 ms |\n",
            "assert(ok);\n",   "retry ",     "std::string ",  "-> "};
        std::string text;
        text.reserve(length + 32);
        while (text.size() < length) text += pieces[random() % pieces.size()];
        return text;
    }

  private:
    std::mt19937 random;
};

void write(const std::string& path, std::string_view contents) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream file(path, std::ios::binary);
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
}

// A working session: a question, some commands with large results, remarks between them, an answer.
template <typename Transcript>
std::string largeTranscript(Transcript transcript, TextSource source) {
    while (transcript.text().size() < largeSize) {
        transcript.ask(source.text(source.size(60, 4'000)));
        for (auto commands = source.size(1, 12); commands > 0 && transcript.text().size() < largeSize;
             --commands) {
            if (commands % 3 == 0) transcript.comment(source.text(source.size(60, 600)));
            transcript.runCommand(source.text(40), source.text(source.size(200, 40'000)));
        }
        transcript.answer(source.text(source.size(200, 6'000)));
    }
    return transcript.text();
}

// A transcript of about `size` bytes.
template <typename Transcript>
std::string smallTranscript(Transcript transcript, std::size_t size, TextSource& source) {
    transcript.ask(source.text(200));
    while (transcript.text().size() + 1'000 < size)
        transcript.runCommand(source.text(40), source.text(source.size(200, 8'000)));
    transcript.answer(source.text(400));
    return transcript.text();
}

} // namespace

SampleTranscripts::SampleTranscripts()
    : folder((std::filesystem::temp_directory_path() / "orvel-bench-XXXXXX").string()) {
    if (!mkdtemp(folder.data())) throw std::runtime_error("There is no temporary folder.");
    home = AgentFolders::of(folder, std::nullopt, std::nullopt, folder + "/.config");
}

SampleTranscripts::~SampleTranscripts() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

const std::string& SampleTranscripts::large(Agent agent) {
    auto& path = largeFiles[agent];
    if (!path.empty()) return path;
    path = folder + '/' + std::string(rawValue(agent)) + ".jsonl";
    const SampleSession session{.id = "large"};
    write(path, agent == Agent::codex ? largeTranscript(CodexTranscript(session), TextSource(1))
                                      : largeTranscript(ClaudeTranscript(session), TextSource(2)));
    return path;
}

const std::string& SampleTranscripts::tiny(Agent agent) {
    auto& path = tinyFiles[agent];
    if (!path.empty()) return path;
    path = folder + '/' + std::string(rawValue(agent)) + "-tiny.jsonl";
    SampleIDs ids("tiny");
    std::string text, parent;
    for (std::size_t i = 0; i < tinyCount; ++i) {
        const auto begin = text.size();
        const bool isUser = i % 2 == 0;
        if (agent == Agent::codex) {
            text += R"({"type":"response_item","payload":{"type":"message","id":"msg_)" + std::to_string(i);
            text += isUser ? R"(","role":"user","content":[{"type":"input_text","text":")"
                           : R"(","role":"assistant","content":[{"type":"output_text","text":")";
        } else {
            const auto uuid = ids.uuid();
            text += R"({"parentUuid":")" + std::exchange(parent, uuid) + R"(","uuid":")" + uuid;
            text += isUser ? R"(","type":"user","message":{"content":")"
                           : R"(","type":"assistant","message":{"content":")";
        }
        const std::string_view end = agent == Agent::codex ? "\"}]}}\n" : "\"}}\n";
        text.resize(std::max(text.size(), begin + largeSize / tinyCount - end.size()), 'x');
        text += end;
    }
    write(path, text);
    return path;
}

const AgentFolders& SampleTranscripts::many() {
    if (!paths.empty()) return home;
    // What lies behind the beginning is never looked at, so the large ones end in a hole instead of filling
    // the disk.
    constexpr std::size_t writtenSize = 80'000;
    TextSource source(3);
    for (int i = 0; i < manyCount; ++i) {
        const auto size = source.size(3'000, 3'000'000);
        const auto written = std::min(size, writtenSize);
        const SampleSession session{.id = SampleIDs(std::to_string(i)).uuid()};
        const auto group = std::to_string(i / 2 % 200);
        const bool isCodex = i % 2 == 0;
        const auto path = isCodex
                              ? home.codex + "/sessions/2026/" + group + "/rollout-" + session.id + ".jsonl"
                              : home.claude + "/projects/-home-robin-" + group + '/' + session.id + ".jsonl";
        // Half of the Codex transcripts begin with the long record that newer versions write.
        const auto instructions = source.text(i % 4 == 0 ? source.size(15'000, 20'000) : 200);
        write(path, isCodex ? smallTranscript(CodexTranscript(session, instructions), written, source)
                            : smallTranscript(ClaudeTranscript(session), written, source));
        if (size > std::filesystem::file_size(path)) std::filesystem::resize_file(path, size);
        paths.push_back(path);
        pathBytes += std::filesystem::file_size(path);
    }
    return home;
}

SampleTranscripts& samples() {
    static SampleTranscripts samples;
    return samples;
}

} // namespace orvel::bench
