#pragma once
// A JSON object from the server. Included by source files only, since simdjson is heavy.

#include "OrvelCore/frames/CodexThreadLoaderError.h"
#include "OrvelCore/text/JsonRecord.h"

#include <string>

namespace orvel {

/// A parsed text together with its parser, which owns everything read from it.
class JsonMessage {
  public:
    /// Parses the text, in place if its capacity includes the parser's padding. Throws CodexThreadLoaderError
    /// if it isn't a JSON object.
    explicit JsonMessage(const std::string& text) {
        simdjson::dom::element root;
        if (parsedJson(parser, text, text.capacity() - text.size()).get(root) != simdjson::SUCCESS)
            throw CodexThreadLoaderError(CodexThreadLoaderError::Kind::other,
                                         "Codex sent a text that is not JSON.");
        if (root.get(top) != simdjson::SUCCESS) throw CodexThreadLoaderError::invalid();
    }
    JsonMessage(const JsonMessage&) = delete;
    JsonMessage& operator=(const JsonMessage&) = delete;

    const simdjson::dom::object& object() const { return top; }

    /// Makes one of its parts the message.
    void narrowTo(const simdjson::dom::object& part) { top = part; }

  private:
    simdjson::dom::parser parser;
    simdjson::dom::object top;
};

} // namespace orvel
