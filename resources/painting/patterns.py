"""Pictures that show nothing: colour and form alone."""

import numpy as np
from PIL import Image, ImageDraw

from .colour import blur, gradient, hexa, mix, smoothstep, to_encoded, vignette
from .landscapes import grid
from .noise import fbm, perlin


def silk(width, height, rng, colours=("#07123a", "#0f4c81", "#1aa6a6", "#f0b6a0", "#ffe3c2")):
    """Folds of cloth: noise warped by noise, lit from the upper left."""
    u, v = grid(width, height)
    start = rng.uniform(0, 50)
    x, y = u * width / height * 1.15 + start, v * 1.15 - start
    a, b = perlin(x + 1.7, y + 9.2), perlin(x + 8.3, y + 2.8)
    c, d = perlin(x + 2.6 * a + 3.1, y + 2.6 * b), perlin(x + 2.6 * a, y + 2.6 * b + 6.4)
    fold = perlin(x * 1.1 + 2.4 * c + 0.9 * y, y * 0.7 + 2.4 * d)
    gy, gx = np.gradient(fold * height / 1.15)
    length = np.sqrt(gx ** 2 + gy ** 2 + 9)
    shine = (-0.55 * gx - 0.45 * gy + 3 * 0.7) / length
    picture = gradient(list(zip((0, 0.3, 0.55, 0.75, 1), colours)),
                       np.clip(0.5 + 0.62 * fold + 0.18 * a, 0, 1))
    picture = picture * (0.42 + 0.75 * smoothstep(-0.6, 0.9, shine))[..., None]
    return vignette(picture + (np.clip(shine, 0, 1) ** 14 * 0.16)[..., None], 0.3)


def stained_glass(width, height, rng):
    """A rose of coloured panes between lead lines, lit from behind."""
    points, tints = [], []
    for ring, count in enumerate((1, 8, 14, 22, 30, 38, 46)):
        for k in range(count):
            angle = 2 * np.pi * (k + 0.5 * (ring % 2)) / count
            radius = ring * 0.105 + rng.uniform(-0.008, 0.008) * (ring > 0)
            points.append((0.5 * width / height + radius * np.cos(angle), 0.5 + radius * np.sin(angle)))
            family = [("#ffd36b", "#ffb03b"), ("#e8472f", "#b81f2d"), ("#ff9a3c", "#f06b2c"), ("#2f9fd0", "#1f6fb5"),
                      ("#21489e", "#3a2f92"), ("#1d8a7a", "#2f6fb0"), ("#4a2f88", "#26306e")][ring]
            tints.append(hexa(family[k % 2]) * rng.uniform(0.75, 1.2))
    u, v = grid(width, height)
    x = u * width / height + 0.006 * perlin(u * 9, v * 9)
    y = v + 0.006 * perlin(u * 9 + 4, v * 9 + 7)
    nearest = np.full(x.shape, 9.0)
    second = np.full(x.shape, 9.0)
    owner = np.zeros(x.shape, dtype=int)
    for i, (px, py) in enumerate(points):
        distance = np.hypot(x - px, y - py)
        closer = distance < nearest
        second = np.where(closer, nearest, np.minimum(second, distance))
        nearest = np.where(closer, distance, nearest)
        owner = np.where(closer, i, owner)
    pane = np.array(tints)[owner]
    streak = 1 + 0.20 * fbm(x * 9 + owner * 3.3, y * 22 + owner, 4)
    light = 0.50 + 0.85 * np.exp(-((x - 0.5 * width / height) ** 2 + (y - 0.42) ** 2) / 0.22)
    picture = pane * (streak * light)[..., None] * 0.95
    gap = second - nearest
    lead = smoothstep(0.011, 0.0075, gap)
    picture = picture * (0.72 + 0.28 * smoothstep(0.008, 0.035, gap))[..., None]
    rounding = hexa("#39404d") * smoothstep(0.008, 0.001, gap)[..., None] * 0.9 + hexa("#06070a")
    return mix(picture, rounding, lead)


def tiles(width, height, rng):
    """Quarter circles on a grid, turned by chance: ribbons that weave. Encoded colours, few of them."""
    cell, scale = 100, 3
    papers = ["#f4ead7", "#efe0c4"]
    image = Image.new("RGB", (width * scale, height * scale), papers[0])
    pen = ImageDraw.Draw(image)
    inks = ["#1d4e5f", "#d9622b", "#e9b44c", "#7a9e8e", "#a63a50"]
    for row in range(height // cell + 1):
        for column in range(width // cell + 1):
            x, y, size = column * cell * scale, row * cell * scale, cell * scale
            pen.rectangle([x, y, x + size, y + size], fill=papers[(row + column) % 2])
            place = row * 0.35 + column * 0.22 + 1.2 * float(perlin(column * 0.21, row * 0.21))
            ink = inks[int(place) % len(inks)]
            second = inks[int(place + 2) % len(inks)]
            corners = [(x, y), (x + size, y + size)] if rng.random() < 0.5 else [(x + size, y), (x, y + size)]
            start = [(0, 90), (180, 270)] if corners[0] == (x, y) else [(90, 180), (270, 360)]
            for (cx, cy), (a, b), colour in zip(corners, start, (ink, second)):
                for radius, paint in ((0.78, colour), (0.62, papers[(row + column) % 2]), (0.50, colour), (0.22, papers[1])):
                    r = radius * size
                    pen.pieslice([cx - r, cy - r, cx + r, cy + r], a, b, fill=paint)
    return np.asarray(image.resize((width, height), Image.Resampling.BOX))


def moon(width, height, rng):
    """A grey moon: maria, craters with rays, the night side fading out. Values from 0 to 1, encoded."""
    y, x = np.mgrid[0:height, 0:width].astype(np.float32)
    radius = height * 0.40
    px, py = (x - width * 0.5) / radius, (y - height * 0.5) / radius
    r2 = px ** 2 + py ** 2
    pz = np.sqrt(np.clip(1 - r2, 0, 1))
    relief = 0.05 * fbm(px * 5 + 4, py * 5, 5, 0.55)
    bright = np.zeros_like(px)
    for _ in range(420):
        direction = rng.normal(size=3)
        direction /= np.linalg.norm(direction)
        size = min(0.012 + rng.pareto(2.1) * 0.012, 0.13)
        apart = np.sqrt(np.maximum(2 - 2 * (px * direction[0] + py * direction[1] + pz * direction[2]), 0)) / size
        bowl = np.where(apart < 1, (apart ** 2 - 1) * 0.5, 0) + 0.35 * np.exp(-((apart - 1) / 0.22) ** 2)
        relief = relief + bowl * size * 0.42
        if size > 0.05:
            bearing = np.arctan2(py - direction[1], px - direction[0])
            bright = bright + np.exp(-apart / 3.2) * (0.4 + 0.6 * smoothstep(0, 0.4, fbm(bearing * 5, size * 90, 3))) * 0.22
    gy, gx = np.gradient(relief * radius)
    normal = np.stack([px - gx * pz, py - gy * pz, pz], axis=-1)
    normal /= np.linalg.norm(normal, axis=-1, keepdims=True)
    sun = np.array([-0.78, -0.22, 0.58])
    lit = np.clip(normal @ (sun / np.linalg.norm(sun)), 0, 1) ** 0.85
    maria = smoothstep(-0.05, 0.35, fbm(px * 1.25 + 7.2, py * 1.25 + 3.3, 4) + 0.1)
    albedo = 0.78 - 0.40 * maria + 0.10 * fbm(px * 9, py * 9, 4) + bright
    disc = np.clip((1 - np.sqrt(r2)) * radius + 0.5, 0, 1)
    halo = 0.030 * np.exp(-np.maximum(np.sqrt(r2) - 1, 0) / 0.09)
    return to_encoded(np.clip(albedo * lit * 0.95 * disc + 0.0035 * disc + halo * (1 - disc), 0, 1))


def paper_waves(width, height, rng):
    """Sheets of cut paper as a drawing, returned as the text of an SVG file."""
    colours = ["#fde2c0", "#fbc29a", "#f49d86", "#e0777d", "#b9587e", "#863f7a", "#562d6b", "#2f1d51", "#170f33"]
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
             f'viewBox="0 0 {width} {height}">', "<title>Paper waves</title>", "<defs>"]
    parts.append('<linearGradient id="sky" x1="0" y1="0" x2="0" y2="1"><stop offset="0" stop-color="#ffb88a"/>'
                 '<stop offset="0.6" stop-color="#ffe9c9"/></linearGradient>')
    for i, colour in enumerate(colours):
        dark = "#" + "".join(f"{int(int(colour[k:k + 2], 16) * 0.72):02x}" for k in (1, 3, 5))
        parts.append(f'<linearGradient id="sheet{i}" x1="0" y1="0" x2="0.25" y2="1"><stop offset="0" '
                     f'stop-color="{colour}"/><stop offset="1" stop-color="{dark}"/></linearGradient>')
    parts.append(f'</defs><rect width="{width}" height="{height}" fill="url(#sky)"/>')
    for ring in range(9):
        radius = height * (0.13 + 0.012 * (8 - ring))
        parts.append(f'<circle cx="{width * 0.66:.0f}" cy="{height * 0.19:.0f}" r="{radius:.0f}" fill="#fff6dc" '
                     f'fill-opacity="{1 if ring == 8 else 0.05}"/>')
    for i in range(len(colours)):
        base = height * (0.30 + 0.075 * i)
        x = np.linspace(-60, width + 60, 13)
        y = base + height * (0.075 * np.sin(x / width * (5.0 + 0.55 * i) + i * 2.1) + 0.03 * np.sin(x / width * 11 + i * 1.3))
        slope = np.gradient(y, x)
        step = (x[1] - x[0]) / 3
        line = f"M{x[0]:.0f} {y[0]:.1f}"
        for k in range(12):
            line += (f" C{x[k] + step:.1f} {y[k] + slope[k] * step:.1f} {x[k + 1] - step:.1f} "
                     f"{y[k + 1] - slope[k + 1] * step:.1f} {x[k + 1]:.1f} {y[k + 1]:.1f}")
        line += f" V{height} H{x[0]:.0f} Z"
        for lift in (18, 13, 9, 6, 3):
            parts.append(f'<path d="{line}" transform="translate(0 {-lift})" fill="#2a0a2e" fill-opacity="0.035"/>')
        parts.append(f'<path d="{line}" fill="url(#sheet{i})"/>')
    return "\n".join(parts + ["</svg>", ""])
