// ArchiveLibrary: the functions of libarchive, which is loaded when the first packed recording is
// unpacked. Types and constants come from its own headers, included here.
//
//   const ArchiveLibrary& library = ArchiveLibrary::get();
//   archive* const reader = library.readNew();
//
// Threads  Any; loaded once. Errors: LateLibrary::Missing, at each get() until it is there.
#ifndef AGENT_ARCHIVELIBRARY_H
#define AGENT_ARCHIVELIBRARY_H

#include <archive.h>
#include <archive_entry.h>

struct ArchiveLibrary {
    static const ArchiveLibrary& get();

    decltype(&archive_error_string) errorString = nullptr;

    decltype(&archive_read_new) readNew = nullptr;
    decltype(&archive_read_free) readFree = nullptr;
    decltype(&archive_read_support_format_tar) readSupportFormatTar = nullptr;
    decltype(&archive_read_support_filter_xz) readSupportFilterXz = nullptr;
    decltype(&archive_read_open_filename) readOpenFilename = nullptr;
    decltype(&archive_read_next_header) readNextHeader = nullptr;
    decltype(&archive_read_data_block) readDataBlock = nullptr;

    decltype(&archive_write_disk_new) writeDiskNew = nullptr;
    decltype(&archive_write_disk_set_options) writeDiskSetOptions = nullptr;
    decltype(&archive_write_header) writeHeader = nullptr;
    decltype(&archive_write_data_block) writeDataBlock = nullptr;
    decltype(&archive_write_finish_entry) writeFinishEntry = nullptr;
    decltype(&archive_write_close) writeClose = nullptr;
    decltype(&archive_write_free) writeFree = nullptr;

    decltype(&archive_entry_pathname) entryPathname = nullptr;
    decltype(&archive_entry_copy_pathname) entryCopyPathname = nullptr;
    decltype(&archive_entry_hardlink) entryHardlink = nullptr;
    decltype(&archive_entry_symlink) entrySymlink = nullptr;
    decltype(&archive_entry_filetype) entryFiletype = nullptr;
    decltype(&archive_entry_size) entrySize = nullptr;
    decltype(&archive_entry_set_perm) entrySetPerm = nullptr;

private:
    ArchiveLibrary();
};

#endif  // AGENT_ARCHIVELIBRARY_H
