"""Builds the extension by CMake; everything else stands in pyproject.toml.

OPTDOE_EXTENSION, an environment variable, names a built extension to take instead of building one.
"""
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent.parent
TREE = ROOT / "build" / "wheel"


class CMakeExtension(build_ext):
    def build_extension(self, ext):
        target = Path(self.get_ext_fullpath(ext.name))
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(os.environ.get("OPTDOE_EXTENSION") or self.built(target.name), target)
        for name, place in self.needed(target):
            if name.startswith("libcsv."):
                # Beside the extension, which looks there first: the one library that not every machine has.
                shutil.copy(place, target.parent / name)
                shutil.copy("/usr/share/doc/libcsv3/copyright", target.parent / f"{name}.copyright")

    @staticmethod
    def needed(library):
        """Names and places of the libraries that one needs."""
        told = subprocess.run(["ldd", library], check=True, capture_output=True, text=True).stdout
        return re.findall(r"(\S+) => (\S+)", told)

    @staticmethod
    def built(name):
        options = ["-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG", "-DBUILD_TESTING=OFF"]
        subprocess.run(["cmake", "-S", ROOT, "-B", TREE / "cmake", "-G", "Ninja", *options,
                        f"-DPython_EXECUTABLE={sys.executable}"], check=True)
        subprocess.run(["cmake", "--build", TREE / "cmake", "--target", "optdoe_python"], check=True)
        return TREE / "cmake" / "python" / "optdoe" / name


# Whatever comes into being on the way lies in the build folder; nothing of an earlier wheel gets into this one.
STAGE = TREE / "stage"
shutil.rmtree(STAGE, ignore_errors=True)
STAGE.mkdir(parents=True)
setup(
    version=re.search(r"project\(optdoe VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text())[1],
    ext_modules=[Extension("optdoe._native", sources=[])],
    cmdclass={"build_ext": CMakeExtension},
    options={"build": {"build_base": str(STAGE)}, "egg_info": {"egg_base": str(STAGE)}},
)
