"""The driver of the measurements is no package: its folder is put on the path."""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench" / "driver"))
