"""Networks for the engine: trained in PyTorch, written as model files, checked against it.

On NumPy alone:
    model_file   the file as records, its writer and its reader
    outline      shapes, parameters, operations, latency and receptive field of a file
    packing      spectra as the engine takes them, and how they become tensors
    half_floats  the half floats of files
    engine       a file in the built engine

With PyTorch:
    layers         modules with the engine's meaning
    export         a network as a file; plain_modules says what of torch.nn becomes layers
    storage        which tensors are half floats, and training with them
    network        a file as a network
    parity         a file in the engine against PyTorch
"""
