# The application's bundle.
#   ORVEL_GIT_REVISION    the revision of the sources, for what the program says of itself; none in a build of a developer's
#   ORVEL_UPDATE_FEED     the address of the feed for updates, with ORVEL_UPDATE_KEY the public key that signs them
set(ORVEL_GIT_REVISION "" CACHE STRING "The revision of the sources that a release says it is of")
set(ORVEL_UPDATE_FEED "" CACHE STRING "The address of the feed for updates")
set(ORVEL_UPDATE_KEY "" CACHE STRING "The public key of the feed for updates")

function(add_bundle_key NAME VALUE)
    set(ORVEL_BUNDLE_KEYS "${ORVEL_BUNDLE_KEYS}    <key>${NAME}</key>\n    ${VALUE}\n" PARENT_SCOPE)
endfunction()

set(ORVEL_BUNDLE_KEYS "")
if(ORVEL_GIT_REVISION)
    add_bundle_key(OrvelGitRevision "<string>${ORVEL_GIT_REVISION}</string>")
endif()
# All of it or nothing: a program that asks for updates must be able to tell whose they are.
if(ORVEL_SPARKLE AND ORVEL_UPDATE_FEED AND ORVEL_UPDATE_KEY)
    if(NOT ORVEL_UPDATE_FEED MATCHES "^https://[^<&]+$" OR NOT ORVEL_UPDATE_KEY MATCHES "^[A-Za-z0-9+/=]+$")
        message(FATAL_ERROR "ORVEL_UPDATE_FEED is no https address, or ORVEL_UPDATE_KEY no key in base 64.")
    endif()
    add_bundle_key(OrvelEnableUpdates "<true/>")
    add_bundle_key(SUFeedURL "<string>${ORVEL_UPDATE_FEED}</string>")
    add_bundle_key(SUPublicEDKey "<string>${ORVEL_UPDATE_KEY}</string>")
elseif(ORVEL_UPDATE_FEED OR ORVEL_UPDATE_KEY)
    message(FATAL_ERROR "Updates want ORVEL_SPARKLE, ORVEL_UPDATE_FEED and ORVEL_UPDATE_KEY together.")
else()
    add_bundle_key(OrvelEnableUpdates "<false/>")
endif()

configure_file(mac/Info.plist.in Info.plist @ONLY)
set_target_properties(orvel PROPERTIES
    MACOSX_BUNDLE ON
    MACOSX_BUNDLE_INFO_PLIST ${CMAKE_CURRENT_BINARY_DIR}/Info.plist
    INSTALL_RPATH "@executable_path/../Frameworks")
install(TARGETS orvel BUNDLE DESTINATION .)
install(TARGETS orvel-sample-codex RUNTIME DESTINATION orvel.app/Contents/MacOS)
if(ORVEL_SPARKLE)
    install(DIRECTORY ${ORVEL_SPARKLE}/Sparkle.framework DESTINATION orvel.app/Contents/Frameworks USE_SOURCE_PERMISSIONS)
endif()
# Qt's own tool copies its frameworks and plug-ins, and has the program find them.
install(CODE [[
    find_program(MACDEPLOYQT macdeployqt HINTS /opt/homebrew/opt/qt/bin /usr/local/opt/qt/bin)
    if(MACDEPLOYQT AND NOT DEFINED ENV{ORVEL_WITHOUT_QT})
        execute_process(COMMAND ${MACDEPLOYQT} "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/orvel.app" COMMAND_ERROR_IS_FATAL ANY)
    endif()
]])
