# What only a Mac builds: the Objective-C++ part of its desktop, the frameworks, and updates where Sparkle is.
#   ORVEL_SPARKLE   the folder that holds Sparkle.framework; without it the program offers no updates
set(ORVEL_SPARKLE "" CACHE PATH "The folder that holds Sparkle.framework")

set(mac_sources
    MacApplications.mm
    MacBundle.mm
    MacDesktop.cpp
    MacFailureNotice.mm
    MacPanels.mm
    MacPasteboard.mm
    NoticePanel.mm)
if(ORVEL_SPARKLE)
    list(APPEND mac_sources MacUpdater.mm)
endif()
list(TRANSFORM mac_sources PREPEND ${PROJECT_SOURCE_DIR}/Orvel/platform/mac/)
target_sources(OrvelMac PRIVATE ${mac_sources})
target_compile_options(OrvelMac PRIVATE $<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-arc>)
foreach(framework ApplicationServices AppKit Carbon CoreFoundation CoreGraphics Foundation)
    target_link_libraries(OrvelMac PUBLIC "-framework ${framework}")
endforeach()

if(ORVEL_SPARKLE)
    # The command line links the same layer and does without: it is not installed beside the framework.
    target_compile_definitions(OrvelMac PRIVATE ORVEL_WITH_SPARKLE)
    target_compile_options(OrvelMac PRIVATE -F${ORVEL_SPARKLE})
    target_link_options(OrvelMac PUBLIC -F${ORVEL_SPARKLE} -Wl,-weak_framework,Sparkle)
endif()

set(ORVEL_OWN_DESKTOP OrvelMac)
set(ORVEL_OWN_DESKTOP_DEFINITION ORVEL_WITH_MAC_DESKTOP)
