#!/usr/bin/env python3
"""floors.py [ROOT]: holds the tree to the rules that a compiler does not check.

Prints one line "FILE:LINE: what is wrong" for each finding; exit status 1 if there is any.
The rules stand in the tables below; each exception carries its reason.
"""

import os
import re
import subprocess
import sys

# Includes run downward. Two rooms of one floor may know each other in one direction only.
FLOORS = {
    "include": 1,
    "support": 2,
    "profile": 3, "diag": 3,
    "d4": 4, "language": 4, "bidi": 4,
    "device": 5,
    "printer": 6,
    "operations": 7, "provider": 7,
}
# What the folders beside the floors may include of this project, besides themselves. The
# monitor is a customer: it sees the installed header and nothing else.
OTHERS = {
    "simulator": {"include"},
    "platform": {"include", "simulator"},
    "monitor": {"include"},
    # Clock and faults are the layer's; what is tested is behind the seven operations.
    "tests/system": {"include", "tests/support", "platform", "simulator"},
}
# In the tests, the file that lays out the native world writes files as another program
# would, from outside; its twin for Wine stands beside it.
NATIVE_TWIN = re.compile(r"^tests/.*_native\.cpp$")
FILES_OF_THE_LIBRARY = re.compile(r"fstream|filesystem|fopen")
PRODUCT = set(FLOORS) | {"monitor"}
# All waiting and every clock of these goes through the Windows calls, which tests control.
OWN_CALLS_ONLY = PRODUCT | {"tests/system"} | {
    "tests/" + room for room in PRODUCT} | {"tests/support_unit"}
# In the layer the standard library's threads and files are what the calls are made of.
NARROW_TEXT = OWN_CALLS_ONLY | {"platform", "simulator", "tests/platform", "tests/windows",
                                "tests/simulator", "tests/support"}

BANNED_HEADERS = {
    "thread", "mutex", "shared_mutex", "condition_variable", "chrono", "fstream", "filesystem",
    "future", "semaphore", "latch", "barrier", "stop_token", "pthread.h", "unistd.h", "time.h",
    "ctime", "dlfcn.h",
}
BANNED_NAMES = re.compile(
    r"\bstd::(jthread|thread|mutex|timed_mutex|recursive_mutex|shared_mutex|lock_guard|"
    r"unique_lock|scoped_lock|condition_variable\w*|chrono|this_thread|async|future|promise|"
    r"[io]?fstream|filesystem|call_once)\b|\bpthread_\w+|\bthis_thread\b|\bfopen\s*\(|"
    r"\b(usleep|nanosleep|clock_gettime|gettimeofday)\s*\(")
WIDE = re.compile(r'(?<![A-Za-z0-9_])L(?=["\'])|\bwchar_t\b|\bwcs\w+\b|\bstd::w(string|string_view)\b')
PLATFORM_MACRO = re.compile(
    r"^\s*#\s*(?:if|ifdef|ifndef|elif)\b.*\b(_?WIN32|_WIN64|__WIN\w+|__linux__|__linux|linux|"
    r"__unix__|__unix|__APPLE__|__MINGW\w+|__CYGWIN__|_MSC_VER)\b")
SDK_SWITCH = re.compile(
    r"^\s*#\s*define\s+(NOMINMAX|WIN32_LEAN_AND_MEAN|_?UNICODE|_WIN32_WINNT|WINVER)\b")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')

SOURCES = (".cpp", ".h", ".c")
LENGTH_CHECKED = SOURCES + (".py", ".cmake", ".sh", "CMakeLists.txt")
LONGEST = 500
# Longer files, each with the reason why it stays in one piece.
LONG_FILES = {}
# Folders without a README of their own, each with the reason.
NO_README = {
    ".": "the README of the whole project stands there and is checked by its own line",
    ".ci": "one script, which says what it does",
    "docs": "documents only",
    "docs/example": "one program, which the integration guide explains",
    "platform/include": "described in the README of platform",
}
# Files of described machines and of tests: data, laid out as their readers want it.
DATA_FOLDER = re.compile(r"^(machines/[^/]+(/.*)?|tests/(.*/)?data(/.*)?|fuzz/corpus(/.*)?)$")


def strip_code(text):
    """Blanks out comments and the insides of literals; lines and the quotes stay."""
    token = re.compile(
        r'//[^\n]*|/\*.*?\*/|R"([^(\s]*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|'
        r"(?<![0-9A-Fa-f])'(?:\\.|[^'\\\n])*'", re.DOTALL)

    def blank(match):
        found = match.group(0)
        newlines = "\n" * found.count("\n")
        return newlines or " " if found.startswith("/") else found[0] * 2 + newlines

    return token.sub(blank, text)


def list_files(root):
    """The files of the tree, without what git ignores; all files where there is no git."""
    git = subprocess.run(
        ["git", "-C", root, "ls-files", "-co", "--exclude-standard", "-z"],
        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
    if git.returncode == 0:
        names = [name for name in git.stdout.decode().split("\0") if name]
    else:
        names = [os.path.relpath(os.path.join(folder, name), root)
                 for folder, _, files in os.walk(root) for name in files]
    return sorted({name for name in names if os.path.isfile(os.path.join(root, name))})


def room_of(name):
    """The folder that the rules are about: the top one, or the one below tests/."""
    parts = name.split("/")
    if len(parts) == 1:
        return "."
    return "/".join(parts[:2]) if parts[0] == "tests" and len(parts) > 2 else parts[0]


class Checker:
    """One pass over a tree; findings are collected as texts."""

    def __init__(self, root):
        self.root = root
        self.files = list_files(root)
        self.known = set(self.files)
        self.findings = []
        self.sideways = {}
        self.named = {}

    def report(self, name, line, text):
        self.findings.append(f"{name}:{line}: {text}")

    def run(self):
        for name in self.files:
            if name.endswith(SOURCES):
                self.check_source(name)
            if name.endswith(LENGTH_CHECKED) and not DATA_FOLDER.match(os.path.dirname(name)):
                self.check_length(name)
        self.check_sideways()
        self.check_build_files()
        self.check_readmes()
        return self.findings

    def read(self, name):
        with open(os.path.join(self.root, name), encoding="utf-8", errors="replace") as file:
            return file.read()

    def check_source(self, name):
        text = self.read(name)
        room = room_of(name)
        for number, line in enumerate(text.split("\n"), 1):
            match = INCLUDE.match(line)
            if match:
                self.check_include(name, number, room, match.group(2))
        for number, line in enumerate(strip_code(text).split("\n"), 1):
            if room in OWN_CALLS_ONLY:
                for match in BANNED_NAMES.finditer(line):
                    if self.may_write_files(name, match.group(0)):
                        continue
                    self.report(name, number, f"{match.group(0)} escapes the Windows calls and "
                                "the clock of the tests")
            if room in NARROW_TEXT and not name.startswith("platform/include/"):
                for match in WIDE.finditer(line):
                    self.report(name, number, f"{match.group(0)}: wide text is WCHAR and TEXT(), "
                                "16 bits on both systems")
            if room in PRODUCT:
                match = PLATFORM_MACRO.match(line)
                if match:
                    self.report(name, number, f"{match.group(1)}: the product has one source for "
                                "both systems")
            if not name.startswith("platform/include/") and SDK_SWITCH.match(line):
                self.report(name, number, "the SDK's switches are set in cmake/settings.cmake")

    def check_include(self, name, number, room, target):
        if room in OWN_CALLS_ONLY and target in BANNED_HEADERS:
            if not self.may_write_files(name, target):
                self.report(name, number, f"<{target}> escapes the Windows calls and the clock "
                            "of the tests")
        if target.startswith(("../", "./")):
            self.report(name, number, f'"{target}": includes are written from the root')
            return
        other = room_of(target)
        # The installed header is included by its bare name; the SDK's are not ours.
        if "include/" + target in self.known:
            other = "include"
        elif target not in self.known:
            return
        if other == room:
            return
        if room in FLOORS:
            self.check_floor(name, number, room, other)
        elif room in OTHERS and other not in OTHERS[room]:
            self.report(name, number, f"{room} may not include {other}")

    @staticmethod
    def may_write_files(name, what):
        return NATIVE_TWIN.match(name) and FILES_OF_THE_LIBRARY.search(what)

    def check_floor(self, name, number, room, other):
        if other not in FLOORS:
            self.report(name, number, f"the product may not include {other}")
        elif FLOORS[other] > FLOORS[room]:
            self.report(name, number, f"{room} (floor {FLOORS[room]}) may not include {other} "
                        f"(floor {FLOORS[other]})")
        elif FLOORS[other] == FLOORS[room]:
            self.sideways.setdefault((room, other), (name, number))

    def check_sideways(self):
        for (room, other), (name, number) in sorted(self.sideways.items()):
            if room < other and (other, room) in self.sideways:
                self.report(name, number, f"{room} and {other} include each other")

    def check_length(self, name):
        lines = self.read(name).count("\n")
        if lines > LONGEST and name not in LONG_FILES:
            self.report(name, lines, f"{lines} lines, more than {LONGEST}; one file, one subject")
        if lines <= LONGEST and name in LONG_FILES:
            self.report(name, lines, "is listed as a long file and is none")

    def check_build_files(self):
        for name in self.files:
            if not name.endswith((".cpp", ".c")) or DATA_FOLDER.match(os.path.dirname(name)):
                continue
            if not self.is_built(name):
                self.report(name, 1, "no CMakeLists.txt names this file, so nobody builds it")

    def is_built(self, name):
        folder = os.path.dirname(name)
        while True:
            relative = os.path.relpath(name, folder or ".")
            if any(pattern.fullmatch(relative) for pattern in self.sources_named_in(folder)):
                return True
            if not folder:
                return False
            folder = os.path.dirname(folder)

    def sources_named_in(self, folder):
        """Patterns of the sources that the build files in one folder name. A variable within
        a name, as a loop over subjects has it, stands for any text."""
        if folder not in self.named:
            words = set()
            for name in self.files:
                if os.path.dirname(name) == folder and name.endswith(("CMakeLists.txt", ".cmake")):
                    text = re.sub(r"#[^\n]*", "", self.read(name))
                    text = re.sub(r"\$\{(CMAKE_CURRENT_\w+_DIR|PROJECT_SOURCE_DIR)\}/", "", text)
                    words.update(re.findall(r"[\w./${}-]+\.(?:cpp|c)(?![\w.])", text))
            self.named[folder] = [
                re.compile(r"\w+".join(re.escape(part) for part in re.split(r"\$\{\w+\}", word)))
                for word in words]
        return self.named[folder]

    def check_readmes(self):
        folders = {os.path.dirname(name) or "." for name in self.files}
        for folder in sorted(folders):
            readme = os.path.join(folder, "README.md")
            if folder in NO_README or DATA_FOLDER.match(folder):
                continue
            if readme not in self.known:
                self.report(folder, 0, "has no README.md")
        if "README.md" not in self.known:
            self.report(".", 0, "has no README.md")


def main(arguments):
    root = arguments[1] if len(arguments) > 1 else os.path.join(os.path.dirname(__file__), "..")
    findings = Checker(os.path.abspath(root)).run()
    for finding in findings:
        print(finding)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
