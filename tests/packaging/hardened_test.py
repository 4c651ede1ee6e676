"""The programs are protected against memory errors: hardened_test.py COMPILER PROGRAM...

The compiler makes a program without any of it, which each check must find at fault.
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

compiler, programs = sys.argv[1], sys.argv[2:]
del sys.argv[1:]

# The first instruction of a function with control-flow protection, by machine.
LANDING = {"X86-64": r"endbr64", "AArch64": r"(bti|paciasp)"}

UNPROTECTED = """
#include <cstdio>
#include <cstring>
__attribute__((noinline)) void copy(const char* text) { char room[64]; std::strcpy(room, text); std::puts(room); }
int main(int, char** argv) { copy(argv[0]); return 0; }
"""
WITHOUT = ["-O1", "-U_FORTIFY_SOURCE", "-fno-stack-protector", "-fcf-protection=none", "-no-pie", "-fno-pie",
           "-Wl,-z,norelro", "-Wl,-z,lazy", "-Wl,-z,execstack"]


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True,
                          env={**os.environ, "LC_ALL": "C"}).stdout


def is_position_independent(program):
    return re.search(r"\(FLAGS_1\).*\bPIE\b", output("readelf", "-dW", program)) is not None


def binds_all_symbols_at_the_start(program):
    return re.search(r"\(FLAGS_1\).*\bNOW\b", output("readelf", "-dW", program)) is not None


def has_relocations_read_only(program):
    return "GNU_RELRO" in output("readelf", "-lW", program)


def has_no_executable_stack(program):
    return re.search(r"GNU_STACK.* RW ", output("readelf", "-lW", program)) is not None


def protects_the_stack(program):
    return "__stack_chk_fail" in output("readelf", "-W", "--dyn-syms", program)


def uses_fortified_functions(program):
    return re.search(r"__(?!stack)\w+_chk\b", output("readelf", "-W", "--dyn-syms", program)) is not None


def protects_the_control_flow(program):
    machine = re.search(r"Machine:\s*(.*)", output("readelf", "-hW", program)).group(1)
    landing = next((pattern for name, pattern in LANDING.items() if name in machine), None)
    if landing is None:
        return True
    code = output("objdump", "-d", "--no-show-raw-insn", "--disassemble=main", program)
    return re.search(r"<main>:\n\s*[0-9a-f]+:\s*" + landing, code) is not None


CHECKS = [is_position_independent, binds_all_symbols_at_the_start, has_relocations_read_only, has_no_executable_stack,
          protects_the_stack, uses_fortified_functions, protects_the_control_flow]


class Hardened(unittest.TestCase):

    def test_every_program_has_every_protection(self):
        self.assertGreater(len(programs), 0)
        for program in programs:
            for check in CHECKS:
                with self.subTest(program=os.path.basename(program), check=check.__name__):
                    self.assertTrue(check(program))

    @unittest.skipUnless(os.uname().machine == "x86_64", "the flags of the program without protection are for x86-64")
    def test_a_program_without_protection_fails_every_check(self):
        with tempfile.TemporaryDirectory() as folder:
            source = pathlib.Path(folder, "bare.cpp")
            source.write_text(UNPROTECTED, encoding="utf-8")
            subprocess.run([compiler, *WITHOUT, str(source), "-o", f"{folder}/bare"], check=True)
            for check in CHECKS:
                with self.subTest(check=check.__name__):
                    self.assertFalse(check(f"{folder}/bare"))


unittest.main(verbosity=2)
