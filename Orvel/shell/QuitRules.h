#pragma once
// When the application may quit: not while a message is under way, nor with words that are not on the disk.
// What ends by itself within moments is waited for.

#include <string_view>

namespace orvel {

/// What a quit depends on.
struct QuitState {
    bool isWorkUnderWay = false;      ///< Conversations are joined, a message is prepared or sent, an
                                      ///< application's window is inspected, or ChatGPT is asked.
    bool isCheckingReceipts = false;  ///< Happens every two seconds, for moments.
    bool isSavingRecords = false;     ///< Something is being saved, or will be soon.
    bool hasUnsavedDraft = false;     ///< Something typed is not in the file.
    bool isPatienceExhausted = false; ///< What ends by itself has been waited for long enough.
};

enum class QuitDecision { allow, wait, refuseForWork, refuseForDraft };

constexpr QuitDecision decideQuit(const QuitState& state) {
    if (state.isWorkUnderWay) return QuitDecision::refuseForWork;
    if (!state.isPatienceExhausted && (state.isCheckingReceipts || state.isSavingRecords))
        return QuitDecision::wait;
    if (state.isCheckingReceipts) return QuitDecision::refuseForWork;
    return state.hasUnsavedDraft ? QuitDecision::refuseForDraft : QuitDecision::allow;
}

/// What the person is told of a refusal.
constexpr std::string_view refusalText(QuitDecision refusal) {
    return refusal == QuitDecision::refuseForWork
               ? "A transfer or preparation is still running. Wait for it to finish, then quit or install "
                 "the update again."
               : "Your latest changes couldn’t be saved. Orvel will stay open. The last note or range edit "
                 "could not be saved. Resolve the save error and save the edit again before quitting.";
}

} // namespace orvel
