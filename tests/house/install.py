#!/usr/bin/env python3
"""Installs into an empty prefix and uses the result as a stranger would.

Usage: install.py CMAKE BINARY_DIR COMPILER LIBDIR

The examples are built and run out of the tree with find_package, a program with the flags that
pkg-config gives, and nothing installed may name the source or the build tree.
"""

import os
import shutil
import sys
import tempfile
from pathlib import Path

import tree

USER = """
#include <gantry/Gantry.h>
int main() { return 0; }
"""


def step(what, command, **options):
    print(f"-- {what}", flush=True)
    status, output = tree.run([str(word) for word in command], **options)
    if status != 0:
        print(output)
        sys.exit(f"{what}: exit status {status}")
    return output


def check_files(prefix, libdir, binary):
    """Every header and schema of the library, in the tree or generated, is installed as it is."""
    for root in (tree.ROOT, binary / "generated"):
        for path in sorted((root / "gantry").rglob("*")):
            if path.suffix not in {".h", ".fen"} or not path.is_file():
                continue
            copy = prefix / "include" / path.relative_to(root)
            if not copy.is_file() or copy.read_bytes() != path.read_bytes():
                sys.exit(f"{path} is not installed as {copy}")
    library = prefix / libdir / "libGantry.so"
    if not library.is_symlink() or not library.resolve().is_file():
        sys.exit(f"{library} is not a link to the library")


def check_movable(prefix, binary):
    own = [str(tree.ROOT).encode(), str(binary).encode()]
    for path in prefix.rglob("*"):
        if path.suffix in {".cmake", ".pc", ".h", ".fen"} and path.is_file():
            if any(name in path.read_bytes() for name in own):
                sys.exit(f"{path} names the tree that it was built from")


def examples(cmake, compiler, prefix, work):
    shutil.copytree(tree.ROOT / "examples", work / "examples")
    out = work / "examples-build"
    step(
        "configure the examples",
        [cmake, "-S", work / "examples", "-B", out, "-G", "Ninja"]
        + [f"-DCMAKE_PREFIX_PATH={prefix}", f"-DCMAKE_CXX_COMPILER={compiler}"],
    )
    step("build the examples", [cmake, "--build", out])
    ctest = Path(cmake).with_name("ctest")
    print(step("run the examples", [ctest, "--output-on-failure", "--test-dir", out]))


def with_pkg_config(compiler, prefix, libdir, work):
    program = shutil.which("pkg-config")
    if program is None:
        print("-- no pkg-config here")
        return
    environment = dict(os.environ, PKG_CONFIG_PATH=str(prefix / libdir / "pkgconfig"))
    flags = step(
        "pkg-config", [program, "--cflags", "--libs", "gantry"], env=environment
    ).split()
    (work / "user.cpp").write_text(USER)
    output = work / "user"
    step(
        "build by pkg-config",
        [compiler, "-std=c++20", work / "user.cpp", *flags]
        + [f"-Wl,-rpath,{prefix / libdir}", "-o", output],
    )
    step("run what was built", [output])


def main():
    cmake, binary, compiler, libdir = sys.argv[1], Path(sys.argv[2]), sys.argv[3], sys.argv[4]
    with tempfile.TemporaryDirectory(prefix="gantry-install-") as directory:
        work = Path(directory)
        prefix = work / "prefix"
        step("install", [cmake, "--install", binary, "--prefix", prefix])
        check_files(prefix, libdir, binary)
        check_movable(prefix, binary)
        step("fenc --help", [prefix / "bin" / "fenc", "--help"])
        moved = work / "moved"
        prefix.rename(moved)
        examples(cmake, compiler, moved, work)
        with_pkg_config(compiler, moved, libdir, work)
    print("all good")
    return 0


if __name__ == "__main__":
    sys.exit(main())
