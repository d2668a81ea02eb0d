#include "agent/settings/SettingsFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <utility>

#include <toml++/toml.h>

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMostBytes = 1 << 20;  // of one file; a longer one is no configuration

// A descriptor that closes itself.
class OpenFile {
public:
    explicit OpenFile(const std::string& name)
        : fd(open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
    ~OpenFile() {
        if (fd >= 0) close(fd);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    const int fd;
};

// "" or why the file cannot be read.
std::string readAll(int fd, std::string& text) {
    char piece[16384];
    for (;;) {
        const ssize_t got = read(fd, piece, sizeof piece);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return std::strerror(errno);
        if (got == 0) return "";
        text.append(piece, static_cast<std::size_t>(got));
        if (text.size() > kMostBytes) return "it is larger than 1 MiB";
    }
}

// Commands to run stand in it: who may write it may do what the daemon may do.
bool othersMayWrite(const struct stat& info) {
    if (geteuid() != 0) return false;
    return info.st_uid != 0 || (info.st_mode & S_IWOTH) != 0 ||
           ((info.st_mode & S_IWGRP) != 0 && info.st_gid != 0);
}

SettingValue plain(const toml::node& node, int file) {
    SettingValue value;
    value.file = file;
    value.line = static_cast<int>(node.source().begin.line);
    return value;
}

SettingValue valueOf(const toml::node& node, int file) {
    SettingValue value = plain(node, file);
    if (const auto* text = node.as_string()) {
        value.kind = SettingValue::Kind::kText;
        value.text = text->get();
    } else if (const auto* number = node.as_integer()) {
        value.kind = SettingValue::Kind::kNumber;
        value.number = number->get();
    } else if (const auto* flag = node.as_boolean()) {
        value.kind = SettingValue::Kind::kFlag;
        value.number = flag->get() ? 1 : 0;
    } else if (const auto* list = node.as_array()) {
        value.kind = SettingValue::Kind::kList;
        for (const toml::node& item : *list) value.items.push_back(valueOf(item, file));
    } else if (const auto* table = node.as_table()) {
        value.kind = SettingValue::Kind::kTable;
        for (const auto& [key, member] : *table) {
            value.members.emplace(std::string(key.str()), valueOf(member, file));
        }
    } else {
        value.text = node.is_floating_point() ? "a fraction" : "a date or time";
    }
    return value;
}

void layOver(SettingValue& below, SettingValue above) {
    for (auto& [key, value] : above.members) {
        const auto found = below.members.find(key);
        if (found != below.members.end() && found->second.kind == SettingValue::Kind::kTable &&
            value.kind == SettingValue::Kind::kTable) {
            layOver(found->second, std::move(value));
        } else {
            below.members[key] = std::move(value);
        }
    }
}

}  // namespace

SettingsFiles::SettingsFiles(const std::string& file, bool mustExist) : files{file}, wrong(files) {
    all.kind = SettingValue::Kind::kTable;
    findFolder(file);
    for (std::size_t i = 0; i < files.size(); ++i) {
        readOne(static_cast<int>(i), mustExist || i > 0);
    }
}

void SettingsFiles::findFolder(const std::string& file) {
    const fs::path folder = fs::path(file).parent_path() / "conf.d";
    std::error_code error;
    std::vector<std::string> names;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        const std::string name = it->path().filename().string();
        // What an editor or a package tool leaves behind has another ending or a leading dot.
        if (name.front() != '.' && it->path().extension() == ".toml") {
            names.push_back(it->path().string());
        }
    }
    if (error && error != std::errc::no_such_file_or_directory) {
        wrong.add(0, 0,
                  "cannot read the folder " + folder.string() + " beside it (" + error.message() +
                      "); let this user read it, or remove it");
        whole = false;
    }
    std::sort(names.begin(), names.end());
    files.insert(files.end(), names.begin(), names.end());
}

void SettingsFiles::readOne(int index, bool mustExist) {
    const std::string& name = files[static_cast<std::size_t>(index)];
    const OpenFile file(name);
    if (file.fd < 0) {
        const int why = errno;
        if (index == 0) mainFile = false;
        if (why == ENOENT && !mustExist) return;
        wrong.add(index, 0,
                  std::string("cannot read it (") + std::strerror(why) +
                      (why == ENOENT ? "); name a file that exists"
                                     : "); let this user read it, or run as root"));
        whole = false;
        return;
    }
    struct stat info {};
    std::string text;
    std::string error = fstat(file.fd, &info) != 0 ? std::strerror(errno) : "";
    if (error.empty() && !S_ISREG(info.st_mode)) error = "it is no file";
    if (error.empty()) error = readAll(file.fd, text);
    if (!error.empty()) {
        wrong.add(index, 0, "cannot read it (" + error + "); put a TOML file there");
        whole = false;
        return;
    }
    if (othersMayWrite(info)) {
        wrong.add(index, 0,
                  "others than root may write it, and raidwatch runs as root; "
                  "chown root:root and chmod 644 it");
    }
    takeText(index, text);
}

void SettingsFiles::takeText(int index, const std::string& text) {
    try {
        const toml::table table = toml::parse(std::string_view(text));
        layOver(all, valueOf(table, index));
    } catch (const toml::parse_error& e) {
        wrong.add(index, static_cast<int>(e.source().begin.line),
                  "this is no TOML (" + std::string(e.description()) + "); correct the line");
        whole = false;
    }
}
