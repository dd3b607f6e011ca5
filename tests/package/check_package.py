"""Makes the zip, unpacks it into an empty folder, looks at what is in it, builds a customer's
programs against it and runs them."""

import argparse
import os
import subprocess
import sys
import tempfile
import zipfile

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))

EVERYWHERE = [
    "include/vlpbidi.h",
    "lib/cmake/VlpBidi/VlpBidiConfig.cmake",
    "lib/cmake/VlpBidi/VlpBidiConfigVersion.cmake",
    "share/doc/vlpbidi/README.md",
    "share/doc/vlpbidi/docs/integration.md",
    "share/doc/vlpbidi/docs/security.md",
    "share/doc/vlpbidi/docs/example/monitor.c",
]
OF_SYSTEM = {
    "windows": ["bin/VlpBidi.dll", "bin/vlpmon.exe", "lib/libVlpBidi.dll.a", "lib/VlpBidi.lib",
                "lib/provider.def"],
    "linux": ["bin/vlpmon", "lib/vlpbidi/libVlpBidi.so", "lib/vlpbidi/libVlpPlatform.so",
              "lib/vlpbidi/vlpmon", "lib/vlpbidi/machines/demo/machine.reg",
              "lib/pkgconfig/vlpbidi.pc", "include/vlpbidi/sdk/windows.h"],
}


def run(words, **named):
    done = subprocess.run(words, capture_output=True, text=True, stdin=subprocess.DEVNULL, **named)
    if done.returncode != 0:
        sys.exit(f"{words} gives {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def expect(condition, text):
    if not condition:
        sys.exit(text)


def unpack(archive, folder):
    """As unzip does, with modes and links, which zipfile leaves out."""
    with zipfile.ZipFile(archive) as zipped:
        for info in zipped.infolist():
            mode = info.external_attr >> 16
            if mode & 0o170000 == 0o120000:
                path = os.path.join(folder, info.filename)
                os.makedirs(os.path.dirname(path), exist_ok=True)
                os.symlink(zipped.read(info).decode(), path)
                continue
            path = zipped.extract(info, folder)
            if mode and not info.is_dir():
                os.chmod(path, mode & 0o777)


def make_zip(options, folder):
    run([options.cpack, "-G", "ZIP", "-B", folder, "--config",
         os.path.join(options.build, "CPackConfig.cmake")], cwd=folder)
    [archive] = [name for name in os.listdir(folder) if name.endswith(".zip")]
    expect(archive.startswith(f"VlpBidi-{options.version}-"), archive)
    return os.path.join(folder, archive)


def build_consumer(options, package, folder):
    words = [options.cmake, "-G", "Ninja", "-S", os.path.join(HERE, "consumer"), "-B", folder,
             "-DCMAKE_PREFIX_PATH=" + package, "-DWANTED_VERSION=" + options.version,
             "-DEXAMPLE=" + os.path.join(package, "share/doc/vlpbidi/docs/example/monitor.c")]
    if options.toolchain:
        # The toolchain looks for packages below its own root only.
        words += ["-DCMAKE_TOOLCHAIN_FILE=" + options.toolchain,
                  "-DVlpBidi_DIR=" + os.path.join(package, "lib/cmake/VlpBidi")]
    run(words)
    run([options.cmake, "--build", folder])


def check_linux(options, package, folder):
    env = dict(os.environ, PKG_CONFIG_PATH=os.path.join(package, "lib/pkgconfig"))
    env.pop("VLPBIDI_MACHINE", None)
    flags = run(["pkg-config", "--cflags", "--libs", "vlpbidi"], env=env).split()
    expect(run(["pkg-config", "--modversion", "vlpbidi"], env=env).strip() == options.version,
           "pkg-config tells another version")
    by_hand = os.path.join(folder, "by_hand")
    run([options.compiler, os.path.join(HERE, "consumer/linked.c"), "-o", by_hand] + flags)
    linked = os.path.join(folder, "linked")
    for program in (by_hand, linked):
        expect(run([program], env=env) == "7 operations\n", program + " tells something else")
    told = run([os.path.join(folder, "loaded"), os.path.join(package, "lib/vlpbidi/libVlpBidi.so"),
                "Warehouse"], env=env)
    expect(told == "Warehouse: GetConnectInf gives -19\n", told)
    told = run([os.path.join(package, "bin/vlpmon"), "list"], env=env)
    expect("Quillon Colour 4200" in told, told)


def check_windows(package, folder):
    env = dict(os.environ, WINEPATH="Z:" + os.path.join(package, "bin"))
    wine = os.path.join(ROOT, "scripts/run_under_wine")
    told = run([wine, os.path.join(folder, "linked.exe")], env=env)
    expect(told.replace("\r", "") == "7 operations\n", told)
    told = run([wine, os.path.join(folder, "loaded.exe"), "VlpBidi.dll", "Nobody's"], env=env)
    expect(told.replace("\r", "") == "Nobody's: GetConnectInf gives -1\n", told)
    told = run([wine, os.path.join(package, "bin/vlpmon.exe"), "--help"], env=env)
    expect("vlpmon" in told, told)


def main():
    parser = argparse.ArgumentParser()
    for name in ("system", "build", "version", "cmake", "cpack", "compiler"):
        parser.add_argument("--" + name, required=True)
    parser.add_argument("--toolchain", nargs="?", default="")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        made, package, consumer = (os.path.join(folder, name) for name in ("made", "pkg", "consumer"))
        for new in (made, package):
            os.mkdir(new)
        unpack(make_zip(options, made), package)
        [top] = os.listdir(package)
        package = os.path.join(package, top)
        for name in EVERYWHERE + OF_SYSTEM[options.system]:
            expect(os.path.exists(os.path.join(package, name)), name + " isn't in the zip")
        for path, _, names in os.walk(package):
            for name in names:
                if not name.endswith((".cmake", ".pc")):
                    continue
                with open(os.path.join(path, name), encoding="utf-8") as file:
                    text = file.read()
                for outside in (ROOT, options.build):
                    expect(outside not in text, name + " names a folder of the build")
        build_consumer(options, package, consumer)
        if options.system == "windows":
            check_windows(package, consumer)
        else:
            check_linux(options, package, consumer)
    print("the package holds what it should, and serves")


main()
