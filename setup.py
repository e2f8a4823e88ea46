"""Builds the Python package `zenvary`: the ctypes module beside the shared
library that it loads (libzenvary.so, the C interface).

The library comes from, in this order: the file named by ZENVARY_LIBRARY; the
CMake build directory named by ZENVARY_BUILD_DIR; or a Release build of the
C interface alone that this script runs in build-python/cmake (cmake, a C++20
compiler and the OpenSSL and bzip2 development files are needed, no network).
"""

import glob
import os
import re
import shutil
import subprocess

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py

HERE = os.path.dirname(os.path.abspath(__file__))
WORK = os.path.join(HERE, "build-python")


def project_version():
    with open(os.path.join(HERE, "CMakeLists.txt"), encoding="utf-8") as f:
        return re.search(r"project\(zenvary VERSION ([0-9.]+)", f.read()).group(1)


def build_library():
    """Configures and builds the shared C interface; returns its build dir."""
    build_dir = os.path.join(WORK, "cmake")
    generator = ["-G", "Ninja"] if shutil.which("ninja") else []
    subprocess.check_call(["cmake", "-S", HERE, "-B", build_dir, "-DCMAKE_BUILD_TYPE=Release",
                           "-DZENVARY_TESTS=OFF"] + generator)
    jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL") or str(os.cpu_count() or 2)
    subprocess.check_call(["cmake", "--build", build_dir, "--target", "zenvary_capi", "--parallel", jobs])
    return build_dir


def locate_library():
    named = os.environ.get("ZENVARY_LIBRARY")
    if named:
        if not os.path.isfile(named):
            raise SystemExit("ZENVARY_LIBRARY: no such file: %s" % named)
        return os.path.realpath(named)
    build_dir = os.environ.get("ZENVARY_BUILD_DIR") or build_library()
    # The versioned file itself, not the development symlink.
    found = [p for p in glob.glob(os.path.join(build_dir, "libzenvary.so*")) if not os.path.islink(p)]
    if not found:
        raise SystemExit("no libzenvary.so in %s: build the target zenvary_capi first" % build_dir)
    return os.path.realpath(sorted(found, key=len)[0])


class BuildPyWithLibrary(build_py):
    """Copies the shared library into the package beside __init__.py."""

    def run(self):
        super().run()
        library = locate_library()
        target = os.path.join(self.build_lib, "zenvary", os.path.basename(library))
        self.mkpath(os.path.dirname(target))
        shutil.copyfile(library, target)
        os.chmod(target, 0o755)


class BinaryDistribution(Distribution):
    """The package carries a native library: its wheel is platform-specific."""

    def has_ext_modules(self):
        return True


os.makedirs(WORK, exist_ok=True)
setup(
    name="zenvary",
    version=project_version(),
    description="Cryptography and text-encoding component (Python bindings over the C interface)",
    python_requires=">=3.8",
    package_dir={"": "src/shell/python"},
    packages=["zenvary"],
    cmdclass={"build_py": BuildPyWithLibrary},
    distclass=BinaryDistribution,
    zip_safe=False,
    options={
        "build": {"build_base": os.path.join(WORK, "setuptools")},
        "egg_info": {"egg_base": WORK},
    },
)
