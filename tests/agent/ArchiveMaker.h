// ArchiveMaker: writes a .tar.xz entry by entry, hostile ones included.
//
//   ArchiveMaker(path).folder("sys").file("sys/a", "x").link("sys/b", "a").close();
#ifndef TESTS_AGENT_ARCHIVEMAKER_H
#define TESTS_AGENT_ARCHIVEMAKER_H

#include <archive.h>
#include <archive_entry.h>

#include <stdexcept>
#include <string>

class ArchiveMaker {
public:
    explicit ArchiveMaker(const std::string& path,
                          int (*addFilter)(archive*) = archive_write_add_filter_xz)
        : tar(archive_write_new()) {
        addFilter(tar);
        archive_write_set_format_pax_restricted(tar);
        if (archive_write_open_filename(tar, path.c_str()) != ARCHIVE_OK) {
            throw std::runtime_error(archive_error_string(tar));
        }
    }
    ~ArchiveMaker() { archive_write_free(tar); }
    ArchiveMaker(const ArchiveMaker&) = delete;
    ArchiveMaker& operator=(const ArchiveMaker&) = delete;

    ArchiveMaker& file(const std::string& name, const std::string& contents) {
        add(
            name, AE_IFREG, [](archive_entry*) {}, contents);
        return *this;
    }
    ArchiveMaker& folder(const std::string& name) {
        add(
            name, AE_IFDIR, [](archive_entry*) {}, "");
        return *this;
    }
    ArchiveMaker& link(const std::string& name, const std::string& target) {
        add(
            name, AE_IFLNK, [&](archive_entry* e) { archive_entry_set_symlink(e, target.c_str()); },
            "");
        return *this;
    }
    ArchiveMaker& hardLink(const std::string& name, const std::string& target) {
        add(
            name, AE_IFREG,
            [&](archive_entry* e) { archive_entry_set_hardlink(e, target.c_str()); }, "");
        return *this;
    }
    ArchiveMaker& fifo(const std::string& name) {
        add(
            name, AE_IFIFO, [](archive_entry*) {}, "");
        return *this;
    }
    void close() { archive_write_close(tar); }

private:
    template <class Change>
    void add(const std::string& name, unsigned type, Change change, const std::string& contents) {
        archive_entry* const entry = archive_entry_new();
        archive_entry_set_pathname(entry, name.c_str());
        archive_entry_set_filetype(entry, type);
        archive_entry_set_perm(entry, 0);  // what must not stay so
        archive_entry_set_size(entry, static_cast<la_int64_t>(contents.size()));
        change(entry);
        if (archive_write_header(tar, entry) < ARCHIVE_WARN) {
            throw std::runtime_error(archive_error_string(tar));
        }
        if (!contents.empty()) (void)archive_write_data(tar, contents.data(), contents.size());
        archive_entry_free(entry);
    }

    archive* tar;
};

#endif  // TESTS_AGENT_ARCHIVEMAKER_H
