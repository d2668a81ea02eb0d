"""What the lab takes from this machine: programs, a kernel, and shared libraries."""

import glob
import os
import re
import shutil
import subprocess

# key, program, Debian package
PROGRAMS = (
    ("qemu", "qemu-system-x86_64", "qemu-system-x86"),
    ("busybox", "busybox", "busybox-static"),
    ("mdadm", "mdadm", "mdadm"),
    ("mke2fs", "mke2fs", "e2fsprogs"),
    ("cmake", "cmake", "cmake"),
)


class LabError(Exception):
    """The lab cannot do its work; the text says why and what to do."""


class Missing(LabError):
    """Programs or a kernel are not installed here."""


def which(name):
    path = os.environ.get("PATH", "") + ":/usr/sbin:/sbin:/usr/bin:/bin"
    return shutil.which(name, path=path)


def find_kernel():
    """(image, module folder, version) of the newest kernel that has the storage drivers."""
    def version_of(path):
        return [int(n) for n in re.findall(r"\d+", os.path.basename(path))[:4]]

    for image in sorted(glob.glob("/boot/vmlinuz-*"), key=version_of, reverse=True):
        version = os.path.basename(image)[len("vmlinuz-"):]
        modules = os.path.join("/lib/modules", version)
        # The kernels for rented machines lack SAS, SATA and the enclosure driver.
        drivers = os.path.join(modules, "kernel/drivers/message/fusion")
        if os.access(image, os.R_OK) and os.path.isdir(drivers):
            return image, modules, version
    return None


def find_tools():
    """Everything that a boot needs. Raises Missing with the line that installs what is not here."""
    tools, missing = {}, []
    for key, name, package in PROGRAMS:
        tools[key] = which(name)
        if not tools[key]:
            missing.append(package)
    if tools["busybox"] and libraries_of(tools["busybox"]):
        missing.append("busybox-static")
    kernel = find_kernel()
    if kernel:
        tools["kernel"], tools["modules"], tools["version"] = kernel
    else:
        missing.append("linux-image-amd64")
    if missing:
        raise Missing("not installed here: " + " ".join(missing) +
                      "; install with: apt-get install -y --no-install-recommends " +
                      " ".join(missing))
    return tools


def is_elf(path):
    with open(path, "rb") as file:
        return file.read(4) == b"\x7fELF"


def libraries_of(path, search=""):
    """(name, place) of every shared library that an ELF file needs, the loader included."""
    environment = dict(os.environ, LD_LIBRARY_PATH=search)
    listing = subprocess.run(["ldd", path], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                             text=True, env=environment, check=False).stdout
    found = []
    for line in listing.splitlines():
        line = line.strip()
        if "not found" in line:
            raise LabError(f"{path} needs a library that is not here: {line}")
        match = re.match(r"(?:(\S+) => )?(/\S+) \(0x", line)
        if match:
            found.append((match.group(1) or match.group(2), match.group(2)))
    return found
