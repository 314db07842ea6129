#!/usr/bin/env python3
"""Times zelimg beside other programs, each as a whole process: processor time (user and system) and peak memory, medians
of runs that alternate. Peers that are not installed are left out.

Usage: bench_process.py ZELIMG [--size N] [--runs N]
The picture is a mosaic of the PNG photographs of 768 x 512 pixels in the folder ZELJ_BENCH_IMAGES, or a made one."""
import argparse
import glob
import math
import os
import shutil
import statistics
import subprocess
import tempfile


def made(size):
    """Waves, edges and noise."""
    rows, seed = [], 1
    wave = [int(60 * math.sin(i / 37) + 50 * math.sin(i / 11)) for i in range(2 * size)]
    for y in range(size):
        row = bytearray(3 * size)
        for x in range(size):
            seed = (seed * 1103515245 + 12345) & 0x7FFFFFFF
            base = 128 + wave[x + y // 3] + (40 if (x // 97 + y // 61) % 5 == 0 else 0) + (seed >> 27)
            row[3 * x] = max(0, min(255, base))
            row[3 * x + 1] = max(0, min(255, base - 20 + wave[y] // 4))
            row[3 * x + 2] = max(0, min(255, 220 - base))
        rows.append(bytes(row))
    return b"".join(rows)


def photographs(zelimg, folder, size):
    tiles = []
    for path in sorted(glob.glob(folder + "/*.png")):
        ppm = subprocess.run([zelimg, path, "-", "--format", "ppm"], stdout=subprocess.PIPE).stdout
        if ppm.startswith(b"P6\n768 512\n255\n"):
            tiles.append(ppm[15:])
    if not tiles:
        return None
    across = -(-size // 768)
    rows = []
    for y in range(size):
        line = b"".join(tiles[(y // 512 * across + t) % len(tiles)][y % 512 * 2304:(y % 512 + 1) * 2304]
                        for t in range(across))
        rows.append(line[:3 * size])
    return b"".join(rows)


def run(command):
    pid = os.fork()
    if pid == 0:
        nothing = os.open(os.devnull, os.O_WRONLY)
        os.dup2(nothing, 1)
        os.dup2(nothing, 2)
        os.execvp(command[0], command)
    _, status, usage = os.wait4(pid, 0)
    if status != 0:
        raise SystemExit("failed: " + " ".join(command))
    return 1e3 * (usage.ru_utime + usage.ru_stime)


def memory(command):
    """Peak memory in MiB; a process of its own, since a child counts what its parent had when it forked."""
    said = subprocess.run(["/usr/bin/time", "-f", "%M"] + command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    return int(said.stderr.split()[-1]) / 1024


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("zelimg")
    parser.add_argument("--size", type=int, default=4096)
    parser.add_argument("--runs", type=int, default=9)
    options = parser.parse_args()
    zelimg = os.path.abspath(options.zelimg)
    folder = os.environ.get("ZELJ_BENCH_IMAGES")
    pixels = folder and photographs(zelimg, folder, options.size) or made(options.size)
    with tempfile.TemporaryDirectory() as work:
        os.chdir(work)
        with open("in.ppm", "wb") as file:
            file.write(b"P6\n%d %d\n255\n" % (options.size, options.size) + pixels)
        cases = [  # name, the peer's command, ours
            ("JPEG encode, q75", "cjpeg -dct int -quality 75 -outfile p.jpg in.ppm", "in.ppm o.jpg --quality 75"),
            ("JPEG decode", "djpeg -dct int -outfile o.ppm p.jpg", "p.jpg o.ppm"),
            ("JPEG decode at 1/2", "djpeg -dct int -scale 1/2 -outfile o.ppm p.jpg", "p.jpg o.ppm --scale 1/2"),
            ("JPEG decode at 1/8", "djpeg -dct int -scale 1/8 -outfile o.ppm p.jpg", "p.jpg o.ppm --scale 1/8"),
            ("JPEG progressive encode", "cjpeg -dct int -progressive -outfile pp.jpg in.ppm", "in.ppm o.jpg --progressive"),
            ("JPEG progressive decode", "djpeg -dct int -outfile o.ppm pp.jpg", "pp.jpg o.ppm"),
            ("JPEG 2000 lossless encode", "opj_compress -threads 1 -i in.ppm -o p.j2k", "in.ppm o.j2k"),
            ("JPEG 2000 lossless decode", "opj_decompress -threads 1 -i p.j2k -o o.ppm", "p.j2k o.ppm"),
            ("JPEG XR lossless encode", "JxrEncApp -i in.ppm -o p.jxr -d 3 -l 1", "in.ppm o.jxr --lossless"),
            ("JPEG XR lossless decode", "JxrDecApp -i p.jxr -o o.ppm", "p.jxr o.ppm"),
            ("JPEG XR lossy encode", "JxrEncApp -i in.ppm -o q.jxr -d 3 -l 1 -q 0.8", "in.ppm o.jxr --quantizer 28"),
            ("JPEG XR lossy decode", "JxrDecApp -i q.jxr -o o.ppm", "q.jxr o.ppm"),
            ("TIFF PackBits encode", "tiffcp -c packbits plain.tif p.tif", "plain.tif o.tif --compression packbits"),
            ("TIFF PackBits decode", "tiffcp -c none p.tif q.tif", "p.tif o.tif --compression none"),
        ]
        subprocess.run([zelimg, "in.ppm", "plain.tif"], check=False)
        print(f"{'processor time, ms; memory, MiB':32} {'peer':>8} {'zelimg':>8} {'ratio':>6} {'peer':>7} {'zelimg':>7}")
        for name, peer, own in cases:
            peer, own = peer.split(), [zelimg] + own.split()
            if not shutil.which(peer[0]):
                continue
            theirs, ours = [], []
            for _ in range(options.runs if "JPEG " not in name or "2000" not in name else 3):
                theirs.append(run(peer))
                ours.append(run(own))
            a, b = statistics.median(theirs), statistics.median(ours)
            print(f"{name:32} {a:8.1f} {b:8.1f} {b / a:6.2f} {memory(peer):7.1f} {memory(own):7.1f}", flush=True)


if __name__ == "__main__":
    main()
