"""Runs the README's example blocks as they stand: the shell set-up, then the
Python example, in a fresh directory."""
import os
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = os.environ.get("ZENVARY_SOURCE_DIR", os.path.join(os.path.dirname(__file__), "..", ".."))


def example_block(kind):
    text = open(os.path.join(ROOT, "README.md"), encoding="utf-8").read()
    m = re.search(r"<!-- example: %s -->\n```\w+\n(.*?)```" % kind, text, re.S)
    if not m:
        raise AssertionError("README.md has no example block '%s'" % kind)
    return m.group(1)


class ReadmeExample(unittest.TestCase):
    def test_python_example_runs_as_shown(self):
        with tempfile.TemporaryDirectory() as tmp:
            subprocess.run(["bash", "-euo", "pipefail", "-c", example_block("shell")], cwd=tmp, check=True)
            script = os.path.join(tmp, "example.py")
            with open(script, "w", encoding="utf-8") as f:
                f.write(example_block("python"))
            run = subprocess.run([sys.executable, script], cwd=tmp, capture_output=True, text=True)
            self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
            self.assertIn("hashing: 100%", run.stdout)
            self.assertRegex(run.stdout, r"sha256: [A-Za-z0-9+/]{43}=")
            self.assertTrue(run.stdout.rstrip().endswith("all done"), run.stdout)
            # The signing key went into the example's own key directory.
            self.assertTrue(os.path.isdir(os.path.join(tmp, "zv-pki")))


if __name__ == "__main__":
    unittest.main()
