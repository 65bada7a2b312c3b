"""Runs model files with the built engine, through its C interface for tensors."""

import ctypes
import os
from pathlib import Path

import numpy as np

BUILT = ("lib/libSorvaneEngine.so", "lib/libSorvaneEngine.dylib", "bin/SorvaneEngine.dll")


def find_library():
    """The library that SORVANE_LIBRARY names, or else that of build/release, or else the newest of
    the other builds beside the sources: those may measure coverage or look for faults.

    FileNotFoundError when there is none.
    """
    named = os.environ.get("SORVANE_LIBRARY")
    if named:
        return Path(named)
    root = Path(__file__).resolve().parents[2]
    built = [path for name in BUILT for path in root.glob("build/*/" + name)]
    if not built:
        raise FileNotFoundError("no library: build the engine or set SORVANE_LIBRARY")
    release = root / "build" / "release"
    return max(built, key=lambda path: (release in path.parents, path.stat().st_mtime))


class Engine:
    """The loaded library."""

    def __init__(self, library=None):
        self.library = ctypes.CDLL(str(library or find_library()))
        floats, ints = ctypes.POINTER(ctypes.c_float), ctypes.POINTER(ctypes.c_int)
        handle = ctypes.c_void_p
        for name, result, arguments in (
                ("CreateModel", handle, [ctypes.c_char_p]),
                ("DeleteModel", None, [handle]),
                ("AddTensor", None, [handle, floats, ctypes.c_int, ints]),
                ("GetResultTensorShape", ctypes.c_bool, [handle, ctypes.c_int, ints]),
                ("GetTensor", ctypes.c_bool, [handle, floats]),
                ("ResetModelState", None, [handle])):
            function = getattr(self.library, "sorvane" + name)
            function.restype, function.argtypes = result, arguments
            setattr(self, name, function)


class EngineModel:
    """A model file in the engine. Use as a context, or call close().

    The engine checks that weights fit what arrives and raises C++ exceptions, which end a Python
    process: run outline() of the file first.
    """

    def __init__(self, path, engine=None):
        self.engine = engine or Engine()
        self.handle = self.engine.CreateModel(os.fsencode(path))
        if not self.handle:
            raise ValueError(f"{path}: the engine can't load it")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.engine.DeleteModel(self.handle)
        self.handle = None

    def push(self, frames):
        """What comes out when `frames` [T, F, C] go in with one call; may have no frames."""
        frames = np.ascontiguousarray(frames, np.float32)
        pointer = ctypes.POINTER(ctypes.c_float)
        self.engine.AddTensor(self.handle, frames.ctypes.data_as(pointer), 3,
                              (ctypes.c_int * 3)(*frames.shape))
        shape = (ctypes.c_int * 3)()
        if not self.engine.GetResultTensorShape(self.handle, 3, shape):
            return np.zeros((0, 0, 0), np.float32)
        result = np.empty(tuple(shape), np.float32)
        self.engine.GetTensor(self.handle, result.ctypes.data_as(pointer))
        return result

    def run(self, frames):
        """The output [T', F', C'] of a whole stream [T, F, C], pushed frame by frame."""
        self.engine.ResetModelState(self.handle)
        results = [self.push(frames[t:t + 1]) for t in range(len(frames))]
        results = [result for result in results if result.shape[0]]
        return np.concatenate(results) if results else np.zeros((0, 0, 0), np.float32)
