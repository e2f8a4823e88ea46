#!/usr/bin/env python3
"""Walks the automation method table (method_table.txt beside this file) and
proves that every member is reachable from C, as a function exported by
libzenvary.so, and from Python, as an attribute of the module's class.

C names: <Object>_<Member> for a method, <Object>_get_<Member> and
<Object>_put_<Member> for a property; both events go through
ZenvaryVault2_SetEvents. Python: a method is a callable attribute, a property
has a getter or setter as the table says, an event is a settable property.

Members still to be built are listed in PENDING with the reason. The test
fails when a member is missing and not pending, and when a pending member is
in fact present, so that the list shrinks as the work lands.
"""

import os
import re
import subprocess
import sys
import unittest

import zenvary

TABLE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "method_table.txt")

# interface -> (prefix of the C functions, Python class)
OBJECTS = {
    "IZenvaryVault2": ("ZenvaryVault2_", "ZenvaryVault2"),
    "_IZenvaryVault2Events": ("ZenvaryVault2_", "ZenvaryVault2"),
    "IZenvaryOmaDrm": ("ZenvaryOmaDrm_", "ZenvaryOmaDrm"),
    "IZvStringArray": ("ZvStringArray_", "ZvStringArray"),
    "IZenvaryCSP": ("ZenvaryCSP_", "CSP"),
    "IZenvaryCert": ("ZenvaryCert_", "Cert"),
    "IPrivateKey": ("ZenvaryPrivateKey_", "PrivateKey"),
    "IPublicKey": ("ZenvaryPublicKey_", "PublicKey"),
}

# C functions of an object that are not members: lifecycle and binding
# set-up, and a few additions of the C interface, by prefix.
C_EXTRAS = {"Create", "Dispose", "SetEvents", "SetBindingKind"}
C_EXTRAS_BY_PREFIX = {
    "ZenvaryCert_": {"LinkPrivateKeyFile"},
}

# Interfaces whose members are still being built. A pending interface is
# skipped whole; the test fails once all its members are reachable, so the
# entry goes when the work lands.
PENDING_INTERFACES = set()
PENDING = {}


def pending(interface, kind, name):
    return interface in PENDING_INTERFACES or (interface, kind, name) in PENDING


def read_table():
    members = []
    with open(TABLE, encoding="utf-8") as f:
        for number, line in enumerate(f, 1):
            if line.startswith("#") or not line.strip():
                continue
            fields = line.split()
            if len(fields) != 4:
                raise AssertionError("%s:%d: expected 4 fields: %r" % (TABLE, number, line))
            members.append(tuple(fields))
    return members


def library_path():
    """The libzenvary.so that the module loaded, from the process's maps."""
    with open("/proc/self/maps", encoding="utf-8") as f:
        for line in f:
            path = line.split(None, 5)[-1].strip()
            if re.search(r"/libzenvary\.so[.0-9]*$", path):
                return path
    raise AssertionError("libzenvary.so is not mapped")


def exported_functions(path):
    out = subprocess.run(["nm", "-D", "--defined-only", path], check=True, capture_output=True, text=True).stdout
    return {fields[2] for fields in (line.split() for line in out.splitlines())
            if len(fields) == 3 and fields[1] in "TW"}


def c_names(interface, kind, name):
    """The C functions any one of which makes the member reachable."""
    prefix = OBJECTS[interface][0]
    if kind == "method":
        return [prefix + name]
    if kind in ("get", "put"):
        return [prefix + kind + "_" + name]
    if kind == "event":
        return [prefix + "SetEvents"]
    # A string-array member: a method or a property.
    return [prefix + name, prefix + "get_" + name, prefix + "put_" + name]


def python_reachable(interface, kind, name):
    cls = getattr(zenvary, OBJECTS[interface][1], None)
    attr = getattr(cls, name, None) if cls is not None else None
    if attr is None:
        return False
    if kind == "method":
        return callable(attr) and not isinstance(attr, property)
    if kind == "get":
        return isinstance(attr, property) and attr.fget is not None
    if kind in ("put", "event"):
        return isinstance(attr, property) and attr.fset is not None
    return True


class MethodTable(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.members = read_table()
        cls.symbols = exported_functions(library_path())

    def reachable(self, member):
        interface, _, kind, name = member
        in_c = any(n in self.symbols for n in c_names(interface, kind, name))
        return in_c, python_reachable(interface, kind, name)

    def test_table_is_whole(self):
        # The committed table is complete and well formed: every dispatch id
        # of IZenvaryVault2 from 3 to 104 and of IZenvaryOmaDrm from 2 to 21,
        # no member twice, known kinds only.
        kinds = {"method", "get", "put", "event", "member"}
        self.assertEqual([m for m in self.members if m[2] not in kinds or m[0] not in OBJECTS], [])
        self.assertEqual(len(set(self.members)), len(self.members))
        ids = lambda iface: {int(m[1]) for m in self.members if m[0] == iface}
        self.assertEqual(ids("IZenvaryVault2"), set(range(3, 105)))
        self.assertEqual(ids("IZenvaryOmaDrm"), set(range(2, 22)))
        self.assertEqual(ids("_IZenvaryVault2Events"), {1, 2})
        count = lambda iface: len([m for m in self.members if m[0] == iface])
        self.assertEqual(count("IZvStringArray"), 23)
        self.assertEqual(count("IZenvaryCSP"), 37)
        self.assertEqual(count("IZenvaryCert"), 65)
        self.assertEqual(count("IPrivateKey"), 24)
        self.assertEqual(count("IPublicKey"), 20)
        # Every pending entry names a member of the table.
        listed = {(m[0], m[2], m[3]) for m in self.members}
        self.assertEqual(sorted(k for k in PENDING if k not in listed), [])

    def test_every_member_is_reachable_from_c_and_python(self):
        missing = []
        for member in self.members:
            interface, _, kind, name = member
            if pending(interface, kind, name):
                continue
            in_c, in_python = self.reachable(member)
            if not in_c:
                missing.append("C: %s %s %s (%s)" % (interface, kind, name, " or ".join(c_names(interface, kind, name))))
            if not in_python:
                missing.append("Python: %s.%s (%s)" % (OBJECTS[interface][1], name, kind))
        self.assertEqual(missing, [], "members of the table not reachable:\n  " + "\n  ".join(missing))

    def test_pending_members_are_really_missing(self):
        landed = []
        for member in self.members:
            interface, _, kind, name = member
            if (interface, kind, name) in PENDING and all(self.reachable(member)):
                landed.append("%s %s %s" % (interface, kind, name))
        for interface in sorted(PENDING_INTERFACES):
            if all(all(self.reachable(m)) for m in self.members if m[0] == interface):
                landed.append(interface)
        self.assertEqual(landed, [], "now reachable from C and Python: remove from PENDING:\n  " + "\n  ".join(landed))

    def test_c_functions_carry_member_names(self):
        # Every exported function of an object is a member of the table or
        # one of the few lifecycle functions, so a misspelt name shows here.
        expected = {prefix + extra for prefix, _ in OBJECTS.values() for extra in C_EXTRAS}
        for prefix, extras in C_EXTRAS_BY_PREFIX.items():
            expected.update(prefix + extra for extra in extras)
        for interface, _, kind, name in self.members:
            expected.update(c_names(interface, kind, name))
        prefixes = tuple(sorted({p for p, _ in OBJECTS.values()}))
        strays = sorted(s for s in self.symbols if s.startswith(prefixes) and s not in expected)
        self.assertEqual(strays, [])


if __name__ == "__main__":
    result = unittest.main(exit=False, verbosity=1).result
    sys.exit(0 if result.wasSuccessful() and result.testsRun > 0 else 1)
