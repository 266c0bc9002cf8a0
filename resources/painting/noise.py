"""Smooth noise at any coordinates."""

import numpy as np

_random = np.random.default_rng(7121)
_TABLE = _random.permutation(256)
_TABLE = np.concatenate([_TABLE, _TABLE]).astype(np.int32)
_ANGLES = _random.random(256) * 2 * np.pi
_GX = np.cos(_ANGLES).astype(np.float32)
_GY = np.sin(_ANGLES).astype(np.float32)


def perlin(x, y):
    """Gradient noise, about -0.7 to 0.7, with a period of 256 units."""
    x, y = np.broadcast_arrays(np.asarray(x, dtype=np.float64), np.asarray(y, dtype=np.float64))
    xi, yi = np.floor(x), np.floor(y)
    fx, fy = (x - xi).astype(np.float32), (y - yi).astype(np.float32)
    xi, yi = xi.astype(np.int64) & 255, yi.astype(np.int64) & 255

    def corner(dx, dy):
        h = _TABLE[_TABLE[(xi + dx) & 255] + ((yi + dy) & 255)]
        return _GX[h] * (fx - dx) + _GY[h] * (fy - dy)

    u = fx * fx * fx * (fx * (fx * 6 - 15) + 10)
    v = fy * fy * fy * (fy * (fy * 6 - 15) + 10)
    top = corner(0, 0) * (1 - u) + corner(1, 0) * u
    bottom = corner(0, 1) * (1 - u) + corner(1, 1) * u
    return top * (1 - v) + bottom * v


def fbm(x, y, octaves=5, gain=0.5):
    """Sum of octaves, about -1 to 1."""
    total = 0
    weight = 1.0
    for i in range(octaves):
        total = total + weight * perlin(x * 2 ** i + 17.3 * i, y * 2 ** i - 9.1 * i)
        weight *= gain
    return total * 1.4 * (1 - gain) / (1 - gain ** octaves)


def ridged(x, y, octaves=5, gain=0.5):
    """Sharp crests, 0 to 1; a crest carries more detail than a valley."""
    total = 0
    weight = 1.0
    carried = 1.0
    for i in range(octaves):
        crest = (1 - np.abs(perlin(x * 2 ** i + 31.7 * i, y * 2 ** i + 11.3 * i)) * 1.6) ** 2
        total = total + weight * crest * carried
        carried = np.clip(crest * 1.3, 0, 1)
        weight *= gain
    return total * (1 - gain) / (1 - gain ** octaves)
