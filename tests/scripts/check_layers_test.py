#!/usr/bin/env python3
"""Tests of scripts/check_layers.py: the repository passes, and each kind of wrong include fails."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
CHECKER = ROOT / "scripts" / "check_layers.py"


def run_checker(root):
    result = subprocess.run([sys.executable, str(CHECKER), str(root)], capture_output=True, text=True)
    return result.returncode, result.stdout


class RepositoryTest(unittest.TestCase):
    # The tree as committed keeps every include pointing down.
    def test_repository_passes(self):
        code, output = run_checker(ROOT)
        self.assertEqual(code, 0, output)


class RulesTest(unittest.TestCase):
    """One small tree per case: a file that includes one header on its second line, and whether that passes."""

    HEADERS = [
        "src/platform/ui/view.h",
        "src/base/logger.h",
        "src/config/sdk_configuration.h",
        "src/lifecycle/batch_context.h",
        "src/store/repository.h",
        "src/session/session_context.h",
        "src/rum/rum_core.h",
        "src/upload/upload_worker.h",
        "src/core/core.h",
        "include/obx/enums.h",
        "include/obx/facade.h",
        "include/obx/obx.h",
        "tools/collector/collector.h",
        "examples/demo/journey.h",
    ]

    CASES = [
        # (including file, include line, refusal text or None when allowed)
        ("src/base/a.cc", '#include "base/logger.h"', None),
        ("src/base/a.cc", '#include "platform/ui/view.h"', None),
        ("src/base/a.cc", '#include "obx/enums.h"', None),
        ("src/base/a.cc", '#include "config/sdk_configuration.h"', "base includes config, which sits above it"),
        ("src/lifecycle/a.cc", '#include "store/repository.h"', "lifecycle includes store, which sits above it"),
        ("src/store/a.cc", '#include "lifecycle/batch_context.h"', None),
        ("src/session/a.cc", '#include "rum/rum_core.h"', "session includes rum, which sits above it"),
        ("src/rum/a.cc", '#include "upload/upload_worker.h"', "rum and upload are peers"),
        ("src/rum/a.cc", '#include "session/session_context.h"', None),
        ("src/rum/a.cc", '#include "core/core.h"', "rum includes core, which sits above it"),
        ("src/rum/a.cc", '#include "obx/facade.h"', "obx/facade.h is for core/ only"),
        ("src/upload/a.cc", '#include "obx/obx.h"', "obx/obx.h is for core/ only"),
        ("src/core/a.cc", '#include "obx/facade.h"', None),
        ("src/core/a.cc", '#include "rum/rum_core.h"', None),
        ("src/platform/net/a.cc", '#include "obx/enums.h"', "platform/ includes nothing of the SDK"),
        ("src/platform/net/a.cc", '#include "base/logger.h"', "platform/ includes nothing of the SDK"),
        ("include/obx/a.h", '#include "base/logger.h"', "public headers include only public headers"),
        ("src/core/a.cc", '#include "collector/collector.h"', "core includes a tool or example"),
        ("src/core/a.cc", '#include "nowhere/thing.h"', "names no folder of this repository"),
        ("tools/collector/a.cc", '#include "core/core.h"', None),
        ("tools/collector/a.cc", '#include "collector/collector.h"', None),
        ("examples/demo/a.cc", '#include "collector/collector.h"', "includes another program's code"),
        ("examples/demo/a.cc", '#include "journey.h"', None),
        ("examples/demo/a.cc", '#include "missing.h"', "names no folder of this repository"),
        ("src/store/a.cc", "#include <fstream>", "<fstream> is the platform's to include"),
        ("src/rum/a.cc", "#include <openssl/evp.h>", "<openssl/evp.h> is the platform's to include"),
        ("src/rum/a.cc", "#include <vector>", None),
        ("src/platform/files/a.cc", "#include <fstream>", None),
        ("src/qt/a.cc", '#include "core/core.h"', None),
        ("src/qt/a.cc", "#include <QWidget>", None),
        ("src/svr/a.cc", "#include <QWidget>", "<QWidget> is the qt/ adapter's to include"),
        ("src/core/a.cc", '#include "obx/qt.h"', "obx/qt.h is for qt/ only"),
    ]

    def test_cases(self):
        for including, line, refusal in self.CASES:
            with self.subTest(including=including, line=line), tempfile.TemporaryDirectory() as work:
                root = pathlib.Path(work)
                for header in self.HEADERS:
                    (root / header).parent.mkdir(parents=True, exist_ok=True)
                    (root / header).touch()
                (root / including).parent.mkdir(parents=True, exist_ok=True)
                (root / including).write_text("// a first line without an include\n" + line + "\n")
                code, output = run_checker(root)
                if refusal is None:
                    self.assertEqual(code, 0, output)
                else:
                    self.assertEqual(code, 1, output)
                    self.assertEqual(output.count("\n"), 1, output)
                    self.assertIn(f"{including}:2: {line}", output)
                    self.assertIn(refusal, output)


if __name__ == "__main__":
    unittest.main()
