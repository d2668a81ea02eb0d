"""The drives of a guest: what a boot asks for, as arguments of QEMU."""

import json
import os

from parts.host import LabError

# kind: controller, drives per controller, drive
KINDS = {
    "sata": ("ich9-ahci", 6, "ide-hd"),
    "scsi": ("virtio-scsi-pci", 60, "scsi-hd"),
    "sas": ("mptsas1068", 8, "scsi-hd"),
    "nvme": (None, 1, "nvme"),
}
KEYS = ("size", "absent", "name", "hba")


class Drive:
    """One drive: `name` is what the boot script calls it, `serial` what the guest sees."""

    def __init__(self, kind, number, options):
        self.kind = kind
        self.name = options.get("name", f"{kind}{number}")
        self.serial = self.name.upper()
        self.size = int(options.get("size", "32").rstrip("M")) << 20
        self.absent = "absent" in options
        self.hba = int(options.get("hba", 0))
        self.device = {}


def parse(words):
    """Drives of "sata*4,size=32M scsi,name=new,absent"."""
    drives, count = [], {}
    for word in words:
        first, *rest = word.split(",")
        kind, _, times = first.partition("*")
        if kind not in KINDS:
            raise LabError(f"no such kind of drive: {kind} (there are {' '.join(KINDS)})")
        options = {}
        for item in rest:
            key, _, value = item.partition("=")
            if key not in KEYS:
                raise LabError(f"{word}: no such option: {key} (there are {' '.join(KEYS)})")
            options[key] = value
        for _ in range(int(times or 1)):
            drives.append(Drive(kind, count.get(kind, 0), options))
            count[kind] = count.get(kind, 0) + 1
    return drives


def arguments(drives, folder):
    """QEMU's arguments. Images are made in `folder` where they are not there yet."""
    words, used, controllers = [], {}, []
    for index, drive in enumerate(drives):
        controller, places, device = KINDS[drive.kind]
        path = os.path.join(folder, drive.name + ".img")
        if not os.path.exists(path):
            with open(path, "wb") as image:
                image.truncate(drive.size)
        words += ["-blockdev", json.dumps({
            "driver": "raw", "node-name": "node-" + drive.name,
            "file": {"driver": "file", "filename": path, "cache": {"no-flush": True}}})]
        drive.device = {"driver": device, "id": drive.name, "drive": "node-" + drive.name,
                        "serial": drive.serial}
        if controller:
            bus = f"{drive.kind}hba{drive.hba}"
            place = used.get(bus, 0)
            if place >= places:
                raise LabError(f"more than {places} drives on one {drive.kind} controller")
            used[bus] = place + 1
            if bus not in controllers:
                controllers.append(bus)
                words += ["-device", f"{controller},id={bus}"]
            if drive.kind == "sata":
                drive.device["bus"] = f"{bus}.{place}"
            else:
                drive.device.update({"bus": bus + ".0", "scsi-id": place, "lun": 0})
            drive.device["wwn"] = 0x5001122300000000 + 0x100 * (index + 1)
        if device == "scsi-hd":
            drive.device.update({"vendor": "LABDISK", "product": "VIRT-" + drive.kind.upper(),
                                 "device_id": drive.serial})
        if not drive.absent:
            words += ["-device", json.dumps(drive.device)]
    return words
