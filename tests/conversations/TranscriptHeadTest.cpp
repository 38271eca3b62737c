#include "OrvelCore/conversations/TranscriptHead.h"
#include "TemporaryFolder.h"

#include <nlohmann/json.hpp>
#include <rapidcheck/gtest.h>

using namespace orvel;

namespace {

// Lines of all kinds, many of them as long as the bites in which a head is read.
rc::Gen<std::string> jsonLines() {
    const auto length = rc::gen::oneOf(rc::gen::inRange(0, 40), rc::gen::inRange(16'368, 16'386),
                                       rc::gen::inRange(32'752, 32'770), rc::gen::inRange(0, 70'000));
    const auto line = rc::gen::apply(
        [](const std::string& open, int size, const std::string& close) {
            return open + std::string(static_cast<std::size_t>(size), 'x') + close;
        },
        rc::gen::element<std::string>("{\"a\":\"", "[\"", "", "{\"", " {\"b\":\""), length,
        rc::gen::element<std::string>("\"}\n", "\"}\r\n", "\"]\n", "\n", "\n\n", "\"}"));
    return rc::gen::map(rc::gen::resize(8, rc::gen::container<std::vector<std::string>>(line)),
                        [](const auto& lines) {
                            std::string text;
                            for (const auto& one : lines) text += one;
                            return text;
                        });
}

std::vector<std::string> naiveObjects(std::string_view text) {
    std::vector<std::string> objects;
    while (!text.empty()) {
        const auto line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const auto json = nlohmann::json::parse(line, nullptr, false);
        if (json.is_object()) objects.push_back(json.dump());
    }
    return objects;
}

} // namespace

RC_GTEST_PROP(TranscriptHead, GivesTheObjectsOfTheFirstBytesReadAtOnce, ()) {
    static const TemporaryFolder folder;
    const auto limit = *rc::gen::oneOf(rc::gen::inRange<std::size_t>(1, 100'000),
                                       rc::gen::element<std::size_t>(16'384, 32'768, 65'536));
    TranscriptHead head(limit);
    for (int i = 0; i < 2; ++i) { // The second file finds the buffers of the first.
        const auto text = *jsonLines();
        ReadableFile file(folder.write("head", text));
        head.open(file);
        std::vector<std::string> objects;
        while (const auto object = head.next()) objects.push_back(simdjson::minify(*object));
        RC_ASSERT(objects == naiveObjects(std::string_view(text).substr(0, limit)));
    }
}
