#include "Orvel/model/UnlinkedDrafts.h"

#include "Orvel/desktop/FileStore.h"
#include "Orvel/model/Notices.h"
#include "Orvel/reading/ConversationReader.h"
#include "OrvelCore/files/FileReading.h"

#include <algorithm>
#include <utility>

#include <nlohmann/json.hpp>

namespace orvel {

namespace {

// Far above what anybody types, in bytes.
constexpr std::size_t maximumSize = 67'108'864;

std::map<std::string, RelayDraft> decoded(const std::string& text) {
    std::map<std::string, RelayDraft> drafts;
    const auto document = nlohmann::json::parse(text);
    for (const auto& entry : document.at("drafts")) {
        RelayDraft draft{.instruction = entry.at("instruction").get<std::string>(), .startMessageID = {}};
        if (const auto start = entry.find("startMessageID"); start != entry.end())
            draft.startMessageID = start->get<std::string>();
        drafts.emplace(entry.at("conversation").get<std::string>(), std::move(draft));
    }
    return drafts;
}

std::string encoded(const std::map<std::string, RelayDraft>& drafts) {
    auto entries = nlohmann::ordered_json::array();
    for (const auto& [key, draft] : drafts) {
        nlohmann::ordered_json entry{{"conversation", key}, {"instruction", draft.instruction}};
        if (draft.startMessageID) entry["startMessageID"] = *draft.startMessageID;
        entries.push_back(std::move(entry));
    }
    return nlohmann::ordered_json{{"drafts", std::move(entries)}}.dump();
}

} // namespace

UnlinkedDrafts::UnlinkedDrafts(Notices& notices, MainLoop& loop, FileStore& files, std::string path)
    : notices(notices),
      loop(loop),
      files(files),
      path(std::move(path)),
      tasks([&notices](const auto& failure) { notices.fail(failure); }) {
    read();
}

void UnlinkedDrafts::read() {
    if (!fileExists(path)) return;
    try {
        drafts = decoded(readFile(path, maximumSize));
    } catch (const std::exception& failure) {
        canSave = false;
        notices.fail(std::string("Couldn't load what was typed for conversations without a link. The file is "
                                 "kept, and what you type for them now is kept until Orvel quits.\n") +
                     path + "\n" + failure.what());
    }
}

RelayDraft UnlinkedDrafts::draft(const ConversationReference& conversation) const {
    const auto typed = drafts.find(ConversationReader::key(conversation));
    return typed == drafts.end() ? RelayDraft() : typed->second;
}

void UnlinkedDrafts::set(const ConversationReference& conversation, RelayDraft draft) {
    if (draft == this->draft(conversation)) return;
    const auto key = ConversationReader::key(conversation);
    if (draft == RelayDraft())
        drafts.erase(key);
    else
        drafts[key] = std::move(draft);
    ++edits;
    if (canSave && !nextSave) nextSave = loop.after(saveInterval, [this] { flush(); });
}

// What is typed meanwhile is still to be saved.
Task<void> UnlinkedDrafts::save() {
    if (!hasUnsaved()) co_return;
    const auto upTo = edits;
    auto text = encoded(drafts);
    co_await files.replaceFile(path, std::move(text));
    saved = std::max(saved, upTo);
}

void UnlinkedDrafts::flush() {
    nextSave.reset();
    if (hasUnsaved()) tasks.start(saveOrTell());
}

Task<void> UnlinkedDrafts::saveOrTell() {
    try {
        co_await save();
    } catch (const std::exception& failure) {
        notices.fail(failure.what());
    }
}

} // namespace orvel
