"""Makes the packages for tests: cpack in the build folder, into folders of the tests.

usage: packing.py CPACK BUILD-FOLDER FOLDER
As a program, it makes those that several tests look at, and the ones of a version before them."""

import os
import pathlib
import shutil
import subprocess
import sys

OLDER = "0.9.0"


def run(*command, **options):
    """What the command writes; a failure shows what it wrote to standard error."""
    done = subprocess.run([str(part) for part in command], capture_output=True, **options)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))}: status {done.returncode}\n"
                             f"{done.stdout.decode(errors='replace')}{done.stderr.decode(errors='replace')}")
    return done.stdout


def packed(folder):
    """The packages in a folder, by name."""
    return {path.name.partition("_")[0]: path for path in sorted(folder.glob("*.deb"))}


def pack(cpack, build, folder, version=None, umask=0o022, **environment):
    """Packs into the folder, and returns the packages by name."""
    command = [cpack, "-G", "DEB", "--config", f"{build}/CPackConfig.cmake", "-B", folder]
    if version:
        command += ["-D", f"CPACK_PACKAGE_VERSION={version}"]
    folder.mkdir(parents=True)
    run(*command, cwd=folder, umask=umask, env={**os.environ, **environment})
    return packed(folder)


def field(package, name):
    return run("dpkg-deb", "--field", package, name).decode().strip()


def compile_with_pkg_config(root, source, compiler, package, program):
    """Compiles a source for what is installed in the root, as if the root were /."""
    configs, = pathlib.Path(root, "usr/lib").glob("*/pkgconfig")
    flags = run("pkg-config", "--cflags", "--libs", package,
                env={**os.environ, "PKG_CONFIG_LIBDIR": str(configs), "PKG_CONFIG_SYSROOT_DIR": str(root)})
    # The root is before each path, also before those for the loader.
    flags = flags.decode().replace(f"-rpath,{root}", "-rpath,")
    run(compiler, source, *flags.split(), f"-Wl,-rpath-link,{configs.parent}/velstat", "-o", program)


if __name__ == "__main__":
    place = pathlib.Path(sys.argv[3])
    shutil.rmtree(place, ignore_errors=True)
    pack(*sys.argv[1:3], place / "packages")
    pack(*sys.argv[1:3], place / "older", version=OLDER)
