#!/usr/bin/python3
"""A FUSE file system that shows FOLDER's files as /proc shows its own, but a read behind a file's
last byte fails.

  fail_at_end.py FOLDER MOUNT_POINT     goes into the background when it is mounted
"""
import errno
import os
import stat
import sys

from fusepy import FUSE, FuseOSError, Operations

folder = os.path.abspath(sys.argv[1])


class Failing(Operations):
    def getattr(self, path, fh=None):
        try:
            mode = os.stat(folder + path).st_mode
        except OSError as error:
            raise FuseOSError(error.errno)
        return {"st_mode": mode, "st_size": 0, "st_nlink": 1 if stat.S_ISREG(mode) else 2}

    def readdir(self, path, fh):
        return [".", ".."] + sorted(os.listdir(folder + path))

    def read(self, path, size, offset, fh):
        with open(folder + path, "rb") as file:
            file.seek(offset)
            data = file.read(size)
        if not data:
            raise FuseOSError(errno.EIO)
        return data


FUSE(Failing(), sys.argv[2], direct_io=True, nonempty=True)
