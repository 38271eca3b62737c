#pragma once
// Reads small files that lie on this machine's own disks.

#include "Orvel/desktop/LocalFiles.h"

namespace orvel {

class PosixLocalFiles : public LocalFiles {
  public:
    Read reader() override;
};

} // namespace orvel
