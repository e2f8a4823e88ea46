"""Helpers shared by the end-to-end tests of tests/shell: the openssl tool as
an oracle, the zenvary CLI, and whole-file reads and writes."""

import os
import subprocess

CLI = os.environ.get("ZENVARY_CLI", "zenvary")

# openssl arguments that load the legacy provider beside the default one,
# for RC2, DES and the old PKCS#12 ciphers.
LEGACY = ["-provider", "legacy", "-provider", "default"]


def run(*args, data=b"", timeout=600):
    """Runs the zenvary CLI; returns the CompletedProcess."""
    return subprocess.run([CLI, *args], input=data, capture_output=True, timeout=timeout)


def openssl(*args, data=b"", check=True):
    """Runs the openssl tool; with `check` a non-zero exit fails the test."""
    r = subprocess.run(["openssl", *args], input=data, capture_output=True, timeout=120)
    if check and r.returncode != 0:
        raise AssertionError("openssl %s: %s" % (" ".join(args), r.stderr.decode(errors="replace")))
    return r


def write(path, data):
    with open(path, "wb") as f:
        f.write(data)


def read(path):
    with open(path, "rb") as f:
        return f.read()
