#!/usr/bin/env python3
"""Whole processes beside their peers, in turn: start-up, one photograph, a batch, read-back of a full frame; and
whether cost grows linearly. Usage: process_bench.py BUILD_FOLDER [--quick]

A ratio is ours divided by the peer's time of the same round: below 1 ours is faster. Shown are medians over the
rounds, of wall time, and of processor time (user and system, children included), which a busy machine disturbs less.
"""
import glob
import os
import random
import resource
import statistics
import struct
import subprocess
import sys
import tempfile
import time

PHOTOGRAPHS = sorted(glob.glob("/usr/share/backgrounds/mate/nature/*.jpg"))
QUICK = "--quick" in sys.argv
ROUNDS = 5 if QUICK else 15


class Bench:
    def __init__(self, build, folder):
        self.build = build
        self.folder = folder
        self.homes = 0

    def path(self, *parts):
        return os.path.join(self.folder, *parts)

    def lumatoctl(self, *arguments):
        """A call with a home of its own, so that every call starts from nothing."""
        self.homes += 1
        home = self.path(f"home{self.homes}")
        return [os.path.join(self.build, "lumatoctl"), "--home", home, "--quiet", *arguments]

    def new_folder(self):
        """Writing over files that are there costs less than making new ones."""
        return tempfile.mkdtemp(dir=self.folder)

    def qt(self, files):
        return [os.path.join(self.build, "qt_scaled_reader"), "800", "480", self.path("out"), *files]

    def vips(self, files):
        return ["vipsthumbnail", *files, "-s", "800x480", "--smartcrop", "centre", "--export-profile", "srgb", "-o", self.path("out", "%s.jpg[Q=90]")]

    def frame(self, name, lcd, *options, flash=16711680):
        frame = self.path(name)
        if os.path.exists(frame):
            os.remove(frame)
        subprocess.run(self.lumatoctl("frame", "new", frame, "--lcd", lcd, "--flash", str(flash), *options), check=True,
                       stdout=subprocess.DEVNULL)
        return frame


def environment():
    return {**os.environ, "XDG_STATE_HOME": os.path.join(tempfile.gettempdir(), "lumato-bench-state")}


def seconds(programs):
    """Wall and processor time of programs that run at the same time; each is a list of commands."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.perf_counter()
    running = [subprocess.Popen(["sh", "-ec", "\n".join(subprocess.list2cmdline(c) for c in commands)],
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, env=environment())
               for commands in programs]
    if any(process.wait() != 0 for process in running):
        sys.exit(f"failed: {programs}"[:2000])
    wall = time.perf_counter() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return wall, after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime


def compare(title, ours, peer, goal, rounds=ROUNDS):
    """`ours` and `peer` make the programs of a round anew."""
    times = []
    for number in range(rounds + 1):  # the first one warms up
        pair = (seconds(ours()), seconds(peer())) if number % 2 == 0 else (seconds(peer()), seconds(ours()))[::-1]
        if number > 0:
            times.append(pair)
    cells = []
    for kind in (0, 1):
        mine = statistics.median(t[0][kind] for t in times) * 1000
        theirs = statistics.median(t[1][kind] for t in times) * 1000
        ratio = statistics.median(t[0][kind] / t[1][kind] for t in times)
        cells.append(f"{mine:.1f} | {theirs:.1f} | {ratio:.2f}")
    print(f"| {title} | {cells[0]} | {cells[1]} | {goal} |", flush=True)


def large_photograph(path, columns, rows, index):
    """Joined from crops at native size, for the packages' photographs are smaller than a camera's; every second one
    with noise, for they are smoother, too."""
    generator = random.Random(index)
    crops = [f"{generator.choice(PHOTOGRAPHS)}[1000x1000+{generator.randrange(300)}+{generator.randrange(80)}]"
             for _ in range(columns * rows)]
    noise = ["-attenuate", "0.4", "+noise", "Gaussian"] if index % 2 else []
    subprocess.run(["montage", *crops, "-tile", f"{columns}x{rows}", "-geometry", "1000x1000+0+0", "miff:" + path],
                   check=True)
    subprocess.run(["convert", "miff:" + path, *noise, "-sampling-factor", "2x2", "-quality", "92", "jpg:" + path + ".jpg"],
                   check=True)
    os.remove(path)
    return path + ".jpg"


def display_p3():
    """The colour profile of phones: matrix and curve, as ICC.1:2010 lays them out."""
    def fixed(*values):
        return b"".join(struct.pack(">i", round(value * 65536)) for value in values)
    curve = b"para\0\0\0\0\0\3\0\0" + fixed(2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045)
    tags = {b"wtpt": (0.9642, 1, 0.8249), b"rXYZ": (0.51512, 0.2412, -0.00105), b"gXYZ": (0.29198, 0.69225, 0.04189),
            b"bXYZ": (0.1571, 0.06657, 0.78407)}
    data = {name: b"XYZ \0\0\0\0" + fixed(*values) for name, values in tags.items()}
    data.update(dict.fromkeys((b"rTRC", b"gTRC", b"bTRC"), curve))
    at = 128 + 4 + 12 * len(data)
    table, body = struct.pack(">I", len(data)), b""
    for name, content in data.items():
        table += name + struct.pack(">II", at + len(body), len(content))
        body += content
    header = struct.pack(">I4xI12s12x4s28x", at + len(body), 0x04000000, b"mntrRGB XYZ ", b"acsp") + fixed(0.9642, 1, 0.8249)
    return header.ljust(128, b"\0") + table + body


def as_phone(path, photograph, orientation, profile):
    """The same photograph with what phones write beside the pixels."""
    def segment(marker, content):
        return bytes((0xFF, marker)) + struct.pack(">H", len(content) + 2) + content
    exif = b"Exif\0\0II*\0\x08\0\0\0\1\0\x12\1\3\0\1\0\0\0" + bytes((orientation, 0, 0, 0)) + bytes(4)
    with open(photograph, "rb") as file:
        jpeg = file.read()
    with open(path, "wb") as file:
        file.write(jpeg[:2] + segment(0xE1, exif) +
                   (segment(0xE2, b"ICC_PROFILE\0\1\1" + profile) if profile else b"") + jpeg[2:])
    return path


def start_up(bench):
    frame = bench.frame("empty.frame", "480x234", flash=4 << 20)
    times = [(seconds([[bench.lumatoctl("--frame", frame, "info")]]), seconds([[["/bin/true"]]]))
             for _ in range(6 * ROUNDS)]
    wall, processor = (statistics.median(ours[kind] - peer[kind] for ours, peer in times) * 1000 for kind in (0, 1))
    print(f"| start of `lumatoctl info`, more than /bin/true | {wall:.1f} | | | {processor:.1f} | | | 10 ms |", flush=True)


def one_photograph(bench, name, photograph, goals=("0.45", "0.85")):
    bitmap, stream = bench.path("composed.bmp"), bench.path("stream")

    def ours():
        return [[bench.lumatoctl("compose", photograph, bitmap, "--lcd", "800x480"),
                 bench.lumatoctl("encode", bitmap, stream, "--size", "800x480")]]

    compare(f"one {name} JPEG to an encoded 800 x 480, beside vipsthumbnail", ours,
            lambda: [[bench.vips([photograph])]], goals[0])
    compare(f"the same beside Qt's scaled reader", ours, lambda: [[bench.qt([photograph])]], goals[1])


BATCH = 60


def links_to(bench, photographs):
    links = [tempfile.mktemp(suffix=".jpg", dir=bench.folder) for _ in range(BATCH)]
    for number, link in enumerate(links):
        os.symlink(photographs[number % len(photographs)], link)
    return links


def batch(bench, name, photographs, goal, megabytes):
    """Returns what adds it, and its files."""
    links = links_to(bench, photographs)
    halves = links[::2], links[1::2]

    def ours():
        return [[bench.lumatoctl("--frame", bench.frame("batch.frame", "800x480"), "add", *links)]]

    compare(f"a batch of {BATCH} 12 MP {name}, beside vipsthumbnail in two processes", ours,
            lambda: [[bench.vips(half)] for half in halves], goal, max(3, ROUNDS // 3))
    measured = subprocess.run(["/usr/bin/env", "python3", "-c", "import resource, subprocess, sys\n"
                               "subprocess.run(sys.argv[1:], check=True, stdout=subprocess.DEVNULL)\n"
                               "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)", *ours()[0][0]],
                              check=True, capture_output=True)
    print(f"| peak memory of that batch, MiB | {int(measured.stdout) / 1024:.1f} | | | | | | {megabytes} |", flush=True)
    return ours, links


def other_batches(bench, ours, links):
    rounds = max(3, ROUNDS // 3)
    halves = links[::2], links[1::2]
    compare("the same beside Qt's scaled reader in two processes", ours, lambda: [[bench.qt(half)] for half in halves],
            "0.87", rounds)
    compare("the same batch onto a frame with a limit, beside the frame without", lambda: [[bench.lumatoctl(
        "--frame", bench.frame("limit.frame", "800x480", "--limit", "75", flash=2 << 20), "add", *links)]], ours, "1.15",
        rounds)


def phones(bench, photographs):
    """What phones write, beside the same photographs upright in sRGB, and beside the peer."""
    profile = display_p3()
    kinds = {"turned": (6, None, "1.25"), "in Display P3": (1, profile, "1.25"), "turned, in Display P3": (6, profile, "1.50")}

    def adding(links):
        return lambda: [[bench.lumatoctl("--frame", bench.frame("phone.frame", "800x480"), "add", *links)]]

    plain = adding(links_to(bench, photographs))
    for name, (orientation, colours, goal) in kinds.items():
        files = [as_phone(tempfile.mktemp(suffix=".jpg", dir=bench.folder), file, orientation, colours) for file in photographs]
        compare(f"a batch of {BATCH} 12 MP JPEGs {name}, beside the same upright in sRGB", adding(links_to(bench, files)),
                plain, goal, max(3, ROUNDS // 3))
    coloured = as_phone(bench.path("coloured.jpg"), photographs[0], 1, profile)
    compare("one 12 MP JPEG in Display P3, beside the same in sRGB", adding([coloured]), adding(photographs[:1]), "1.25")
    batch(bench, "JPEGs of phones (turned, in Display P3)", files, "0.45", 48)
    heic = bench.path("phone.heic")
    subprocess.run(["heif-enc", "-q", "60", "-o", heic, photographs[0]], check=True, stdout=subprocess.DEVNULL)
    batch(bench, "HEIC photographs", [heic], "0.90", "")


def cameras(bench, photograph):
    """What cameras and programs write besides."""
    progressive = bench.path("progressive.jpg")
    subprocess.run(["convert", photograph, "-interlace", "JPEG", "-sampling-factor", "1x1", "-quality", "95", progressive],
                   check=True)
    one_photograph(bench, "12 MP progressive 4:4:4", progressive, ("", ""))
    panorama = bench.path("panorama.jpg")
    subprocess.run(["vips", "replicate", photograph, panorama + "[Q=92]", "8", "1"], check=True)
    one_photograph(bench, "96 MP", panorama, ("", ""))


def small_photographs(bench, count):
    """Crops of the size of an LCD, and the same as the peer reads them."""
    for number, photograph in enumerate(PHOTOGRAPHS * 3):  # from another corner each time
        noise = ["-attenuate", "0.4", "+noise", "Gaussian"] if number % 2 else []
        corner = f"+{number // len(PHOTOGRAPHS) * 130}+{number // len(PHOTOGRAPHS) * 70}"
        subprocess.run(["convert", photograph, "-crop", "9999x9999" + corner, "+repage", "-crop", "480x234", "+repage",
                        *noise, "-quality", "90", "-sampling-factor", "2x2", bench.path(f"small{number:02}-%03d.jpg")],
                       check=True)
    files = []
    for file in sorted(glob.glob(bench.path("small*.jpg"))):
        size = subprocess.run(["identify", "-format", "%wx%h", file], check=True, capture_output=True).stdout
        if size == b"480x234":
            files.append(file)
        if len(files) == count:
            return files
    sys.exit("too few photographs")


def read_back(bench, files):
    frames = {}
    batches = {}
    for count in (1, len(files) // 2, len(files)):
        frames[count] = bench.frame(f"full{count}.frame", "480x234", "--quality", "70")
        batches[count] = seconds([[bench.lumatoctl("--frame", frames[count], "add", *files[:count])]])[1]
    full = len(files)
    compare(f"read-back of {full} pictures of 480 x 234, beside TurboJPEG and the same bitmaps",
            lambda: [[bench.lumatoctl("--frame", frames[full], "info")]],
            lambda: [[[os.path.join(bench.build, "turbo_bitmaps"), bench.new_folder(), *files]]], "1.00",
            max(3, ROUNDS // 3))
    connects = {count: statistics.median(seconds([[bench.lumatoctl("--frame", frame, "info")]])[1] for _ in range(3))
                for count, frame in frames.items()}
    for what, times in (("a batch", batches), ("connecting", connects)):
        half, whole = full // 2, full
        ratio = (times[whole] - times[1]) / (times[half] - times[1]) * (half - 1) / (whole - 1)
        print(f"| {what} of {whole}: a picture's cost over that in one of {half} (processor time) | {ratio:.2f} "
              "| | | | | | 1.10 |", flush=True)


def main():
    build = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory(prefix="lumato-bench-") as folder:
        bench = Bench(build, folder)
        os.mkdir(bench.path("out"))
        print("| work | ours, wall ms | peer | ratio | ours, processor ms | peer | ratio | goal |")
        print("|---|---|---|---|---|---|---|---|", flush=True)
        start_up(bench)
        photographs = [large_photograph(bench.path(f"large{i}"), 4, 3, i) for i in range(4 if QUICK else 12)]
        phones(bench, photographs)
        for number in (0, 1):
            one_photograph(bench, "12 MP" + (" noisy" if number else ""), photographs[number])
        for number in (0, 1):
            one_photograph(bench, "24 MP" + (" noisy" if number else ""),
                           large_photograph(bench.path(f"larger{number}"), 6, 4, number))
        cameras(bench, photographs[0])
        other_batches(bench, *batch(bench, "JPEGs", photographs, "0.50", 32))
        read_back(bench, small_photographs(bench, 509))
        subprocess.run([os.path.join(build, "edit_view_bench"), bench.path("larger1.jpg")], check=True,
                       env={**os.environ, "QT_QPA_PLATFORM": "offscreen"})


if __name__ == "__main__":
    main()
