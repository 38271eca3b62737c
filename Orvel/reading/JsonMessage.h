#pragma once
// An object that the server sent. Only source files include this header, since simdjson is heavy.

#include "OrvelCore/files/FileReading.h"
#include "OrvelCore/frames/CodexThreadLoaderError.h"
#include "OrvelCore/text/JsonRecord.h"

#include <string>

namespace orvel {

/// A parsed text together with its parser, on which everything read from it lives.
class JsonMessage {
  public:
    /// Throws CodexThreadLoaderError if the text is no JSON or no object. If there is room behind the text,
    /// it is parsed in place.
    explicit JsonMessage(const std::string& text) {
        simdjson::dom::element root;
        const bool copy = text.capacity() - text.size() < FileBytes::padding;
        if (parser.parse(text.data(), text.size(), copy).get(root) != simdjson::SUCCESS)
            throw CodexThreadLoaderError(CodexThreadLoaderError::Kind::other,
                                         "Codex sent a text that is not JSON.");
        if (root.get(top) != simdjson::SUCCESS) throw CodexThreadLoaderError::invalid();
    }
    JsonMessage(const JsonMessage&) = delete;
    JsonMessage& operator=(const JsonMessage&) = delete;

    const simdjson::dom::object& object() const { return top; }

    /// From now on the message is one of its parts.
    void narrowTo(const simdjson::dom::object& part) { top = part; }

  private:
    simdjson::dom::parser parser;
    simdjson::dom::object top;
};

} // namespace orvel
