"""Packages of other versions than the one that was built, for tests of the installer."""

import pathlib
import shutil
import struct
import subprocess

SOURCES = pathlib.Path(__file__).resolve().parents[2]
FIXED_INFORMATION = struct.pack("<I", 0xFEEF04BD)  # begins the fixed part of a version resource


def make_package(build, folder, name, version):
    """Makes a package of that version in a folder of that name. Its files have this version, and differ from those of the
    build, of which `build` is the folder of the package."""
    made = folder / name
    made.mkdir(exist_ok=True)
    for file in ("postwarden.wxs", "licenses.txt", *(path.name for path in build.glob("*.dll")), *(path.name for path in build.glob("*.exe"))):
        shutil.copy(build / file, made)
    major, minor, number = map(int, version.split("."))
    for file in [*made.glob("*.dll"), *made.glob("*.exe")]:
        image = bytearray(file.read_bytes())
        struct.pack_into("<IIII", image, image.index(FIXED_INFORMATION) + 8, *[major << 16 | minor, number << 16] * 2)
        file.write_bytes(image + name.encode())
    package = made / (name + ".msi")
    subprocess.run([SOURCES / "packaging/make_package", "wixl", version, package], cwd=made, check=True)
    return package
