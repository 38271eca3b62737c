#include "conversations/Outcome.h"

using namespace orvel;

// The flattening is the same for both agents, so every case runs through both.
TEST(MessageText, FlattensContentItemByItem) {
    const std::string fixed =
        "[添付あり: ファイル本体は転送されません。必要なパスまたはリンクを追加してください。]";
    const struct {
        const char* name;
        std::string content, text; // No text: there is no message.
    } cases[] = {
        {"a string", R"("  plain\n")", "  plain\n"},
        {"a string of blanks", R"(" \t\n\u00a0\u3000\u2028")", ""},
        {"the three kinds of text",
         R"([{"type":"text","text":"a"},{"type":"input_text","text":"b"},{"type":"output_text","text":"c"}])",
         "a\nb\nc"},
        {"an empty text is still an item",
         R"([{"type":"text","text":"a"},{"type":"text","text":""},{"type":"text","text":"c"}])", "a\n\nc"},
        {"a leading empty text", R"([{"type":"text","text":""},{"type":"text","text":"b"}])", "\nb"},
        {"a text that is missing or no string",
         R"([{"type":"text"},{"type":"text","text":5},{"type":"text","text":"c"}])", "c"},
        {"items of other types",
         R"([{"type":"tool_use","text":"x"},{"type":"thinking","text":"x"},{"type":"text","text":"c"},{"type":"tool_result","content":"x"}])",
         "c"},
        {"items without type", R"([{"text":"x"},{"type":null,"text":"x"},{"type":"text","text":"c"}])", "c"},
        {"one item that is no object spoils the list", R"([{"type":"text","text":"a"},"b"])", ""},
        {"an object", R"({"type":"text","text":"a"})", ""},
        {"no items", "[]", ""},
        {"a path", R"([{"type":"image","source":{"path":"/a.png","url":"http://x"},"image_url":"http://y"}])",
         "[添付参照: /a.png]"},
        {"a URL in the source",
         R"([{"type":"document","source":{"path":1,"url":"http://x"},"image_url":"http://y"}])",
         "[添付参照: http://x]"},
        {"an image URL", R"([{"type":"input_image","source":"s","image_url":"http://y"}])",
         "[添付参照: http://y]"},
        {"data in the source gives way to an image URL",
         R"([{"type":"image","source":{"url":"data:image/png;base64,AA"},"image_url":"http://y"}])",
         "[添付参照: http://y]"},
        {"data everywhere", R"([{"type":"image","source":{"url":"data:x"},"image_url":"data:y"}])", fixed},
        {"data in a path is a path", R"([{"type":"image","source":{"path":"data:x"}}])",
         "[添付参照: data:x]"},
        {"an image URL that is an object", R"([{"type":"input_image","image_url":{"url":"http://y"}}])",
         fixed},
        {"an attachment of nothing", R"([{"type":"document"}])", fixed},
        {"attachments among texts",
         R"([{"type":"text","text":"see"},{"type":"image"},{"type":"text","text":"there"}])",
         "see\n" + fixed + "\nthere"},
        {"escapes", R"("\u00e9 \ud83d\ude00 \u0000|")", std::string("é 😀 \0|", 10)},
    };
    for (const auto& [name, content, text] : cases) {
        SCOPED_TRACE(name);
        const auto expected = text.empty() ? "noMessages" : "assistant: " + text;
        EXPECT_EQ(
            outcomeOf(R"({"type":"response_item","payload":{"type":"message","role":"assistant","content":)" +
                          content + "}}",
                      Agent::codex),
            expected);
        EXPECT_EQ(outcomeOf(R"({"type":"assistant","message":{"stop_reason":"end_turn","content":)" +
                                content + "}}",
                            Agent::claude),
                  expected);
    }
    EXPECT_EQ(outcomeOf(R"({"type":"user","message":{}})", Agent::claude), "noMessages");
}
