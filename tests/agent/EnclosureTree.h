// EnclosureTree: a folder that looks like the enclosures in /sys, for tests.
//
//   EnclosureTree tree;
//   tree.addSlot("2:0:9:0", "Slot 02", 2);
//   tree.putDrive("2:0:9:0", "Slot 02", "sdb", "S7K2M9Q0", "5000c500a1b2c3d4");
//   EnclosureSlots slots(tree.dir.folder());
#ifndef TESTS_AGENT_ENCLOSURETREE_H
#define TESTS_AGENT_ENCLOSURETREE_H

#include <filesystem>
#include <string>

#include "tests/support/TempDir.h"

class EnclosureTree {
public:
    void addSlot(const std::string& enclosure, const std::string& name, int number) const {
        const std::string at = slot(enclosure, name);
        dir.write(at + "type", "array device\n");
        dir.write(at + "slot", std::to_string(number) + "\n");
        dir.write(at + "locate", "0\n");
        dir.write(at + "fault", "0\n");
        dir.write(at + "status", "OK\n");
        dir.write("sys/class/enclosure/" + enclosure + "/id", "0x" + enclosure + "\n");
    }

    void putDrive(const std::string& enclosure, const std::string& name, const std::string& drive,
                  const std::string& serial, const std::string& wwn) const {
        const std::string device = "sys/devices/" + drive + "/";
        dir.write(device + "wwid", "naa." + wwn + "\n");
        const char length = static_cast<char>(serial.size());
        dir.write(device + "vpd_pg80", std::string("\0\x80\0", 3) + length + serial);
        dir.write(device + "block/" + drive + "/size", "1000\n");
        std::filesystem::create_directories(dir.file("sys/block"));
        std::filesystem::create_symlink(dir.file(device + "block/" + drive),
                                        dir.file("sys/block/" + drive));
        std::filesystem::create_symlink(dir.file(device),
                                        dir.file(slot(enclosure, name) + "device"));
    }

    static std::string slot(const std::string& enclosure, const std::string& name) {
        return "sys/class/enclosure/" + enclosure + "/" + name + "/";
    }

    TempDir dir;
};

#endif  // TESTS_AGENT_ENCLOSURETREE_H
