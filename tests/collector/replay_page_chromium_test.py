#!/usr/bin/env python3
"""The collector's replay page as a person sees it, in headless Chromium.

A session is written by obx_replay_session_writer (frames drawn by the SDK's wireframe recorder,
events through its upload parser, stored by the collector). The page is then opened in Chromium:
played to its end, its DOM shows every frame in the session's order and each touch on the frame of
its time; photographed at each frame's time, the frame on display is that frame (its marker colour),
a touch shows as a dot where it was made, and the masked inputs' regions hold the mask colour.

Usage: replay_page_chromium_test.py <obx_replay_session_writer> <chromium>
"""
import html
import json
import os
import re
import subprocess
import sys
import tempfile

WINDOW = (1280, 900)
FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync",
         "--hide-scrollbars", "--window-size=%d,%d" % WINDOW]

failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print("FAIL: " + message)
    return condition


def chromium(browser, work, url, budget_ms, output):
    """Runs Chromium once on `url` with a fresh profile; `output` is "--dump-dom" or a PNG path."""
    profile = tempfile.mkdtemp(dir=work, prefix="profile-")
    arguments = [browser] + FLAGS + ["--user-data-dir=" + profile, "--virtual-time-budget=%d" % budget_ms]
    arguments += ["--dump-dom"] if output == "--dump-dom" else ["--screenshot=" + output]
    result = subprocess.run(arguments + [url], stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)
    if result.returncode != 0:
        raise RuntimeError("chromium exited with %d on %s: %s" % (result.returncode, url, result.stderr[-2000:]))
    return result.stdout.decode("utf-8", "replace")


def read_pixels(writer, png):
    """Width, height and RGB bytes of a screenshot, decoded by the SDK's own PNG decoding."""
    ppm = png + ".ppm"
    subprocess.run([writer, "--pixels", png, ppm], check=True, timeout=60)
    with open(ppm, "rb") as f:
        data = f.read()
    magic, width, height, depth, pixels = data.split(maxsplit=4)
    if magic != b"P6" or depth != b"255":
        raise ValueError(ppm + " is not an 8-bit PPM")
    return int(width), int(height), pixels


def near(pixel, colour, tolerance):
    return all(abs(a - b) <= tolerance for a, b in zip(pixel, colour))


class Shot:
    """A screenshot, with the frame on display found by the colour of its markers."""

    def __init__(self, writer, path, manifest):
        self.width, self.height, self.pixels = read_pixels(writer, path)
        self.markers = manifest["markers"]

    def pixel(self, x, y):
        if not (0 <= x < self.width and 0 <= y < self.height):
            return (-1000, -1000, -1000)
        at = 3 * (y * self.width + x)
        return tuple(self.pixels[at:at + 3])

    def centre(self, colour, tolerance, cx, cy):
        """The centre and size of the patch of `colour` around (cx, cy)."""
        xs, ys = [], []
        for y in range(max(0, cy - 70), min(self.height, cy + 70)):
            for x in range(max(0, cx - 70), min(self.width, cx + 70)):
                if near(self.pixel(x, y), colour, tolerance):
                    xs.append(x)
                    ys.append(y)
        if len(xs) < 200:
            return None
        return (sum(xs) / len(xs) + 0.5, sum(ys) / len(ys) + 0.5, max(xs) + 1 - min(xs), max(ys) + 1 - min(ys))

    def find(self, colour, tolerance=30):
        """Places the frame by its two markers of `colour`; false when they are not on display."""
        coarse = [(x, y) for y in range(0, self.height, 4) for x in range(0, self.width, 4)
                  if near(self.pixel(x, y), colour, tolerance)]
        if len(coarse) < 40:
            return False
        middle = (min(y for _, y in coarse) + max(y for _, y in coarse)) / 2
        patches = []
        for half in ([p for p in coarse if p[1] < middle], [p for p in coarse if p[1] >= middle]):
            if not half:
                return False
            half.sort()
            patches.append(self.centre(colour, tolerance, half[len(half) // 2][0],
                                       sorted(y for _, y in half)[len(half) // 2]))
        if None in patches:
            return False
        (ax, ay, aw, ah), (bx, by, _, _) = patches
        (mx, my, mw, mh), (nx, ny, nw, nh) = self.markers
        self.scale_x = (bx - ax) / ((nx + nw / 2) - (mx + mw / 2))
        self.scale_y = (by - ay) / ((ny + nh / 2) - (my + mh / 2))
        self.origin = (ax - (mx + mw / 2) * self.scale_x, ay - (my + mh / 2) * self.scale_y)
        # Markers are squares of the same scale as their distance: anything else is not the frame.
        return (abs(self.scale_x - self.scale_y) < 0.03 * self.scale_y and abs(aw - mw * self.scale_x) < 3
                and abs(ah - mh * self.scale_y) < 3)

    def to_pixels(self, x, y):
        return self.origin[0] + x * self.scale_x, self.origin[1] + y * self.scale_y

    def share_near(self, rect, colour, tolerance=30, inset=3):
        """The share of the pixels of `rect` (points of the frame) near `colour`."""
        x0, y0 = self.to_pixels(rect[0], rect[1])
        x1, y1 = self.to_pixels(rect[0] + rect[2], rect[1] + rect[3])
        total = hits = 0
        for y in range(int(y0) + inset, int(y1) - inset):
            for x in range(int(x0) + inset, int(x1) - inset):
                total += 1
                hits += near(self.pixel(x, y), colour, tolerance)
        return hits / total if total else 0.0

    def average(self, x, y, radius=2):
        px, py = self.to_pixels(x, y)
        pixels = [self.pixel(int(px) + dx, int(py) + dy) for dy in range(-radius, radius + 1)
                  for dx in range(-radius, radius + 1)]
        return tuple(sum(p[i] for p in pixels) // len(pixels) for i in range(3))


def log_entries(dom):
    """The playback log's entries, as dictionaries of their data attributes."""
    log = re.search(r'<ol id="log">(.*?)</ol>', dom, re.S)
    if not log:
        return []
    entries = []
    for attributes in re.findall(r"<li ([^>]*)>", log.group(1)):
        entries.append({k: html.unescape(v) for k, v in re.findall(r'data-([a-z]+)="([^"]*)"', attributes)})
    return entries


def main():
    writer, browser = sys.argv[1], sys.argv[2]
    with tempfile.TemporaryDirectory(prefix="obx-replay-page-") as work:
        written = subprocess.run([writer, os.path.join(work, "collector")], stdout=subprocess.PIPE,
                                 stderr=subprocess.PIPE, timeout=60)
        if written.returncode != 0:
            print(written.stderr.decode())
            return 1
        manifest = json.loads(written.stdout)
        page = "file://" + manifest["page"]
        screens = manifest["screens"]
        session_ms = sum(screen["end"] for screen in screens) + 100
        mask = manifest["maskColor"]

        # Played to its end: every frame in the session's order, each touch on the frame of its time.
        dom = chromium(browser, work, page + "#play", session_ms + 3000, "--dump-dom")
        check('data-state="ended"' in dom, "the page did not play the session to its end")
        entries = log_entries(dom)
        frames_shown = [(int(e["screen"]), e["src"]) for e in entries if "src" in e]
        frames_expected = [(n, frame["src"]) for n, screen in enumerate(screens) for frame in screen["frames"]]
        check(frames_shown == frames_expected, "frames shown %s, expected %s" % (frames_shown, frames_expected))
        touches_shown = [(int(e["screen"]), e["touch"], int(e["x"]), int(e["y"]), int(e["frame"]))
                         for e in entries if "touch" in e]
        touches_expected = [(n, t["t"], t["x"], t["y"], t["frame"]) for n, screen in enumerate(screens)
                            for t in screen["touches"]]
        check(touches_shown == touches_expected, "touches shown %s, expected %s" % (touches_shown, touches_expected))

        # After the play the last frame stays on display, its masked input in the mask colour.
        last = screens[-1]
        played = os.path.join(work, "played.png")
        chromium(browser, work, page + "#play", session_ms + 3000, played)
        shot = Shot(writer, played, manifest)
        if check(shot.find(last["frames"][-1]["marker"]), "after the play, the last frame's marker is not on the page"):
            for rect in last["masked"]:
                share = shot.share_near(rect, mask)
                check(share > 0.97, "after the play, only %.0f%% of the masked input %s holds the mask colour %s"
                      % (100 * share, rect, mask))
            check(shot.share_near([120, 640, 240, 150], (255, 255, 255), 12) > 0.97,
                  "after the play, the frame's empty area is not white")

        # At each frame's time, that frame is on display; a touch of that time is a dot where it was made.
        for n, screen in enumerate(screens):
            frames = screen["frames"]
            for f, frame in enumerate(frames):
                end = frames[f + 1]["offset"] if f + 1 < len(frames) else screen["end"]
                began = [t for t in screen["touches"] if t["t"] == "tB" and frame["offset"] <= t["o"] < end]
                moment = began[0]["o"] + 50 if began else (frame["offset"] + end) // 2
                path = os.path.join(work, "s%d-f%d.png" % (n, f))
                chromium(browser, work, page + "#s=%d&t=%d" % (n, moment), 2000, path)
                shot = Shot(writer, path, manifest)
                where = "screen %d at %d ms" % (n, moment)
                if not check(shot.find(frame["marker"]), "%s: the marker of frame %d is not on display" % (where, f)):
                    continue
                for rect in screen["masked"]:
                    share = shot.share_near(rect, mask)
                    check(share > 0.97, "%s: only %.0f%% of the masked input %s holds the mask colour"
                          % (where, 100 * share, rect))
                for touch in began:
                    red, green, blue = shot.average(touch["x"], touch["y"])
                    check(red > 180 and green < 120 and blue < 120,
                          "%s: no touch dot at (%d, %d), the page shows %s there"
                          % (where, touch["x"], touch["y"], (red, green, blue)))

    if failures:
        print("%d checks failed" % len(failures))
        return 1
    print("the replay page played %d frames of %d screens in order, with touches and masks"
          % (sum(len(s["frames"]) for s in screens), len(screens)))
    return 0


if __name__ == "__main__":
    sys.exit(main())
