"""Runs the tests of the package: run.py MODEL. Exit code 77 tells that numpy is missing."""

import pathlib
import sys
import unittest

try:
    import numpy  # noqa: F401
except ImportError:
    sys.exit(77)

folder = pathlib.Path(__file__).parent
sys.path[:0] = [str(folder), str(folder.parents[1] / "examples")]
import package_test
from denoise_test import *  # noqa: F403
from package_test import *  # noqa: F403

package_test.GATE = sys.argv[1]
unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
