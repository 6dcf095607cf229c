"""What a user has who has installed the libraries."""

import os
import subprocess


def environment_of(build, work):
    """With the installed tree, and a compiler "cc" that has this build's flags."""
    prefix = work / "prefix"
    subprocess.run([os.environ["CMAKE"], "--install", build, "--prefix", prefix], check=True,
                   stdout=subprocess.DEVNULL)
    libraries = prefix / os.environ["LIBDIR"]
    compiler = work / "bin/cc"
    compiler.parent.mkdir()
    compiler.write_text('#!/bin/sh\nexec $CC $FLAGS -Wall -Wextra -Werror "$@"\n')
    compiler.chmod(0o755)
    return os.environ | {"PATH": f"{compiler.parent}:{os.environ['PATH']}",
                         "CMAKE_PREFIX_PATH": str(prefix), "CFLAGS": os.environ["FLAGS"],
                         "PKG_CONFIG_PATH": str(libraries / "pkgconfig"),
                         "LD_LIBRARY_PATH": str(libraries)}
