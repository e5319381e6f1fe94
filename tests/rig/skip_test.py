#!/usr/bin/env python3
"""Where no machine can be had the rig says so, loudly, and ends with the status that CTest counts as skipped.

Usage: skip_test.py RIG_TEST
"""
import os
import subprocess
import sys
import tempfile

PROGRAMS = ("qemu-system-x86_64", "busybox", "cpio", "modinfo", "depmod")


def rig(folder, **environment):
    done = subprocess.run([sys.executable, "-B", sys.argv[1], "none", "--watcher", "none", "--cache",
                           os.path.join(folder, "cache")],
                          env={**os.environ, **environment}, capture_output=True, text=True, timeout=120)
    return done.returncode, done.stdout


def main():
    with tempfile.TemporaryDirectory(prefix="lumato-skip-") as folder:
        status, said = rig(folder, PATH="")
        assert status == 77, "without programs: status %d, %s" % (status, said)
        assert "SKIPPED, NOTHING WAS TESTED" in said and "is not installed" in said, said

        # Programs that are there, as far as is asked, and package lists that are empty.
        for program in PROGRAMS:
            os.symlink("/bin/true", os.path.join(folder, program))
        with open(os.path.join(folder, "apt.conf"), "w") as file:
            file.write('Dir::State::Lists "%s/none";\nDir::Cache "%s/none";\nDir::Etc::SourceList "/dev/null";\n'
                       'Dir::Etc::SourceParts "/dev/null";\nDir::State::Status "/dev/null";\n' % (folder, folder))
        status, said = rig(folder, PATH=folder + ":" + os.environ["PATH"], APT_CONFIG=os.path.join(folder, "apt.conf"))
        assert status == 77, "without the kernel's package: status %d, %s" % (status, said)
        assert "SKIPPED, NOTHING WAS TESTED" in said, said
    print("skipped, and says so")


main()
