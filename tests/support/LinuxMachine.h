// LinuxMachine: the text of a small Linux machine for SysTree: four drives on one SCSI host.
//
//   SysTree tree(LinuxMachine::drives());                      // sda .. sdd, serials S0 .. S3
//   tree.add(LinuxMachine::array("md0", "raid5", 4, "idle"));
//   tree.add(LinuxMachine::member("md0", "sda", 0, "in_sync", 0));
//   tree.add(LinuxMachine::set("md0", "degraded", "1"));
#ifndef TESTS_SUPPORT_LINUXMACHINE_H
#define TESTS_SUPPORT_LINUXMACHINE_H

#include <string>

namespace LinuxMachine {

inline const std::string kHost = "/sys/devices/pci0000:00/0000:00:04.0/host0";

inline std::string devicePath(int target) {
    const std::string t = std::to_string(target);
    return kHost + "/target0:0:" + t + "/0:0:" + t + ":0";
}

// A drive at a target, under the name that the kernel gave it.
inline std::string drive(const std::string& name, int target) {
    const std::string device = devicePath(target);
    const std::string t = std::to_string(target);
    return "f " + device + "/vendor KOVA-LMN\nf " + device + "/model SCD640\nf " + device +
           "/rev B2C1\nf " + device + "/state running\nf " + device + "/wwid t10.KOVA  S" + t +
           "\nf " + device + "/block/" + name + "/size 131072\nd " + device + "/block/" + name +
           "/holders\nl /sys/block/" + name + " ../.." + device + "/block/" + name + "\n";
}

inline std::string host() {
    return "f /sys/devices/pci0000:00/0000:00:04.0/class 0x010000\n"
           "f /sys/devices/pci0000:00/0000:00:04.0/vendor 0x1af4\n"
           "f /sys/devices/pci0000:00/0000:00:04.0/device 0x1004\n"
           "f " +
           kHost + "/scsi_host/host0/proc_name virtio_scsi\nl /sys/class/scsi_host/host0 ../../.." +
           kHost + "/scsi_host/host0\n";
}

inline std::string drives() {
    return host() + drive("sda", 0) + drive("sdb", 1) + drive("sdc", 2) + drive("sdd", 3) +
           "f /proc/mdstat Personalities :\nf /proc/sys/kernel/osrelease 6.1.0\n";
}

inline std::string folder(const std::string& array) {
    return "/sys/devices/virtual/block/" + array + "/md";
}

inline std::string set(const std::string& array, const std::string& attribute,
                       const std::string& value) {
    return "f " + folder(array) + "/" + attribute + " " + value + "\n";
}

inline std::string array(const std::string& name, const std::string& level, int disks,
                         const std::string& action) {
    return "l /sys/block/" + name + " ../devices/virtual/block/" + name +
           "\nf /sys/devices/virtual/block/" + name + "/size 262144\n" +
           set(name, "array_state", "clean") + set(name, "level", level) +
           set(name, "raid_disks", std::to_string(disks)) + set(name, "degraded", "0") +
           set(name, "sync_action", action) + set(name, "sync_completed", "none");
}

inline std::string member(const std::string& array, const std::string& name, int target,
                          const std::string& state, int slot) {
    const std::string path = folder(array) + "/dev-" + name;
    const std::string block = devicePath(target) + "/block/" + name;
    return "f " + path + "/state " + state + "\nf " + path + "/slot " +
           (slot < 0 ? "none" : std::to_string(slot)) + "\nf " + path + "/errors 0\nf " + path +
           "/bad_blocks\nl " + path + "/block ../../../../../../.." + block + "\nl " + block +
           "/holders/" + array + " ../../../../../../../../virtual/block/" + array + "\n";
}

// A whole array over targets 0 to count - 1.
inline std::string wholeArray(const std::string& name, const std::string& level, int count) {
    std::string text = array(name, level, count, "idle");
    for (int i = 0; i < count; ++i) {
        text += member(name, std::string("sd") + static_cast<char>('a' + i), i, "in_sync", i);
    }
    return text;
}

}  // namespace LinuxMachine

#endif  // TESTS_SUPPORT_LINUXMACHINE_H
