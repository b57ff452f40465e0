#!/usr/bin/env python3
"""Checks that every quoted #include points down the layer order, never up or sideways.

The SDK's folders are layers. A file may include its own folder, a folder of a lower layer, and the
public headers; features sit side by side on one layer and include none of each other. Tools and
examples stand above everything and include no other tool or example. The rules live in LAYERS below.

Usage: scripts/check_layers.py [repository root]
Exits 0 when every include is allowed, 1 with one line per offending include otherwise.
"""

import pathlib
import re
import sys

# Bottom to top. Folders of one row are peers: each may include the rows below it, not its peers.
LAYERS = [
    ("platform",),
    ("obx",),  # the public headers under include/obx
    ("base",),
    ("config",),
    ("lifecycle",),
    ("store",),
    ("session",),
    ("rum", "svr", "upload", "network", "crash", "bridge"),
    ("core",),
    ("qt",),  # the Qt 6 Widgets adapter, the only folder that includes Qt
]

# Public headers that only the object behind the facade implements; lower layers take the vocabulary
# types (enums, Configuration, the delegate records) and never call back up through the facade.
TOP_ONLY_PUBLIC = {"obx/facade.h": "core", "obx/obx.h": "core", "obx/qt.h": "qt",
                   "obx/qt_network_access_manager.h": "qt"}

# A toolkit's headers: only its adapter includes them.
TOOLKIT_ONLY = {"qt": re.compile(r"^(Q[A-Za-z0-9]+|Qt[A-Za-z0-9]*/.*)$")}

# System headers the logic never includes: it reaches files, sockets, threads, time, crypto and
# drawing through platform/. The public headers and platform/ itself are not bound by this.
PLATFORM_ONLY_SYSTEM = re.compile(
    r"^(thread|fstream|chrono|ctime|csignal|signal\.h|execinfo\.h|unistd\.h|fcntl\.h|pthread\.h|"
    r"sys/.*|netinet/.*|arpa/.*|linux/.*|openssl/.*|curl/.*|zip\.h|turbojpeg\.h|jpeglib\.h|"
    r"cairo.*|pango.*|glib.*)$"
)

# (including file, included path) -> why it is allowed anyway. Keep this empty.
EXCEPTIONS = {}

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')

# Top units: each folder of tools/ and examples/ is one program that may include every layer.
TOP_ROOTS = ("tools", "examples")


def layer_rank():
    rank = {}
    for index, row in enumerate(LAYERS):
        for folder in row:
            rank[folder] = index
    return rank


RANK = layer_rank()


def unit_of(relative):
    """The unit a source file belongs to: a layer folder of src/, "obx", or a tool or example."""
    parts = relative.parts
    if parts[0] == "src" and len(parts) > 2:
        return parts[1]
    if parts[0] == "include" and len(parts) > 2 and parts[1] == "obx":
        # The Qt adapter's public headers are the adapter's own: they may include Qt.
        return "qt" if parts[2].startswith("qt") else "obx"
    if parts[0] in TOP_ROOTS and len(parts) > 2:
        return parts[0] + "/" + parts[1]
    return None


def target_of(included, including_unit, including_dir, root):
    """The unit an include names, or None when it names nothing this repository knows. The tools'
    folder is on the include path, so "collector/x.h" is tools/collector/x.h."""
    first = included.split("/", 1)[0]
    if "/" not in included:
        return including_unit if (including_dir / included).exists() else None
    if first in RANK:
        return first
    if (root / "tools" / first).is_dir():
        return "tools/" + first
    return None


def system_refusal(unit, included):
    """Why a system header may not be included here, or None when it may."""
    if unit in RANK and unit not in ("platform", "obx") and PLATFORM_ONLY_SYSTEM.match(included):
        return f"<{included}> is the platform's to include; go through platform/"
    for adapter, pattern in TOOLKIT_ONLY.items():
        if unit in RANK and unit != adapter and pattern.match(included):
            return f"<{included}> is the {adapter}/ adapter's to include"
    return None


def refusal(unit, target, included):
    """Why a quoted include may not be made here, or None when it may."""
    if target is None:
        return f'"{included}" names no folder of this repository'
    if target == unit:
        return None
    if unit == "platform":
        return "platform/ includes nothing of the SDK"
    if unit == "obx":
        return "public headers include only public headers"
    if unit.startswith(TOP_ROOTS):
        if target.startswith(TOP_ROOTS):
            return f"{unit} includes another program's code ({target})"
        return None
    if target.startswith(TOP_ROOTS):
        return f"{unit} includes a tool or example ({target})"
    minimum = TOP_ONLY_PUBLIC.get(included)
    if minimum is not None and RANK[unit] < RANK[minimum]:
        return f"{included} is for {minimum}/ only; use the vocabulary headers"
    if RANK[target] == RANK[unit]:
        return f"{unit} and {target} are peers; share what they need through a lower layer"
    if RANK[target] > RANK[unit]:
        return f"{unit} includes {target}, which sits above it"
    return None


def source_files(root):
    for top in ("src", "include", "tools", "examples"):
        base = root / top
        if not base.is_dir():
            continue
        for path in sorted(base.rglob("*")):
            if path.suffix in (".h", ".cc", ".c", ".in") and path.is_file():
                yield path


def check(root):
    problems = []
    for path in source_files(root):
        relative = path.relative_to(root)
        unit = unit_of(relative)
        if unit is None:
            continue
        for number, line in enumerate(path.read_text(encoding="utf-8", errors="replace").splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            quote, included = match.groups()
            if quote == "<":
                reason = system_refusal(unit, included)
            else:
                target = target_of(included, unit, path.parent, root)
                reason = refusal(unit, target, included)
            if reason and (str(relative), included) not in EXCEPTIONS:
                problems.append(f"{relative}:{number}: {line.strip()}  -- {reason}")
    return problems


def main(argv):
    root = pathlib.Path(argv[1] if len(argv) > 1 else pathlib.Path(__file__).resolve().parent.parent)
    problems = check(root)
    for problem in problems:
        print(problem)
    if problems:
        print(f"layer check: {len(problems)} include(s) break the layer order", file=sys.stderr)
        return 1
    print("layer check: every include points down")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
