"""Looks at the built library from outside: exports, needed libraries, version, import files."""

import argparse
import os
import re
import struct
import subprocess
import sys
import tempfile
import unittest

EXPORT = "VLPGetProviderInfo"

# Present on every Windows; names without case.
SYSTEM_DLLS = {
    "kernel32.dll", "advapi32.dll", "user32.dll", "msvcrt.dll", "winspool.drv", "mpr.dll",
    "ole32.dll", "oleaut32.dll", "winmm.dll", "setupapi.dll", "winusb.dll", "cfgmgr32.dll",
}
NEEDED_ON_LINUX = re.compile(
    r"^(libVlpPlatform\.so|libstdc\+\+\.so\.6|libgcc_s\.so\.1|libc\.so\.6|libm\.so\.6|"
    r"ld-linux-x86-64\.so\.2)$")

VERSION_RESOURCE_MARK = struct.pack("<I", 0xFEEF04BD)

options = None


def run(*command):
    """Runs a tool and returns what it says; a tool that fails fails the test."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    output = done.stdout.decode(errors="replace")
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(command)} gave {done.returncode}:\n{output}")
    return output


def imported_dlls(path):
    return {name.lower() for name in
            re.findall(r"DLL Name: (\S+)", run(options.objdump, "-p", path))}


class WindowsLibrary(unittest.TestCase):
    def test_its_name_is_that_of_the_product(self):
        self.assertEqual(os.path.basename(options.library), "VlpBidi.dll")

    def test_it_is_a_64_bit_dll(self):
        self.assertIn("file format pei-x86-64", run(options.objdump, "-f", options.library))

    def test_it_has_one_export_undecorated(self):
        text = run(options.objdump, "-p", options.library)
        table = re.search(r"\[Ordinal/Name Pointer\] Table.*?\n(.*?)\n\s*\n", text, re.DOTALL)
        self.assertIsNotNone(table, "no export table")
        names = [line.split()[-1] for line in table.group(1).splitlines() if line.strip()]
        self.assertEqual(names, [EXPORT])
        count = re.search(r"Export Address Table\s+([0-9a-f]+)", text)
        self.assertEqual(int(count.group(1), 16), 1, "exports without a name")

    def test_it_imports_system_dlls_only(self):
        imported = imported_dlls(options.library)
        self.assertIn("kernel32.dll", imported)
        self.assertEqual(imported - SYSTEM_DLLS, set())

    def test_its_version_resource_gives_the_project_version(self):
        with open(options.library, "rb") as file:
            data = file.read()
        start = data.find(VERSION_RESOURCE_MARK)
        self.assertGreaterEqual(start, 0, "no version resource")
        _, _, high, low, product_high, product_low = struct.unpack_from("<6I", data, start)
        wanted = tuple(int(part) for part in options.version.split("."))
        self.assertEqual((high >> 16, high & 0xFFFF, low >> 16), wanted)
        self.assertEqual((product_high, product_low), (high, low))
        for key, value in (("ProductVersion", options.version), ("FileVersion", options.version),
                           ("OriginalFilename", "VlpBidi.dll")):
            text = (key + "\0").encode("utf-16-le")
            place = data.find(text, start)
            self.assertGreaterEqual(place, 0, key)
            after = data[place + len(text):place + len(text) + 64].lstrip(b"\0")
            self.assertTrue(after.startswith((value + "\0").encode("utf-16-le")), (key, after))

    def link_with(self, import_library):
        """Links a caller of the export with one import library; returns what it imports."""
        folder = os.path.dirname(options.library)
        with tempfile.TemporaryDirectory() as place:
            source = os.path.join(place, "caller.c")
            program = os.path.join(place, "caller.exe")
            with open(source, "w", encoding="ascii") as file:
                file.write(f"int {EXPORT}(void);\nint main(void) {{ return {EXPORT}(); }}\n")
            run(options.compiler, "-o", program, source, os.path.join(folder, import_library))
            return imported_dlls(program)

    def test_the_import_library_for_mingw_links(self):
        self.assertIn("vlpbidi.dll", self.link_with("libVlpBidi.dll.a"))

    def test_the_import_library_in_lib_form_links(self):
        self.assertIn("vlpbidi.dll", self.link_with("VlpBidi.lib"))


class LinuxLibrary(unittest.TestCase):
    def test_its_name_is_that_of_the_product(self):
        self.assertEqual(os.path.basename(options.library), "libVlpBidi.so")
        self.assertFalse(os.path.islink(options.library))

    def test_it_exports_one_symbol(self):
        lines = run(options.nm, "-D", "--defined-only", options.library).splitlines()
        self.assertEqual([line.split()[1:] for line in lines], [["T", EXPORT]])

    def test_it_has_no_unique_symbol_that_would_keep_it_loaded(self):
        kinds = {line.split()[-2] for line in run(options.nm, options.library).splitlines()}
        self.assertNotIn("u", kinds)

    def test_it_needs_the_layer_and_the_compilers_libraries_only(self):
        needed = re.findall(r"NEEDED\s+(\S+)", run(options.objdump, "-p", options.library))
        self.assertIn("libVlpPlatform.so", needed)
        self.assertEqual([name for name in needed if not NEEDED_ON_LINUX.match(name)], [])

    def test_it_looks_for_the_layer_beside_itself_only(self):
        text = run(options.objdump, "-p", options.library)
        self.assertEqual(re.findall(r"(?:RUNPATH|RPATH)\s+(\S+)", text), ["$ORIGIN"])

    def test_it_carries_the_project_version(self):
        text = run(options.objdump, "-s", "-j", ".vlpbidi.version", options.library)
        words = b"".join(bytes.fromhex("".join(line[1:].split(" ", 1)[1][:35].split()))
                         for line in text.splitlines() if re.match(r" [0-9a-f]{4,} ", line))
        self.assertEqual(words, f"VlpBidi {options.version}\0".encode())


def main():
    global options
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--system", required=True, choices=("windows", "linux"))
    for name in ("library", "version", "compiler", "nm", "objdump"):
        parser.add_argument("--" + name, required=True)
    options = parser.parse_args()
    tests = unittest.defaultTestLoader.loadTestsFromTestCase(
        WindowsLibrary if options.system == "windows" else LinuxLibrary)
    result = unittest.TextTestRunner(verbosity=2).run(tests)
    return 0 if result.wasSuccessful() and result.testsRun > 0 else 1


if __name__ == "__main__":
    sys.exit(main())
