"""Reads every file of a folder with zmimport on a Dask cluster, one task per file, and
concatenates the sheets into one pandas DataFrame (a "file" column says where each row
came from). A file that cannot be read costs only its own rows: the others are kept and
the files that failed are listed at the end, with the reason, on standard error.

    /usr/bin/python3 many_files.py FOLDER [--workers 4] [--pattern '*.csv']
    /usr/bin/python3 many_files.py FOLDER --scheduler tcp://host:8786

Without --scheduler a LocalCluster of worker processes runs on this machine; with it the
same tasks go to an existing Dask cluster, whose workers must have the zmimport module
installed.
"""
import argparse
import glob
import os
import sys

import pandas


def read_one(path, options=None):
    """One file as a DataFrame, its first row naming the columns."""
    import zmimport

    frame = zmimport.read(path, options=options).to_pandas()
    frame.insert(0, "file", os.path.basename(path))
    return frame


def read_folder(client, folder, pattern="*", options=None):
    """Every file of `folder` matching `pattern`, read on the cluster behind `client`:
    the DataFrame of the files read, and (path, reason) for each file that was not."""
    paths = sorted(p for p in glob.glob(os.path.join(folder, pattern)) if os.path.isfile(p))
    futures = client.map(read_one, paths, options=options)
    frames, failures = [], []
    for path, future in zip(paths, futures):
        try:
            frames.append(future.result())
        except Exception as error:  # a reader's refusal, or a worker that died on the file
            failures.append((path, str(error)))
    frame = pandas.concat(frames, ignore_index=True) if frames else pandas.DataFrame()
    return frame, failures


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("folder")
    parser.add_argument("--pattern", default="*")
    parser.add_argument("--workers", type=int, default=2)
    parser.add_argument("--scheduler", help="address of an existing Dask scheduler")
    args = parser.parse_args()

    from dask.distributed import Client, LocalCluster

    if args.scheduler:
        with Client(args.scheduler) as client:
            frame, failures = read_folder(client, args.folder, args.pattern)
    else:
        with LocalCluster(n_workers=args.workers, threads_per_worker=1, processes=True,
                          dashboard_address=None) as cluster, Client(cluster) as client:
            frame, failures = read_folder(client, args.folder, args.pattern)
    print(frame.shape[0], "rows from", frame["file"].nunique() if len(frame) else 0, "files")
    print(frame.head())
    if failures:
        print(len(failures), "files could not be read:", file=sys.stderr)
        for path, reason in failures:
            print("  %s: %s" % (path, reason), file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
