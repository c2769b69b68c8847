#!/usr/bin/env python3
"""Reads every include of the library and fails on a breach of the floors.

A module includes only modules below it; no two files include each other in a circle; a module's detail folder is its
own; media libraries are included in platform/ alone; the command uses public headers only.
"""
import re
import sys
from pathlib import Path

FLOORS = {
    "core": 1, "platform": 2, "host": 3, "vanc": 3, "audio": 3, "mxf": 3, "media": 4, "sources": 5, "sidecar": 5,
    "encoders": 6, "writers": 7, "readers": 7, "preview": 8,
}
MEDIA_HEADERS = re.compile(r"^(libav|libsw|x264|x265|jpeglib|zmq|alsa/|ltc)")
INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]', re.M)


def breaches(root):
    library = root / "zenquor"
    includes = {}
    for path in sorted(list(library.rglob("*.h")) + list(library.rglob("*.cpp"))):
        name = path.relative_to(root).as_posix()
        module = path.relative_to(library).parts[0]
        found = INCLUDE.findall(path.read_text())
        includes[name] = [i for i in found if i.startswith("zenquor/")]
        if module not in FLOORS:
            yield f"{name}: module {module} has no floor"
            continue
        for include in found:
            if MEDIA_HEADERS.match(include) and module != "platform":
                yield f"{name}: {include} belongs to platform/"
            if not include.startswith("zenquor/"):
                continue
            if not (root / include).exists():
                yield f"{name}: {include} does not exist"
                continue
            other = include.split("/")[1]
            if other != module and FLOORS.get(other, 99) >= FLOORS[module]:
                yield f"{name}: {module} (floor {FLOORS[module]}) includes {include} (floor {FLOORS.get(other)})"
            if other != module and include.count("/") > 2:
                yield f"{name}: {include} is private to {other}"
            if path.suffix == ".h" and path.parent.parent == library and include.count("/") > 2:
                yield f"{name}: a public header includes the private {include}"
    yield from circles(includes)
    for folder in ("tools", "examples"):
        for path in sorted((root / folder).rglob("*.[hc]*")):
            for include in INCLUDE.findall(path.read_text()) if path.suffix in (".h", ".cpp") else ():
                if include.startswith("zenquor/") and include.count("/") > 2 or MEDIA_HEADERS.match(include):
                    yield f"{path.relative_to(root)}: {include} is not public"


def circles(includes):
    done, path = set(), []

    def visit(name):
        if name in path:
            yield "circle: " + " -> ".join(path[path.index(name):] + [name])
        elif name not in done:
            done.add(name)
            path.append(name)
            for include in includes.get(name, ()):
                yield from visit(include)
            path.pop()

    for name in includes:
        yield from visit(name)


def main():
    found = list(breaches(Path(sys.argv[1])))
    for breach in found:
        print(breach)
    if not found:
        print("the floors hold")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
