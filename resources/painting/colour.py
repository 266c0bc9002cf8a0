"""Colours: pictures are float arrays of linear sRGB, height x width x 3, until they are written."""

import numpy as np


def to_linear(encoded):
    encoded = np.asarray(encoded, dtype=np.float64)
    return np.where(encoded <= 0.04045, encoded / 12.92, ((encoded + 0.055) / 1.055) ** 2.4)


def to_encoded(linear):
    linear = np.clip(linear, 0.0, 1.0)
    return np.where(linear <= 0.0031308, linear * 12.92, 1.055 * linear ** (1 / 2.4) - 0.055)


def hexa(text):
    """The linear colour of "#rrggbb"."""
    return to_linear([int(text[i:i + 2], 16) / 255 for i in (1, 3, 5)])


TO_LMS = np.array([[0.4122214708, 0.5363325363, 0.0514459929],
                   [0.2119034982, 0.6806995451, 0.1073969566],
                   [0.0883024619, 0.2817188376, 0.6299787005]])
TO_LAB = np.array([[0.2104542553, 0.7936177850, -0.0040720468],
                   [1.9779984951, -2.4285922050, 0.4505937099],
                   [0.0259040371, 0.7827717662, -0.8086757660]])


def gradient(stops, t):
    """Colours along a line of (place, "#rrggbb") stops, mixed in OKLab so that no step looks grey or dark."""
    places = np.array([place for place, _ in stops])
    lab = np.cbrt(np.array([hexa(text) for _, text in stops]) @ TO_LMS.T) @ TO_LAB.T
    line = np.linspace(places[0], places[-1], 2048)
    table = np.stack([np.interp(line, places, lab[:, i]) for i in range(3)], axis=1)
    # A little smoothing takes the kinks out of the stops.
    kernel = np.hanning(161)
    kernel /= kernel.sum()
    padded = np.pad(table, ((80, 80), (0, 0)), mode="edge")
    table = np.stack([np.convolve(padded[:, i], kernel, mode="valid") for i in range(3)], axis=1)
    table = ((table @ np.linalg.inv(TO_LAB).T) ** 3) @ np.linalg.inv(TO_LMS).T
    t = np.asarray(t, dtype=np.float64)
    return np.stack([np.interp(t, line, table[:, i]) for i in range(3)], axis=-1).astype(np.float32)


def mix(a, b, amount):
    """a where amount is 0, b where it is 1; amount without a colour axis."""
    amount = np.asarray(amount, dtype=np.float32)[..., None]
    return a + (b - a) * amount


def smoothstep(low, high, x):
    t = np.clip((x - low) / (high - low), 0.0, 1.0)
    return t * t * (3 - 2 * t)


def soft_clip(linear):
    """Rolls highlights off instead of cutting them."""
    knee = 0.75
    over = np.maximum(linear - knee, 0)
    return np.where(linear > knee, knee + (1 - knee) * (1 - np.exp(-over / (1 - knee))), linear)


def blur(picture, radius):
    """Gaussian blur by way of the Fourier transform; the picture is mirrored at its edges."""
    pad = int(radius * 3) + 1
    flat = picture[..., None] if picture.ndim == 2 else picture
    padded = np.pad(flat, ((pad, pad), (pad, pad), (0, 0)), mode="symmetric")
    fy = np.fft.fftfreq(padded.shape[0])[:, None]
    fx = np.fft.rfftfreq(padded.shape[1])[None, :]
    response = np.exp(-2 * (np.pi * radius) ** 2 * (fx ** 2 + fy ** 2))
    out = np.stack([np.fft.irfft2(np.fft.rfft2(padded[..., i]) * response, s=padded.shape[:2])
                    for i in range(padded.shape[2])], axis=-1)
    out = out[pad:-pad, pad:-pad].astype(np.float32)
    return out[..., 0] if picture.ndim == 2 else out


def glow(picture, radius, strength, threshold=0.6):
    """Light that spills over from what is brighter than the threshold; made at a quarter of the size."""
    small = picture[::4, ::4]
    spill = blur(np.maximum(small - threshold, 0), radius / 4)
    spill = spill.repeat(4, axis=0).repeat(4, axis=1)[:picture.shape[0], :picture.shape[1]]
    return picture + strength * blur(spill, 3)


def vignette(picture, strength):
    h, w = picture.shape[:2]
    y, x = np.mgrid[0:h, 0:w]
    r2 = ((x / w - 0.5) ** 2 + (y / h - 0.5) ** 2) * 2
    return picture * (1 - strength * r2 ** 1.2)[..., None]


def eight_bit(linear, rng, grain=0.8):
    """Bytes, with triangular noise of about a step against banding."""
    encoded = to_encoded(soft_clip(linear)) * 255
    noise = (rng.random(encoded.shape[:2]) - rng.random(encoded.shape[:2])) * grain
    return np.clip(np.rint(encoded + noise[..., None]), 0, 255).astype(np.uint8)
