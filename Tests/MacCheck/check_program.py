"""Looks at a program built for macOS with LLVM's tools: its processor and oldest system, the property
list inside, the signature, and whose every undefined symbol is.

check_program.py PROGRAM SYSTEM_LIBRARIES
"""
import plistlib
import re
import subprocess
import sys

TEXTS = {
    "NSMicrophoneUsageDescription":
        "Tolvane uses the microphone to record meeting audio for transcription and notes.",
    "NSAudioCaptureUsageDescription":
        "Tolvane records system audio played on this Mac (meetings, playback) for transcription "
        "and notes.",
    "NSSpeechRecognitionUsageDescription":
        "Tolvane uses on-device speech recognition to provide live transcription during meetings.",
}
LIBRARIES = {
    "/usr/lib/libSystem.B.dylib", "/usr/lib/libc++.1.dylib", "/usr/lib/libobjc.A.dylib",
} | {f"/System/Library/Frameworks/{name}.framework/Versions/A/{name}"
     for name in ("AVFAudio", "AVFoundation", "CoreAudio", "CoreFoundation", "CoreMedia",
                  "Foundation", "Speech")}


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def check(condition, message):
    if not condition:
        sys.exit(f"check_program: {message}")


def property_list(program):
    """Bytes of the section __TEXT,__info_plist."""
    commands = run("llvm-otool-14", "-l", program)
    section = re.search(r"sectname __info_plist\n\s+segname __TEXT\n\s+addr \S+\n\s+size (\S+)\n"
                        r"\s+offset (\d+)", commands)
    check(section, "no section __TEXT,__info_plist")
    with open(program, "rb") as file:
        file.seek(int(section.group(2)))
        return plistlib.loads(file.read(int(section.group(1), 16))), commands


def main():
    program, listing = sys.argv[1:]
    plist, commands = property_list(program)
    for key, text in TEXTS.items():
        check(plist.get(key) == text, f"{key} is {plist.get(key)!r}")
    check(plist.get("CFBundleIdentifier") == "com.tolvane.tapwell", "wrong bundle identifier")

    header = run("llvm-otool-14", "-h", program)
    check(re.search(r"0xfeedfacf\s+16777228\s", header), f"no 64-bit ARM program: {header}")
    check(re.search(r"cmd LC_BUILD_VERSION\n\s+cmdsize \d+\n\s+platform (1|macos)\n"
                    r"\s+(sdk \S+\n\s+)?minos 15\.0", commands), "not built for macOS 15.0")
    check("cmd LC_CODE_SIGNATURE" in commands, "no signature")

    linked = {line.split()[0] for line in run("llvm-otool-14", "-L", program).splitlines()[1:]}
    check(linked <= LIBRARIES, f"links {sorted(linked - LIBRARIES)}")
    symbols = run("llvm-nm-14", "--undefined-only", "--format=just-symbols", program).split()
    known = set()
    with open(listing) as file:
        for line in file:
            if line.strip() and not line.startswith("#"):
                for name in line.split(":")[1].split():
                    known.add("_OBJC_CLASS_$_" + name[1:] if name[0] == "@" else "_" + name)
    used = [name for name in symbols if name in known]
    check(used, "uses nothing of the system's frameworks")
    print(f"a program for macOS 15.0 on ARM: {len(plist)} properties, {len(linked)} libraries, "
          f"{len(symbols)} symbols of the system, {len(used)} of them of its frameworks")


main()
