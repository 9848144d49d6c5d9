# Records the source tree the package is installed from, so that an
# installed copy still finds libORNC.so in that tree's build folders.
import os

from setuptools import setup
from setuptools.command.build_py import build_py


class RecordSource(build_py):
    def run(self):
        super().run()
        source = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
        with open(os.path.join(self.build_lib, "ornc", "_source.py"), "w") as out:
            out.write(f"SOURCE_DIR = {source!r}\n")


setup(cmdclass={"build_py": RecordSource})
