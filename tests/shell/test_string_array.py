#!/usr/bin/env python3
"""Tests of the string array through the C interface and the Python module."""

import base64
import ctypes
import os
import random
import sys
import tempfile
import unittest

import zenvary

ALPHABET = ["a", "b", "B", ",", "\u00e9", "\u4e2d", " ", "\t", "\r\n", "=", "\U0001f600"]


def random_strings(rng, n):
    return ["".join(rng.choice(ALPHABET) for _ in range(rng.randrange(4))) for _ in range(n)]


def utf8_order(strings, reverse=False):
    # Python's stable sort on the UTF-8 bytes, the array's own order.
    return sorted(strings, key=lambda s: s.encode("utf-8"), reverse=reverse)


class StringArray(unittest.TestCase):
    def test_editing_and_lookup(self):
        a = zenvary.ZvStringArray()
        self.assertEqual((a.Count, len(a), a.LastString(), a.Pop()), (0, 0, None, None))
        self.assertTrue(a.Append("b"))
        self.assertTrue(a.Prepend("a"))
        self.assertTrue(a.InsertAt(1, "\u00e9\U0001f600"))
        self.assertTrue(a.InsertAt(50, "z"))
        self.assertFalse(a.InsertAt(-1, "never"))
        self.assertEqual(list(a), ["a", "\u00e9\U0001f600", "b", "z"])
        self.assertEqual((a.GetString(4), a.GetString(-1)), (None, None))
        self.assertEqual(a.Find("\u00e9\U0001f600"), 1)
        self.assertEqual((a.Find("a", 1), a.Find("z", -3)), (-1, 3))
        self.assertTrue(a.Contains("b"))
        self.assertFalse(a.Contains("B"))
        a.Append("b")
        self.assertTrue(a.Remove("b"))
        self.assertFalse(a.Remove("b"))
        self.assertEqual(list(a), ["a", "\u00e9\U0001f600", "z"])
        self.assertTrue(a.RemoveAt(0))
        self.assertFalse(a.RemoveAt(2))
        self.assertEqual((a.LastString(), a.Pop(), list(a)), ("z", "z", ["\u00e9\U0001f600"]))
        a.Clear()
        self.assertEqual(a.Count, 0)
        with self.assertRaises(AttributeError):
            a.Count = 3

    def test_whole_list_operations_against_python(self):
        rng = random.Random(17)
        for _ in range(150):
            left, right = random_strings(rng, rng.randrange(15)), random_strings(rng, rng.randrange(15))
            a, b = zenvary.ZvStringArray(left), zenvary.ZvStringArray(right)
            a.Union(b)
            self.assertEqual(list(a), left + [s for i, s in enumerate(right)
                                              if s not in left and s not in right[:i]])
            self.assertEqual(list(b), right)
            a = zenvary.ZvStringArray(left)
            a.Intersect(b)
            self.assertEqual(list(a), [s for s in left if s in right])
            a = zenvary.ZvStringArray(left)
            a.Subtract(b)
            self.assertEqual(list(a), [s for s in left if s not in right])
            a = zenvary.ZvStringArray(left)
            a.Unique()
            self.assertEqual(list(a), list(dict.fromkeys(left)))
            a = zenvary.ZvStringArray(left)
            a.Sort()
            self.assertEqual(list(a), utf8_order(left))
            a.Sort(False)
            self.assertEqual(list(a), utf8_order(left, reverse=True))
            a = zenvary.ZvStringArray(left)
            a.Trim()
            self.assertEqual(list(a), [s.strip(" \t\r\n") for s in left])
        a = zenvary.ZvStringArray(["x", "y"])
        a.Union(a)
        self.assertEqual(list(a), ["x", "y"])
        a.Subtract(a)
        self.assertEqual(len(a), 0)
        with self.assertRaises(TypeError):
            a.Union(["x"])

    def test_serialize_matches_base64_and_round_trips(self):
        self.assertEqual(zenvary.ZvStringArray().Serialize(), "")
        self.assertEqual(zenvary.ZvStringArray([""]).Serialize(), ",")
        rng = random.Random(23)
        for _ in range(100):
            items = random_strings(rng, rng.randrange(10))
            text = zenvary.ZvStringArray(items).Serialize()
            self.assertEqual(text, "".join(base64.b64encode(s.encode("utf-8")).decode() + "," for s in items))
            back = zenvary.ZvStringArray(["kept"])
            self.assertTrue(back.AppendSerialized(text))
            self.assertEqual(list(back), ["kept"] + items)
        bad = zenvary.ZvStringArray(["kept"])
        self.assertFalse(bad.AppendSerialized("YQ==,not base64!,"))
        self.assertEqual(list(bad), ["kept"])

    def test_files_and_line_ends(self):
        items = ["one", "", "\u00e9t\u00e9", " two "]
        with tempfile.TemporaryDirectory() as d:
            path = os.path.join(d, "lines \u00e9.txt")
            a = zenvary.ZvStringArray(items)
            self.assertFalse(a.Crlf)
            self.assertTrue(a.SaveToFile(path))
            with open(path, "rb") as f:
                self.assertEqual(f.read(), "".join(s + "\n" for s in items).encode("utf-8"))
            a.Crlf = True
            self.assertTrue(a.Crlf)
            self.assertTrue(a.SaveToFile(path))
            with open(path, "rb") as f:
                self.assertEqual(f.read(), "".join(s + "\r\n" for s in items).encode("utf-8"))
            b = zenvary.ZvStringArray(["replaced"])
            self.assertTrue(b.LoadFromFile(path))
            self.assertEqual(list(b), items)
            self.assertFalse(b.LoadFromFile(os.path.join(d, "missing")))
            self.assertFalse(b.SaveToFile(os.path.join(d, "no", "dir")))
            self.assertEqual(list(b), items)

    def test_c_border(self):
        lib = zenvary._lib
        # A null handle is a bad argument, never a crash; text outputs are
        # always a block to free, "" on failure.
        for name in ("Append", "Remove", "AppendSerialized", "LoadFromFile"):
            fn = getattr(lib, "ZvStringArray_" + name)
            fn.argtypes, fn.restype = [ctypes.c_void_p, ctypes.c_char_p], ctypes.c_int
            self.assertEqual(fn(None, b"x"), zenvary.ZV_BADARG, name)
        union = lib.ZvStringArray_Union
        union.argtypes, union.restype = [ctypes.c_void_p, ctypes.c_void_p], ctypes.c_int
        a = zenvary.ZvStringArray(["x"])
        self.assertEqual(union(a._h, None), zenvary.ZV_BADARG)
        count = lib.ZvStringArray_get_Count
        count.argtypes, count.restype = [ctypes.c_void_p], ctypes.c_long
        self.assertEqual(count(None), 0)
        get = lib.ZvStringArray_GetString
        get.argtypes = [ctypes.c_void_p, ctypes.c_long, ctypes.POINTER(ctypes.c_void_p)]
        get.restype = ctypes.c_int
        out = ctypes.c_void_p()
        self.assertEqual(get(a._h, 7, ctypes.byref(out)), zenvary.ZV_FAILED)
        self.assertTrue(out.value)
        self.assertEqual(ctypes.string_at(out.value), b"")
        lib.zenvary_free(out)
        self.assertEqual(get(a._h, 0, None), zenvary.ZV_BADARG)


if __name__ == "__main__":
    result = unittest.main(exit=False, verbosity=1).result
    sys.exit(0 if result.wasSuccessful() and result.testsRun > 0 else 1)
