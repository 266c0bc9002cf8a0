"""Landscapes that are looked at through the perspective of terrain.View."""

import numpy as np

from .colour import blur, glow, gradient, hexa, mix, smoothstep, vignette
from .noise import fbm, perlin, ridged
from .terrain import look, reduce_by_two, shadows


def grid(width, height):
    y, x = np.mgrid[0:height, 0:width].astype(np.float32)
    return (x + 0.5) / width, (y + 0.5) / height


def dunes(width, height, rng):
    def crest(t):
        # A long windward slope and a short lee side; the edge between them is sharp.
        t = t - np.floor(t)
        return np.where(t < 0.76, smoothstep(0, 1, t / 0.76) * 0.75 + 0.25 * t / 0.76, (1 - (t - 0.76) / 0.24) ** 1.3)

    def ground(x, z):
        bend = 1.1 * perlin(x * 0.10 + 3.1, z * 0.07) + 0.25 * perlin(x * 0.33, z * 0.26 + 5)
        large = crest(x * 0.045 + z * 0.105 + bend + 0.18) * (0.75 + 0.9 * perlin(x * 0.06 + 9, z * 0.06))
        small = crest(-x * 0.16 + z * 0.19 + 0.8 * perlin(x * 0.12, z * 0.12 + 40)) * 0.16
        return 2.1 * large + small

    view = look(ground, width * 2, height * 2, 4.1, 0.30, 1.0, 2.2, 150, 2200)
    sun = np.array([-0.86, 0.34, 0.38])
    lit = np.clip(view.normal @ (sun / np.linalg.norm(sun)), 0, 1) * shadows(view, ground, sun, 9.0)
    ripple = perlin(view.x * 5 + view.z * 2.2 + 1.5 * perlin(view.x, view.z), view.z * 0.7) * np.exp(-view.distance / 9)
    lit = np.clip(lit * (1 + 0.22 * ripple), 0, 1.2)
    sand = mix(hexa("#4b2a3a") * 0.75, hexa("#f6b26b") * 1.08, smoothstep(0.02, 0.78, lit))
    sand = sand + hexa("#5a6fa8") * 0.10 * np.clip(view.normal[..., 1:2], 0, 1)
    haze = 1 - np.exp(-((view.distance / 70) ** 1.5))
    picture = mix(sand, hexa("#f0c9a6"), haze * 0.9)
    u, v = grid(width * 2, height * 2)
    sky = gradient([(0, "#4f7fb8"), (0.55, "#a9c3d6"), (0.85, "#f0d3b4"), (1, "#f5d9b5")], v / 0.32)
    picture[view.sky] = sky[view.sky]
    return vignette(glow(reduce_by_two(picture), 40, 0.12, 0.75), 0.35)


def peaks(width, height, rng):
    """Snowy mountains above a lake that mirrors them; a wide view."""
    shore = 3.4

    def ground(x, z):
        rise = smoothstep(shore, shore + 9, z + 1.4 * perlin(x * 0.3, 2.2)) * (0.55 + 0.85 * fbm(x * 0.08 + 4, z * 0.08, 2))
        return rise * 6.4 * ridged(x * 0.16 + 7.3, z * 0.16 + 1.4, 7, 0.47) ** 1.25 - 0.05

    top = int(height * 0.62)
    view = look(ground, width, top, 0.16, 0.985, 3.3, 2.0, 44, 900)
    sun = np.array([0.83, 0.34, 0.0])
    slope = view.normal[..., 1]
    lit = np.clip(view.normal @ (sun / np.linalg.norm(sun)), 0, 1) * shadows(view, ground, sun, 4.0, 22)
    snow = smoothstep(0.30, 0.48, slope + 0.16 * fbm(view.x * 2.2, view.z * 2.2, 4)
                      + 0.07 * (view.height - 1.6))
    rock = mix(hexa("#3a3346"), hexa("#8a6a60"), lit)
    white = mix(hexa("#6b83b4"), hexa("#ffdcc0") * 1.15, smoothstep(0, 0.75, lit))
    forest = smoothstep(1.0, 0.4, view.height + 0.25 * fbm(view.x * 3, view.z * 3, 3)) * smoothstep(0.35, 0.7, slope)
    ground_colour = mix(mix(rock, white, snow), mix(hexa("#141d2a"), hexa("#4d4a3c"), lit), forest)
    haze = 1 - np.exp(-((view.distance / 30) ** 1.25))
    u, v = grid(width, top)
    sky = gradient([(0, "#31508c"), (0.45, "#7b8fbd"), (0.75, "#e0a9a6"), (0.97, "#ffd3a1"), (1.05, "#ffd9ad")],
                   v * 1.02 + 0.06 * (u - 0.5))
    clouds = smoothstep(0.05, 0.75, fbm(u * 7 + 2, v * 9 + 3 * u, 6)) * smoothstep(0.02, 0.2, v) * 0.5
    sky = mix(sky, gradient([(0, "#f0b7b0"), (1, "#ffe2c0")], v), clouds)
    upper = mix(ground_colour, hexa("#b7a9c6"), haze * 0.85)
    upper[view.sky] = sky[view.sky]
    mist = smoothstep(0.80, 0.99, v + 0.025 * fbm(u * 9, v * 20, 3)) * 0.55
    upper = mix(upper, hexa("#e6c3b8"), mist)
    lower = height - top
    row = np.arange(lower)
    depth = 1 / (row + 6)
    mirrored = np.clip(top - 1 - (row * 1.12).astype(int), 0, top - 1)
    water = upper[mirrored]
    x = np.arange(width)
    wave = fbm(x[None, :] * 0.05 * depth[:, None] * 14, 130 * depth[:, None] * 14, 3)
    shift = (wave * (1.5 + row[:, None] * 0.035)).astype(int)
    water = np.take_along_axis(water, np.clip(x[None, :] + shift * 2, 0, width - 1)[..., None], axis=1)
    water = blur(water, 1.6) * np.array([0.70, 0.76, 0.86]) * (1.0 + 0.10 * wave[..., None])
    water = mix(water, hexa("#22375c"), (smoothstep(0, lower, row)[:, None] * 0.55) * np.ones((1, width)))
    edge = np.exp(-row / 5.0)[:, None, None]
    return vignette(np.concatenate([upper, water + edge * 0.12], axis=0), 0.25)


def canyon(width, height, rng):
    def ground(x, z):
        river = 1.5 * np.sin(z * 0.22) + 1.2 * perlin(z * 0.16, 8.8)
        off = np.abs(x - river + 0.5 * fbm(x * 0.4, z * 0.4, 3))
        rise = smoothstep(0.5, 5.2, off + 1.3 * fbm(x * 0.28 + 5, z * 0.28, 4)) * 3.3
        rise = rise + 0.35 * fbm(x * 0.7, z * 0.7 + 30, 4) * smoothstep(0, 1.5, rise) * smoothstep(3.3, 2.6, rise)
        step = rise * 2.6
        whole = np.floor(step)
        return (whole + smoothstep(0.55, 0.98, step - whole)) / 2.6 + 0.10 * rise

    view = look(ground, width * 2, height * 2, 4.5, 0.27, 1.15, 3.0, 70, 1000)
    sun = np.array([0.74, 0.62, -0.30])
    lit = np.clip(view.normal @ (sun / np.linalg.norm(sun)), 0, 1) * shadows(view, ground, sun, 6.0)
    bands = fbm(view.height * 5 + 0.15 * fbm(view.x, view.z, 3), 4.4, 4, 0.65) * 0.5 + 0.5
    strata = gradient([(0, "#6e2a1e"), (0.35, "#a8482c"), (0.55, "#d0764a"), (0.75, "#b35a3a"), (1, "#ecb98a")], bands)
    tops = smoothstep(0.75, 0.95, view.normal[..., 1])
    strata = mix(strata, hexa("#b58a5e"), tops * 0.55)
    river = smoothstep(0.05, 0.0, view.height)
    strata = mix(strata, hexa("#3f6a5c"), river * 0.7)
    shade = hexa("#6b5a86") * 0.55
    picture = strata * (shade + hexa("#fff0d0") * 1.28 * lit[..., None])
    haze = 1 - np.exp(-((view.distance / 34) ** 1.4))
    picture = mix(picture, hexa("#c3a8b0"), haze * 0.85)
    u, v = grid(width * 2, height * 2)
    sky = gradient([(0, "#2f6fb2"), (0.6, "#8fb9da"), (1, "#f2dcc6")], v / 0.28)
    clouds = smoothstep(0.12, 0.8, fbm(u * 5, v * 16, 6)) * 0.75
    sky = mix(sky, hexa("#fff3e6"), clouds)
    picture[view.sky] = sky[view.sky]
    return vignette(reduce_by_two(picture), 0.4)


def snowfield(width, height, rng):
    """Moonlit snow; the trees are planted by the caller."""
    def ground(x, z):
        return 0.75 * fbm(x * 0.12 + 3, z * 0.12 + 2, 2) + 0.10 * fbm(x * 0.42, z * 0.42, 2)

    view = look(ground, width, height, 1.5, 0.46, 1.1, 1.6, 60, 700)
    sun = np.array([0.75, 0.28, 0.62])
    lit = np.clip(view.normal @ (sun / np.linalg.norm(sun)), 0, 1) * shadows(view, ground, sun, 5.0, softness=0.12)
    snow = mix(hexa("#27406f"), hexa("#dbe6ff"), smoothstep(0.05, 0.62, lit) * 0.85)
    sparkle = rng.random(snow.shape[:2]) > 0.9991
    snow = snow + (blur(sparkle.astype(np.float32), 0.7) * 1.4 * np.exp(-view.distance / 6))[..., None]
    haze = 1 - np.exp(-((view.distance / 26) ** 1.3))
    return mix(snow, hexa("#8fa4cf"), haze * 0.75), view.sky
