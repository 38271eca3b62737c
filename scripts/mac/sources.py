"""Reads what independent open sources say of macOS's interfaces. Names, numbers and kinds of types are taken, no text.

Pascal: the units of Free Pascal for macOS. npm: the type declarations of a published package, which came from a recent
system. Rust: crates that bind the frameworks. GNUstep: its headers, for the names of classes and selectors alone, as its
numbers are its own. Each source is a `Source`; what one does not know is missing from it."""
import re
import shutil
import subprocess
from pathlib import Path

import declarations

PASCAL = Path("/usr/share/fpcsrc/3.2.2")
RUST = Path("/usr/share/cargo/registry")
GNUSTEP = Path("/usr/include/GNUstep")
NPM_PACKAGE = "@nativescript/macos-node-api@0.4.0"
NPM_FRAMEWORKS = ("AppKit", "ApplicationServices", "Carbon", "CoreFoundation", "CoreGraphics", "Foundation", "Runtime")

# What has another name in an older system.
OLD_NAMES = {
    "NSWindowStyleMaskBorderless": "NSBorderlessWindowMask",
    "NSWindowStyleMaskNonactivatingPanel": "NSNonactivatingPanelMask",
    "kAXValueTypeAXError": "kAXValueAXErrorType",
    "kAXValueTypeCFRange": "kAXValueCFRangeType",
    "kAXValueTypeCGPoint": "kAXValueCGPointType",
    "kAXValueTypeCGRect": "kAXValueCGRectType",
    "kAXValueTypeCGSize": "kAXValueCGSizeType",
    "kAXValueTypeIllegal": "kAXValueIllegalType",
}


class Source:
    def __init__(self):
        self.constants = {}  # Name: set of values; a source may contradict itself.
        self.members = {}  # Enumeration: {member without the enumeration's name: value}
        self.functions = {}  # Name: kinds as our declarations give them, or the number of arguments.
        self.variables = set()
        self.classes = set()
        self.supers = {}
        self.selectors = {}  # (sign, class): {selector: kinds, or None where the source tells none}

    def protocols(self):
        """Also classes, whose names differ from those of protocols."""
        return {of for _, of in self.selectors}

    def constant(self, name, group):
        for candidate in (name, OLD_NAMES.get(name)):
            if candidate in self.constants:
                return self.constants[candidate]
        if group in self.members:
            fitting = [member for member in self.members[group] if name.endswith(member)]
            return {self.members[group][max(fitting, key=len)]} if fitting else None
        # The enumeration has another name there, or none here.
        return {values[name.removeprefix("k").removeprefix(other)] for other, values in self.members.items()
                if name.removeprefix("k").removeprefix(other) in values and other in name} or None

    def selector(self, sign, of, selector, supers):
        """The kinds that the class or a superclass gives it, None where there is none; "" where the kinds are unknown."""
        while of:
            for known in self.selectors.get((sign, of), {}).items():
                if known[0] == selector or known[0] == joined(selector) or known[0] == as_property(selector):
                    return known[1] or ""
            of = self.supers.get(of) or supers.get(of) or ("NSObject" if of != "NSObject" else None)
        return None


def joined(selector):
    """As a language without colons writes it."""
    first, *rest = selector.split(":")
    return first + "".join(part[:1].upper() + part[1:] for part in rest)


def as_property(getter):
    """The property that a getter may belong to."""
    if re.match(r"is[A-Z]", getter):
        return getter[2].lower() + getter[3:]
    return getter


def text_of(path):
    return path.read_text(encoding="utf-8", errors="replace")


def parts(text):
    """At the commas that stand in no bracket."""
    depth, found = 0, [""]
    for before, letter in zip(" " + text, text):
        depth += letter in "([{<"
        depth -= letter in ")]}" or letter == ">" and before != "="
        if letter == "," and depth == 0:
            found.append("")
        else:
            found[-1] += letter
    return [part.strip() for part in found if part.strip()]


# Free Pascal

PASCAL_KINDS = {
    "sint8": "i1", "uint8": "i1", "byte": "i1", "boolean": "i1", "char": "i1", "cbool": "b1", "objcbool": "b1",
    "sint16": "i2", "uint16": "i2", "unichar": "i2", "sint32": "i4", "uint32": "i4", "longint": "i4", "cint": "i4",
    "cuint": "i4", "sint64": "i8", "uint64": "i8", "qword": "i8", "clong": "i8", "culong": "i8", "float32": "f4",
    "float64": "f8", "double": "f8", "single": "f4", "nsinteger": "i8", "nsuinteger": "i8", "nstimeinterval": "f8",
    "pointer": "ptr", "univptr": "ptr", "id": "ptr", "sel": "ptr", "pid_t": "i4", "signedlong": "i8",
    "unsignedlong": "i8", "pobjc_class": "ptr", "pchar": "ptr", "cgfloat": "f8", "int64": "i8", "instancetype": "ptr",
}


def without_comments(text):
    return re.sub(r"\(\*.*?\*\)|\{.*?\}|//[^\n]*", " ", text, flags=re.DOTALL)


def kind_in_pascal(name, types):
    for _ in range(12):
        name = name.strip()
        low = name.lower()
        if low in PASCAL_KINDS:
            return PASCAL_KINDS[low]
        if name.startswith("^") or re.match(r"(function|procedure|reference|array)\b", low):
            return "ptr"
        if re.match(r"(packed )?record\b|bitpacked", low):
            return "struct"
        if low not in types:
            return "?"
        name = types[low]
    return "?"


def arguments_in_pascal(text, types):
    kinds = []
    for group in filter(None, (part.strip() for part in (text or "").split(";"))):
        names, _, given = group.partition(":")
        by_reference = re.match(r"(var|out)\s", names)
        kinds += ["ptr" if by_reference else kind_in_pascal(given, types)] * len(names.split(","))
    return kinds


def signature_in_pascal(arguments, result, types):
    return f"({','.join(arguments_in_pascal(arguments, types))})->{kind_in_pascal(result, types) if result else 'void'}"


def number_in_pascal(text, expressions, depth=0):
    text = re.sub(r"\b(UInt32|SInt32|UInt64|OptionBits|CGEventFlags|NSUInteger|NSInteger)\s*\(", "(", text)
    text = re.sub(r"\$([0-9A-Fa-f]+)", r"0x\1", text)
    for word, sign in (("shl", "<<"), ("or", "|"), ("and", "&"), ("not", "~")):
        text = re.sub(rf"\b{word}\b", sign, text, flags=re.IGNORECASE)
    for name in set(re.findall(r"\b[A-Za-z_]\w*\b", text)):
        if name not in expressions or depth > 6:
            return None
        value = number_in_pascal(expressions[name], expressions, depth + 1)
        if value is None:
            return None
        text = re.sub(rf"\b{name}\b", f"({value})", text)
    if not re.fullmatch(r"[\s0-9A-Fa-fx<>|&~()+\-*]+", text):
        return None
    try:
        return int(eval(text, {"__builtins__": {}}))  # Digits and signs alone.
    except (SyntaxError, TypeError, ValueError):
        return None


def pascal():
    source = Source()
    files = [*sorted((PASCAL / "packages/univint/src").glob("*.pas")),
             *sorted((PASCAL / "packages/cocoaint/src/foundation").glob("*.inc")),
             *sorted((PASCAL / "packages/cocoaint/src/appkit").glob("*.inc")), PASCAL / "rtl/inc/objcbase.pp"]
    texts = [without_comments(text_of(path)) for path in files]
    types, expressions = {}, {}
    for text in texts:
        for name, given in re.findall(r"^\s*(\w+)\s*=\s*([\w^][^;:=]*)", text, re.MULTILINE):
            types.setdefault(name.lower(), "^" if given.startswith("objcclass") else given)
        for name, given in re.findall(r"^\s*(\w+)\s*=\s*([^;:=']+?)\s*(?:deprecated[^;]*)?;", text, re.MULTILINE):
            expressions.setdefault(name, given)
    # A protocol as a type is an object.
    types.update({name: "^" for name, given in types.items() if given.startswith("objcprotocol")})
    for text in texts:
        for arguments, result, name in re.findall(
                r"\b(?:function|procedure)\s+\w+\s*(?:\(([^)]*)\))?\s*(?::\s*(\w+))?\s*;\s*external\s+name\s+'_(\w+)'", text):
            source.functions[name] = signature_in_pascal(arguments, result, types)
        source.variables.update(re.findall(r"\bvar\s+\w+\s*:\s*\w+\s*;\s*external\s+name\s+'_(\w+)'", text))
        source.variables.update(re.findall(r"^\s*(\w+)\s*:\s*\w+\s*;\s*cvar\s*;\s*external", text, re.MULTILINE))
        pascal_classes(text, source, types)
    names = {name for name in expressions if re.match(r"(k[A-Z]|NS|AX)", name)}
    for name in names:
        value = number_in_pascal(expressions[name], expressions)
        if value is not None:
            source.constants[name] = {value}
    return source


def pascal_classes(text, source, types):
    heads = r"^\s*(\w+)\s*=\s*(objcclass|objccategory|objcprotocol)\s+external(?:\s+name\s+'(\w+)')?\s*(?:\(([\w, ]*)\))?"
    method = re.compile(r"^\s*(class\s+)?(?:function|procedure|constructor)\s+\w+\s*(?:\(([^)]*)\))?\s*(?::\s*(\w+))?\s*;"
                        r"(?:\s*message\s+'([^']+)')?", re.MULTILINE)
    found = list(re.finditer(heads, text, re.MULTILINE))
    for head, following in zip(found, [*found[1:], None]):
        name, kind, real_name, parents = head.groups()
        parent = (parents or "").split(",")[0].strip()
        of = real_name or name
        if kind == "objccategory":
            of = parent
        elif kind == "objcclass":
            source.classes.add(of)
            source.supers.setdefault(of, parent if not parent.endswith("Protocol") else None)
        body = text[head.end():following.start() if following else None]
        for is_class, arguments, result, selector in method.findall(body.split("\n  end;")[0]):
            if selector:
                known = source.selectors.setdefault(("+" if is_class else "-", of), {})
                known.setdefault(selector, signature_in_pascal(arguments, result, types))


# The npm package


def npm_folder():
    return declarations.CACHE / "npm"


def fetch_npm():
    """Unpacks the declarations that are read, and nothing else of the package. Gives whether they are there."""
    folder = npm_folder()
    if all((folder / f"{name}.d.ts").is_file() for name in NPM_FRAMEWORKS):
        return True
    if not shutil.which("npm"):
        return False
    folder.mkdir(parents=True, exist_ok=True)
    try:
        packed = subprocess.run(["npm", "pack", "--silent", NPM_PACKAGE], cwd=folder, capture_output=True, text=True,
                                timeout=300)
    except subprocess.TimeoutExpired:
        return False
    if packed.returncode != 0:
        return False
    archive = folder / packed.stdout.split()[-1]
    names = [f"package/types/{name}.d.ts" for name in NPM_FRAMEWORKS]
    done = subprocess.run(["tar", "-xzf", archive.name, "--strip-components=2", *names], cwd=folder)
    archive.unlink()
    return done.returncode == 0


def npm():
    source = Source()
    for name in NPM_FRAMEWORKS:
        text = text_of(npm_folder() / f"{name}.d.ts")
        for group, body in re.findall(r"^declare const (\w+): \{\n(.*?)^\};", text, re.MULTILINE | re.DOTALL):
            source.members[group] = {member: int(value) for member, value in re.findall(r"^  (\w+): (-?\d+),", body, re.MULTILINE)}
        source.variables.update(re.findall(r"^declare const (\w+): (?:interop|string)", text, re.MULTILINE))
        for function, arguments in re.findall(r"^declare function (\w+)\((.*)\): ", text, re.MULTILINE):
            source.functions[function] = len(parts(arguments))
        for kind, of, parent, body in re.findall(r"^declare (class|interface) (\w+)(?:<[^{]*?>)?(?: extends (\w+))?[^{]*\{\n(.*?)^\}",
                                                 text, re.MULTILINE | re.DOTALL):
            if kind == "class":
                source.classes.add(of)
                source.supers[of] = parent if parent and parent != "NativeObject" else None
            npm_members(body, of, source)
    return source


def npm_members(body, of, source):
    for is_class, is_fixed, name, after in re.findall(r"^  (static )?(?:get |set )?(readonly )?(\w+)\??([(<:])", body, re.MULTILINE):
        known = source.selectors.setdefault(("+" if is_class else "-", of), {})
        known[name] = None
        if after == ":" and not is_fixed:
            known[f"set{name[0].upper()}{name[1:]}"] = None


# Rust


def rust_number(text, known):
    text = re.sub(r"\bas \w+", "", text).strip()
    if text in known:
        return known[text]
    return int(eval(text, {"__builtins__": {}})) if re.fullmatch(r"[-0-9A-Fa-fx<| ()]+", text) else None


def rust():
    source = Source()
    folders = [*RUST.glob("core-graphics-0*"), *RUST.glob("core-graphics-types-*"), *RUST.glob("core-foundation-sys-*")]
    for path in sorted(file for folder in folders for file in (folder / "src").glob("*.rs")):
        text = re.sub(r"//[^\n]*|/\*.*?\*/", "", text_of(path), flags=re.DOTALL)
        known = {}
        for name, given in re.findall(r"\b(?:const|static)\s+(\w+)\s*(?::\s*\w+)?\s*=\s*([^;]+);", text):
            value = rust_number(given, known)
            if value is not None:
                known[name] = value
                source.constants.setdefault(rust_name(name), set()).add(value)
        for group, body in re.findall(r"\benum (\w+)\s*\{(.*?)\n\s*\}", text, re.DOTALL):
            source.members[group] = members = {}
            value = -1
            for member, given in re.findall(r"^\s*(\w+)\s*(?:=\s*([^,\n]+))?,?\s*$", body, re.MULTILINE):
                value = rust_number(given, known) if given else value + 1
                if value is None:
                    break
                members[member] = value
        for name, arguments in re.findall(r"\bfn\s+((?:CF|CG|AX|TIS)\w+)\s*\(([^)]*)\)", text):
            source.functions[name] = len(parts(arguments))
        source.variables.update(re.findall(r"\bstatic\s+(\w+)\s*:[^=;]*;", text))
    return source


def rust_name(name):
    """The crates write some constants in their own manner."""
    if name.startswith("CGEventFlag"):
        return "kCGEventFlagMask" + name.removeprefix("CGEventFlag")
    if re.fullmatch(r"[A-Z]+(_[A-Z0-9]+)+", name):
        words = [{"UNIX": "Unix", "ID": "ID"}.get(word, word.capitalize()) for word in name.split("_")]
        return "kCG" + "".join(words)
    return name


# GNUstep


def gnustep():
    source = Source()
    for path in sorted(file for name in ("Foundation", "AppKit") for file in (GNUSTEP / name).glob("*.h")):
        text = re.sub(r"//[^\n]*|/\*.*?\*/|^#.*$", " ", text_of(path), flags=re.DOTALL | re.MULTILINE)
        source.variables.update(re.findall(r"_EXPORT\s+[\w *]+?\b(\w+);", text))
        for of, parent, body in re.findall(r"@interface\s+(\w+)\s*(?:\([^)]*\)|:\s*(\w+))?(.*?)@end", text, re.DOTALL):
            if parent or of == "NSObject":
                source.classes.add(of)
            if parent:
                source.supers[of] = parent
            for sign, head in re.findall(r"^\s*([-+])\s*([^;{]+);", body, re.MULTILINE):
                head = re.sub(r"GS_\w+(\([^)]*\))?|NS_\w+(\([^)]*\))?", "", head)
                names = re.findall(r"(\w+)\s*:", head)
                bare = re.sub(r"\([^)]*\)", " ", head).split()
                selector = "".join(f"{name}:" for name in names) or (bare[-1] if bare else "")
                source.selectors.setdefault((sign, of), {})[selector] = None
    return source


def missing():
    """What keeps the comparison from being made."""
    found = []
    if not (PASCAL / "packages/univint").is_dir():
        found.append("Free Pascal's units (fpc-source-3.2.2)")
    if not list(RUST.glob("core-graphics-0*")):
        found.append("the Rust crates")
    if not (GNUSTEP / "AppKit").is_dir():
        found.append("GNUstep's headers")
    if not fetch_npm():
        found.append(f"{NPM_PACKAGE} of npm")
    return found


def all_sources():
    return {"pascal": pascal(), "npm": npm(), "rust": rust(), "gnustep": gnustep()}
