"""Times zab.write and zab.read on a DataFrame of N records (default 10,000,000):
a dense 3-dimensional parameter with categorical label columns and random values.

    ZAB_LIBRARY=build/bin/libzabcclib64.so PYTHONPATH=python \\
        /usr/bin/python3 bench/python_bench.py [records] [dir]
"""
import os
import sys
import time

import numpy as np
import pandas as pd

import zab


def main():
    n = int(sys.argv[1]) if len(sys.argv) > 1 else 10_000_000
    path = os.path.join(sys.argv[2] if len(sys.argv) > 2 else "/tmp", "bench_python.zab")
    side = 1
    while side ** 3 < n:
        side += 1
    r = np.arange(n)
    labels = pd.Index(["label%d" % i for i in range(1, side + 1)], dtype=object)
    cat = lambda codes: pd.Categorical.from_codes(codes.astype(np.int32), categories=labels)
    df = pd.DataFrame({"dim1": cat(r // (side * side)), "dim2": cat(r // side % side),
                       "dim3": cat(r % side),
                       "value": np.random.default_rng(42).uniform(-1e6, 1e6, n)})
    best_w = best_r = 1e9
    for _ in range(3):
        t0 = time.perf_counter()
        zab.write(path, {"p": df})
        best_w = min(best_w, time.perf_counter() - t0)
        t0 = time.perf_counter()
        z = zab.read(path)
        best_r = min(best_r, time.perf_counter() - t0)
    back = z["p"]
    assert len(back) == n and np.array_equal(back["value"].to_numpy(), df["value"].to_numpy())
    assert all((back[c].astype(str) == df[c].astype(str)).all() for c in ("dim1", "dim2", "dim3"))
    print("records: %d, file %d bytes" % (n, os.path.getsize(path)))
    print("zab.write: best of 3 %.3f s = %.1f M records/s" % (best_w, n / best_w / 1e6))
    print("zab.read:  best of 3 %.3f s = %.1f M records/s" % (best_r, n / best_r / 1e6))
    os.remove(path)


if __name__ == "__main__":
    main()
