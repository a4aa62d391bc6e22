#!/usr/bin/python3
"""Compares sweep dumps (tests/c/sweep_dump.c) of one simulated sweep taken through different
builds: the first file is the reference. Headers (path, frame, packet counter) and sample
indices must match exactly; samples must agree to within 1e-9 of the largest magnitude in the
reference (the builds round differently at most in the last bits). Exits 1 on any difference."""
import sys


def read(path):
    headers, samples = [], {}
    with open(path) as f:
        for line in f:
            fields = line.split()
            if fields[0] == "path":
                headers.append(line.strip())
            else:
                samples[(len(headers), *fields[:3])] = (float(fields[3]), float(fields[4]))
    return headers, samples


def main(reference_path, *others):
    headers, reference = read(reference_path)
    scale = max((abs(complex(*v)) for v in reference.values()), default=0.0)
    if not reference or scale == 0.0:
        print(f"compare-sweeps: {reference_path} holds no signal")
        return 1
    failed = False
    for path in others:
        other_headers, other = read(path)
        if other_headers != headers or other.keys() != reference.keys():
            print(f"compare-sweeps: {path} differs in shape (paths, frames, packets or points)")
            failed = True
            continue
        worst = max(abs(complex(*other[k]) - complex(*reference[k])) for k in reference)
        identical = sum(other[k] == reference[k] for k in reference)
        print(f"compare-sweeps: {path}: {len(reference)} samples, {identical} bit-identical, "
              f"largest difference {worst / scale:.3g} of full scale")
        failed |= worst > 1e-9 * scale
    return 1 if failed else 0


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(f"usage: {sys.argv[0]} REFERENCE OTHER...")
    sys.exit(main(*sys.argv[1:]))
