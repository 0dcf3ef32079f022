#!/usr/bin/env python3
"""Writes jump stubs for the functions of a shared library.

A program that links the stubs calls the library's functions by their names; each stub is one indirect jump through a
table that is filled when the library is loaded. A jump leaves every register and the stack as the caller set them, so a
stub fits any signature.
"""

import argparse
import pathlib
import subprocess
import sys

NAMESPACE = "_ZN6Lumora"  # mangled names of namespace Lumora: only the public interface is of interest
CONST_MEMBER = "_ZNK6Lumora"


def exported_functions(nm: str, library: str) -> list[str]:
    listing = subprocess.run(
        [nm, "--dynamic", "--defined-only", library], check=True, capture_output=True, text=True
    ).stdout
    names = set()
    for line in listing.splitlines():
        fields = line.split()
        if len(fields) == 3 and fields[1] == "T" and fields[2].startswith((NAMESPACE, CONST_MEMBER)):
            names.add(fields[2].split("@")[0])
    return sorted(names)


def jump(processor: str, index: int) -> list[str]:
    if processor in ("x86_64", "AMD64", "amd64"):
        return ["    endbr64", f"    jmp *lumora_stub_targets+{8 * index}(%rip)"]
    # x16 is the register that the calling convention leaves to code between caller and function.
    return [
        "    hint #34",  # bti c
        f"    adrp x16, lumora_stub_targets+{8 * index}",
        f"    ldr x16, [x16, #:lo12:lumora_stub_targets+{8 * index}]",
        "    br x16",
    ]


def not_loaded(processor: str, index: int) -> list[str]:
    """The first target of each stub: tells the loader's code which function was called too early."""
    if processor in ("x86_64", "AMD64", "amd64"):
        return ["    endbr64", f"    movl ${index}, %edi", "    andq $-16, %rsp", "    call lumora_stub_not_loaded"]
    return ["    hint #34", f"    mov w0, #{index & 0xffff}", f"    movk w0, #{index >> 16}, lsl #16",
            "    bl lumora_stub_not_loaded"]


def assembly(processor: str, names: list[str]) -> str:
    out = ["    .text"]
    for index, name in enumerate(names):
        out += [f"    .globl {name}", f"    .hidden {name}", f"    .type {name}, %function", "    .balign 16", f"{name}:"]
        out += jump(processor, index)
        out += [f"    .size {name}, .-{name}"]
    for index, _ in enumerate(names):
        out += [f"not_loaded_{index}:"] + not_loaded(processor, index)
    out += ["    .section .data.rel.local,\"aw\"", "    .balign 8", "    .globl lumora_stub_targets",
            "    .hidden lumora_stub_targets", "lumora_stub_targets:"]
    out += [f"    .quad not_loaded_{index}" for index, _ in enumerate(names)]
    out += ["    .section .rodata"]
    out += [f'name_{index}: .asciz "{name}"' for index, name in enumerate(names)]
    out += ["    .section .data.rel.ro.local,\"aw\"", "    .balign 8", "    .globl lumora_stub_names",
            "    .hidden lumora_stub_names", "lumora_stub_names:"]
    out += [f"    .quad name_{index}" for index, _ in enumerate(names)]
    out += ["    .section .rodata", "    .balign 8", "    .globl lumora_stub_count", "    .hidden lumora_stub_count",
            "lumora_stub_count:", f"    .quad {len(names)}"]
    out += ['    .section .note.GNU-stack,"",%progbits', ""]
    return "\n".join(out)


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--nm", default="nm", help="the nm program")
    parser.add_argument("--processor", required=True, help="x86_64 or aarch64")
    parser.add_argument("--library", required=True, help="the shared library")
    parser.add_argument("--output", required=True, help="the assembly file to write")
    arguments = parser.parse_args()

    if arguments.processor not in ("x86_64", "AMD64", "amd64", "aarch64", "arm64"):
        print(f"delayload.py: no stubs for the processor {arguments.processor}", file=sys.stderr)
        return 1
    names = exported_functions(arguments.nm, arguments.library)
    if not names:
        print(f"delayload.py: {arguments.library} exports no functions of the interface", file=sys.stderr)
        return 1
    # An unchanged list is left alone, so that a new build of the library does not relink its users.
    text = assembly(arguments.processor, names)
    output = pathlib.Path(arguments.output)
    output.parent.mkdir(parents=True, exist_ok=True)
    if not output.exists() or output.read_text() != text:
        output.write_text(text)
    return 0


if __name__ == "__main__":
    sys.exit(main())
