#!/usr/bin/env python3
"""Compares the text of PDFs page by page, as sets of words.

Usage: words.py REFERENCE.pdf OTHER.pdf [OTHER.pdf ...]

Every producer draws the same strings at the same places, but in its own order and with its
own text operators, so pdftotext returns the lines in different orders and the comparison is
made on the sorted set of distinct words of each page.  Page counts are compared first.

Prints one "MISMATCH" line per difference (with up to a few differing words) and exits with 1
when there is any; prints "words: same" lines otherwise.
"""
import hashlib
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

SHOW = 8  # differing words shown per page


def page_count(pdf):
    out = subprocess.run(["pdfinfo", pdf], check=True, capture_output=True, text=True).stdout
    for line in out.splitlines():
        if line.startswith("Pages:"):
            return int(line.split()[1])
    raise SystemExit(f"words.py: pdfinfo shows no page count for {pdf}")


def page_words(text):
    return frozenset(text.split())


def digest(words):
    h = hashlib.sha1()
    for w in sorted(words):
        h.update(w.encode("utf-8"))
        h.update(b"\0")
    return h.digest()


def page_digests(pdf):
    """One digest per page, streaming pdftotext's output (one page ends at each form feed)."""
    proc = subprocess.Popen(["pdftotext", "-q", "-enc", "UTF-8", pdf, "-"],
                            stdout=subprocess.PIPE)
    digests, pending = [], b""
    while True:
        chunk = proc.stdout.read(1 << 20)
        if not chunk:
            break
        pending += chunk
        *pages, pending = pending.split(b"\f")
        digests.extend(digest(page_words(p.decode("utf-8"))) for p in pages)
    if proc.wait() != 0:
        raise SystemExit(f"words.py: pdftotext failed on {pdf}")
    # pdftotext ends every page with a form feed, so what is left after the last one is empty.
    if pending.strip():
        digests.append(digest(page_words(pending.decode("utf-8"))))
    return digests


def one_page(pdf, page):
    out = subprocess.run(["pdftotext", "-q", "-enc", "UTF-8", "-f", str(page), "-l", str(page),
                          pdf, "-"], check=True, capture_output=True).stdout
    return page_words(out.decode("utf-8").replace("\f", ""))


def short(words):
    words = sorted(words)
    more = f" ... (+{len(words) - SHOW})" if len(words) > SHOW else ""
    return " ".join(repr(w) for w in words[:SHOW]) + more


def main(argv):
    if len(argv) < 3:
        sys.exit(__doc__)
    ref, others = argv[1], argv[2:]
    bad = False
    ref_pages = page_count(ref)
    # pdftotext is slow on tens of thousands of pages: extract two files at a time.
    with ThreadPoolExecutor(max_workers=2) as pool:
        all_digests = list(pool.map(page_digests, [ref] + others))
    ref_digests = all_digests[0]
    for other, digests in zip(others, all_digests[1:]):
        pages = page_count(other)
        if pages != ref_pages:
            print(f"MISMATCH pages: {ref} has {ref_pages}, {other} has {pages}")
            bad = True
        differing = [i + 1 for i, (a, b) in enumerate(zip(ref_digests, digests)) if a != b]
        for page in differing[:3]:
            a, b = one_page(ref, page), one_page(other, page)
            print(f"MISMATCH words on page {page}: only in {ref}: {short(a - b) or '-'}; "
                  f"only in {other}: {short(b - a) or '-'}")
        if len(differing) > 3:
            print(f"MISMATCH words: {len(differing)} pages differ in all between {ref} and {other}")
        if differing:
            bad = True
        elif pages == ref_pages:
            print(f"words: same on all {pages} pages: {ref} and {other}")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
