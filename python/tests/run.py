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

package_test.GATE = sys.argv[1]
unittest.main(package_test, argv=sys.argv[:1])
