#!/usr/bin/env python3
"""Page pixels of rendered PDFs against a committed list of per-page SHA-256s.

  pixel_check.py update MANIFEST WORKDIR PDF...   record every page (and keep the renders)
  pixel_check.py check  MANIFEST WORKDIR PDF...   compare; exit 1 on any difference

Each page is rendered with `pdftoppm -r 150 -gray`. A page must match its recorded hash exactly,
except on pages that draw images: image codecs may move a pixel value by a few levels. For those
the manifest also records the page rendered with its image operators blanked out (which must
match exactly: text and vector art do not move at all) and the box that the images cover, whose
reference pixels are kept as a small PNG next to the manifest. Inside and around that box the
page may differ from the reference by at most TOLERANCE levels.

On a mismatch a difference PNG is written to WORKDIR/diff/: the reference in grey, pixels that
got darker in red, lighter in blue. Text pages need the reference render for that, which `update`
keeps in WORKDIR/reference/.
"""
import hashlib
import os
import re
import shutil
import struct
import subprocess
import sys
import zlib

TOLERANCE = 12
DPI = "150"


class Gray:
    def __init__(self, w, h, px):
        self.w, self.h, self.px = w, h, px

    def sha(self):
        return hashlib.sha256(b"%d %d\n" % (self.w, self.h) + bytes(self.px)).hexdigest()


def read_pgm(path):
    data = open(path, "rb").read()
    m = re.match(rb"P5\s+(\d+)\s+(\d+)\s+(\d+)\s", data)
    if not m or m.group(3) != b"255":
        raise SystemExit(f"pixel_check: {path}: not an 8-bit PGM")
    w, h = int(m.group(1)), int(m.group(2))
    px = bytearray(data[m.end():m.end() + w * h])
    if len(px) != w * h:
        raise SystemExit(f"pixel_check: {path}: truncated")
    return Gray(w, h, px)


def write_png(path, w, h, rows, colour):
    def chunk(tag, body):
        return struct.pack(">I", len(body)) + tag + body + struct.pack(">I", zlib.crc32(tag + body) & 0xFFFFFFFF)
    raw = b"".join(b"\0" + bytes(r) for r in rows)
    with open(path, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n")
        f.write(chunk(b"IHDR", struct.pack(">IIBBBBB", w, h, 8, 2 if colour else 0, 0, 0, 0)))
        f.write(chunk(b"IDAT", zlib.compress(raw, 9)))
        f.write(chunk(b"IEND", b""))


def read_png_gray(path):
    data = open(path, "rb").read()
    pos, idat, w, h = 8, b"", 0, 0
    while pos < len(data):
        n, tag = struct.unpack(">I4s", data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + n]
        if tag == b"IHDR":
            w, h, depth, ctype = struct.unpack(">IIBB", body[:10])
            if depth != 8 or ctype != 0:
                raise SystemExit(f"pixel_check: {path}: expected an 8-bit grey PNG")
        elif tag == b"IDAT":
            idat += body
        pos += 12 + n
    raw = zlib.decompress(idat)
    px = bytearray()
    for y in range(h):
        if raw[y * (w + 1)] != 0:
            raise SystemExit(f"pixel_check: {path}: filtered rows are not read here")
        px += raw[y * (w + 1) + 1:(y + 1) * (w + 1)]
    return Gray(w, h, px)


def render(pdf, outdir, stem):
    os.makedirs(outdir, exist_ok=True)
    for f in os.listdir(outdir):
        if f.startswith(stem + "-") and f.endswith(".pgm"):
            os.remove(os.path.join(outdir, f))
    subprocess.run(["pdftoppm", "-r", DPI, "-gray", pdf, os.path.join(outdir, stem)], check=True)
    pages = []
    for f in os.listdir(outdir):
        m = re.fullmatch(re.escape(stem) + r"-(\d+)\.pgm", f)
        if m:
            pages.append((int(m.group(1)), os.path.join(outdir, f)))
    return [p for _, p in sorted(pages)]


def strip_images(pdf, out):
    """The same document with every image drawing operator blanked (same length, so no offset moves)."""
    subprocess.run(["qpdf", "--stream-data=uncompress", "--object-streams=disable", pdf, out], check=True)
    data = open(out, "rb").read()
    stripped, n = re.subn(rb"/Im\d+ Do", lambda m: b" " * len(m.group(0)), data)
    open(out, "wb").write(stripped)
    return n > 0


def box_of_difference(a, b):
    x0, y0, x1, y1 = a.w, a.h, -1, -1
    for y in range(a.h):
        row = y * a.w
        ra, rb = a.px[row:row + a.w], b.px[row:row + a.w]
        if ra == rb:
            continue
        for x in range(a.w):
            if ra[x] != rb[x]:
                x0, x1 = min(x0, x), max(x1, x)
        y0, y1 = min(y0, y), max(y1, y)
    return None if x1 < 0 else (x0, y0, x1 + 1, y1 + 1)


def crop(g, box):
    x0, y0, x1, y1 = box
    px = bytearray()
    for y in range(y0, y1):
        px += g.px[y * g.w + x0:y * g.w + x1]
    return Gray(x1 - x0, y1 - y0, px)


def paste(g, box, part):
    out = Gray(g.w, g.h, bytearray(g.px))
    x0, y0, x1, _ = box
    for y in range(part.h):
        out.px[(y0 + y) * g.w + x0:(y0 + y) * g.w + x1] = part.px[y * part.w:(y + 1) * part.w]
    return out


def write_diff(path, ref, got):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    if (ref.w, ref.h) != (got.w, got.h):
        write_png(path, got.w, got.h, [got.px[y * got.w:(y + 1) * got.w] for y in range(got.h)], False)
        return
    rows = []
    for y in range(ref.h):
        row = bytearray()
        for x in range(ref.w):
            r, g = ref.px[y * ref.w + x], got.px[y * ref.w + x]
            if r == g:
                v = 128 + r // 2
                row += bytes((v, v, v))
            elif g < r:
                row += b"\xff\x00\x00"
            else:
                row += b"\x00\x00\xff"
        rows.append(row)
    write_png(path, ref.w, ref.h, rows, True)


def max_difference(a, b):
    if (a.w, a.h) != (b.w, b.h):
        return 256
    return max((abs(x - y) for x, y in zip(a.px, b.px) if x != y), default=0)


def read_manifest(path):
    entries = {}
    for line in open(path, encoding="utf-8"):
        line = line.strip()
        if not line or line.startswith("#"):
            continue
        f = line.split()
        e = {"sha": f[1]}
        if len(f) > 2:
            e.update(stripped=f[3], box=tuple(int(v) for v in f[4].split(",")), region=f[5])
        entries[f[0]] = e
    return entries


def pages_of(pdfs, workdir, sub):
    """(page key, full render, stripped render or None) for every page of every document."""
    for pdf in pdfs:
        stem = os.path.splitext(os.path.basename(pdf))[0]
        full = render(pdf, os.path.join(workdir, sub), stem)
        stripped_pdf = os.path.join(workdir, "stripped", stem + ".pdf")
        os.makedirs(os.path.dirname(stripped_pdf), exist_ok=True)
        stripped = [None] * len(full)
        if strip_images(pdf, stripped_pdf):
            stripped = render(stripped_pdf, os.path.join(workdir, "stripped"), stem)
        for i, page in enumerate(full):
            yield f"{stem}-{i + 1}", page, stripped[i] if i < len(stripped) else None


def update(manifest, workdir, pdfs):
    regions_dir = os.path.dirname(os.path.abspath(manifest))
    lines = ["# page  sha256 of the 150 dpi grey render  [image  sha256 without images  box  reference pixels]"]
    shutil.rmtree(os.path.join(workdir, "reference"), ignore_errors=True)
    for key, full_path, stripped_path in pages_of(pdfs, workdir, "reference"):
        full = read_pgm(full_path)
        line = f"{key} {full.sha()}"
        if stripped_path:
            stripped = read_pgm(stripped_path)
            box = box_of_difference(full, stripped)
            if box:
                part = crop(full, box)
                name = "region-" + part.sha()[:16] + ".png"
                path = os.path.join(regions_dir, "regions", name)
                os.makedirs(os.path.dirname(path), exist_ok=True)
                if not os.path.exists(path):
                    write_png(path, part.w, part.h, [part.px[y * part.w:(y + 1) * part.w] for y in range(part.h)], False)
                line += f" image {stripped.sha()} {','.join(map(str, box))} regions/{name}"
        lines.append(line)
    open(manifest, "w", encoding="utf-8").write("\n".join(lines) + "\n")
    print(f"pixel_check: recorded {len(lines) - 1} pages in {manifest}")
    return 0


def check(manifest, workdir, pdfs):
    base = os.path.dirname(os.path.abspath(manifest))
    expected = read_manifest(manifest)
    seen, failures = set(), []
    for key, full_path, stripped_path in pages_of(pdfs, workdir, "current"):
        seen.add(key)
        e = expected.get(key)
        if e is None:
            failures.append(f"{key}: page not in the manifest")
            continue
        full = read_pgm(full_path)
        if full.sha() == e["sha"]:
            continue
        diff = os.path.join(workdir, "diff", key + ".png")
        if "box" in e and stripped_path:
            stripped = read_pgm(stripped_path)
            if stripped.sha() != e["stripped"]:
                failures.append(f"{key}: text or vector art moved (see {diff})")
                ref = os.path.join(workdir, "reference", os.path.basename(full_path))
                write_diff(diff, read_pgm(ref) if os.path.exists(ref) else stripped, full)
                continue
            ref = paste(stripped, e["box"], read_png_gray(os.path.join(base, e["region"])))
            d = max_difference(ref, full)
            if d > TOLERANCE:
                failures.append(f"{key}: images differ by up to {d} levels (see {diff})")
                write_diff(diff, ref, full)
            continue
        ref_path = os.path.join(workdir, "reference", os.path.basename(full_path))
        if os.path.exists(ref_path) and read_pgm(ref_path).sha() == e["sha"]:
            failures.append(f"{key}: pixels differ (see {diff})")
            write_diff(diff, read_pgm(ref_path), full)
        else:
            failures.append(f"{key}: pixels differ (no reference render to draw a difference from; "
                            "run the update on the earlier build to keep one)")
    for key in expected:
        if key not in seen:
            failures.append(f"{key}: page missing")
    for f in failures:
        print("pixel_check:", f, file=sys.stderr)
    print(f"pixel_check: {len(seen)} pages, {len(failures)} differ")
    return 1 if failures else 0


def main(argv):
    if len(argv) < 4 or argv[0] not in ("update", "check"):
        print(__doc__, file=sys.stderr)
        return 2
    mode, manifest, workdir, pdfs = argv[0], argv[1], argv[2], argv[3:]
    os.makedirs(workdir, exist_ok=True)
    return (update if mode == "update" else check)(manifest, workdir, pdfs)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
