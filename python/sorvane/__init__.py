"""Runs trained neural networks on streaming audio.

`denoise` takes the noise out of an array, `denoise_file` out of a file. `Processor` sends audio
through a model block by block; `Model` drives a model's network with tensors. Both are context
managers. `models` lists what is installed; `sorvane.batch` cleans whole archives. What the engine
throws arrives as RuntimeError, MemoryError or ValueError.
"""

import ctypes
import importlib.util
import threading

# The thread that loads the engine flushes denormals from then on. Python's own thread is to go on
# as it was: numpy and others count on it. The other thread imports nothing, because an import may
# wait for a lock that this thread holds.
_spec = importlib.util.find_spec(f"{__name__}._engine")
if _spec is not None:
    _loader = threading.Thread(target=ctypes.CDLL, args=(_spec.origin,))
    _loader.start()
    _loader.join()
    del _loader
del _spec

from ._busses import Bus, Busses
from ._denoise import denoise
from ._engine import version as __version__
from ._files import denoise_file
from ._model import Model, models
from ._processor import Processor

__all__ = ["Bus", "Busses", "Model", "Processor", "__version__", "denoise", "denoise_file",
           "models"]
