"""Makes the linker's stubs (.tbd) of the system libraries.

make_stubs.py SDK SYSTEM_LIBRARIES LIBCXX_NM: SDK is the folder to put them in; SYSTEM_LIBRARIES is
SystemLibraries.txt, or more lines like its; LIBCXX_NM holds the dynamic symbols of a libc++ and its
ABI library as llvm-nm -D --format=just-symbols prints them.
"""
import collections
import pathlib
import sys

TARGET = "arm64-macos"


def stub(install_name, symbols, classes=()):
    lines = ["--- !tapi-tbd", "tbd-version: 4", f"targets: [ {TARGET} ]",
             f"install-name: '{install_name}'", "exports:", f"  - targets: [ {TARGET} ]"]
    if symbols:
        lines.append("    symbols: [ " + ", ".join(f"'{name}'" for name in symbols) + " ]")
    if classes:
        lines.append("    objc-classes: [ " + ", ".join(classes) + " ]")
    return "\n".join(lines + ["...", ""])


def main():
    sdk, listing, libcxx = (pathlib.Path(argument) for argument in sys.argv[1:])
    symbols = collections.defaultdict(list)
    classes = collections.defaultdict(list)
    for line in listing.read_text().splitlines():
        if not line.strip() or line.startswith("#"):
            continue
        library, names = line.split(":")
        for name in names.split():
            if name.startswith("@"):
                classes[library].append(name[1:])
            else:
                symbols[library].append("_" + name)
    for library in sorted(set(symbols) | set(classes)):
        if library == "libobjc":
            path, install = sdk / "usr/lib/libobjc.tbd", "/usr/lib/libobjc.A.dylib"
        elif library.startswith("libswift"):
            path = sdk / f"usr/lib/swift/{library}.tbd"
            install = f"/usr/lib/swift/{library}.dylib"
        else:
            path = sdk / f"System/Library/Frameworks/{library}.framework/{library}.tbd"
            install = f"/System/Library/Frameworks/{library}.framework/Versions/A/{library}"
        path.write_text(stub(install, symbols[library], classes[library]))
    standard = sorted({"_" + name for name in libcxx.read_text().split() if "@" not in name})
    (sdk / "usr/lib/libc++.tbd").write_text(stub("/usr/lib/libc++.1.dylib", standard))


main()
