#pragma once
// Updates of this program by Sparkle.

#include "Orvel/desktop/Updater.h"

#include <memory>

namespace orvel {

class MacUpdater : public Updater {
  public:
    MacUpdater();
    MacUpdater(const MacUpdater&) = delete;
    MacUpdater& operator=(const MacUpdater&) = delete;
    ~MacUpdater() override;

    bool isProductionBuild() const override;
    std::string feedHost() const override;
    bool start(UpdaterDelegate delegate) override;
    UpdaterState state() const override;
    void setAutomaticallyChecks(bool checks) override;
    void setAutomaticallyDownloads(bool downloads) override;
    void checkForUpdates() override;

  private:
    class Running;

    std::unique_ptr<Running> running; ///< Once it has started.
};

} // namespace orvel
