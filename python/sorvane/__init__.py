"""Runs trained neural networks on streaming audio.

`Processor` sends audio through a model; `Model` drives a model's network with tensors. Both are context
managers. What the engine throws arrives as RuntimeError, MemoryError or ValueError.
"""

import importlib
import threading

# The thread that loads the engine flushes denormals from then on. Python's own thread is to go on as it
# was: numpy and others count on it.
_loader = threading.Thread(target=importlib.import_module, args=(f"{__name__}._engine",))
_loader.start()
_loader.join()
del _loader

from ._busses import Bus, Busses
from ._engine import version as __version__
from ._model import Model
from ._processor import Processor

__all__ = ["Bus", "Busses", "Model", "Processor", "__version__"]
