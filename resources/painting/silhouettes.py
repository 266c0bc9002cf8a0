"""Shapes drawn as masks: conifers, stars, ridges."""

import numpy as np
from PIL import Image, ImageDraw

from .colour import blur
from .noise import fbm


class Mask:
    """A drawing at three times the size, read back as coverage from 0 to 1."""

    SCALE = 3

    def __init__(self, width, height):
        self.size = (width, height)
        self.image = Image.new("L", (width * self.SCALE, height * self.SCALE), 0)
        self.pen = ImageDraw.Draw(self.image)

    def polygon(self, points):
        self.pen.polygon([(x * self.SCALE, y * self.SCALE) for x, y in points], fill=255)

    def coverage(self):
        return np.asarray(self.image.resize(self.size, Image.Resampling.BOX), dtype=np.float32) / 255


def conifer(mask, x, foot, tall, rng, slim=0.34):
    """A spruce: ragged branches that widen towards the foot."""
    tiers = int(np.clip(tall / 7, 7, 34))
    sides = []
    for side in (-1, 1):
        points = []
        for i in range(tiers):
            t = (i + 1) / tiers
            reach = tall * slim * 0.5 * t ** 0.85 * rng.uniform(0.72, 1.12)
            down = foot - tall + tall * 0.96 * t
            points.append((x + side * reach, down + tall * 0.022 * rng.uniform(0.4, 1.6)))
            points.append((x + side * reach * rng.uniform(0.36, 0.52), down - tall * 0.012))
        sides.append(points)
    mask.polygon([(x, foot - tall)] + sides[1] + [(x + tall * 0.02, foot)] + [(x - tall * 0.02, foot)] + sides[0][::-1])


def forest(width, height, foot_of, tall, spread, rng, spacing=0.22, slim=0.34):
    """Coverage of a row of trees on the line foot_of(x), with the ground beneath it filled."""
    mask = Mask(width, height)
    x = -tall
    while x < width + tall:
        size = tall * rng.uniform(1 - spread, 1 + spread) * (1 + 0.35 * float(fbm(x / (tall * 4), 3.7, 2)))
        conifer(mask, x, float(foot_of(x)) + tall * 0.05, max(size, 6), rng, slim)
        x += tall * spacing * rng.uniform(0.5, 1.5)
    line = [(x, float(foot_of(x))) for x in np.linspace(0, width, 200)]
    mask.polygon(line + [(width, height + 9), (0, height + 9)])
    return mask.coverage()


def below(ridge, height):
    """Coverage of everything under a line of rows, one per column."""
    slope = np.sqrt(1 + np.gradient(ridge) ** 2)
    rows = np.arange(height)[:, None] + 0.5
    return np.clip((rows - ridge[None, :]) / slope[None, :] + 0.5, 0, 1).astype(np.float32)


def stars(width, height, count, rng, density=None):
    """Light of stars of many sizes and three tints."""
    light = np.zeros((height, width, 3), dtype=np.float32)
    bright = np.zeros_like(light)
    tints = np.array([[1.0, 0.86, 0.7], [1.0, 1.0, 1.0], [0.72, 0.83, 1.0]], dtype=np.float32)
    placed = 0
    while placed < count:
        x, y = rng.integers(0, width - 1), rng.integers(0, height - 1)
        if density is not None and rng.random() > density[y, x]:
            continue
        placed += 1
        power = rng.pareto(1.7) * 0.07 + 0.04
        tint = tints[rng.integers(0, 3)] * min(power, 1.2)
        light[y, x] += tint
        if power > 0.5:
            bright[y, x] += tint
    return blur(light, 0.75) * 4.2 + blur(bright, 1.7) * 7 + blur(bright, 7) * 6
