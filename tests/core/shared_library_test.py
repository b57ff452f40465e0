#!/usr/bin/env python3
"""libobx.so as a loader sees it: the dynamic symbols it defines are exactly the functions that
include/obx/obx.h declares, and its SONAME carries the version.

Usage: shared_library_test.py LIBOBX_SO OBX_H SONAME
"""

import pathlib
import re
import subprocess
import sys
import unittest

LIBRARY, HEADER, SONAME = (sys.argv[1:4] + [None, None, None])[:3]


def defined_dynamic_symbols(library):
    output = subprocess.run(["nm", "-D", "--defined-only", library], capture_output=True, text=True,
                            check=True).stdout
    # Lines are "<address> <type> <name>"; a name may carry a version after "@".
    return {line.split()[-1].split("@")[0] for line in output.splitlines() if line.strip()}


def declared_functions(header):
    text = pathlib.Path(header).read_text(encoding="utf-8")
    text = re.sub(r"/\*.*?\*/", "", text, flags=re.S)
    return set(re.findall(r"\b(obx_\w+)\s*\(", text))


class SharedLibraryTest(unittest.TestCase):
    # Every function of the C API is exported, and nothing else: no C++ class of the SDK, no instance
    # of a standard template, no symbol of a library it links.
    def test_exports_exactly_the_c_api(self):
        exported = defined_dynamic_symbols(LIBRARY)
        declared = declared_functions(HEADER)
        self.assertGreater(len(declared), 30)
        self.assertEqual(sorted(exported - declared), [], "exported beyond the C API")
        self.assertEqual(sorted(declared - exported), [], "declared in obx.h but not exported")

    # A loader that links against the library records the versioned name.
    def test_soname_is_versioned(self):
        output = subprocess.run(["readelf", "-d", LIBRARY], capture_output=True, text=True, check=True).stdout
        names = re.findall(r"\(SONAME\)\s+Library soname: \[([^\]]+)\]", output)
        self.assertEqual(names, [SONAME])


if __name__ == "__main__":
    if SONAME is None:
        print(__doc__)
        sys.exit(2)
    unittest.main(argv=sys.argv[:1])
