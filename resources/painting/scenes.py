"""Landscapes painted in flat layers, one before the other."""

import numpy as np

from .colour import blur, glow, gradient, hexa, mix, smoothstep, vignette
from .landscapes import grid, snowfield
from .noise import fbm, perlin, ridged
from .silhouettes import Mask, below, conifer, forest, stars


def mist(width, height, rng):
    """Ridge behind ridge in the first light."""
    u, v = grid(width, height)
    sun_x, sun_y = 0.66, 0.36
    away = np.hypot((u - sun_x) * width / height, v - sun_y)
    picture = gradient([(0, "#6f8fb5"), (0.25, "#b9c1cf"), (0.42, "#f3cfae"), (0.55, "#fbe0bd"), (1, "#fbe3c4")], v)
    picture = picture + np.exp(-away / 0.16)[..., None] * hexa("#ffc27a") * 0.45
    disc = smoothstep(0.0405, 0.0385, away)
    picture = mix(picture, hexa("#fff6dd") * 1.6, disc)
    x = np.arange(width) / height
    layers = 8
    for i in range(layers):
        t = i / (layers - 1)
        base = 0.40 + 0.50 * t ** 1.15
        scale = 1.9 + 1.5 * t
        line = ridged(x * scale + 7.7 * i, 1.3 * i + 0.5, 6, 0.46) - 0.45
        ridge = (base - line * (0.13 + 0.07 * t)) * height
        near = gradient([(0, "#c8b6b4"), (0.3, "#8c93aa"), (0.6, "#4f6484"), (1, "#14263c")], t)
        # Fog lies in the valleys: it follows the lie of the land, not every notch of the ridge.
        lie = blur(ridge[None, :], width * 0.07)
        depth = np.clip((v * height - 0.3 * ridge[None, :] - 0.7 * lie) / height + 0.01, 0, 1)
        fog = smoothstep(0.0, 0.20 + 0.05 * t, depth + 0.035 * fbm(u * 4 + i, v * 7, 3)) * (0.86 - 0.62 * t ** 2)
        warm = np.exp(-np.abs(u - sun_x) / 0.30)
        veil = mix(hexa("#c5ced8") + 0 * picture, hexa("#ffdcb2"), warm * (1 - 0.4 * t))
        layer = mix(near + 0 * picture, veil, fog)
        layer = layer * (1 + 0.35 * warm[..., None] * np.exp(-depth * 60)[..., None] * (1 - t) * hexa("#ffd9a0"))
        if i >= layers - 2:
            foot = lambda place: np.interp(place, np.arange(width), ridge) + 4
            cover = forest(width, height, foot, height * (0.035 + 0.045 * (i == layers - 1)), 0.45, rng)
        else:
            cover = below(ridge, height)
        picture = mix(picture, layer, cover)
    return vignette(glow(picture, 60, 0.25, 0.8), 0.28)


def aurora(width, height, rng):
    u, v = grid(width, height)
    shore = int(height * 0.735)
    picture = gradient([(0, "#030716"), (0.45, "#0a1a34"), (0.73, "#153a4e"), (1, "#153a4e")], v)
    picture = picture + stars(width, height, 1500, rng) * smoothstep(0.72, 0.5, v)[..., None] * 0.7
    for seed, foot, strength, tall in ((1.7, 0.50, 1.0, 0.30), (6.1, 0.40, 0.75, 0.34), (11.9, 0.58, 0.45, 0.20)):
        curve = foot + 0.11 * np.sin(u[0] * 5.2 + seed) + 0.13 * fbm(u[0] * 1.5 + seed, seed, 3)
        # Folds of the curtain make it brighter where it runs along the line of sight.
        fold = np.clip(0.35 + 0.9 * fbm(u[0] * 3.1 + seed * 3, 4.4, 3), 0.03, None) ** 1.4
        rays = 0.62 + 0.5 * fbm(u * 34 + seed + 1.2 * v, 0.3 + v * 0.5 + seed, 3)
        up = curve[None, :] - v
        curtain = np.where(up > 0, np.exp(-up / (tall * (0.55 + 0.5 * fbm(u * 4, seed, 2)))), np.exp(up / (0.030 + 0.02 * np.sin(u * 9 + seed)))) * smoothstep(-0.16, 0.01, up)
        light = strength * fold[None, :] * curtain * rays
        hue = gradient([(0, "#58ffa8"), (0.25, "#35e08f"), (0.6, "#2f8fb0"), (1, "#8a3fc0")],
                       np.clip(up / (tall * 1.6), 0, 1))
        picture = picture + hue * light[..., None] * 0.85
    picture = glow(picture, 70, 0.5, 0.15)
    x = np.arange(width) / height
    far = (0.70 - 0.13 * (ridged(x * 1.8 + 3.3, 0.4, 6) - 0.35)) * height
    picture = mix(picture, hexa("#0d2230") + 0.10 * blur(picture, 30), below(far, height))
    bank = lambda place: (0.725 + 0.012 * np.sin(place / width * 9)) * height
    picture = mix(picture, hexa("#04090d") + 0 * picture, forest(width, height, bank, height * 0.105, 0.5, rng, 0.20))
    rows = np.arange(height - shore)
    mirrored = np.clip(shore - 1 - (rows * 1.55).astype(int), 0, shore - 1)
    water = picture[mirrored]
    depth = 1 / (rows + 9)[:, None]
    wave = fbm(np.arange(width)[None, :] * depth * 0.55, 200 * depth, 3)
    shift = (wave * (3 + rows[:, None] * 0.07)).astype(int)
    water = np.take_along_axis(water, np.clip(np.arange(width)[None, :] + shift, 0, width - 1)[..., None], axis=1)
    spread = np.pad(blur(water, 3), ((0, 0), (0, 0), (0, 0)))
    picture[shore:] = spread * 0.72 * (1 + 0.16 * wave[..., None]) + hexa("#02060c")
    return vignette(picture, 0.3)


def sea(width, height, rng):
    u, v = grid(width, height)
    horizon = 0.56
    sun_x = 0.40
    away = np.hypot((u - sun_x) * width / height, (v - horizon + 0.055))
    sky = gradient([(0, "#22305f"), (0.3, "#5c4a86"), (0.55, "#c9627a"), (0.8, "#f79a5c"), (1, "#ffd07a")], v / horizon)
    sky = sky + np.exp(-away / 0.20)[..., None] * hexa("#ffb25e") * 0.8
    cloud = fbm(u * 3.2 + 0.4 * fbm(u * 3, v * 8, 3), (v / horizon) ** 1.4 * 10, 6)
    cover = smoothstep(0.0, 0.55, cloud + 0.05) * smoothstep(0.0, 0.25, v / horizon) * smoothstep(1.0, 0.75, v / horizon)
    edge = smoothstep(0.05, 0.26, cloud) * smoothstep(0.5, 0.2, cloud)
    dark = mix(hexa("#3a2f5c") + 0 * sky, hexa("#b0506a"), smoothstep(0.3, 0.9, v / horizon))
    rim = np.exp(-away / 0.5)[..., None] * hexa("#ffb070") * edge[..., None] * 1.1
    sky = mix(sky, dark, cover * 0.75) + rim * cover[..., None]
    sky = mix(sky, hexa("#fff3cf") * 1.7, smoothstep(0.0480, 0.0465, away))
    sky = glow(sky, 60, 0.35, 0.8)
    edge_row = int(horizon * height)
    rows = np.arange(height - edge_row)
    distance = (height * 0.05) / (rows + 1.2)[:, None]
    across = (u[:1] - sun_x) * distance * 60
    chop = fbm(across * 1.5, distance * 46, 5, 0.62)
    swell = fbm(across * 0.3 + 4, distance * 9, 3)
    tilt = chop * 0.6 + swell * 0.5
    mirrored = np.clip(edge_row - 2 - rows[:, None] * 0.8 - tilt * (26 + rows[:, None] * 0.5), 0, edge_row - 2)
    reflection = sky[mirrored.astype(int), np.arange(width)[None, :]]
    face = smoothstep(0.25, -0.5, tilt)
    sea_colour = mix(hexa("#142148") + 0 * reflection, hexa("#6a3f66"), np.exp(-rows / 90)[:, None] * np.ones((1, width)))
    water = mix(reflection * 0.80, sea_colour, 0.25 + 0.5 * face * smoothstep(0, 260, rows)[:, None])
    path = np.exp(-(((u[:1] - sun_x) * width) / (26 + rows[:, None] * 0.62)) ** 2)
    water = water + (path * smoothstep(0.02, 0.45, tilt + 0.12 * path))[..., None] * hexa("#ffc777") * 1.5
    picture = np.concatenate([sky[:edge_row], blur(water, 0.6)], axis=0)
    return vignette(picture, 0.35)


def deep_forest(width, height, rng):
    """Tree trunks in fog, with light that falls between them; a tall picture."""
    u, v = grid(width, height)
    away = np.hypot(u - 0.56, (v - 0.30) * 0.9)
    picture = gradient([(0, "#fff4cf"), (0.25, "#e2e3b4"), (0.6, "#9fbf9f"), (1.1, "#5d8a83")], away)
    for i in range(6):
        t = (i + 1) / 6
        tint = gradient([(0, "#b9cfae"), (0.4, "#6f9a88"), (0.75, "#2b524f"), (1, "#0a1d20")], t)
        mask = Mask(width, height)
        ground = 0.70 + 0.26 * t
        count = int(17 - 11 * t)
        for k in range(count):
            x = (k + rng.uniform(0.15, 0.85)) / count * width * 1.1 - width * 0.05
            if abs(x / width - 0.56) < 0.10 * t + 0.02:
                continue
            thick = width * (0.008 + 0.036 * t ** 1.7) * rng.uniform(0.75, 1.25)
            lean = rng.uniform(-0.03, 0.03) * width
            foot = (ground + 0.03) * height
            mask.polygon([(x + lean - thick * 0.30, -5), (x + lean + thick * 0.30, -5), (x + thick * 0.5, foot * 0.93),
                          (x + thick * 0.95, foot), (x - thick * 0.95, foot), (x - thick * 0.5, foot * 0.93)])
            for _ in range(int(7 + 5 * t)):
                y = rng.uniform(0.0, 0.62) * foot
                side = rng.choice([-1, 1])
                long = thick * rng.uniform(2.0, 6.0)
                drop = long * rng.uniform(0.05, 0.35)
                mask.polygon([(x, y), (x + side * long, y + drop), (x, y + thick * 0.16)])
                for twig in range(5):
                    a = x + side * long * (0.3 + 0.16 * twig)
                    b = y + drop * (0.3 + 0.16 * twig)
                    mask.polygon([(a, b), (a + side * thick * 0.5, b + thick * rng.uniform(0.5, 1.1)),
                                  (a + side * thick * 0.14, b)])
        line = (ground + 0.035 * fbm(u[0] * 3 + i * 5, 2.2, 4)) * height
        bushes = forest(width, height, lambda place, l=line: np.interp(place, np.arange(width), l) + 8,
                        height * (0.012 + 0.016 * t), 0.5, rng, 0.35, 0.9)
        cover = np.maximum(mask.coverage(), bushes)
        fog = np.exp(-away / 0.34) * (1 - t) * 0.85 + smoothstep(0.1, 0.0, np.abs(v - ground)) * 0.22 * (1 - t)
        picture = mix(picture, mix(tint + 0 * picture, hexa("#f4efc6"), fog), cover)
        angle = np.arctan2(u - 0.56, v + 0.06)
        beams = smoothstep(0.0, 0.5, fbm(angle * 9 + i, 3.1 + 0.4 * i, 3)) * np.exp(-v * 1.5)
        picture = picture + (beams * 0.13 * (1 - 0.5 * t))[..., None] * hexa("#fff0bd")
    return vignette(glow(picture, 50, 0.25, 0.75), 0.45)


def milky_way(width, height, rng):
    """A tall picture: the galaxy stands over a tent of light under a lone mountain."""
    u, v = grid(width, height)
    aspect = width / height
    along = (u - 0.5) * aspect * 0.55 + (v - 0.45) * 0.84
    off = (u - 0.5) * aspect * 0.84 - (v - 0.45) * 0.55 + 0.02 + 0.03 * fbm(along * 2, 7.1, 2)
    band = np.exp(-(off / 0.125) ** 2)
    core = np.exp(-(off / 0.085) ** 2) * np.exp(-((along - 0.12) / 0.34) ** 2)
    cloud = fbm(u * 4 * aspect + 3, v * 4 + 1, 6, 0.55)
    lanes = smoothstep(-0.05, 0.45, ridged(along * 2.6 + 0.5 * cloud, off * 7 + 2.3, 5) - 0.42 + 0.25 * cloud)
    lanes = lanes * np.exp(-(off / 0.075) ** 2)
    picture = gradient([(0, "#060a1c"), (0.5, "#0d1836"), (0.8, "#2a3560"), (0.95, "#8a5f6e"), (1.05, "#c98a62")], v)
    body = band * (0.55 + 0.6 * cloud) + 1.2 * core * (0.75 + 0.5 * cloud)
    hue = gradient([(0, "#5a6fb0"), (0.5, "#b79ac0"), (1, "#ffdcb0")], np.clip(core * 1.2, 0, 1))
    picture = picture + hue * (np.clip(body, 0, None) * 0.34 * (1 - 0.82 * lanes))[..., None]
    rose = np.exp(-((off + 0.03) / 0.03) ** 2) * smoothstep(0.25, 0.7, fbm(along * 9, 5.5, 3)) * 0.25
    picture = picture + rose[..., None] * hexa("#ff5f86")
    density = np.clip(0.25 + 0.75 * band * (1 - 0.7 * lanes), 0, 1)
    field = stars(width, height, 5200, rng, density)
    picture = picture + field * smoothstep(0.98, 0.6, v)[..., None] * 0.75
    x = np.arange(width) / height
    for base, tall, scale, colour, seed in ((0.86, 0.10, 2.4, "#2b2c4e", 1.2), (0.93, 0.07, 2.9, "#14172f", 5.4)):
        peak = np.exp(-((x - 0.30) / 0.17) ** 2) * 0.11 if base < 0.9 else 0
        line = (base - peak - tall * (ridged(x * scale + seed, seed, 7, 0.5) - 0.4)) * height
        picture = mix(picture, mix(hexa(colour) + 0 * picture, hexa("#a06a70"), smoothstep(0.8, 1.1, v) * 0.25),
                      below(line, height))
    foot = lambda place: (0.972 - 0.02 * np.sin(place / width * 4)) * height
    picture = mix(picture, hexa("#05070f") + 0 * picture, forest(width, height, foot, height * 0.055, 0.5, rng, 0.24))
    return picture


def winter(width, height, rng):
    picture, sky = snowfield(width, height, rng)
    u, v = grid(width, height)
    away = np.hypot((u - 0.74) * width / height, v - 0.20)
    night = gradient([(0, "#0d1a40"), (0.3, "#2a4379"), (0.5, "#8d9fcb")], v)
    night = night + (stars(width, height, 700, rng) * smoothstep(0.42, 0.1, v)[..., None]) * 0.5
    halo = np.exp(-away / 0.10) * 0.30 + np.exp(-away / 0.34) * 0.16
    night = night + halo[..., None] * hexa("#dfe8ff")
    face = 0.93 + 0.16 * fbm(u * 22, v * 14, 4)
    night = mix(night, (hexa("#fffaf0") * 1.15)[None, None] * face[..., None], smoothstep(0.0525, 0.0510, away))
    picture[sky] = night[sky]
    horizon = 0.47
    x = np.arange(width) / height
    hills = (horizon - 0.02 - 0.12 * (ridged(x * 1.3 + 2.2, 4.1, 6) - 0.3)) * height
    # The hills stand behind the snow: only where there was sky.
    picture = mix(picture, mix(hexa("#5f78b0") + 0 * picture, hexa("#a3b4da"), smoothstep(0.38, 0.48, v)),
                  below(hills, height) * sky)
    for base, tall, colour, spread in ((0.475, 0.045, "#3b5288", 0.4), (0.492, 0.075, "#1f315c", 0.5)):
        line = lambda place, b=base: (b + 0.010 * np.sin(place / width * 11 + b * 90)) * height
        trees = forest(width, height, line, height * tall, spread, rng, 0.22)
        fade = smoothstep(base + 0.03, base - 0.01, v)
        picture = mix(picture, hexa(colour) + 0 * picture, trees * fade)
    for place, foot, tall in ((0.10, 0.80, 0.62), (0.225, 0.68, 0.36), (0.03, 0.70, 0.42), (0.93, 0.66, 0.30),
                              (0.985, 0.74, 0.45)):
        mask = Mask(width, height)
        conifer(mask, place * width, foot * height, tall * height, rng, 0.40)
        tree = mask.coverage()
        snowy = smoothstep(0.05, 0.5, fbm(u * 60, v * 45, 4) + 0.35 * smoothstep(-0.05, 0.05, u - place))
        body = mix(hexa("#0c1838") + 0 * picture, hexa("#a9bde8"), snowy * 0.7)
        # A shadow lies at the foot, on the side away from the moon.
        shade = np.exp(-((u - place + tall * 0.07) / (tall * 0.11)) ** 2 - ((v - foot - 0.008) / (tall * 0.035)) ** 2)
        picture = picture * (1 - 0.5 * shade[..., None])
        picture = mix(picture, body, tree)
    return vignette(picture, 0.35)


def city(width, height, rng):
    u, v = grid(width, height)
    shore = int(height * 0.66)
    picture = gradient([(0, "#0b1030"), (0.3, "#2a2459"), (0.5, "#7a3f78"), (0.66, "#e0805f"), (0.8, "#e0805f")], v)
    haze = smoothstep(0.1, 0.7, fbm(u * 4, v * 12, 5)) * 0.25
    picture = mix(picture, hexa("#c06a80"), haze)
    for depth in range(4):
        t = depth / 3
        dark = gradient([(0, "#6d4272"), (0.4, "#3c2a58"), (1, "#0b0d20")], t)
        body = np.zeros((height, width), dtype=np.float32)
        light = np.zeros((height, width, 3), dtype=np.float32)
        x = -20
        while x < width:
            wide = int(rng.uniform(0.018, 0.045) * width * (0.6 + 0.6 * t))
            centre = np.exp(-(((x + wide / 2) / width - (0.62 if depth % 2 else 0.40)) / 0.22) ** 2)
            tall = int(height * (0.05 + rng.uniform(0.05, 0.16) + centre * rng.uniform(0.05, 0.32)) * (1.12 - 0.45 * t))
            top = shore - tall
            left, right = max(x, 0), min(x + wide, width)
            if right > left:
                body[top:shore, left:right] = 1
                if rng.random() < 0.35:
                    inset = max(2, wide // 5)
                    body[top - tall // 10:top, left + inset:max(left + inset, right - inset)] = 1
                if rng.random() < 0.22 * (0.3 + centre) and wide > 20:
                    body[top - tall // 4:top, left + wide // 2 - 1:left + wide // 2 + 1] = 1
                pitch = 7 + 2 * depth
                hue = [hexa("#ffcf8a"), hexa("#ffe7bf"), hexa("#bfe0ff")][rng.choice(3, p=[0.55, 0.3, 0.15])]
                busy = rng.uniform(0.12, 0.5)
                for y in range(top + pitch, shore - 4, pitch + 1):
                    for w in range(left + 4, right - 4, pitch - 1):
                        if rng.random() < busy:
                            light[y:y + pitch // 2, w:w + pitch // 2] = hue * rng.uniform(0.25, 1.0)
            x += int(wide * rng.uniform(0.8, 1.25))
        shadow = mix(dark + 0 * picture, hexa("#d8785f"), smoothstep(0.45, 0.68, v) * (0.55 - 0.45 * t))
        picture = mix(picture, shadow, body)
        light = light * body[..., None]
        picture = picture + light * (0.35 + 0.75 * t) + blur(light, 5) * 0.5 * t
    picture = glow(picture, 34, 0.35, 0.55)
    rows = np.arange(height - shore)
    depth = 1 / (rows + 8)[:, None]
    wave = fbm(u[:1] * width * depth * 0.5, 260 * depth, 4)
    mirrored = np.clip(shore - 1 - rows[:, None] * 1.15 + wave * (4 + rows[:, None] * 0.30), 0, shore - 1).astype(int)
    water = picture[mirrored, np.arange(width)[None, :]]
    # Water draws lights out into upright streaks.
    for reach in (1, 2, 4, 8):
        water = (water + np.roll(water, reach, axis=0) + np.roll(water, -reach, axis=0)) / 3
    picture[shore:] = mix(water * 0.78, hexa("#0b1030"), 0.15 + 0.35 * smoothstep(0, height - shore, rows)[:, None]
                          * np.ones((1, width)))
    picture[shore - 2:shore + 1] *= 0.35
    return vignette(picture, 0.35)
