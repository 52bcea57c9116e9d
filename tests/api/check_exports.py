#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks what the library shows to the outside: the shared one its symbols, its name and what it needs; the object
files, which make up the static one, no names but the fifteen that a program could use for something else.

usage: check_exports.py LIBRARY SANITIZERS OBJECT...

A library built with sanitizers needs their libraries too, and its objects hold names of theirs.
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
# Functions, members, tables and types of the two namespaces and of the standard library; references to handlers of
# exceptions.
OWN = re.compile(r"(_ZT[VTIS]?N?|_ZN[VKRO]*|_Z)(17nalsmith_internal|8nalsmith2v1|S[at]|N9__gnu_cxx)|DW\.ref\.")
LIBRARIES = {"linux-vdso.so.1", "libstdc++.so.6", "libm.so.6", "libgcc_s.so.1", "libc.so.6"}


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def foreign_names(path):
    names = {line.split()[-1] for line in output("nm", "--extern-only", "--defined-only", path).splitlines()}
    return sorted(name for name in names - EXPORTS if not OWN.match(name))


def main():
    library, sanitizers, objects = sys.argv[1], sys.argv[2], sys.argv[3:]
    faults = []
    found = {line.split()[-1] for line in output("nm", "-D", "--defined-only", library).splitlines()}
    faults += [f"exported besides the interface: {name}" for name in sorted(found - EXPORTS)]
    faults += [f"not exported: {name}" for name in sorted(EXPORTS - found)]
    if not re.search(r"SONAME\s+libnalsmith\.so\.1$", output("objdump", "-p", library), re.MULTILINE):
        faults.append("the SONAME is not libnalsmith.so.1")
    if not sanitizers:
        faults += [f"{path}: in no namespace of the library: {name}" for path in objects for name in foreign_names(path)]
        needed = {line.split()[0] for line in output("ldd", library).splitlines()}
        faults += [f"needs {name}" for name in sorted(needed - LIBRARIES) if "ld-linux" not in name]
    if len(objects) < 20:
        faults.append("there are no object files to look at")
    print("\n".join(faults) or "as stated")
    return 1 if faults else 0


sys.exit(main())
