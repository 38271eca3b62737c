#pragma once
// Text between Foundation and C++. For Objective-C++ sources alone.

#include <string>
#include <string_view>

#import <Foundation/Foundation.h>

namespace orvel {

/// As UTF-8; empty if there is no text, or none that UTF-8 can hold.
inline std::string utf8Text(NSString* _Nullable text) {
    const char* bytes = text.UTF8String;
    return bytes ? std::string(bytes, [text lengthOfBytesUsingEncoding:NSUTF8StringEncoding]) : std::string();
}

/// Nothing if it is no UTF-8.
inline NSString* _Nullable foundationText(std::string_view text) {
    return [[NSString alloc] initWithBytes:text.empty() ? "" : text.data()
                                    length:text.size()
                                  encoding:NSUTF8StringEncoding];
}

} // namespace orvel
