"""Writing pictures as files of many types."""

import subprocess
import tempfile
from pathlib import Path

import numpy as np
from PIL import Image

# How the stored picture is turned so that the orientation mark brings it upright again.
STORED = {
    1: lambda a: a,
    3: lambda a: np.rot90(a, 2),
    6: lambda a: np.rot90(a, 1),
    8: lambda a: np.rot90(a, 3),
}


def jpeg(path, pixels, quality=86, orientation=1):
    image = Image.fromarray(np.ascontiguousarray(STORED[orientation](pixels)))
    exif = Image.Exif()
    exif[0x0112] = orientation
    exif[0x010E] = path.stem
    image.save(path, quality=quality, optimize=True, progressive=orientation == 1, subsampling="4:2:0",
               exif=exif.tobytes())


def png(path, pixels):
    Image.fromarray(pixels).save(path, optimize=True)


def palette_png(path, pixels, colours):
    Image.fromarray(pixels).quantize(colours, dither=Image.Dither.NONE).save(path, optimize=True)


def webp(path, pixels, quality=84):
    Image.fromarray(pixels).save(path, quality=quality, method=6)


def tiff(path, pixels):
    Image.fromarray(pixels).save(path, compression="tiff_adobe_deflate")


def grey_sixteen_bit_png(path, values):
    """values: 0 to 1, encoded."""
    Image.fromarray(np.rint(np.clip(values, 0, 1) * 4095).astype(np.uint16) * 16).save(path, optimize=True)


def by_encoder(path, pixels, *command):
    """Hands a PNG to an encoder: the words IN and OUT of the command become file names."""
    with tempfile.TemporaryDirectory() as folder:
        source = Path(folder) / "picture.png"
        Image.fromarray(pixels).save(source)
        words = [{"IN": str(source), "OUT": str(path)}.get(word, word) for word in command]
        subprocess.run(words, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
