// What the connection to Codex's server costs: its frames against copying the same bytes, and a long history
// in pages against parsing the same pages.

#include "Orvel/platform/simulated/SimulatedLoop.h"
#include "Orvel/reading/CodexStoredHistory.h"
#include "Orvel/reading/JsonMessage.h"
#include "OrvelCore/files/FileReading.h"
#include "OrvelCore/frames/CodexWebSocketCodec.h"
#include "OrvelCore/text/JsonString.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

namespace orvel {
namespace {

using Codec = CodexWebSocketCodec;

constexpr std::size_t messageSize = 1'048'576, messages = 16, chunkSize = 16'384;

std::string someText(std::size_t size) {
    static constexpr std::string_view paragraph =
        "Please look at \"the report\" of yesterday, and at what the tests say about it.\n"
        "レポートを読みました。 The third case fails, since `count` is read before it is set.\n";
    std::string made;
    while (made.size() + paragraph.size() < size) made += paragraph;
    return made + std::string(size - made.size(), '.');
}

void report(benchmark::State& run, std::size_t bytes) {
    run.SetBytesProcessed(run.iterations() * static_cast<std::int64_t>(bytes));
}

// Both ways of the frames: into memory that is fresh each time, as every message has it.
void copyFresh(benchmark::State& run) {
    const auto text = someText(messageSize);
    for (auto _ : run) {
        std::string copy;
        copy.reserve(text.size() + 64);
        copy += text;
        benchmark::DoNotOptimize(copy.data());
    }
    report(run, messageSize);
}
BENCHMARK(copyFresh)->Name("frames/copy")->Unit(benchmark::kMicrosecond);

void encode(benchmark::State& run) {
    const auto text = someText(messageSize);
    for (auto _ : run)
        benchmark::DoNotOptimize(Codec::clientFrame(Codec::Opcode::text, text, {1, 2, 3, 4}).data());
    report(run, messageSize);
}
BENCHMARK(encode)->Name("frames/encode")->Unit(benchmark::kMicrosecond);

// Frames of 1 MiB in the pieces in which a pipe gives them.
std::string serverBytes() {
    std::string bytes;
    for (std::size_t i = 0; i < messages; ++i) {
        bytes += "\x81\x7F";
        for (int shift = 56; shift >= 0; shift -= 8) bytes += static_cast<char>(messageSize >> shift & 0xFF);
        bytes += someText(messageSize);
    }
    return bytes;
}

void copyPieces(benchmark::State& run) {
    const auto bytes = serverBytes();
    for (auto _ : run) {
        std::string copy;
        for (std::size_t at = 0; at < bytes.size(); at += chunkSize) {
            if (copy.size() > messageSize) copy.clear();
            copy += std::string_view(bytes).substr(at, chunkSize);
        }
        benchmark::DoNotOptimize(copy.data());
    }
    report(run, bytes.size());
}
BENCHMARK(copyPieces)->Name("frames/copy-pieces")->Unit(benchmark::kMicrosecond);

void decode(benchmark::State& run) {
    const auto bytes = serverBytes();
    for (auto _ : run) {
        Codec codec;
        std::size_t found = 0;
        for (std::size_t at = 0; at < bytes.size(); at += chunkSize) {
            codec.append(std::string_view(bytes).substr(at, chunkSize));
            while (const auto event = codec.next()) found += event->payload.size();
        }
        if (found != messages * messageSize) run.SkipWithError("a message is missing");
    }
    report(run, bytes.size());
}
BENCHMARK(decode)->Name("frames/decode")->Unit(benchmark::kMicrosecond);

// A history in pages

constexpr std::size_t turns = 20'000, turnsPerPage = 20, textSize = 1'500;

const std::vector<std::string>& pages() {
    static const auto made = [] {
        std::vector<std::string> texts;
        std::string quoted;
        appendJsonString(quoted, someText(textSize));
        for (std::size_t at = 0; at < turns; at += turnsPerPage) {
            std::string page = R"({"data":[)";
            for (std::size_t turn = at; turn < at + turnsPerPage; ++turn) {
                const auto id = std::to_string(turn);
                page += R"({"id":"01a1fd20-9329-7490-b6bc-)" + id +
                        R"(","items":[{"type":"userMessage","id":"u)" + id +
                        R"(","content":[{"type":"text","text":)" + quoted +
                        R"(,"text_elements":[]}]},{"type":"agentMessage","id":"a)" + id +
                        R"(","phase":"final_answer","text":)" + quoted +
                        R"(}],"itemsView":"full","status":"completed","error":null},)";
            }
            page.back() = ']';
            const bool isLast = at + turnsPerPage >= turns;
            page += R"(,"nextCursor":)" + (isLast ? "null" : "\"c" + std::to_string(at) + "\"") + "}";
            page.reserve(page.size() + FileBytes::padding);
            texts.push_back(std::move(page));
        }
        return texts;
    }();
    return made;
}

std::size_t pageBytes() {
    std::size_t total = 0;
    for (const auto& page : pages()) total += page.size();
    return total;
}

void parsePages(benchmark::State& run) {
    for (auto _ : run)
        for (const auto& page : pages()) benchmark::DoNotOptimize(JsonMessage(page).object());
    report(run, pageBytes());
}
BENCHMARK(parsePages)->Name("history/library")->Unit(benchmark::kMillisecond);

Task<SharedMessage> answered(const std::string* json) {
    co_return std::make_shared<JsonMessage>(*json);
}

Task<void> readInto(MainLoop& loop, ConversationReference reference, CodexStoredHistory::Request request,
                    SharedConversation& result) {
    result = co_await CodexStoredHistory::read(loop, reference, false, request);
}

void readHistory(benchmark::State& run) {
    const ConversationReference reference{.sessionID = "01a1fd20-9312-76b3-85b8-a86c82e71d1c",
                                          .title = "Title",
                                          .transcriptPath = "/transcripts/file.jsonl"};
    const std::string metadata = R"({"thread":{"id":"01a1fd20-9312-76b3-85b8-a86c82e71d1c","path":")" +
                                 reference.transcriptPath + R"(","status":{"type":"idle"},"updatedAt":1}})";
    for (auto _ : run) {
        SimulatedLoop loop;
        SharedConversation conversation;
        std::size_t next = 0;
        const CodexStoredHistory::Request request = [&](const std::string& method, const std::string&) {
            return answered(method == "thread/read" ? &metadata : &pages()[next++]);
        };
        TaskScope scope;
        scope.start(readInto(loop, reference, request, conversation));
        loop.run();
        if (!conversation || conversation->messages.size() != 2 * turns)
            run.SkipWithError("messages are missing");
    }
    report(run, pageBytes());
}
BENCHMARK(readHistory)->Name("history/orvel")->Unit(benchmark::kMillisecond);

} // namespace
} // namespace orvel
