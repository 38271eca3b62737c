#include "OrvelCore/text/JsonString.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace orvel {
namespace {

std::string jsonOf(const std::string& text) {
    std::string json = "x";
    appendJsonString(json, text);
    return json;
}

TEST(JsonString, IsWhatReadersExpectOfEachByteInEachPlace) {
    for (int byte = 0; byte < 0x80; ++byte)
        for (std::size_t size = 0; size < 20; ++size)
            for (std::size_t place = 0; place <= size; ++place) {
                std::string text(size, 'a');
                text.insert(place, 1, static_cast<char>(byte));
                ASSERT_EQ(jsonOf(text), "x" + nlohmann::json(text).dump()) << byte;
            }
}

TEST(JsonString, IsWholeWhateverItsLength) {
    for (const std::string piece : {"\x01", "\"", "plain text", "é\\", "日本\n", "!\x1F\x7F\xC2\x80"})
        for (std::size_t size : {500, 4'080, 4'090, 4'100, 20'000}) {
            std::string text;
            while (text.size() < size) text += piece;
            for (int more = 0; more < 20; ++more, text += 'a')
                ASSERT_EQ(jsonOf(text), "x" + nlohmann::json(text).dump()) << piece << size;
        }
}

} // namespace
} // namespace orvel
