#pragma once
// The end of a preparation that nobody wants any more.

#include "Orvel/desktop/ZipArchives.h"
#include "OrvelCore/text/Failure.h"

namespace orvel {

class PreparationStopped : public Failure {
  public:
    PreparationStopped() : Failure("stopped", "The preparation was stopped. No ZIP was kept.") {}

    /// Throws one if the flag is set.
    static void check(const std::atomic<bool>& stop) {
        if (stop) throw PreparationStopped();
    }
};

} // namespace orvel
