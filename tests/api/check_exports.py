#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks what the shared library shows to the outside: its symbols, its name and what it needs.

usage: check_exports.py LIBRARY [SANITIZERS]

A library built with sanitizers needs their libraries too.
"""
import re
import subprocess
import sys

EXPORTS = {
    "_Z11ParseCreatePPv14VideoCodecTypejj",
    "_Z12ParseReleasePv",
    "_Z19SetParameterSetDataPvPhjS0_j",
    "_Z19GetParameterSetDataPvPhjP16ParameterSetData",
    "_Z16ParseVideoParamsPvPKhjP9VideoInfo",
    "_Z15VideoSampleTestPvPKhjP11VideoInfoEx",
    "_Z9QueryTypePvPKhjR12VideoPicType",
    "_Z12SetVideoDataPvPhj",
    "_Z10GetNalUnitPvPPhPjPbS2_",
    "_Z15GetNalFromFramePvPhjPjPPS0_PS1_",
    "_Z14UserDataCreatePPv14VideoCodecType",
    "_Z15UserDataReleasePv",
    "_Z11AddUserDataPvPKhjS1_jPS1_Pj",
    "_Z11GetUserDataPvPKhjPS1_Pj",
    "_Z14RemoveUserDataPvPKhjPS1_Pj",
}
LIBRARIES = {"linux-vdso.so.1", "libstdc++.so.6", "libm.so.6", "libgcc_s.so.1", "libc.so.6"}


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def main():
    library = sys.argv[1]
    faults = []
    found = {line.split()[-1] for line in output("nm", "-D", "--defined-only", library).splitlines()}
    faults += [f"exported besides the interface: {name}" for name in sorted(found - EXPORTS)]
    faults += [f"not exported: {name}" for name in sorted(EXPORTS - found)]
    if not re.search(r"SONAME\s+libnalsmith\.so\.1$", output("objdump", "-p", library), re.MULTILINE):
        faults.append("the SONAME is not libnalsmith.so.1")
    if not any(sys.argv[2:]):
        needed = {line.split()[0] for line in output("ldd", library).splitlines()}
        faults += [f"needs {name}" for name in sorted(needed - LIBRARIES) if "ld-linux" not in name]
    print("\n".join(faults) or "as stated")
    return 1 if faults else 0


sys.exit(main())
