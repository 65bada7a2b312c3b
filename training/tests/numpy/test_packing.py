"""How spectra become the rows and columns of tensors."""

import unittest

import numpy as np

from sorvane_training.packing import Packing


class Packings(unittest.TestCase):
    def test_rows(self):
        """Each packing of one spectrum, as rows of columns."""
        x = np.array([[[1 - 2j, 3 + 4j, -6 + 8j, 2, 4]]], np.complex64)
        for packing, rows in (
                (Packing.magnitudes(3), [[5 ** 0.5], [5], [10]]),
                (Packing.magnitudes(7), [[5 ** 0.5], [5], [10], [2], [4], [0], [0]]),
                (Packing.rectified(1, 3), [[1], [0], [0], [2], [5], [10]]),
                (Packing.complex(2), [[1, -2], [3, 4]]),
                (Packing.grouped(1, 5, 2), [[1, -2], [-1.5, 6], [3, 0]])):
            packed = packing.pack(x)
            self.assertEqual((packing.rows, packing.columns), packed.shape[1:])
            np.testing.assert_allclose(packed[0], rows, rtol=1e-6)

    def test_columns_of_channels(self):
        x = np.array([[[1 + 2j], [3 + 4j]]], np.complex64)
        np.testing.assert_array_equal(Packing.complex(1).pack(x)[0], [[1, 2, 3, 4]])


if __name__ == "__main__":
    unittest.main()
