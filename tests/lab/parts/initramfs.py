"""The guest's root: a cpio archive of a kernel's modules, busybox, mdadm and an installed tree."""

import os
import re
import stat
import subprocess

from parts import host

# Kernel modules that are copied, with whatever they depend on.
MODULES = """
virtio_pci virtio_console virtio_blk virtio_scsi 9p 9pnet_virtio ext4 crc32c_generic
ahci sd_mod sg scsi_debug mptsas ses enclosure nvme
md-mod raid0 raid1 raid10 raid456
target_core_mod target_core_user tcm_loop uio
""".split()

MACHINE_ID = b"6c61622d7261696477617463682d6c62\n"


class Archive:
    """Writes the "newc" form of cpio; parents are made as needed. The root is usr-merged."""

    def __init__(self):
        self.pieces, self.known, self.inode = [], set(), 1

    def _entry(self, name, mode, data=b"", device=(0, 0)):
        self.inode += 1
        raw = name.encode() + b"\0"
        fields = (self.inode, mode, 0, 0, 1, 0, len(data), 0, 0, *device, len(raw), 0)
        head = b"070701" + b"".join(b"%08X" % field for field in fields) + raw
        self.pieces += [head + b"\0" * (-len(head) % 4), data, b"\0" * (-len(data) % 4)]

    @staticmethod
    def place(name):
        return re.sub(r"^(bin|sbin|lib|lib64)(?=/)", r"usr/\1", os.path.normpath(name).lstrip("/"))

    def _begin(self, name):
        """False when the name is there already; else its parents are."""
        if name in ("", ".") or name in self.known:
            return False
        self.folder(os.path.dirname(name))
        self.known.add(name)
        return True

    def folder(self, name):
        name = self.place(name)
        if self._begin(name):
            self._entry(name, stat.S_IFDIR | 0o755)

    def file(self, name, data, mode=0o644):
        name = self.place(name)
        if self._begin(name):
            self._entry(name, stat.S_IFREG | mode, data)

    def link(self, name, target):
        name = self.place(name)
        if self._begin(name):
            self._entry(name, stat.S_IFLNK | 0o777, target.encode())

    def node(self, name, major, minor):
        name = self.place(name)
        if self._begin(name):
            self._entry(name, stat.S_IFCHR | 0o600, device=(major, minor))

    def copy(self, source, name):
        with open(source, "rb") as file:
            self.file(name, file.read(), 0o755 if os.access(source, os.X_OK) else 0o644)

    def program(self, source, name, search=""):
        """A program and the libraries of this machine that it needs."""
        self.copy(source, name)
        for _, library in host.libraries_of(source, search):
            if not search or not library.startswith(search):
                self.file(library, read(os.path.realpath(library)), 0o755)

    def tree(self, source, name=""):
        """A folder as it lies there, links as links."""
        for entry in sorted(os.scandir(source), key=lambda e: e.name):
            target = name + "/" + entry.name
            if entry.is_symlink():
                self.link(target, os.readlink(entry.path))
            elif entry.is_dir():
                self.folder(target)
                self.tree(entry.path, target)
            else:
                self.copy(entry.path, target)

    def finish(self):
        self._entry("TRAILER!!!", 0)
        return b"".join(self.pieces)


def read(path):
    with open(path, "rb") as file:
        return file.read()


def plain(module):
    return re.sub(r"\.ko(\.\w+)?$", "", os.path.basename(module)).replace("-", "_")


def add_modules(archive, tools):
    """The modules of MODULES and what they depend on, with the tables that modprobe reads."""
    needs, by_name = {}, {}
    with open(os.path.join(tools["modules"], "modules.dep"), encoding="utf-8") as file:
        for line in file:
            path, _, rest = line.partition(":")
            needs[path] = rest.split()
            by_name[plain(path)] = path
    wanted = []

    def want(path):
        if path not in wanted:
            wanted.append(path)
            for other in needs[path]:
                want(other)

    for module in MODULES:
        if plain(module) in by_name:  # others are built into this kernel
            want(by_name[plain(module)])
    root = "usr/lib/modules/" + tools["version"]
    for path in wanted:
        archive.copy(os.path.join(tools["modules"], path), root + "/" + path)
    table = "".join(f"{path}: {' '.join(needs[path])}\n" for path in wanted)
    archive.file(root + "/modules.dep", table.encode())
    present = {plain(path) for path in wanted}
    with open(os.path.join(tools["modules"], "modules.alias"), encoding="utf-8") as file:
        kept = [line for line in file if plain(line.split()[-1]) in present]
    archive.file(root + "/modules.alias", "".join(kept).encode())


def add_base(archive, tools, guest):
    for name in ("usr/bin", "usr/sbin", "usr/lib", "usr/lib64", "proc", "sys", "dev", "run", "tmp",
                 "etc", "root", "out", "state", "var/lib/raidwatch", "var/log/raidwatch"):
        archive.folder(name)
    for name in ("bin", "sbin", "lib", "lib64"):
        archive.link(name, "usr/" + name)
    archive.link("var/run", "/run")
    archive.node("dev/console", 5, 1)
    archive.node("dev/null", 1, 3)
    archive.file("usr/bin/busybox", read(os.path.realpath(tools["busybox"])), 0o755)
    applets = subprocess.run([tools["busybox"], "--list"], stdout=subprocess.PIPE, text=True,
                             check=True).stdout.split()
    for applet in applets:
        archive.link("usr/bin/" + applet, "busybox")
    archive.link("usr/sbin/modprobe", "../bin/busybox")
    archive.program(tools["mdadm"], "usr/sbin/mdadm")
    archive.program(tools["mke2fs"], "usr/sbin/mke2fs")
    archive.file("etc/passwd", b"root:x:0:0:root:/root:/bin/sh\n")
    archive.file("etc/group", b"root:x:0:\nraidwatch:x:900:\n")
    archive.file("etc/machine-id", MACHINE_ID)
    archive.file("etc/mdadm/mdadm.conf", b"HOMEHOST lab\n")
    for name in sorted(os.listdir(guest)):
        if name == "init":
            archive.copy(os.path.join(guest, name), "init")
        elif not name.endswith(".cpp"):
            archive.copy(os.path.join(guest, name), "lab/" + name)


def install_package(root, build, target):
    """Lays the files down as the packages do; see docs/packaging.md."""
    subprocess.run(["cmake", "--install", build, "--prefix", "/usr", "--component", "package"],
                   env=dict(os.environ, DESTDIR=target), check=True, stdout=subprocess.DEVNULL)
    own = os.path.join(target, "usr/lib", TRIPLET, "qel")
    for path in [os.path.join(own, name) for name in os.listdir(own) if ".so." in name]:
        if not os.path.islink(path):
            subprocess.run(["strip", "--strip-unneeded", path], check=True)
    subprocess.run(["strip", os.path.join(target, "usr/bin/raidwatch")], check=True)
    for package in ("libqel0", "raidwatch"):
        links = os.path.join(root, "packaging/debian", package + ".links")
        if os.path.exists(links):
            with open(links, encoding="utf-8") as file:
                for line in file:
                    make_link(target, *line.replace("${DEB_HOST_MULTIARCH}", TRIPLET).split())
    settings = os.path.join(target, "etc/raidwatch")
    os.makedirs(settings + "/conf.d", exist_ok=True)
    for name in ("raidwatch.toml", "QELConfig.conf"):
        with open(os.path.join(settings, name), "wb") as file:
            file.write(read(os.path.join(root, "packaging", name)))


TRIPLET = "x86_64-linux-gnu"


def make_link(target, to, name):
    place = os.path.join(target, name)
    os.makedirs(os.path.dirname(place), exist_ok=True)
    os.symlink("/" + to, place)


def build(tools, root, build_folder, guest, scratch):
    """The whole archive, as bytes: this is what each boot starts from."""
    installed = os.path.join(scratch, "installed")
    install_package(root, build_folder, installed)
    archive = Archive()
    add_base(archive, tools, guest)
    archive.program(os.path.join(build_folder, "bin/lab_shelf"), "lab/shelf")
    add_modules(archive, tools)
    own = os.path.join(installed, "usr/lib", TRIPLET, "qel")
    program = os.path.join(installed, "usr/bin/raidwatch")
    for path in [program] + [os.path.join(own, n) for n in os.listdir(own) if ".so." in n]:
        for name, library in host.libraries_of(path, own):
            if not library.startswith(installed):
                archive.file(library, read(os.path.realpath(library)), 0o755)
    archive.tree(installed)
    return archive.finish()
