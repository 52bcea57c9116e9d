#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks that the library keeps no state of its own and asks for no service: no writable data in any object
file, and nothing imported but memory, exceptions and the run-time support of the language.

usage: check_isolation.py LIBRARY OBJECT...
"""
import re
import subprocess
import sys

ALLOWED = re.compile(
    r"(malloc|realloc|free|memcpy|memmove|memset|memcmp|pow"  # memory, mathematics
    r"|__(memcpy|memmove|memset)_chk|__stack_chk_fail"  # their checked forms
    r"|_Znwm|_ZnwmRKSt9nothrow_t|_ZdlPv|_ZdlPvm|_ZSt7nothrow"  # operator new and delete
    r"|_ZSt\d+__throw_length_errorPKc|_ZSt\d+__throw_bad_(alloc|array_new_length)v"
    r"|__cxa_(begin_catch|end_catch|rethrow|pure_virtual|finalize|call_unexpected)|_Unwind_Resume"
    r"|__gxx_personality_v0|_ZSt9terminatev"
    r"|_ZTVN10__cxxabiv1\d+__(si_)?class_type_infoE|_ZTISt9exception"  # types
    r"|_ITM_(de)?registerTMCloneTable|__gmon_start__|__cpu_model|__cpu_indicator_init)$")
# Not what only the loader writes: constants that hold addresses, and the compiler's references to the handlers of
# exceptions.
WRITABLE = re.compile(
    r"^\.(data|bss|tdata|tbss|init_array|fini_array|ctors|dtors)(?!\.rel\.ro|\.rel\.local\.DW\.ref\.)")


def lines(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.splitlines()


def main():
    library, objects = sys.argv[1], sys.argv[2:]
    faults = []
    imports = {line.split()[-1].split("@")[0] for line in lines("nm", "-D", "--undefined-only", library)}
    faults += [f"imports {name}" for name in sorted(imports) if not ALLOWED.match(name)]
    for path in objects:
        for line in lines("size", "-A", path):
            fields = line.split()
            if len(fields) == 3 and WRITABLE.match(fields[0]) and fields[1] != "0":
                faults.append(f"{path}: {fields[1]} bytes in {fields[0]}")
    if "malloc" not in imports or len(objects) < 20:
        faults.append("there is nothing to look at")
    print("\n".join(faults) or f"{len(imports)} imports, {len(objects)} object files without state")
    return 1 if faults else 0


sys.exit(main())
