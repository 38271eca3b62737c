#pragma once
// Elements and values of macOS's accessibility interface as those of the port, and back.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/platform/mac/CFOwned.h"

#include <ApplicationServices/ApplicationServices.h>

namespace orvel {

/// Any object, compared as CoreFoundation does. Elements of other programs are equal if they are the same.
class MacIdentity : public AXIdentity {
  public:
    explicit MacIdentity(CFOwned<CFTypeRef> object) : object(std::move(object)) {}

    CFTypeRef get() const { return object.get(); }
    bool equals(const AXIdentity& other) const override;

  private:
    CFOwned<CFTypeRef> object; ///< Null for what the system made no element of.
};

/// A handle to the element.
AXElement handleOf(AXUIElementRef element);
/// The element behind a handle; null if there is none, or the handle is another platform's.
AXUIElementRef elementBehind(const AXElement& handle);

/// What an attribute holds. Strings that UTF-8 can't say, numbers that a double can't, lists of several kinds
/// and all other types are opaque.
AXValue valueOf(CFTypeRef object);
/// What is written to an attribute: a text or a truth. Null for all else.
CFOwned<CFTypeRef> objectOf(const AXValue& value);

} // namespace orvel
