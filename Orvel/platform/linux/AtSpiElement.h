#pragma once
// Which object of which program a handle stands for.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/desktop/ProcessID.h"
#include "Orvel/platform/linux/BusMessage.h"

#include <compare>
#include <utility>

namespace orvel {

/// An object on the accessibility bus, or a process that had none when it was asked for.
class AtSpiElement : public AXIdentity {
  public:
    explicit AtSpiElement(BusReference object) : object(std::move(object)) {}
    explicit AtSpiElement(ProcessID process) : process(process) {}

    bool equals(const AXIdentity& other) const override {
        const auto* element = dynamic_cast<const AtSpiElement*>(&other);
        return element && element->object == object && element->process == process;
    }

    const BusReference object; ///< Empty for a process.
    const ProcessID process = 0;
};

} // namespace orvel
