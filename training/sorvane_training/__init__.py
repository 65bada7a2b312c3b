"""Networks for the engine: built and trained in PyTorch, written as model files, checked against it.

    layers      PyTorch modules with the engine's meaning                        (PyTorch)
"""
