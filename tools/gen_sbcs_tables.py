#!/usr/bin/env python3
"""Former generator of the single-byte tables. All code tables, single- and
multi-byte, now come from tools/gen_code_tables.py; this name runs it.

Usage: python3 tools/gen_sbcs_tables.py [repository root]
"""
import os
import runpy
import sys

if __name__ == "__main__":
    runpy.run_path(os.path.join(os.path.dirname(os.path.abspath(__file__)), "gen_code_tables.py"), run_name="__main__")
    sys.exit(0)
