"""The recipe's files lie beside the package, not in it."""

import sys
from pathlib import Path

TRAINING = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(TRAINING), str(TRAINING / "recipes/speech")]
