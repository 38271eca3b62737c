#include "explore/CommandWatch.h"

#include "Orvel/model/RelayStateFile.h"
#include "OrvelCore/commands/OrvelCommand.h"
#include "explore/SafetyJudge.h"
#include "explore/Scenarios.h"

namespace orvel::explore {

using Deed = SimulatedClaude::Deed;

CommandWatch::CommandWatch(ExplorationDesk& desk, SafetyJudge& judge) : desk(desk), judge(judge) {
    const auto& transfers = desk.model().ledger.state().relayState->transfers;
    transfersBefore = transfers.size();
    wasProved = transfersBefore > 0 && !transfers.back().isPending();
    desk.claude.onDeed = [this](const Deed& deed) { see(deed); };
}

CommandWatch::~CommandWatch() {
    desk.claude.onDeed = nullptr;
}

void CommandWatch::see(const Deed& deed) {
    // A key that waits for a program which dies passes. What stands beside a dialog, an attachment or a
    // second editor is no composer that could be proved, and neither is one of a page with several.
    const auto& claude = desk.claude;
    const auto& habits = claude.habits;
    const bool isComposer = !claude.showsDialog() && !claude.showsAttachment() && !habits.page &&
                            !habits.editor && !habits.hasTwoSends;
    if (deed.kind == Deed::Kind::pressedSend && deed.byPerson && isComposer && !desk.hasDied() &&
        OrvelCommand::parse(deed.before))
        judge.fail(Rule::commandIsNoMessage, "the Return went through");
    if (deed.kind != Deed::Kind::written || deed.byPerson) return;
    if (!deed.after.empty() || !OrvelCommand::parse(deed.before))
        judge.fail(Rule::onlyTheCommandIsErased, "something else was written or erased");
    if (!erased.empty()) judge.fail(Rule::onlyTheCommandIsErased, "written again");
    erased.push_back(deed.before);
}

void CommandWatch::finish() {
    // What the person does with the note is the person's.
    const bool isEdited = desk.model().workspace.state().commandEditGeneration.current() > 0;
    for (const auto& text : isEdited ? std::vector<std::string>() : erased)
        if (const auto command = OrvelCommand::parse(text); command && !standsSomewhere(command->instruction))
            judge.fail(Rule::instructionsAreKept, "they stand nowhere");
    const auto& transfers = desk.model().ledger.state().relayState->transfers;
    if (transfers.size() > transfersBefore && !wasProved)
        judge.fail(Rule::sentOnlyWhereProved, "a message was prepared");
}

bool CommandWatch::standsSomewhere(const std::string& instruction) const {
    const auto& model = desk.model();
    const auto holds = [&](const std::string& text) { return text.find(instruction) != text.npos; };
    if (holds(model.workspace.state().instruction) || holds(model.notices.error().value_or("")) ||
        holds(desk.claude.editorText()))
        return true;
    const auto saved = readRelayState(desk.relayStatePath());
    for (const auto& transfer : saved.transfers)
        if (holds(*transfer.payload)) return true;
    for (const auto& pair : saved.pairs)
        for (const auto agent : {Agent::codex, Agent::claude})
            if (holds(saved.draft(pair.id, agent).instruction)) return true;
    return false;
}

} // namespace orvel::explore
