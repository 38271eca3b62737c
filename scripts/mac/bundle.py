"""Configures as on a Mac and looks at what would become the bundle: its property list with and without the inputs of a
release, its entitlements, and the script that signs it. Nothing is built."""
import os
import plistlib
import shutil
import subprocess
from pathlib import Path

import declarations

ROOT = declarations.ROOT
BUILD = ROOT / "build/mac/bundle"
TOOLS = ("cmake", "ninja", "shellcheck", "llvm-ar-19", "llvm-ranlib-19", "llvm-install-name-tool-19")
# Qt's own description of itself is of this machine's windows.
QT = "if(TARGET Qt6::Core)\n    return()\nendif()\nforeach(part Core Gui Widgets Network)\n    add_library(Qt6::${part} INTERFACE IMPORTED GLOBAL)\nendforeach()\n"
RELEASE = {"ORVEL_GIT_REVISION": "0123abc", "ORVEL_UPDATE_FEED": "https://updates.example/feed.xml",
           "ORVEL_UPDATE_KEY": "c2FtcGxl", "ORVEL_SPARKLE": "/nonexistent"}
ALWAYS = {"CFBundleIdentifier": "app.orvel.Orvel", "CFBundleExecutable": "orvel", "CFBundlePackageType": "APPL",
          "LSMinimumSystemVersion": "14.0"}
UPDATES = ("SUFeedURL", "SUPublicEDKey")


def configured(inputs):
    """What CMake said, and whether it succeeded."""
    shutil.rmtree(BUILD / "build", ignore_errors=True)
    (BUILD / "qt").mkdir(parents=True, exist_ok=True)
    (BUILD / "qt/Qt6Config.cmake").write_text(QT)
    (BUILD / "qt/Qt6ConfigVersion.cmake").write_text("set(PACKAGE_VERSION 6.4)\nset(PACKAGE_VERSION_COMPATIBLE TRUE)\n")
    environment = {name: value for name, value in os.environ.items() if not name.startswith("CMAKE_")}
    done = subprocess.run(
        ["cmake", "-S", ".", "-B", str(BUILD / "build"), "-G", "Ninja", "-DORVEL_TESTS=OFF", "-Wno-dev",
         "-DCMAKE_TOOLCHAIN_FILE=tests/platform/mac/Toolchain.cmake", f"-DQt6_DIR={BUILD / 'qt'}",
         *(f"-D{name}={value}" for name, value in inputs.items())],
        cwd=ROOT, env=environment, capture_output=True, text=True)
    return done.returncode == 0, done.stdout + done.stderr


def wrong_in_list(inputs):
    succeeded, said = configured(inputs)
    if not succeeded:
        yield f"CMake does not configure for a Mac:\n{said[-3000:]}"
        return
    keys = plistlib.loads((BUILD / "build/packaging/Info.plist").read_bytes())
    expected = {**ALWAYS, "OrvelEnableUpdates": bool(inputs)}
    if inputs:
        expected |= {"OrvelGitRevision": inputs["ORVEL_GIT_REVISION"], "SUFeedURL": inputs["ORVEL_UPDATE_FEED"],
                     "SUPublicEDKey": inputs["ORVEL_UPDATE_KEY"]}
    for name, value in expected.items():
        if keys.get(name) != value or type(keys.get(name)) is not type(value):
            yield f"Info.plist has {keys.get(name)!r} for {name}, not {value!r}."
    if [scheme for kind in keys.get("CFBundleURLTypes", ()) for scheme in kind["CFBundleURLSchemes"]] != ["orvel"]:
        yield "Info.plist does not offer exactly the scheme orvel."
    forbidden = ["LSUIElement", *([] if inputs else [*UPDATES, "OrvelGitRevision"])]
    yield from (f"Info.plist has {name}." for name in forbidden if name in keys)
    rules = (BUILD / "build/build.ninja").read_text()
    needed = ["orvel.app/Contents/MacOS/orvel", "MacDesktop.cpp.o", "MacPasteboard.mm.o", "-fobjc-arc",
              "-DORVEL_WITH_MAC_DESKTOP", "-framework ApplicationServices", "-mmacosx-version-min=14.0"]
    needed += ["MacUpdater.mm.o", "-weak_framework,Sparkle"] if inputs else []
    yield from (f"The build for a Mac lacks {text}." for text in needed if text not in rules)


def problems():
    """What is wrong."""
    found = [*wrong_in_list({}), *wrong_in_list(RELEASE)]
    incomplete = {name: value for name, value in RELEASE.items() if name != "ORVEL_UPDATE_KEY"}
    if configured(incomplete)[0]:
        found.append("A feed for updates without a key is accepted.")
    entitlements = plistlib.loads((ROOT / "packaging/mac/Orvel.entitlements").read_bytes())
    if entitlements:
        found.append(f"The hardened runtime has exceptions: {', '.join(entitlements)}.")
    script = "packaging/mac/sign-and-notarize"
    checked = subprocess.run(["shellcheck", script], cwd=ROOT, capture_output=True, text=True)
    if checked.returncode != 0:
        found.append(checked.stdout)
    if "--options runtime" not in (ROOT / script).read_text():
        found.append(f"{script} signs without the hardened runtime.")
    return found
