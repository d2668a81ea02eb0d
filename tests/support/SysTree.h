// SysTree: a small /sys and /proc, written down as text and unpacked into a fresh folder.
//
//   SysTree tree("d /sys/class\n"
//                "f /proc/mdstat Personalities :\n"
//                "l /sys/block/sda ../devices/x/block/sda\n");
//   tree.add("f /sys/devices/x/block/sda/size 2048");   // later lines replace earlier ones
//   tree.add("x /sys/block/sda");                       // and take away
//   LinuxSource source(tree.folder());
//
// A line feed follows the contents of each file, as in sysfs; "f NAME" alone is an empty file.
#ifndef TESTS_SUPPORT_SYSTREE_H
#define TESTS_SUPPORT_SYSTREE_H

#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>

#include "tests/support/TempDir.h"

class SysTree {
public:
    explicit SysTree(const std::string& text = std::string()) { add(text); }

    const std::string& folder() const { return dir.folder(); }
    std::string file(const std::string& path) const { return dir.file(path.substr(1)); }

    void add(const std::string& text) {
        std::istringstream lines(text);
        std::string line;
        while (std::getline(lines, line)) {
            if (!line.empty()) addLine(line);
        }
    }

    // Contents as they are: no line feed is added.
    void write(const std::string& path, const std::string& contents) {
        dir.write(path.substr(1), contents);
    }

private:
    void addLine(const std::string& line) {
        namespace fs = std::filesystem;
        const std::size_t end = line.find(' ', 2);
        const std::string path = line.substr(2, end == std::string::npos ? end : end - 2);
        const std::string rest = end == std::string::npos ? "" : line.substr(end + 1);
        const std::string place = file(path);
        switch (line[0]) {
            case 'd':
                fs::create_directories(place);
                break;
            case 'f':
                write(path, end == std::string::npos ? "" : rest + "\n");
                break;
            case 'l':
                fs::create_directories(fs::path(place).parent_path());
                fs::remove(place);
                fs::create_symlink(rest, place);
                break;
            case 'x':
                fs::remove_all(place);
                break;
            default:
                throw std::runtime_error("no such line in a tree: " + line);
        }
    }

    TempDir dir;
};

#endif  // TESTS_SUPPORT_SYSTREE_H
