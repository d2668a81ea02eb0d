// BentTree: a machine's tree of files that is bent for one run and straightened afterwards.
//
//   BentTree tree(folder);
//   tree.bend({BentTree::Kind::kLink, "/sys/block/sda", "../block/sda"});
//   ...                                      // read it
//   tree.straighten();
//
// What stands at a place is moved aside and not touched, so that straightening is quick. Places
// that lead out of the folder, and the folder itself, are left alone.
//
// Threads  One. Errors: the process ends when the tree cannot be straightened.
#ifndef FUZZ_SUPPORT_BENTTREE_H
#define FUZZ_SUPPORT_BENTTREE_H

#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/support/Fuzz.h"

class BentTree {
public:
    enum class Kind {
        kVanish,    // nothing is there any more
        kText,      // a file with `text`
        kCut,       // the file, `number` bytes of it
        kOverlay,   // the file with `text` at byte `number`
        kLink,      // a link with `text` for its target
        kHuge,      // a file of `number` times 256 bytes
        kClosed,    // nobody may read it
        kFolder,    // an empty folder
        kPipe,      // a pipe that nobody writes to
        kNeighbour  // a new file beside it, with `text` for its name and its contents
    };
    static constexpr int kKinds = static_cast<int>(Kind::kNeighbour) + 1;

    struct Bend {
        Kind kind = Kind::kVanish;
        std::string place;  // begins with "/"; links on the way are followed
        std::string text;
        unsigned number = 0;
    };

    explicit BentTree(const std::string& folder) : root(std::filesystem::canonical(folder)) {}

    void bend(const Bend& how) {
        std::error_code error;
        const std::filesystem::path asked(root.string() + how.place);
        const auto parent = std::filesystem::canonical(asked.parent_path(), error);
        const std::string name =
            how.kind == Kind::kNeighbour ? nameOf(how.text) : asked.filename().string();
        const std::string inside = root.string() + "/";
        const bool below = (parent.string() + "/").compare(0, inside.size(), inside) == 0;
        if (error || !below || name.empty() || name == "." || name == "..") return;
        if (!std::filesystem::is_directory(parent, error)) return;
        place(how, (parent / name).string());
    }

    void straighten() {
        for (auto it = undone.rbegin(); it != undone.rend(); ++it) {
            if (it->isMode) {
                fuzz::must(chmod(it->place.c_str(), it->mode) == 0, "a mode can be put back");
                continue;
            }
            std::error_code ignored;
            std::filesystem::remove_all(it->place, ignored);
            if (it->aside.empty()) continue;
            fuzz::must(std::rename(it->aside.c_str(), it->place.c_str()) == 0,
                       "what was moved aside can be put back: " + it->place);
        }
        undone.clear();
    }

private:
    struct Undo {
        std::string place;
        std::string aside;  // where the original is; "" when there was none
        bool isMode = false;
        mode_t mode = 0;
    };

    static std::string nameOf(const std::string& text) {
        std::string name = text.substr(0, 40);
        for (char& c : name) {
            if (c == '/' || c == '\0') c = '!';
        }
        return name;
    }

    void place(const Bend& how, const std::string& file) {
        struct stat info {};
        const bool there = lstat(file.c_str(), &info) == 0;
        if (how.kind == Kind::kClosed) {
            if (!there || S_ISLNK(info.st_mode)) return;
            undone.push_back({file, "", true, info.st_mode & 07777U});
            (void)chmod(file.c_str(), 0);
            return;
        }
        const std::string before =
            there && S_ISREG(info.st_mode) && info.st_size < 65536 ? textIn(file) : "";
        Undo undo{file, "", false, 0};
        if (there) {
            undo.aside = fuzz::inRoom("aside-" + std::to_string(undone.size()));
            if (std::rename(file.c_str(), undo.aside.c_str()) != 0) return;
        }
        undone.push_back(undo);
        make(how, file, before);
    }

    void make(const Bend& how, const std::string& file, std::string before) {
        std::error_code ignored;
        switch (how.kind) {
            case Kind::kVanish:
            case Kind::kClosed:
                break;
            case Kind::kText:
            case Kind::kNeighbour:
                fuzz::put(file, how.text);
                break;
            case Kind::kCut:
                fuzz::put(file, before.substr(0, how.number));
                break;
            case Kind::kOverlay: {
                const std::size_t at = before.empty() ? 0 : how.number % before.size();
                fuzz::put(file, before.replace(at, how.text.size(), how.text));
                break;
            }
            case Kind::kLink:
                std::filesystem::create_symlink(how.text, file, ignored);
                break;
            case Kind::kHuge:
                fuzz::put(file, how.text);
                (void)!truncate(file.c_str(), static_cast<off_t>(how.number) * 256);
                break;
            case Kind::kFolder:
                std::filesystem::create_directory(file, ignored);
                break;
            case Kind::kPipe:
                (void)mkfifo(file.c_str(), 0644);
                break;
        }
    }

    static std::string textIn(const std::string& file) {
        std::ifstream in(file, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    std::filesystem::path root;
    std::vector<Undo> undone;
};

#endif  // FUZZ_SUPPORT_BENTTREE_H
