"""The table of what open sources confirm of our declarations, tests/platform/mac/facts.tsv, and the list of what may
stand there unconfirmed."""
import declarations

TABLE = declarations.ROOT / "tests/platform/mac/facts.tsv"
PERMITTED = declarations.ROOT / "tests/platform/mac/unconfirmed.txt"


def permitted():
    """What may stand unconfirmed, as "kind name"."""
    lines = (line.split("#")[0].strip() for line in PERMITTED.read_text().splitlines())
    return {line for line in lines if line}


def confirmed_names():
    """Kind, name and framework of what a source confirms or the list permits."""
    allowed = permitted()
    lines = [line.split("\t") for line in TABLE.read_text().splitlines()[1:]]
    return [(kind, name, framework) for kind, name, framework, *_, verdict in lines
            if verdict.startswith("ok") or f"{kind} {name}" in allowed]
