"""Writes text stubs of the libraries that a program for macOS links, so that a name which nothing confirms stays
undefined. The frameworks' names are those that open sources confirm; those of the C++ library come from its build for this
machine; those of the C library from this machine's, with what only macOS has from a list."""
import re
import subprocess

import facts

NM = "llvm-nm-19"
CXX_LIBRARIES = ("/usr/lib/llvm-19/lib/libc++.so.1.0", "/usr/lib/llvm-19/lib/libc++abi.so.1.0")
C_LIBRARIES = ("/lib/x86_64-linux-gnu/libc.so.6", "/lib/x86_64-linux-gnu/libm.so.6")
SYSTEM_NAMES = ("___error", "__Block_copy", "__Block_release", "__Block_object_assign", "__Block_object_dispose",
                "__NSConcreteGlobalBlock", "__NSConcreteStackBlock", "__Unwind_Resume", "__Unwind_DeleteException",
                "dyld_stub_binder", "___chkstk_darwin", "___stack_chk_guard", "___stack_chk_fail",
                "__tlv_bootstrap", "___dso_handle", "___CFConstantStringClassReference")
OBJC_NAMES = ("objc_msgSend", "objc_msgSend_stret", "objc_msgSendSuper2", "objc_msgSendSuper2_stret", "objc_alloc",
              "objc_alloc_init", "objc_allocWithZone", "objc_opt_new", "objc_opt_class", "objc_opt_isKindOfClass",
              "objc_opt_respondsToSelector", "objc_opt_self", "objc_retain", "objc_release", "objc_autorelease",
              "objc_retainAutorelease", "objc_autoreleaseReturnValue", "objc_retainAutoreleaseReturnValue",
              "objc_retainAutoreleasedReturnValue", "objc_unsafeClaimAutoreleasedReturnValue", "objc_claimAutoreleasedReturnValue",
              "objc_retainBlock", "objc_storeStrong", "objc_storeWeak", "objc_loadWeakRetained", "objc_initWeak",
              "objc_destroyWeak", "objc_copyWeak", "objc_moveWeak", "objc_autoreleasePoolPush", "objc_autoreleasePoolPop",
              "objc_getProperty", "objc_setProperty", "objc_setProperty_atomic", "objc_setProperty_nonatomic_copy",
              "objc_setProperty_atomic_copy", "objc_setProperty_nonatomic", "objc_copyStruct", "objc_enumerationMutation",
              "objc_begin_catch", "objc_end_catch", "objc_exception_throw", "objc_exception_rethrow", "objc_terminate",
              "objc_sync_enter", "objc_sync_exit", "objc_getClass", "_objc_empty_cache", "_objc_empty_vtable",
              "OBJC_EHTYPE_id", "__objc_personality_v0")
OWN = re.compile(r"__Z(?:T[VIS]|GV)?NK?5orvel\w*")  # Of the namespace orvel.


def stub(path, install_name, symbols, classes=()):
    def listed(names):
        return ", ".join(f"'{name}'" for name in sorted(set(names)))

    targets = "[ x86_64-macos, arm64-macos ]"
    lines = ["--- !tapi-tbd", "tbd-version: 4", f"targets: {targets}", f"install-name: '{install_name}'",
             "current-version: 1", "exports:", f"  - targets: {targets}", f"    symbols: [ {listed(symbols)} ]"]
    if classes:
        lines.append(f"    objc-classes: [ {listed(classes)} ]")
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text("\n".join([*lines, "..."]) + "\n")


def exported(libraries):
    names = set()
    for library in libraries:
        listed = subprocess.run([NM, "-D", "--defined-only", "-j", library], capture_output=True, text=True, check=True)
        names.update("_" + name.split("@")[0] for name in listed.stdout.split())
    return names


def undefined_own_names(objects):
    """What the sources use of the program's other layers, which are not compiled for macOS here."""
    listed = subprocess.run([NM, "-u", "-j", *objects], capture_output=True, text=True, check=True).stdout.split()
    return {name for name in listed if OWN.fullmatch(name)}


def write_stubs(folder, objects):
    """Gives the linker's arguments for them."""
    frameworks = {}
    for kind, name, framework in facts.confirmed_names():
        symbols, classes = frameworks.setdefault(framework, (set(), set()))
        if kind == "class":
            classes.add(name)
        elif kind in ("func", "var"):
            symbols.add("_" + name)
    arguments = ["-L", str(folder), "-F", str(folder)]
    for framework, (symbols, classes) in frameworks.items():
        stub(folder / f"{framework}.framework/{framework}.tbd",
             f"/System/Library/Frameworks/{framework}.framework/{framework}", symbols, classes)
        arguments += ["-framework", framework]
    stub(folder / "libc++.tbd", "/usr/lib/libc++.1.dylib", exported(CXX_LIBRARIES))
    stub(folder / "libSystem.tbd", "/usr/lib/libSystem.B.dylib", exported(C_LIBRARIES) | set(SYSTEM_NAMES))
    stub(folder / "libobjc.tbd", "/usr/lib/libobjc.A.dylib", {"_" + name for name in OBJC_NAMES})
    stub(folder / "liborvel.tbd", "@rpath/liborvel.dylib", undefined_own_names(objects))
    return [*arguments, "-lc++", "-lSystem", "-lobjc", "-lorvel"]
