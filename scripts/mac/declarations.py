"""Reads our own declarations of macOS's interfaces with clang's parser, and tells what they claim: functions with the
kinds of their arguments, constants with their values, variables, classes and selectors."""
import json
import os
import re
import subprocess
from pathlib import Path
from typing import NamedTuple

ROOT = Path(__file__).resolve().parents[2]
# What serves every copy of the sources.
CACHE = Path(os.environ.get("ORVEL_MAC_CACHE", ROOT / "build/mac-cache"))
FOLDER = ROOT / "tests/platform/mac/declarations"
SYSTEM = ROOT / "tests/platform/mac/system"
CLANG = "clang++-19"
C_LIBRARY = "/usr/include/x86_64-linux-musl"
CXX_LIBRARY = "/usr/lib/llvm-19/include/c++/v1"
LANGUAGE = ["-std=c++20", "-fblocks", "-D_GNU_SOURCE"]  # The C library shows all it has.


class Fact(NamedTuple):
    kind: str  # "const", "func", "var", "class" or "sel".
    name: str
    framework: str
    ours: str  # The value of a constant, the kinds of arguments and result of a function or selector.
    group: str = ""  # The enumeration of a constant, the class of a selector.


def target_flags(architecture, declarations=None):
    """What lets clang compile for macOS 14 with our declarations in place of its headers."""
    places = ["-nostdinc", "-nostdinc++", "-isystem", CXX_LIBRARY, "-isystem", resource_folder() + "/include",
              "-isystem", str(SYSTEM), "-isystem", C_LIBRARY, "-isystem", str(declarations or FOLDER)]
    return ["-target", f"{architecture}-apple-macos14", *LANGUAGE, *places]


def resource_folder():
    return subprocess.run([CLANG, "-print-resource-dir"], capture_output=True, text=True, check=True).stdout.strip()


# Kinds of types: what a wrong declaration would pass in another register or with another width.

KINDS = {
    "void": "void", "bool": "b1", "char": "i1", "signed char": "i1", "unsigned char": "i1", "short": "i2",
    "unsigned short": "i2", "int": "i4", "unsigned int": "i4", "long": "i8", "unsigned long": "i8", "long long": "i8",
    "unsigned long long": "i8", "float": "f4", "double": "f8", "id": "ptr", "Class": "ptr", "SEL": "ptr",
    "instancetype": "ptr",
}


def kind_of(type_node, enums):
    spelled = type_node.get("desugaredQualType") or type_node["qualType"]
    text = re.sub(r"\b(const|volatile|_Nonnull|_Nullable|_Null_unspecified|__strong|__kindof|__autoreleasing)\b", "",
                  spelled).strip()
    text = " ".join(text.split())
    if text in enums:  # Also the names of other types.
        text = enums[text]
    if "*" in text or "^" in text or "[" in text or re.fullmatch(r"id<.*>", text):
        return "ptr"
    if text.startswith("enum "):
        text = enums.get(text[5:], "?")
    if text in KINDS:
        return KINDS[text]
    return "struct" if text.startswith("struct ") or text in enums.get("", ()) else "?"


def signature(result, arguments):
    return f"({','.join(arguments)})->{result}"


def syntax_tree(folder):
    frameworks = sorted(path.name for path in folder.iterdir() if (path / f"{path.name}.h").is_file())
    text = "".join(f"#include <{name}/{name}.h>\n" for name in frameworks)
    done = subprocess.run([CLANG, *target_flags("arm64", folder), "-x", "objective-c++", "-fobjc-arc", "-fsyntax-only",
                           "-Xclang", "-ast-dump=json", "-"], input=text, capture_output=True, text=True)
    if done.returncode != 0:
        raise SystemExit(f"Our declarations do not compile.\n{done.stderr}")
    return json.loads(done.stdout)


def spell_out_files(part, file=""):
    """Names the file in every position: the parser names it only where it changes. Gives the last one."""
    if isinstance(part, dict):
        if "offset" in part:
            file = part.setdefault("file", file)
        for key, value in part.items():
            if key != "includedFrom":
                file = spell_out_files(value, file)
    elif isinstance(part, list):
        for value in part:
            file = spell_out_files(value, file)
    return file


def located(nodes, folder):
    """The nodes that our declarations hold, each with its framework."""
    for node in all_nodes(nodes):
        place = node.get("loc", {})
        file = place.get("expansionLoc", place).get("file", "")
        if file.startswith(f"{folder}/"):
            yield node, file[len(f"{folder}/"):].split("/")[0]


def values_of(enum):
    """The names of an enumeration with their values."""
    value = -1
    for constant in enum.get("inner", ()):
        if constant["kind"] != "EnumConstantDecl":
            continue
        given = [part["value"] for part in constant.get("inner", ()) if "value" in part]
        value = int(given[0]) if given else value + 1
        yield constant["name"], value


def underlying_types(nodes):
    """The integer type of each enumeration, also under the name that a typedef gives it, and the names of structs."""
    found, structs = {}, set()
    for node in nodes:
        if node["kind"] == "EnumDecl" and node.get("name"):
            given = node.get("fixedUnderlyingType", {"qualType": "unsigned int"})
            found[node["name"]] = given.get("desugaredQualType") or given["qualType"]
        elif node["kind"] in ("RecordDecl", "CXXRecordDecl") and node.get("name"):
            structs.add(node["name"])
    return {**found, "": structs}


def literal(node):
    """The integer that initializes a variable, if it is one."""
    for part in node.get("inner", ()):
        if part["kind"] == "UnaryOperator" and part.get("opcode") == "-":
            inner = literal(part)
            return None if inner is None else -inner
        if part["kind"] in ("ConstantExpr", "IntegerLiteral") and "value" in part:
            return int(part["value"])
        deeper = literal(part)
        if deeper is not None:
            return deeper
    return None


def all_nodes(nodes):
    for node in nodes:
        yield node
        if node["kind"] == "LinkageSpecDecl":
            yield from all_nodes(node.get("inner", ()))


def method_facts(members, of, framework, enums):
    for part in members:
        if part["kind"] == "ObjCPropertyDecl":
            kind = kind_of(part["type"], enums)
            sign = "+" if part.get("class") else "-"
            getter = part.get("getter", {}).get("name", part["name"])
            yield Fact("sel", f"{sign}[{of} {getter}]", framework, signature(kind, []), of)
            if not part.get("readonly"):
                setter = part.get("setter", {}).get("name", f"set{part['name'][0].upper()}{part['name'][1:]}:")
                yield Fact("sel", f"{sign}[{of} {setter}]", framework, signature("void", [kind]), of)
        elif part["kind"] == "ObjCMethodDecl" and not part.get("isImplicit"):
            arguments = [kind_of(one["type"], enums) for one in part.get("inner", ()) if one["kind"] == "ParmVarDecl"]
            sign = "-" if part.get("instance") else "+"
            yield Fact("sel", f"{sign}[{of} {part['name']}]", framework,
                       signature(kind_of(part["returnType"], enums), arguments), of)


def node_facts(node, framework, enums):
    kind, name = node["kind"], node.get("name", "")
    if kind == "EnumDecl":
        for constant, value in values_of(node):
            yield Fact("const", constant, framework, str(value), name)
    elif kind == "FunctionDecl" and not node.get("inline"):
        arguments = [kind_of(one["type"], enums) for one in node.get("inner", ()) if one["kind"] == "ParmVarDecl"]
        result = node["type"].get("desugaredQualType", node["type"]["qualType"]).split("(")[0].strip()
        yield Fact("func", name, framework, signature(kind_of({"qualType": result}, enums), arguments))
    elif kind == "VarDecl":
        if node.get("storageClass") == "extern":
            yield Fact("var", name, framework, "")
        elif (value := literal(node)) is not None:
            yield Fact("const", name, framework, str(value))
    elif kind in ("ObjCInterfaceDecl", "ObjCProtocolDecl"):
        if "inner" in node or node.get("super", {}).get("name"):  # Otherwise it is only announced.
            yield Fact("class" if kind == "ObjCInterfaceDecl" else "protocol", name, framework, "")
            yield from method_facts(node.get("inner", ()), name, framework, enums)
    elif kind == "ObjCCategoryDecl":
        yield from method_facts(node.get("inner", ()), node["interface"]["name"], framework, enums)


def supers_of(nodes):
    return {node["name"]: node["super"]["name"] for node in nodes
            if node["kind"] == "ObjCInterfaceDecl" and node.get("super", {}).get("name")}


def facts(folder=FOLDER):
    """All that our declarations claim, sorted, and the superclass of each class."""
    tree = syntax_tree(folder)["inner"]
    spell_out_files(tree)
    everything = list(all_nodes(tree))
    enums = underlying_types(everything)
    typedefs = {node["name"]: node["type"] for node in everything if node["kind"] == "TypedefDecl"}
    for name, given in typedefs.items():  # A function's result is given under the name of its typedef.
        enums.setdefault(name, canonical(given, typedefs))
    found = {}
    for node, framework in located(tree, folder):
        for fact in node_facts(node, framework, enums):
            found.setdefault((fact.kind, fact.name), fact)
    return sorted(found.values()), supers_of(everything)


def canonical(given, typedefs):
    for _ in range(8):
        text = given.get("desugaredQualType") or given["qualType"]
        if text not in typedefs:
            break
        given = typedefs[text]
    return text
