#pragma once
// The shapes of ChatGPT's editor and of the region around it that are known. Whatever differs in anything is
// not recognised. The labels are those of the English page.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace orvel::ChatGPTComposerShape {

inline constexpr std::string_view placeholder = "Ask ChatGPT"; ///< Also the editor's label.
inline constexpr std::string_view observedPlaceholder = "Ask ChatGPT\n";
inline constexpr std::string_view addFiles = "Add files and more", startVoice = "Start Voice", send = "Send",
                                  selectModel = "Select ChatGPT model";

/// An element as it was read, with all below it.
struct Node {
    std::string role;
    std::set<std::string, std::less<>> labels; ///< Title, description and help, those that are not empty.
    /// Nothing where there is none, and of roles whose value is not read: see `hasValue`.
    std::optional<std::string> value;
    std::vector<Node> children;
    std::optional<bool> valueSettable; ///< Nothing where it can't be told.
};

/// Whether the value of elements with this role belongs to the shape.
bool hasValue(std::string_view role);

/// The names of the files attached in the region: none, or the expected one alone. Nothing unless the region
/// is, to the last element, an editor with its controls and at most that one attachment, completely uploaded.
std::optional<std::vector<std::string>> attachmentNames(const Node& region,
                                                        const std::optional<std::string>& expectedFilename);

/// Whether the node is an empty editor that shows its placeholder, as the page draws it. `characterCount` is
/// what the editor says of itself; the line feed counts. The same words typed by somebody are not.
bool isObservedPlaceholder(const Node& editor, std::optional<std::int64_t> characterCount);

} // namespace orvel::ChatGPTComposerShape
