#!/usr/bin/env python3
"""Helpers for tools/recordings/record.sh, working on real perf.data files with perf's own decoding.

  perfdump.py fileorder FILE            sample times in file order ("offset cpu time" per line), from `perf script -D`
  perfdump.py cut FILE LISTING          the file offset inside a sample record near the middle of the data section,
                                        and the lines of LISTING (perf script of FILE) of the samples whose records
                                        lie wholly before that offset: prints the offset, writes LISTING.cut
  perfdump.py repair FILE DONOR OUT     copy of FILE (a recording whose perf was killed: data size 0, no feature
                                        sections) that perf can read: data size set to the whole records, and the
                                        tracing data section of DONOR (same trace points, same kernel) appended
"""
import re
import struct
import subprocess
import sys

SAMPLE = re.compile(r"^(-?\d+) (\d+) (0x[0-9a-f]+) \[(0x[0-9a-f]+)\]: PERF_RECORD_SAMPLE\(.*?\): (-?\d+)/(-?\d+):")


def samples(path):
    """(offset, size, cpu, time, pid, tid) of every sample, in file order."""
    dump = subprocess.run(["perf", "script", "-i", path, "-D"], capture_output=True, text=True).stdout
    found = []
    for line in dump.splitlines():
        m = SAMPLE.match(line)
        if m:
            found.append((int(m.group(3), 16), int(m.group(4), 16), int(m.group(1)), int(m.group(2)),
                          int(m.group(5)), int(m.group(6))))
    return sorted(found)


def header(data):
    magic, size, attr_size, attr_off, attr_size2, data_off, data_size = struct.unpack_from("<8s6Q", data, 0)
    return data_off, data_size


def fileorder(path):
    for offset, _, cpu, time, _, _ in samples(path):
        print(f"{offset} {cpu} {time}")


def cut(path, listing):
    found = samples(path)
    middle = found[len(found) // 2]
    at = middle[0] + 20
    kept = {}
    for offset, size, cpu, time, pid, tid in found:
        if offset + size <= at:
            kept[(cpu, time, tid)] = kept.get((cpu, time, tid), 0) + 1
    line_form = re.compile(r"^\s*.*?\s+(-?\d+)/(-?\d+)\s+\[(\d+)\]\s+(\d+)\.(\d{9}):")
    with open(listing) as source, open(listing + ".cut", "w") as out:
        for line in source:
            m = line_form.match(line)
            key = (int(m.group(3)), int(m.group(4)) * 1000000000 + int(m.group(5)), int(m.group(2)))
            if kept.get(key, 0) > 0:
                kept[key] -= 1
                out.write(line)
    assert not any(kept.values()), "samples of the dump missing from the listing"
    print(at)


def repair(path, donor, out):
    data = bytearray(open(path, "rb").read())
    data_off, _ = header(data)
    at = data_off
    while at + 8 <= len(data):
        size = struct.unpack_from("<H", data, at + 6)[0]
        if size < 8 or at + size > len(data):
            break
        at += size
    del data[at:]
    struct.pack_into("<Q", data, 48, at - data_off)
    struct.pack_into("<4Q", data, 72, 1 << 1, 0, 0, 0)
    given = open(donor, "rb").read()
    donor_off, donor_size = header(given)
    features = struct.unpack_from("<4Q", given, 72)[0]
    assert features & 2, "the donor has no tracing data section"
    tracing_off, tracing_size = struct.unpack_from("<2Q", given, donor_off + donor_size)
    data += struct.pack("<2Q", len(data) + 16, tracing_size)
    data += given[tracing_off:tracing_off + tracing_size]
    open(out, "wb").write(data)


if __name__ == "__main__":
    {"fileorder": fileorder, "cut": cut, "repair": repair}[sys.argv[1]](*sys.argv[2:])
