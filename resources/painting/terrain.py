"""A landscape given by a height function, seen in perspective."""

import numpy as np


class View:
    """What a camera sees: for every pixel the place on the ground, its distance, and where the sky is."""

    def __init__(self, x, z, distance, sky, height, normal):
        self.x, self.z, self.distance, self.sky = x, z, distance, sky
        self.height, self.normal = height, normal


def look(height_of, width, height, eye, horizon, field, near, far, steps, exaggeration=1.0):
    """Marches every column from near to far and finds the step at which each pixel meets the ground.

    height_of(x, z) is the ground; eye is the camera's height, horizon its row as a share of the height, field the
    width of the view at distance 1. The camera stands at x 0, z 0 and looks along z.
    """
    z = near * (far / near) ** np.linspace(0, 1, steps)
    across = (np.arange(width) + 0.5) / width - 0.5
    ground = np.empty((steps, width), dtype=np.float32)
    for start in range(0, steps, 64):
        part = z[start:start + 64, None]
        ground[start:start + 64] = height_of(across[None, :] * field * part, part)
    scale = width / field * exaggeration
    row = horizon * height + (eye - ground) / z[:, None] * scale
    crest = np.minimum.accumulate(row, axis=0)
    wanted = -(np.arange(height) + 0.5)
    index = np.empty((height, width), dtype=np.float32)
    steps_at = np.arange(steps, dtype=np.float64)
    for column in range(width):
        line = -crest[:, column]
        step = np.searchsorted(line, wanted)
        inside = np.clip(step, 1, steps - 1)
        low, high = line[inside - 1], line[inside]
        share = np.clip((wanted - low) / np.maximum(high - low, 1e-9), 0, 1)
        index[:, column] = np.where(step >= steps, np.inf, np.where(step == 0, 0, steps_at[inside - 1] + share))
    sky = np.isinf(index)
    place = np.where(sky, steps - 1, index)
    depth = near * (far / near) ** (place / (steps - 1))
    x = across[None, :] * field * depth
    reach = depth * field / width * 1.5
    here = height_of(x, depth)
    dx = (height_of(x + reach, depth) - here) / reach
    dz = (height_of(x, depth + reach) - here) / reach
    normal = np.stack([-dx, np.ones_like(dx), -dz], axis=-1)
    normal /= np.linalg.norm(normal, axis=-1, keepdims=True)
    return View(x, depth, depth, sky, here, normal)


def shadows(view, height_of, sun, reach, steps=28, softness=0.02):
    """1 in the light, 0 in shadow: walks from every visible place towards the sun (x, y, z)."""
    sun = np.asarray(sun, dtype=np.float64) / np.linalg.norm(sun)
    light = np.ones(view.x.shape, dtype=np.float32)
    for i in range(1, steps + 1):
        way = reach * (i / steps) ** 1.7
        above = view.height + sun[1] * way - height_of(view.x + sun[0] * way, view.z + sun[2] * way)
        light = np.minimum(light, np.clip(above / (softness * way) * 0.5 + 0.6, 0, 1))
    return light


def reduce_by_two(picture):
    h, w = picture.shape[0] // 2 * 2, picture.shape[1] // 2 * 2
    p = picture[:h, :w]
    return (p[0::2, 0::2] + p[1::2, 0::2] + p[0::2, 1::2] + p[1::2, 1::2]) / 4
