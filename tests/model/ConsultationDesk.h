#pragma once
// A consultation on a simulated desktop with Dia on an empty page of ChatGPT, and a folder of the test's own.

#include "Orvel/consultation/ChatGPTBrowserSender.h"
#include "Orvel/consultation/ChatGPTOperations.h"
#include "Orvel/model/ChatGPTConsultationModel.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "Orvel/platform/simulated/SimulatedDia.h"
#include "TemporaryFolder.h"

#include <algorithm>
#include <chrono>

namespace orvel {

struct ConsultationDesk {
    ConsultationDesk() {
        desktop.applications.start(dia);
        desktop.applications.bringToFront(SimulatedApplications::self);
        desktop.loop.runFor(std::chrono::milliseconds(100));
    }

    bool settles() {
        return desktop.loop.runUntil([this] { return !model.isBusy(); }, std::chrono::seconds(300));
    }
    /// How often Send was pressed.
    auto presses() const {
        return std::count_if(dia.deeds().begin(), dia.deeds().end(), [](const auto& deed) {
            return deed.kind == SimulatedDia::Deed::Kind::pressedSend;
        });
    }

    TemporaryFolder folder;
    SimulatedDesktop desktop;
    SimulatedDia dia{desktop};
    Desktop ports = desktop.ports();
    ChangeSignal changes;
    ChatGPTOperations operations{desktop.loop};
    ChatGPTBrowserSender sender{ports, operations, ChatGPTAttachingWay::openPanel};
    ChatGPTConsultationModel model{changes,
                                   {.ports = {ports.loop, ports.processes, ports.zipArchives},
                                    .panels = ports.panels,
                                    .operations = operations,
                                    .sender = sender,
                                    .home = folder.path(),
                                    .outputDirectory = [this] { return folder.path("out"); }}};
};

} // namespace orvel
