#include "Orvel/platform/linux/AtSpiText.h"

#include "OrvelCore/text/Unicode.h"

#include <algorithm>
#include <map>
#include <string_view>

namespace orvel {

namespace {

// The offset in bytes of a character, or the end.
std::size_t offsetOf(std::string_view text, std::int64_t character) {
    std::size_t place = 0;
    while (character > 0 && place < text.size()) {
        ++place;
        while (place < text.size() && (static_cast<unsigned char>(text[place]) & 0xC0U) == 0x80U) ++place;
        --character;
    }
    return place;
}

std::int64_t charactersIn(std::string_view text) {
    return std::count_if(text.begin(), text.end(),
                         [](char each) { return (static_cast<unsigned char>(each) & 0xC0U) != 0x80U; });
}

enum class Edge { caret, start, end };

// Where a node's text lies in the whole.
struct Extent {
    std::size_t from = 0, to = 0;
};

class Assembly {
  public:
    Assembly(const AtSpiTextNode& editor, bool withPlaceholder) : withPlaceholder(withPlaceholder) {
        add(editor);
    }

    const std::string& text() const { return whole; }

    // In UTF-16 units.
    std::int64_t place(const AtSpiTextNode& node, std::int64_t offset, Edge edge) const {
        return utf16Length(std::string_view(whole).substr(0, bytes(node, offset, edge)));
    }

  private:
    void add(const AtSpiTextNode& node) {
        auto& extent = extents[&node];
        extent.from = extent.to = whole.size();
        if (node.isPlaceholder && !withPlaceholder) return;
        if (node.children.empty()) {
            whole += node.text;
        } else {
            addChildren(node);
        }
        const bool endsWithBlock = !node.children.empty() && node.children.back().isBlock;
        const bool endsWithBreak = whole.size() > extent.from && whole.back() == '\n';
        if (node.isBlock && endsWithBreak && !endsWithBlock) whole.pop_back();
        extent.to = whole.size();
    }

    void addChildren(const AtSpiTextNode& node) {
        bool isFirst = true, isBehindBlock = false;
        for (const auto& child : node.children) {
            if (child.isPlaceholder && !withPlaceholder) {
                extents[&child] = {whole.size(), whole.size()};
                continue;
            }
            if (!isFirst && (child.isBlock || isBehindBlock)) whole += '\n';
            add(child);
            isFirst = false;
            isBehindBlock = child.isBlock;
        }
    }

    std::size_t bytes(const AtSpiTextNode& node, std::int64_t offset, Edge edge) const {
        const auto extent = extents.at(&node);
        if (node.children.empty()) return std::min(extent.from + offsetOf(node.text, offset), extent.to);
        if (offset <= 0 && edge == Edge::end) return extent.from;
        for (const auto& child : node.children) {
            const auto length = child.isRun ? charactersIn(child.text) : 1;
            const bool isInside = edge == Edge::end ? offset <= length : offset < length;
            if (isInside && child.isRun) return bytes(child, offset, edge);
            if (isInside) return inside(child, offset, edge);
            offset -= length;
        }
        return extent.to;
    }

    // At an object in the text: where it says, or at its edge.
    std::size_t inside(const AtSpiTextNode& node, std::int64_t offset, Edge edge) const {
        if (edge == Edge::caret && node.caret) return bytes(node, *node.caret, edge);
        if (edge == Edge::start && node.selection) return bytes(node, node.selection->first, edge);
        if (edge == Edge::end && node.selection) return bytes(node, node.selection->second, edge);
        const auto extent = extents.at(&node);
        return offset == 0 ? extent.from : extent.to;
    }

    bool withPlaceholder;
    std::string whole;
    std::map<const AtSpiTextNode*, Extent> extents;
};

} // namespace

std::string plainText(const AtSpiTextNode& editor, bool withPlaceholder) {
    return Assembly(editor, withPlaceholder).text();
}

std::optional<AtSpiTextRange> selectedRange(const AtSpiTextNode& editor) {
    const Assembly assembly(editor, false);
    if (editor.selection) {
        const auto from = assembly.place(editor, editor.selection->first, Edge::start);
        const auto to = assembly.place(editor, editor.selection->second, Edge::end);
        return AtSpiTextRange{from, std::max(to - from, std::int64_t{0})};
    }
    if (!editor.caret) return std::nullopt;
    return AtSpiTextRange{assembly.place(editor, *editor.caret, Edge::caret), 0};
}

} // namespace orvel
